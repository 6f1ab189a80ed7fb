#include "tests/fuzz/loaded_service.h"

#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>

#include <cerrno>

#include "dns_proxy_mac/startup/service.h"
#include "dns_proxy_mac/state/shared_objects.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/quiet_trace.h"

namespace {

constexpr int kAnySocket = 1001;

// The answer record of the pair being loaded: the first storage that is taken for it. Nobody
// owns a later record of a domain listed twice, by design; here it is freed all the same, because
// an hour of fuzzing would not fit into memory.
bool g_RecordAwaited = false;
void* g_Record = nullptr;

bool IsFiled(const char* domain, const void* record) {
  const auto found = g_Hostmaps.mapHosts.find(domain);
  return found != g_Hostmaps.mapHosts.end() && found->second == record;
}

}  // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the names that the linker's --wrap gives them
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
void __real__ZN9HostTable3AddEPcPKc(HostTable* table, char* domain, const char* address);
void* __real__Znwm(std::size_t size);

int __wrap_socket(int family, int type, int protocol) {
  CHECK(family == AF_INET && type == SOCK_DGRAM && protocol == IPPROTO_UDP);
  return kAnySocket;
}

int __wrap_bind(int sock, const sockaddr* address, socklen_t length) {
  CHECK(sock == kAnySocket && address->sa_family == AF_INET && length == sizeof(sockaddr_in));
  return 0;
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  if (body == thread_answer) return EAGAIN;
  return __real_pthread_create(thread, attributes, body, argument);
}

void* __wrap__Znwm(std::size_t size) {
  void* block = __real__Znwm(size);
  if (g_RecordAwaited) {
    g_RecordAwaited = false;
    g_Record = block;
  }
  return block;
}

void __wrap__ZN9HostTable3AddEPcPKc(HostTable* table, char* domain, const char* address) {
  g_Record = nullptr;
  g_RecordAwaited = true;
  __real__ZN9HostTable3AddEPcPKc(table, domain, address);
  g_RecordAwaited = false;
  if (!IsFiled(domain, g_Record)) delete static_cast<HostRespData*>(g_Record);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

void LoadService(const ServerList& servers, const HostMapList& host_map) {
  QuietTrace();
  CHECK(!StartDnsSrv(servers, host_map));
}

void UnloadService() {
  g_Hostmaps.Clear();
  g_DnsMethodList.clear();
}
