// What macOS answers where Linux answers otherwise or not at all, played: its error numbers, and
// its reading of addresses. docs/architecture.md has the same rows.
#include <unistd.h>

#include <cstring>
#include <map>

#include "dns_proxy_mac/engine/engine.h"
#include "dns_proxy_mac/startup/service.h"
#include "dns_proxy_mac/state/dns_method_info.h"
#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

// macOS's numbers: some of them mean something else here.
constexpr int kThreadNotFound = 3;
constexpr int kBadDescriptor = 9;
constexpr int kPermissionDenied = 13;
constexpr int kFileTooLarge = 27;
constexpr int kBrokenPipe = 32;
constexpr int kMessageTooLong = 40;
constexpr int kConnectionRefused = 61;

// What macOS's inet_addr says where this system's says something else.
std::map<std::string, const char*> g_ReadByMacos;

class MacosBehaviour : public ProxyTest {
 protected:
  ~MacosBehaviour() override { g_ReadByMacos.clear(); }

  void AskServerAOfTwo(std::uint16_t id) {
    RequestInFlight request;
    request.id = id;
    request.methods = {AskServerA(), AskServerB()};
    File(request);
    TryNext(id);
  }

  std::string LastLine() {
    const std::string trace = Trace();
    const std::size_t before = trace.rfind('\n', trace.size() - 2);
    return before == std::string::npos ? trace : trace.substr(before + 1);
  }
};

class UnreachableServer : public MacosBehaviour, public ::testing::WithParamInterface<int> {};

class MacosServiceStart : public SharedObjectsTest {
 protected:
  ~MacosServiceStart() override {
    close(g_SockToClientApps);
    close(g_SockToDNSServers);
  }
};

}  // namespace

extern "C" {

// The names are the linker's.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
in_addr_t __real_inet_addr(const char* text);

in_addr_t __wrap_inet_addr(const char* text) {
  const auto played = g_ReadByMacos.find(text);
  return __real_inet_addr(played == g_ReadByMacos.end() ? text : played->second);
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

}  // extern "C"

TEST_F(MacosBehaviour, SocketClosedUnderTheWaitEndsTheQueryThreadWithItsLine) {
  system_calls::Substitute(Call::kSelect, {{0}, {-1, kBadDescriptor}});
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(Trace(), "func: thread_query(line:273) QureyThread: select failed. exit\n");
}

TEST_F(MacosBehaviour, SocketClosedBetweenTheWaitAndTheReceiveEndsTheQueryThread) {
  Ask("AB CD"_wire);
  system_calls::Substitute(Call::kRecvfrom, {{-1, kBadDescriptor}});
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(
      Trace(),
      "func: thread_query(line:282) ****QureyThread***: received dns request\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...\n");
}

// No route, network unreachable, network down, host down, no buffer space, no such source address,
// and the broadcast address, which text that is no address becomes.
INSTANTIATE_TEST_SUITE_P(ByItsNumber, UnreachableServer,
                         ::testing::Values(65, 51, 50, 64, 55, 49, kPermissionDenied));

TEST_P(UnreachableServer, EndsTheRequestWithoutAnAnswerAndTheNumberIsTraced) {
  system_calls::Substitute(Call::kSendto, {{-1, GetParam()}});
  AskServerAOfTwo(258);
  EXPECT_EQ(LastLine(),
            "TryNextDNSQueryMethod: id: 258,sendto failed: " + std::to_string(GetParam()) + "\n");
  EXPECT_FALSE(InFlight(258));
  EXPECT_TRUE(application.HasNothing());
  EXPECT_TRUE(server_b.HasNothing());
}

TEST_F(MacosBehaviour, ServerThatRefusesIsNotHeardOfOnAnUnconnectedSocket) {
  sockaddr_in nobody{};
  {
    const UdpPeer gone("127.0.0.4");
    nobody = gone.Address();
  }
  RequestInFlight request;
  request.id = 258;
  request.methods = {ServerMethod(nobody)};
  File(request);
  TryNext(258);
  Respond(server_b, "07 00 81 80 00 01 00 01 00 00 00 00"_wire);
  EXPECT_EQ(RecvAndProcessPacketsFromDNSServer(servers_socket), 1);
  EXPECT_TRUE(InFlight(258));
  EXPECT_EQ(
      LastLine(),
      "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.3, id: 7, request not found\n");
}

TEST_F(MacosBehaviour, RefusalThatIsHeardOfAllTheSameEndsTheAnswerThread) {
  Respond(server_a, "07 00"_wire);
  system_calls::Substitute(Call::kRecvfrom, {{-1, kConnectionRefused}});
  EXPECT_EQ(thread_answer(nullptr), nullptr);
  EXPECT_EQ(
      Trace(),
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:314) RecvAndProcessPacketsFromDNSServer: recv nothing...\n"
      "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n");
}

