#include "tests/unit/proxy_fixture.h"

#include <unistd.h>

#include <cstring>
#include <thread>

#include "dns_proxy_mac/engine/engine.h"
#include "tests/unit/language_runtime.h"

namespace {

void ResetSharedObjects() {
  g_Hostmaps.Clear();
  g_DnsMethodList.clear();
  const Guard guard(g_DnsRequestTable);
  g_DnsRequestTable.Clear();
  g_QueryID = 0;
  g_SockToClientApps = -1;
  g_SockToDNSServers = -1;
  system_calls::Reset();
  language_runtime::FailAllocationOf(0);
}

}  // namespace

DnsRequest* NewRequest(const RequestInFlight& wanted, const sockaddr_in& application) {
  auto* request = new DnsRequest;
  request->usId = wanted.id;
  std::memcpy(&request->usClientId, wanted.query.bytes.data(), 2);
  request->CurrentDNSMethodIndex = wanted.index;
  request->iRecvLen = wanted.query.length();
  std::memcpy(&request->ClientAddr, &application, sizeof(request->ClientAddr));
  std::memset(request->QueryPacket, 0, sizeof(request->QueryPacket));
  std::memcpy(request->QueryPacket, wanted.query.bytes.data(), wanted.query.bytes.size());
  std::memcpy(request->QueryPacket, &wanted.id, 2);
  request->iQueryPacketLen = wanted.query.length();
  request->strDomain = wanted.domain;
  request->usQType = wanted.qtype;
  request->usQClass = 1;
  request->vecMethods = wanted.methods;
  request->bSpare = false;
  return request;
}

DNSMethodInfo MethodOfType(std::int32_t type) {
  DNSMethodInfo method{};
  method.iDNSMethodType = type;
  return method;
}

DNSMethodInfo ServerMethod(const sockaddr_in& address) {
  DNSMethodInfo method = MethodOfType(0);
  std::memcpy(&method.ServerAddr, &address, sizeof(method.ServerAddr));
  method.iParam = 1000;
  return method;
}

DNSMethodInfo HostMapMethod() { return MethodOfType(1); }

SharedObjectsTest::SharedObjectsTest() { ResetSharedObjects(); }

SharedObjectsTest::~SharedObjectsTest() { ResetSharedObjects(); }

void SharedObjectsTest::AddHost(std::string domain, const char* address) {
  g_Hostmaps.Add(domain.data(), address);
}

bool SharedObjectsTest::InFlight(std::uint16_t id) {
  const Guard guard(g_DnsRequestTable);
  return g_DnsRequestTable.mapRequests.count(id) == 1;
}

std::size_t SharedObjectsTest::RequestsInFlight() {
  const Guard guard(g_DnsRequestTable);
  return g_DnsRequestTable.mapRequests.size();
}

std::uint8_t SharedObjectsTest::MethodIndex(std::uint16_t id) {
  const Guard guard(g_DnsRequestTable);
  return g_DnsRequestTable.mapRequests.at(id)->CurrentDNSMethodIndex;
}

ProxyTest::ProxyTest() {
  g_SockToClientApps = apps_socket;
  g_SockToDNSServers = servers_socket;
}

ProxyTest::~ProxyTest() {
  close(apps_socket);
  close(servers_socket);
}

void ProxyTest::Deliver(const UdpPeer& sender, const Wire& datagram, int sock) {
  const std::uint32_t before = MemoryOfWaiting(sock);
  sender.Send(datagram, AddressOfSocket(sock));
  while (MemoryOfWaiting(sock) == before) std::this_thread::yield();
}

void ProxyTest::File(const RequestInFlight& wanted) {
  ASSERT_FALSE(InFlight(wanted.id));
  const Guard guard(g_DnsRequestTable);
  g_DnsRequestTable.Add(NewRequest(wanted, application.Address()));
}

void ProxyTest::Forget(std::uint16_t id) {
  const Guard guard(g_DnsRequestTable);
  g_DnsRequestTable.Delete(id);
}

void ProxyTest::TryNext(std::uint16_t id, bool bReasonIsTimeout) {
  TryNextDNSQueryMethod(id, bReasonIsTimeout);
}
