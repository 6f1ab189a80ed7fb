#include <unistd.h>

#include <cerrno>

#include "dns_proxy_mac/engine/engine.h"
#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;

// Sends that the system refuses: the request is over, whatever it waited for.
class FallbackFailures : public ProxyTest {
 protected:
  FallbackFailures() { AddHost("mail.local", "10.1.2.3"); }

  ~FallbackFailures() override {
    EXPECT_FALSE(InFlight(258));
    EXPECT_TRUE(application.HasNothing());
    EXPECT_TRUE(server_a.HasNothing());
    EXPECT_TRUE(server_b.HasNothing());
  }

  void Try(std::vector<DNSMethodInfo> methods) {
    RequestInFlight request;
    request.id = 258;
    request.methods = std::move(methods);
    File(request);
    TryNext(258);
  }
};

sockaddr_in Address(std::uint32_t host) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(53);
  address.sin_addr.s_addr = htonl(host);
  return address;
}

}  // namespace

TEST_F(FallbackFailures, FailedSendToAServerEndsTheRequestWithoutAnAnswer) {
  system_calls::Substitute(Call::kSendto, {{-1, EPERM}});
  Try({AskServerA(), AskServerB()});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 258, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"
      "TryNextDNSQueryMethod: id: 258,sendto failed: 1\n");
}

TEST_F(FallbackFailures, ServerThatNoRouteLeadsToEndsTheRequest) {
  Try({ServerMethod(Address(0xC0000201)), AskServerB()});  // 192.0.2.1
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 258, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"
      "TryNextDNSQueryMethod: id: 258,sendto failed: 101\n");
}

TEST_F(FallbackFailures, ServerOfAnotherFamilyIsSentALengthOf28) {
  DNSMethodInfo method = MethodOfType(0);
  method.ServerAddr.sa_family = AF_INET6;
  system_calls::Substitute(Call::kSendto, {{-1, EAFNOSUPPORT}});
  const system_calls::Recording recording;
  Try({method});
  EXPECT_THAT(
      recording.Calls(),
      ::testing::ElementsAre(
          "sendto " + std::to_string(servers_socket) +
          ": 28 bytes, flags 0, to 28 bytes: 0A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
          "00 00 00 00 00 00 00 00 00 00 00 00"));
  EXPECT_THAT(Trace(), ::testing::EndsWith("TryNextDNSQueryMethod: id: 258,sendto failed: 97\n"));
}

TEST_F(FallbackFailures, FailedSendOfAHostMapAnswerEndsTheRequest) {
  system_calls::Substitute(Call::kSendto, {{-1, EPERM}});
  Try({HostMapMethod(), AskServerA()});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 258, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n"
      "func: TryNextDNSQueryMethod(line:669) find mail.local from hostmap, ip:10.1.2.3, req id:258\n"
      "func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed\n");
}

TEST_F(FallbackFailures, FailedSendOfANoSuchNameResponseEndsTheRequest) {
  system_calls::Substitute(Call::kSendto, {{-1, EPERM}});
  Try({});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 258, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:0\n"
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n"
      "func: TryNextDNSQueryMethod(line:703)TryNextDNSQueryMethod: id: 258, sendto failed\n");
}

TEST_F(FallbackFailures, SocketsThatAreClosedAreFailedSends) {
  g_SockToClientApps = -1;
  g_SockToDNSServers = -1;
  Try({AskServerA()});
  EXPECT_THAT(Trace(), ::testing::EndsWith("TryNextDNSQueryMethod: id: 258,sendto failed: 9\n"));
  Try({HostMapMethod()});
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed\n"));
}