TEST_F(MacosBehaviour, LargestQueryLeavesWithinTheLargestDatagramThatMacosSends) {
  g_DnsMethodList.push_back(AskServerA());
  Wire query = "AB CD 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire;
  query.bytes.resize(9216);
  Ask(query);
  const system_calls::Recording recording;
  EXPECT_EQ(RecvAndProcessPacketsFromLocalApps(apps_socket), 1);
  EXPECT_THAT(recording.Calls(),
              ElementsAre(StartsWith("recvfrom " + std::to_string(apps_socket) + ": up to 8192"),
                          StartsWith("sendto " + std::to_string(servers_socket) + ": 8192 bytes")));
  EXPECT_EQ(server_a.Receive().bytes.size(), 8192U);
}

TEST_F(MacosBehaviour, DatagramThatMacosFindsTooLargeIsAFailedSend) {
  system_calls::Substitute(Call::kSendto, {{-1, kMessageTooLong}});
  AskServerAOfTwo(258);
  EXPECT_THAT(Trace(), EndsWith("TryNextDNSQueryMethod: id: 258,sendto failed: 40\n"));
  EXPECT_FALSE(InFlight(258));
}

TEST_F(MacosServiceStart, ThreadThatIsNotFoundByTheSecondJoinIsTheEndOfTheService) {
  system_calls::Substitute(Call::kPthreadCreate, {{0}, {0}});
  system_calls::Substitute(Call::kPthreadJoin, {{0}, {kThreadNotFound}});
  const system_calls::Recording recording;
  EXPECT_TRUE(StartDnsSrv({"192.0.2.1"}, {}));
  const std::vector<std::string> calls = recording.Calls();
  ASSERT_GE(calls.size(), 4U);
  EXPECT_THAT(
      std::vector<std::string>(calls.end() - 4, calls.end()),
      ElementsAre("pthread_join 1", "pthread_join 1", StartsWith("close "), StartsWith("close ")));
}

TEST_F(MacosServiceStart, PortThatIsForRootAloneIsAFailedBind) {
  system_calls::Substitute(Call::kBind, {{-1, kPermissionDenied}});
  EXPECT_FALSE(StartDnsSrv({"192.0.2.1"}, {}));
  EXPECT_EQ(Trace(), "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed\n");
}

TEST_F(MacosBehaviour, AddressesInFormsThatBothSystemsReadAreReadAlike) {
  const std::map<std::string, Wire> read = {{"127.2", "7F 00 00 02"_wire},
                                            {"0x7f.1", "7F 00 00 01"_wire},
                                            {"010.0.0.1", "08 00 00 01"_wire},
                                            {"192.0.2.1 x", "C0 00 02 01"_wire},
                                            {"192.0.2.1\r", "C0 00 02 01"_wire},
                                            {"3221225985", "C0 00 02 01"_wire},
                                            {"", "FF FF FF FF"_wire},
                                            {"192.0.2.1.", "FF FF FF FF"_wire},
                                            {"192.0.2.256", "FF FF FF FF"_wire}};
  for (const auto& [text, bytes] : read) {
    const sockaddr_in address = MakeIpv4Address(text.c_str(), 53);
    EXPECT_EQ(WireAt(&address.sin_addr, 4), bytes) << text;
  }
}

TEST_F(MacosBehaviour, AddressThatMacosAloneReadsIsAServerThatIsAsked) {
  const sockaddr_in here = MakeIpv4Address(" 192.0.2.1", 53);
  EXPECT_EQ(WireAt(&here.sin_addr, 4), "FF FF FF FF"_wire);
  g_ReadByMacos = {{" 192.0.2.1", "192.0.2.1"}, {"+192.0.2.1", "192.0.2.1"}};
  for (const char* text : {" 192.0.2.1", "+192.0.2.1"}) {
    const sockaddr_in there = MakeIpv4Address(text, 53);
    EXPECT_EQ(WireAt(&there, 16), IPV4_FAMILY " 00 35 C0 00 02 01 00 00 00 00 00 00 00 00"_wire)
        << text;
  }
}

TEST_F(MacosBehaviour, OutputWithoutAReaderAndSignalIgnoredCostsTheLinesAndNothingElse) {
  g_SockToDNSServers = -1;
  system_calls::Substitute(Call::kWrite, {{-1, kBrokenPipe}});
  thread_answer(nullptr);
  EXPECT_EQ(trace_.Written(), "");
  thread_answer(nullptr);
  EXPECT_EQ(
      trace_.Written(),
      "func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit\n");
}

TEST_F(MacosBehaviour, FileAtItsSizeLimitAndSignalIgnoredCostsTheLinesAndNothingElse) {
  g_SockToDNSServers = -1;
  system_calls::Substitute(Call::kWrite, {{-1, kFileTooLarge}});
  thread_answer(nullptr);
  EXPECT_EQ(trace_.Written(), "");
  thread_answer(nullptr);
  EXPECT_EQ(
      trace_.Written(),
      "func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit\n");
}
