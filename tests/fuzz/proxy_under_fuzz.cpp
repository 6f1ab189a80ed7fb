#include "tests/fuzz/proxy_under_fuzz.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>

#include "dns_proxy_mac/engine/engine.h"
#include "dns_proxy_mac/state/shared_objects.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/quiet_trace.h"

extern "C" {
// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the names that the linker's --wrap gives them
void __real__ZN12RequestTable3AddEP10DnsRequest(RequestTable* table, DnsRequest* request);
void __wrap__ZN12RequestTable3AddEP10DnsRequest(RequestTable* table, DnsRequest* request);
// NOLINTEND(clang-diagnostic-reserved-identifier)
}

namespace {

constexpr std::uint8_t kServersRefused = 0x08;
constexpr std::uint8_t kApplicationsRefused = 0x10;
constexpr unsigned kEnoughForReverseNames = 160;
constexpr unsigned kMoreThanAnIndexHolds = 300;

// The record last filed by the intake. When its id is in flight already nobody owns it, by design;
// here it is freed all the same, because an hour of fuzzing would not fit into memory.
DnsRequest* g_LastFiled = nullptr;

ExpectedMethods Servers(unsigned count) {
  ExpectedMethods methods;
  for (unsigned i = 0; i < count; ++i) {
    methods.push_back({ExpectedMethod::kServer, ServerAddress(i)});
  }
  return methods;
}

// Made once, because the long lists cost more than all the rest of an input.
const ExpectedMethods& MethodList(std::uint8_t choice) {
  static const ExpectedMethod host_map = {ExpectedMethod::kHostMap, ""};
  static const ExpectedMethod unknown = {ExpectedMethod::kUnknown, ""};
  static const ExpectedMethod a = {ExpectedMethod::kServer, ServerAddress(0)};
  static const ExpectedMethod b = {ExpectedMethod::kServer, ServerAddress(1)};
  static const ExpectedMethods lists[] = {
      {host_map, a, b},
      {},
      {host_map},
      {a, b},
      {a, host_map, b},
      {host_map, unknown, a},
      Servers(kEnoughForReverseNames),
      Servers(kMoreThanAnIndexHolds),
  };
  return lists[choice % std::size(lists)];
}

std::string AddressBytes(const std::string& dotted) {
  in_addr address = {};
  CHECK(inet_pton(AF_INET, dotted.c_str(), &address) == 1);
  return {reinterpret_cast<const char*>(&address), sizeof(address)};
}

// 16 bytes: family, port 53, address, eight zeros.
std::string ServerSocketAddress(const std::string& dotted) { return Ipv4Sender(dotted, 53).Kept(); }

DNSMethodInfo MethodInfo(const ExpectedMethod& expected) {
  DNSMethodInfo method;
  std::memset(&method, 0, sizeof(method));
  method.iDNSMethodType = static_cast<std::int32_t>(expected.kind);
  if (expected.kind == ExpectedMethod::kServer) {
    const std::string address = ServerSocketAddress(expected.address);
    std::memcpy(&method.ServerAddr, address.data(), sizeof(method.ServerAddr));
  }
  return method;
}

const std::vector<DNSMethodInfo>& MethodInfos(const ExpectedMethods& expected) {
  static std::map<const ExpectedMethods*, std::vector<DNSMethodInfo>> made;
  const auto [entry, is_new] = made.try_emplace(&expected);
  if (is_new) {
    for (const ExpectedMethod& method : expected) entry->second.push_back(MethodInfo(method));
  }
  return entry->second;
}

DnsRequest* NewRecord(std::uint16_t id, const ExpectedRequest& expected) {
  auto* record = new DnsRequest;
  record->usId = id;
  std::memcpy(&record->usClientId, expected.client_id.data(), sizeof(record->usClientId));
  record->CurrentDNSMethodIndex = expected.index;
  record->iRecvLen = static_cast<std::int32_t>(expected.packet.size());
  std::memcpy(&record->ClientAddr, expected.client.data(), sizeof(record->ClientAddr));
  std::memset(record->QueryPacket, 0, sizeof(record->QueryPacket));
  std::memcpy(record->QueryPacket, expected.packet.data(), expected.packet.size());
  record->iQueryPacketLen = record->iRecvLen;
  record->strDomain = expected.name;
  record->usQType = expected.type;
  record->usQClass = expected.type_class;
  record->vecMethods = MethodInfos(*expected.methods);
  record->bSpare = false;
  return record;
}

bool SamePacket(const DnsRequest& record, const std::string& expected) {
  static const std::string zeros(17, '\0');  // what a host map answer takes behind the query
  const std::size_t size = expected.size();
  return record.iQueryPacketLen == static_cast<std::int32_t>(size) &&
         std::memcmp(record.QueryPacket, expected.data(), size) == 0 &&
         std::memcmp(record.QueryPacket + size, zeros.data(),
                     std::min(zeros.size(), sizeof(record.QueryPacket) - size)) == 0;
}

bool SameMethods(const DnsRequest& record, const ExpectedMethods& expected) {
  const std::vector<DNSMethodInfo>& methods = MethodInfos(expected);
  return record.vecMethods.size() == methods.size() &&
         (methods.empty() || std::memcmp(record.vecMethods.data(), methods.data(),
                                         methods.size() * sizeof(DNSMethodInfo)) == 0);
}

bool SameRecord(const DnsRequest& record, std::uint16_t id, const ExpectedRequest& expected) {
  return record.usId == id && std::memcmp(&record.usClientId, expected.client_id.data(), 2) == 0 &&
         std::memcmp(&record.ClientAddr, expected.client.data(), 16) == 0 &&
         record.CurrentDNSMethodIndex == expected.index && record.strDomain == expected.name &&
         record.usQType == expected.type && record.usQClass == expected.type_class &&
         record.iRecvLen == record.iQueryPacketLen && !record.bSpare &&
         SameMethods(record, *expected.methods) && SamePacket(record, expected.packet);
}

bool SameDatagram(const SentDatagram& sent, const ExpectedDatagram& expected) {
  const int sock = expected.to_application ? kApplicationsSocket : kServersSocket;
  const std::string address =
      expected.to_application ? expected.address : ServerSocketAddress(expected.address);
  return sent.sock == sock && sent.bytes == expected.bytes &&
         sent.address.substr(0, 16) == address &&
         sent.address.find_first_not_of('\0', 16) == std::string::npos;
}

}  // namespace

