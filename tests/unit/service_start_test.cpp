#include "dns_proxy_mac/startup/service.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <sstream>

#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;
using system_calls::kSystem;

// A substituted thread's handle: a number on Linux, an address on macOS.
pthread_t Handle(std::uintptr_t number) { return reinterpret_cast<pthread_t>(number); }

// The start on its own: no thread runs unless a test lets it.
class ServiceStart : public SharedObjectsTest {
 protected:
  ~ServiceStart() override {
    if (started_.value_or(true)) return;
    if (g_SockToClientApps >= 0) close(g_SockToClientApps);
    if (g_SockToDNSServers >= 0) close(g_SockToDNSServers);
  }

  bool Start(const ServerList& servers, const HostMapList& host_map) {
    started_ = StartDnsSrv(servers, host_map);
    return *started_;
  }

  static std::string Address(std::size_t method) {
    std::ostringstream text;
    text << WireAt(&g_DnsMethodList.at(method).ServerAddr, 16);
    return text.str();
  }

  // The address that `name` has in the host map, "" when it has none.
  static Wire HostAddress(const char* name) {
    HostRespData* record = nullptr;
    return g_Hostmaps.Find(name, record) ? WireAt(record->Address(), 4) : Wire{};
  }

 private:
  std::optional<bool> started_;
};

}  // namespace

TEST_F(ServiceStart, ThreePairsAndTwoServersMakeThreeMethods) {
  system_calls::SubstituteThreads();
  EXPECT_TRUE(Start({"192.0.2.1", "192.0.2.2"},
                    {{"a.lan", "10.0.0.1"}, {"b.lan", "10.0.0.2"}, {"c.lan", "10.0.0.3"}}));
  EXPECT_EQ(Trace(),
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:124) Add host map: a.lan -> 10.0.0.1\n"
            "func: StartDnsSrv(line:124) Add host map: b.lan -> 10.0.0.2\n"
            "func: StartDnsSrv(line:124) Add host map: c.lan -> 10.0.0.3\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.1\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.2\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n");
  ASSERT_EQ(g_DnsMethodList.size(), 3U);
  EXPECT_EQ(g_DnsMethodList[0].iDNSMethodType, 1);
  EXPECT_EQ(g_DnsMethodList[0].iParam, 0);
  EXPECT_EQ(Address(0), "16 bytes: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  EXPECT_EQ(g_DnsMethodList[1].iDNSMethodType, 0);
  EXPECT_EQ(g_DnsMethodList[1].iParam, 1000);
  EXPECT_EQ(Address(1), "16 bytes: " IPV4_FAMILY " 00 35 C0 00 02 01 00 00 00 00 00 00 00 00");
  EXPECT_EQ(g_DnsMethodList[2].iDNSMethodType, 0);
  EXPECT_EQ(Address(2), "16 bytes: " IPV4_FAMILY " 00 35 C0 00 02 02 00 00 00 00 00 00 00 00");
  EXPECT_EQ(g_Hostmaps.mapHosts.size(), 3U);
  EXPECT_EQ(HostAddress("b.lan"), "0A 00 00 02"_wire);
}

TEST_F(ServiceStart, EveryPairOfALongHostMapIsAddedInItsOrder) {
  system_calls::SubstituteThreads();
  HostMapList host_map;
  std::string lines = "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n";
  for (int number = 10; number < 50; ++number) {
    const std::string name = "host" + std::to_string(number);
    const std::string address = "10.0.0." + std::to_string(number);
    host_map.emplace_back(name, address);
    lines.append("func: StartDnsSrv(line:124) Add host map: ");
    lines.append(name).append(" -> ").append(address).append("\n");
  }
  host_map.emplace_back("host10", "10.9.9.9");
  lines += "func: StartDnsSrv(line:124) Add host map: host10 -> 10.9.9.9\n";
  EXPECT_TRUE(Start({}, host_map));
  EXPECT_THAT(Trace(), ::testing::StartsWith(lines));
  EXPECT_EQ(g_Hostmaps.mapHosts.size(), 40U);
  EXPECT_EQ(HostAddress("host10"), "0A 00 00 0A"_wire);
  EXPECT_EQ(HostAddress("host26"), "0A 00 00 1A"_wire);
  EXPECT_EQ(HostAddress("host49"), "0A 00 00 31"_wire);
}

