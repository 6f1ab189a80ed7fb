// The companion's macOS file itself, compiled here against the stand-in headers. What it includes
// of this system's own must be there before it is told that it is on macOS.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "common/platform/process_table.h"
#include "tests/macos/fake_macos.h"

#define __APPLE__ 1  // NOLINT(clang-diagnostic-reserved-macro-identifier): the compiler's own there
#include "common/platform/process_table_macos.cpp"  // NOLINT(bugprone-suspicious-include)

namespace {

using fake_macos::File;
using fake_macos::Play;
using fake_macos::PlayedProcess;
using fake_macos::UdpSocket;
using fake_macos::UdpSocketOfIpv6;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

PlayedProcess Named(const std::string& name, pid_t pid = 7) {
  PlayedProcess process;
  process.pid = pid;
  process.name = name;
  return process;
}

PlayedProcess Proxy(pid_t pid = 7) { return Named("dns_proxy_mac", pid); }

PlayedProcess Holding(const std::string& name, const fake_macos::Descriptor& socket) {
  PlayedProcess process = Named(name);
  process.descriptors = {File(), socket};
  return process;
}

std::vector<pid_t> FoundIds() {
  std::vector<pid_t> ids;
  for (const ctl::Process& process : ctl::ProcessesNamedAsProxy()) ids.push_back(process.pid);
  return ids;
}

ctl::Process Found() { return ctl::ProcessesNamedAsProxy().at(0); }

}  // namespace

TEST(MacosProcessTable, ProxyIsFoundByItsWholeName) {
  Play({Named("dns_proxy_ctl", 5), Proxy(6), Named("dns_proxy_mac2", 8), Proxy(9)});
  EXPECT_THAT(FoundIds(), ElementsAre(6, 9));
}

TEST(MacosProcessTable, ProcessWithArgumentsIsNotTheProxy) {
  PlayedProcess process = Proxy();
  process.argument_count = 2;
  Play({process});
  EXPECT_THAT(FoundIds(), IsEmpty());
}

TEST(MacosProcessTable, StartIsToldInMicrosecondsAndTheOwnerIsTheEffectiveOne) {
  PlayedProcess process = Proxy();
  process.owner = 65534;
  process.start_seconds = 1700000000;
  process.start_microseconds = 123456;
  Play({process});
  EXPECT_EQ(Found().started, 1700000000123456U);
  EXPECT_EQ(Found().owner, 65534U);
}

TEST(MacosProcessTable, ProcessOfTheSameIdThatWasStartedLaterIsAnotherOne) {
  Play({Proxy()});
  const ctl::Process process = Found();
  EXPECT_TRUE(ctl::IsAlive(process));
  PlayedProcess later = Proxy();
  later.start_microseconds = 1;
  Play({later});
  EXPECT_FALSE(ctl::IsAlive(process));
  Play({});
  EXPECT_FALSE(ctl::IsAlive(process));
}

TEST(MacosProcessTable, ThreadsComeInTheOrderOfTheKernel) {
  PlayedProcess process = Proxy();
  process.threads = {0x70000, 0x90000, 0x80000};
  Play({process});
  EXPECT_THAT(ctl::ThreadsOf(Found()), ElementsAre(0x70000U, 0x90000U, 0x80000U));
}

TEST(MacosProcessTable, ProcessThatHasEndedHasNoThreadsAlsoWhenAnotherHasItsId) {
  Play({Proxy()});
  const ctl::Process process = Found();
  Play({});
  EXPECT_THAT(ctl::ThreadsOf(process), IsEmpty());
  PlayedProcess another = Proxy();
  another.start_seconds += 1;
  another.threads = {0x70000};
  Play({another});
  EXPECT_THAT(ctl::ThreadsOf(process), IsEmpty());
}

TEST(MacosProcessTable, SecondsSinceTheStartAreThoseOfTheClock) {
  PlayedProcess process = Proxy();
  process.start_seconds = static_cast<std::uint64_t>(time(nullptr)) - 3600;
  Play({process});
  EXPECT_NEAR(ctl::SecondsSinceStart(Found()), 3600, 60);
}

TEST(MacosProcessTable, ProxyHoldsItsPortByASocketOnLoopbackAlone) {
  Play({Holding("dns_proxy_mac", UdpSocket("127.0.0.1", 53))});
  EXPECT_TRUE(ctl::HoldsLocalPort(Found()));
  Play({Holding("dns_proxy_mac", UdpSocket("0.0.0.0", 53))});
  EXPECT_FALSE(ctl::HoldsLocalPort(Found()));
  Play({Holding("dns_proxy_mac", UdpSocket("127.0.0.1", 5353))});
  EXPECT_FALSE(ctl::HoldsLocalPort(Found()));
}

TEST(MacosProcessTable, SocketOnEveryAddressKeepsTheProxyFromItsPort) {
  Play({Named("other", 5), Holding("mDNSResponder", UdpSocket("0.0.0.0", 53))});
  const ctl::PortHolder holder = ctl::HolderOfLocalPort();
  EXPECT_TRUE(holder.is_held);
  EXPECT_EQ(holder.pid, 7);
  EXPECT_EQ(holder.name, "mDNSResponder");
}

TEST(MacosProcessTable, SocketOfIpv6IsInTheWayWhenItTakesIpv4Too) {
  Play({Holding("named", UdpSocketOfIpv6(53, false))});
  EXPECT_TRUE(ctl::HolderOfLocalPort().is_held);
  Play({Holding("named", UdpSocketOfIpv6(53, true))});
  EXPECT_FALSE(ctl::HolderOfLocalPort().is_held);
}

TEST(MacosProcessTable, SocketOfAnotherAddressPortOrProtocolIsInNobodysWay) {
  fake_macos::Descriptor stream = UdpSocket("127.0.0.1", 53);
  stream.socket.soi_kind = SOCKINFO_TCP;
  stream.socket.soi_protocol = IPPROTO_TCP;
  Play({Holding("a", UdpSocket("192.0.2.1", 53)), Holding("b", UdpSocket("127.0.0.1", 54)),
        Holding("c", stream)});
  EXPECT_FALSE(ctl::HolderOfLocalPort().is_held);
}

TEST(MacosProcessTable, ProcessThatTheKernelTellsNothingOfIsLeftOut) {
  PlayedProcess process = Holding("dns_proxy_mac", UdpSocket("127.0.0.1", 53));
  process.hidden = true;
  Play({process});
  EXPECT_THAT(FoundIds(), IsEmpty());
  EXPECT_FALSE(ctl::HolderOfLocalPort().is_held);
}

TEST(MacosProcessTable, RootAloneSeesTheProcessesOfOthers) {
  ASSERT_EQ(geteuid(), 0U);
  EXPECT_TRUE(ctl::SeesAllProcesses());
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_FALSE(ctl::SeesAllProcesses());
  ASSERT_EQ(seteuid(0), 0);
}
