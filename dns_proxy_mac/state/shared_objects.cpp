#include "dns_proxy_mac/state/shared_objects.h"

// In this order: exit destroys them in the reverse one, the requests in flight first and the host
// map that answers them last.
HostTable g_Hostmaps;
std::vector<DNSMethodInfo> g_DnsMethodList;
RequestTable g_DnsRequestTable;

std::uint16_t g_QueryID = 0;
int g_SockToClientApps = -1;
int g_SockToDNSServers = -1;
pthread_t g_thread_answer;
pthread_t g_thread_query;