TEST_F(ServiceStart, EmptyHostMapMakesServerMethodsOnly) {
  system_calls::SubstituteThreads();
  EXPECT_TRUE(Start({"192.0.2.1", "192.0.2.2"}, {}));
  ASSERT_EQ(g_DnsMethodList.size(), 2U);
  for (const DNSMethodInfo& method : g_DnsMethodList) {
    EXPECT_EQ(method.iDNSMethodType, 0);
    EXPECT_EQ(method.iParam, 1000);
    EXPECT_EQ(WireAt(method.ServerAddr.sa_data, 2), "00 35"_wire);
  }
}

TEST_F(ServiceStart, EmptyServerListMakesOneHostMapMethod) {
  system_calls::SubstituteThreads();
  EXPECT_TRUE(Start({}, {{"a.lan", "10.0.0.1"}, {"b.lan", "10.0.0.2"}, {"c.lan", "10.0.0.3"}}));
  ASSERT_EQ(g_DnsMethodList.size(), 1U);
  EXPECT_EQ(g_DnsMethodList[0].iDNSMethodType, 1);
}

TEST_F(ServiceStart, ServerLineThatIsNoAddressIsAMethodAllTheSame) {
  system_calls::SubstituteThreads();
  EXPECT_TRUE(Start({"", "dns.example", "192.0.2.1\r"}, {}));
  EXPECT_EQ(Trace(),
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: \n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: dns.example\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.1\r\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n");
  EXPECT_EQ(Address(0), "16 bytes: " IPV4_FAMILY " 00 35 FF FF FF FF 00 00 00 00 00 00 00 00");
  EXPECT_EQ(Address(1), "16 bytes: " IPV4_FAMILY " 00 35 FF FF FF FF 00 00 00 00 00 00 00 00");
  EXPECT_EQ(Address(2), "16 bytes: " IPV4_FAMILY " 00 35 C0 00 02 01 00 00 00 00 00 00 00 00");
}

TEST_F(ServiceStart, PairsAreLoadedAsTheyAreAndTheFirstOfADomainStays) {
  system_calls::SubstituteThreads();
  EXPECT_TRUE(Start(
      {}, {{"localhost", "localhost"}, {"a.lan", "10.0.0.1"}, {"a.lan", "10.9.9.9"}, {"", ""}}));
  EXPECT_EQ(g_Hostmaps.mapHosts.size(), 3U);
  EXPECT_EQ(HostAddress("localhost"), "FF FF FF FF"_wire);
  EXPECT_EQ(HostAddress("a.lan"), "0A 00 00 01"_wire);
  EXPECT_EQ(HostAddress(""), "FF FF FF FF"_wire);
}

TEST_F(ServiceStart, TextsEndAtTheirFirstNul) {
  system_calls::SubstituteThreads();
  EXPECT_TRUE(Start({}, {{std::string("a.lan\0x", 7), std::string("10.0.0.1\0x", 10)}}));
  EXPECT_THAT(Trace(), ::testing::HasSubstr(
                           "func: StartDnsSrv(line:124) Add host map: a.lan -> 10.0.0.1\n"));
  EXPECT_EQ(g_Hostmaps.mapHosts.count("a.lan"), 1U);
}

TEST_F(ServiceStart, AsksTheSystemInThisOrder) {
  system_calls::Substitute(Call::kSocket, {{900}, {901}});
  system_calls::Substitute(Call::kBind, {{0}});
  system_calls::SubstituteThreads();
  const system_calls::Recording recording;
  EXPECT_TRUE(Start({"192.0.2.1"}, {}));
  EXPECT_THAT(recording.Calls(),
              ::testing::ElementsAre(
                  "socket 2 2 17", "socket 2 2 17",
                  "bind 900 to 16 bytes: " IPV4_FAMILY " 00 35 7F 00 00 01 00 00 00 00 00 00 00 00",
                  "pthread_create thread_answer, default attributes, no argument",
                  "pthread_create thread_query, default attributes, no argument",
                  ::testing::StartsWith("write 1: "),  // the trace, before the wait
                  "pthread_join 1", "pthread_join 1", "close 900", "close 901"));
  EXPECT_EQ(g_SockToClientApps, 900);
  EXPECT_EQ(g_SockToDNSServers, 901);
  EXPECT_EQ(g_thread_answer, Handle(1));
  EXPECT_EQ(g_thread_query, Handle(2));
}

TEST_F(ServiceStart, FirstSocketThatIsInvalidFailsAfterBothWereTried) {
  system_calls::Substitute(Call::kSocket, {{-1, EMFILE}});
  const system_calls::Recording recording;
  EXPECT_FALSE(Start({"192.0.2.1"}, {{"a.lan", "10.0.0.1"}}));
  EXPECT_EQ(Trace(), "func: StartDnsSrv(line:103) socket invalid\n");
  EXPECT_EQ(g_SockToClientApps, -1);
  EXPECT_GE(g_SockToDNSServers, 0);
  EXPECT_THAT(recording.Calls(), ::testing::ElementsAre("socket 2 2 17", "socket 2 2 17",
                                                        ::testing::StartsWith("write")));
  EXPECT_TRUE(g_DnsMethodList.empty());
  EXPECT_TRUE(g_Hostmaps.mapHosts.empty());
}

TEST_F(ServiceStart, SecondSocketThatIsInvalidFailsTheSame) {
  system_calls::Substitute(Call::kSocket, {kSystem, {-1, EMFILE}});
  EXPECT_FALSE(Start({"192.0.2.1"}, {}));
  EXPECT_EQ(Trace(), "func: StartDnsSrv(line:103) socket invalid\n");
  EXPECT_GE(g_SockToClientApps, 0);
  EXPECT_EQ(g_SockToDNSServers, -1);
  EXPECT_TRUE(g_DnsMethodList.empty());
}

TEST_F(ServiceStart, PortThatIsTakenFails) {
  const UdpPeer holder("127.0.0.1", 53);
  const system_calls::Recording recording;
  EXPECT_FALSE(Start({"192.0.2.1"}, {{"a.lan", "10.0.0.1"}}));
  EXPECT_THAT(recording.Calls(),
              ::testing::Not(::testing::Contains(::testing::StartsWith("close"))));
  EXPECT_EQ(Trace(), "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed\n");
  EXPECT_TRUE(g_DnsMethodList.empty());
  EXPECT_TRUE(g_Hostmaps.mapHosts.empty());
}

TEST_F(ServiceStart, AnyBindResultButZeroFails) {
  system_calls::Substitute(Call::kBind, {{1}});
  EXPECT_FALSE(Start({"192.0.2.1"}, {}));
  EXPECT_EQ(Trace(), "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed\n");
}

TEST_F(ServiceStart, AnswerThreadThatCannotBeCreatedFailsWithTheListsFilled) {
  system_calls::Substitute(Call::kPthreadCreate, {{EAGAIN}});
  EXPECT_FALSE(Start({"192.0.2.1"}, {{"a.lan", "10.0.0.1"}}));
  EXPECT_EQ(Trace(),
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:124) Add host map: a.lan -> 10.0.0.1\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.1\n"
            "func: StartDnsSrv(line:151) pthread_create g_thread_answer failed\n");
  EXPECT_EQ(g_DnsMethodList.size(), 2U);
  EXPECT_EQ(g_Hostmaps.mapHosts.size(), 1U);
}

TEST_F(ServiceStart, QueryThreadThatCannotBeCreatedFailsAndClosesNothing) {
  system_calls::Substitute(Call::kPthreadCreate, {{0}, {EAGAIN}});
  const system_calls::Recording recording;
  EXPECT_FALSE(Start({"192.0.2.1"}, {}));
  EXPECT_THAT(recording.Calls(),
              ::testing::Not(::testing::Contains(::testing::StartsWith("close"))));
  EXPECT_EQ(Trace(),
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.1\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:158) pthread_create thread_query failed\n");
}

TEST_F(ServiceStart, InitLockDoesNothing) {
  const system_calls::Recording recording;
  init_lock();
  EXPECT_TRUE(recording.Calls().empty());
  EXPECT_EQ(Trace(), "");
}