void __wrap__ZN12RequestTable3AddEP10DnsRequest(RequestTable* table, DnsRequest* request) {
  g_LastFiled = request;
  __real__ZN12RequestTable3AddEP10DnsRequest(table, request);
}

std::string ServerAddress(unsigned position) {
  return "10.0." + std::to_string(position / 200) + "." + std::to_string(position % 200 + 1);
}

ProxyUnderFuzz::ProxyUnderFuzz(std::uint8_t list) {
  QuietTrace();
  substituted_sockets::Reset();
  g_SockToClientApps = kApplicationsSocket;
  g_SockToDNSServers = kServersSocket;
  if ((list & kServersRefused) != 0) substituted_sockets::RefuseSends(kServersSocket);
  if ((list & kApplicationsRefused) != 0) substituted_sockets::RefuseSends(kApplicationsSocket);
  expected_.servers_unreachable = (list & kServersRefused) != 0;
  expected_.methods = &MethodList(list);
  g_DnsMethodList = MethodInfos(*expected_.methods);

  const std::string intra = "intra.lan";
  const std::string capital = "Capital.lan";
  const std::string short_name = "a";
  for (std::string domain : {intra, capital, short_name}) g_Hostmaps.Add(domain.data(), "10.1.2.3");
  expected_.hosts = {{intra, AddressBytes("10.1.2.3")},
                     {capital, AddressBytes("10.1.2.3")},
                     {short_name, AddressBytes("10.1.2.3")}};
  SetNextId(0);
}

ProxyUnderFuzz::~ProxyUnderFuzz() {
  const Guard guard(g_DnsRequestTable);
  g_DnsRequestTable.Clear();
  g_Hostmaps.Clear();
  g_DnsMethodList = {};
}

void ProxyUnderFuzz::SetNextId(std::uint16_t id) {
  g_QueryID = id;
  expected_.next_id = id;
}

void ProxyUnderFuzz::File(std::uint16_t id, const ExpectedRequest& request) {
  const Guard guard(g_DnsRequestTable);
  __real__ZN12RequestTable3AddEP10DnsRequest(&g_DnsRequestTable, NewRecord(id, request));
  expected_.in_flight[id] = request;
}

void ProxyUnderFuzz::TakeQuery(const std::string& datagram, const Sender& sender) {
  const bool id_in_flight = expected_.in_flight.count(expected_.next_id) != 0;
  g_LastFiled = nullptr;
  substituted_sockets::Deliver(kApplicationsSocket, datagram, sender);
  const int taken = RecvAndProcessPacketsFromLocalApps(kApplicationsSocket);
  if (id_in_flight) delete g_LastFiled;
  CHECK(taken == expected_.TakeQuery(datagram, sender.Kept()));
  CheckOutcome();
}

void ProxyUnderFuzz::TakeResponse(const std::string& datagram, const Sender& sender,
                                  const std::string& from) {
  substituted_sockets::Deliver(kServersSocket, datagram, sender);
  const int taken = RecvAndProcessPacketsFromDNSServer(kServersSocket);
  CHECK(taken == expected_.TakeResponse(datagram, from));
  CheckOutcome();
}

void ProxyUnderFuzz::FailBothReceives() {
  substituted_sockets::DeliverFailure(kApplicationsSocket);
  CHECK(RecvAndProcessPacketsFromLocalApps(kApplicationsSocket) == 0);
  substituted_sockets::DeliverFailure(kServersSocket);
  CHECK(RecvAndProcessPacketsFromDNSServer(kServersSocket) == 0);
  CheckOutcome();
}

void ProxyUnderFuzz::CheckOutcome() {
  CHECK(substituted_sockets::DeliveryTaken());
  const std::vector<SentDatagram>& sent = substituted_sockets::Sent();
  CHECK(sent.size() == expected_.sent.size());
  for (std::size_t i = 0; i < sent.size(); ++i) CHECK(SameDatagram(sent[i], expected_.sent[i]));

  CHECK(g_QueryID == expected_.next_id);
  const Guard guard(g_DnsRequestTable);
  CHECK(g_DnsRequestTable.mapRequests.size() == expected_.in_flight.size());
  for (const auto& [id, request] : expected_.in_flight) {
    RequestTable::Iterator found;
    CHECK(g_DnsRequestTable.Find(id, found));
    CHECK(SameRecord(*found->second, id, request));
  }
}
