#pragma once

#include "dns_proxy_mac/startup/configuration_files.h"

/// Where the locks of the shared tables would be set up. Empty: the request table sets up its own.
void init_lock();

/// Opens the two sockets and binds the local one on 127.0.0.1:53, loads the host map, builds the
/// method list, starts both workers and blocks until the answer thread ends. True when the service
/// ran and has ended, its sockets closed. False when it could not start; what was opened or started
/// by then stays so until the process ends. Called once, on the start-up thread.
bool StartDnsSrv(const ServerList& servers, const HostMapList& host_map);
