#pragma once

#include <pthread.h>

#include <cstdint>
#include <vector>

#include "dns_proxy_mac/state/dns_method_info.h"
#include "dns_proxy_mac/state/host_table.h"
#include "dns_proxy_mac/state/request_table.h"

/// The host map. Complete before the first worker starts, constant afterwards.
extern HostTable g_Hostmaps;

/// The methods in the order in which every query tries them: the host map first, if there is one,
/// then the servers as configured. Complete before the first worker starts, constant afterwards.
/// A worker copies it under the request table's lock, which keeps the destructors of a process that
/// ends at that moment waiting.
extern std::vector<DNSMethodInfo> g_DnsMethodList;

/// The queries in flight. Both workers, under its lock.
extern RequestTable g_DnsRequestTable;

/// The next id to assign; wraps from 65535 to 0. Query thread only, once the workers run.
extern std::uint16_t g_QueryID;

/// The socket bound on 127.0.0.1:53. Read by the query thread alone, sent on by both workers.
extern int g_SockToClientApps;

/// The unbound socket toward upstream servers. Read by the answer thread alone, sent on by both.
extern int g_SockToDNSServers;

/// The worker threads; start-up thread only.
extern pthread_t g_thread_answer;
extern pthread_t g_thread_query;
