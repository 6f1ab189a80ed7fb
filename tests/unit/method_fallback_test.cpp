#include "dns_proxy_mac/engine/engine.h"

#include <cerrno>

#include "tests/unit/proxy_fixture.h"

namespace {

class Fallback : public ProxyTest {
 protected:
  Fallback() { AddHost("mail.local", "10.1.2.3"); }

  // Files a request under id 7 with these methods, at this one of them, and lets it go on.
  void Try(std::vector<DNSMethodInfo> methods, std::uint8_t index = 0,
           const char* domain = "mail.local") {
    RequestInFlight request;
    request.methods = std::move(methods);
    request.index = index;
    request.domain = domain;
    File(request);
    TryNext(7);
  }
};

const Wire kForwarded =
    "07 00 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire;
const Wire kNoSuchName =
    "AB CD 80 03 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire;

}  // namespace

TEST_F(Fallback, UnknownIdIsTraced) {
  TryNext(513);
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 513, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:618)TryNextDNSQueryMethod: TryNextDNSQueryMethod: id: 513, request not found\n");
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(Fallback, TimeoutReasonIsPrintedAndNothingElse) {
  TryNext(65535, true);
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 65535, bReasonIsTimeout:1\n"
      "func: TryNextDNSQueryMethod(line:618)TryNextDNSQueryMethod: TryNextDNSQueryMethod: id: 65535, request not found\n");
}

TEST_F(Fallback, EmptyMethodListIsAnsweredNoSuchName) {
  Try({});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:0\n"
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n");
  EXPECT_EQ(application.Receive(), kNoSuchName);
  EXPECT_FALSE(InFlight(7));
}

TEST_F(Fallback, ReverseLookupIndexPastThreeMethodsIsAnsweredNoSuchNameAtOnce) {
  Try({HostMapMethod(), AskServerA(), AskServerB()}, 0x9F);
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 159, DnsListSize:3\n"
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n");
  EXPECT_EQ(application.Receive(), kNoSuchName);
  EXPECT_TRUE(server_a.HasNothing());
}

TEST_F(Fallback, IndexEqualToTheListSizeHasNoMethodLeft) {
  Try({AskServerA(), AskServerB()}, 2);
  EXPECT_EQ(application.Receive(), kNoSuchName);
  EXPECT_TRUE(server_b.HasNothing());
}

TEST_F(Fallback, LastMethodOfTheListIsTried) {
  Try({AskServerA(), AskServerB()}, 1);
  EXPECT_EQ(server_b.Receive(), kForwarded);
  EXPECT_TRUE(server_a.HasNothing());
}

TEST_F(Fallback, QueryIsForwardedUnchangedFromTheServersSocketAndWaits) {
  Try({AskServerA()});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:1\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
  EXPECT_EQ(server_a.Receive(), kForwarded);
  EXPECT_EQ(server_a.last_sender.sin_port, AddressOfSocket(servers_socket).sin_port);
  EXPECT_TRUE(InFlight(7));
  EXPECT_EQ(MethodIndex(7), 0);
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(Fallback, HostMapMissGoesOnToTheServer) {
  Try({HostMapMethod(), AskServerA()}, 0, "other.local");
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 1, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
  EXPECT_EQ(server_a.Receive(), kForwarded);
  EXPECT_EQ(MethodIndex(7), 1);
}

TEST_F(Fallback, HostMapMissAtTheEndOfTheListIsAnsweredNoSuchName) {
  Try({HostMapMethod()}, 0, "other.local");
  EXPECT_EQ(application.Receive(), kNoSuchName);
  EXPECT_FALSE(InFlight(7));
}

TEST_F(Fallback, HostMapHitIsAnsweredWithTheApplicationsIdAndTracedWithTheProxys) {
  Try({HostMapMethod(), AskServerA()});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n"
      "func: TryNextDNSQueryMethod(line:669) find mail.local from hostmap, ip:10.1.2.3, req id:7\n");
  EXPECT_EQ(application.Receive(),
            "AB CD 81 00 00 01 00 01 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01 "
            "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
  EXPECT_EQ(application.last_sender.sin_port, AddressOfSocket(apps_socket).sin_port);
  EXPECT_FALSE(InFlight(7));
  EXPECT_TRUE(server_a.HasNothing());
}

TEST_F(Fallback, HostMapAddressIsPrintedUnsigned) {
  AddHost("high.local", "192.168.255.254");
  Try({HostMapMethod()}, 0, "HIGH.Local");
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "func: TryNextDNSQueryMethod(line:669) find HIGH.Local from hostmap, ip:192.168.255.254, req id:7\n"));
}

