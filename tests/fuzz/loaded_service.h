#pragma once

#include "dns_proxy_mac/startup/configuration_files.h"

/// Leads the service start through everything that it loads into the shared objects and no further:
/// its sockets and its first thread are substituted, and the thread can't be created.
void LoadService(const ServerList& servers, const HostMapList& host_map);

/// Empties the shared objects again.
void UnloadService();
