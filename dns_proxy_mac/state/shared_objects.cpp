#include "dns_proxy_mac/state/shared_objects.h"

// In this order, so that exit destroys the requests first: their method lists and the host records
// that answered them then still exist.
HostTable g_Hostmaps;
std::vector<DNSMethodInfo> g_DnsMethodList;
RequestTable g_DnsRequestTable;

std::uint16_t g_QueryID = 0;
int g_SockToClientApps = -1;
int g_SockToDNSServers = -1;
pthread_t g_thread_answer;
pthread_t g_thread_query;