TEST_F(Fallback, HostMapLooksTheNameUpToItsFirstZeroByte) {
  RequestInFlight request;
  request.domain = std::string("mail.local\0hidden", 17);
  request.methods = {HostMapMethod()};
  File(request);
  TryNext(7);
  EXPECT_EQ(application.Receive().length(), 44);
}

TEST_F(Fallback, HostMapHitOnTheLongestQueryWithRoomIsAnswered) {
  RequestInFlight request;
  request.query = request.query + Repeated(8175 - 28, 'x');
  request.methods = {HostMapMethod(), AskServerA()};
  File(request);
  TryNext(7);
  const Wire answer = application.Receive();
  EXPECT_EQ(answer.length(), 8191);
  EXPECT_EQ(WireAt(answer.bytes.data() + 8175, 16),
            "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST_F(Fallback, HostMapHitOnALongerQueryIsTakenAsAMiss) {
  RequestInFlight request;
  request.query = request.query + Repeated(8176 - 28, 'x');
  request.methods = {HostMapMethod(), AskServerA()};
  File(request);
  TryNext(7);
  EXPECT_EQ(server_a.Receive(), kForwarded + Repeated(8176 - 28, 'x'));
  EXPECT_TRUE(application.HasNothing());
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 1, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
}

TEST_F(Fallback, HostMapHitOnAQueryOf8192BytesWritesNothingPastItsPacket) {
  RequestInFlight request;
  request.query = request.query + Repeated(8192 - 28, 'x');
  request.methods = {HostMapMethod()};
  File(request);
  TryNext(7);
  EXPECT_EQ(application.Receive(), kNoSuchName + Repeated(8192 - 28, 'x'));
}

TEST_F(Fallback, MethodOfAnotherTypeLeavesTheRequestAsItIs) {
  Try({MethodOfType(2), AskServerA()});
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:2(0: dns, 1:hostmap)\n");
  EXPECT_TRUE(InFlight(7));
  EXPECT_EQ(MethodIndex(7), 0);
  EXPECT_TRUE(application.HasNothing());
  EXPECT_TRUE(server_a.HasNothing());
}

TEST_F(Fallback, NegativeMethodTypeIsPrintedSigned) {
  Try({MethodOfType(-1)});
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:-1(0: dns, 1:hostmap)\n"));
  EXPECT_TRUE(InFlight(7));
}

TEST_F(Fallback, MissAtIndex255GoesOnAtTheFirstMethod) {
  std::vector<DNSMethodInfo> methods(300, HostMapMethod());
  methods[0] = AskServerA();
  Try(methods, 255, "other.local");
  EXPECT_EQ(MethodIndex(7), 0);
  EXPECT_EQ(server_a.Receive(), kForwarded);
}

TEST_F(Fallback, ListSizeIsCountedIn16Bits) {
  Try(std::vector<DNSMethodInfo>(65536, AskServerA()));
  EXPECT_EQ(
      Trace(),
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:0\n"
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n");
}

TEST_F(Fallback, TimeoutReasonIsNotHandedOnAfterAMiss) {
  RequestInFlight request;
  request.domain = "not.in.the.map";
  request.methods = {HostMapMethod(), AskServerA()};
  File(request);
  TryNext(7, true);
  const std::string trace = Trace();
  EXPECT_THAT(trace, ::testing::StartsWith("func: TryNextDNSQueryMethod(line:614)"
                                           "TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:1\n"));
  EXPECT_THAT(trace, ::testing::HasSubstr("func: TryNextDNSQueryMethod(line:614)"
                                          "TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"));
}

TEST_F(Fallback, MissAtIndex255GoesOnAtTheFirstMethodAndNotBefore) {
  RequestInFlight request;
  request.domain = "not.in.the.map";
  request.index = 254;
  request.methods.assign(255, HostMapMethod());
  request.methods.push_back(AskServerA());
  File(request);
  TryNext(7);
  EXPECT_EQ(MethodIndex(7), 255);
}
