#pragma once

#include "dns_proxy_mac/startup/configuration_files.h"

/// Where the locks of the shared tables would be set up. Empty: the request table sets up its own.
void init_lock();

/// Opens the two sockets and binds the local one on 127.0.0.1:53, loads the host map, builds the
/// method list, starts both workers and blocks until the answer thread ends. True when the service
/// ran and has ended, its sockets closed. False when it could not start; what was opened or started
/// by then stays so until the process ends. Called once, on the start-up thread.
bool StartDnsSrv(const ServerList& servers, const HostMapList& host_map);

// The bodies of the two worker threads, in the form that pthread_create wants; the argument is not
// looked at and the result is null. Each waits without limit for its socket, hands every readable
// event to its handler, and ends when the handler says so, the wait fails or its socket is -1. The
// trace is written out before a wait that has nothing to do, and when the thread ends.

/// Responses on `g_SockToDNSServers`, for the upstream response relay.
void* thread_answer(void* unused);

/// Queries on `g_SockToClientApps`, for the local query intake. It ends without a word when the
/// intake refuses a datagram, and nothing starts it again.
void* thread_query(void* unused);
