#include "dns_proxy_mac/engine/engine.h"

#include "tests/unit/intake_fixture.h"

namespace {

// Queries that are accepted.
class Intake : public IntakeTest {};

const Wire kQuery = "AB CD 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire;

const Wire kReverseQuery =
    "AB CD 01 00 00 01 00 00 00 00 00 00 01 '4' 01 '3' 01 '2' 01 '1' 07 'in-addr' 04 'arpa' 00 00 0C 00 01"_wire;

}  // namespace

TEST_F(Intake, AcceptedQueryIsTracedAndForwarded) {
  EXPECT_EQ(Accept(kQuery), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 28 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............mail.local\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is mail.local, id:0\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:1\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
  EXPECT_EQ(server_a.Receive(),
            "00 00 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
}

TEST_F(Intake, RecordHoldsEveryFieldOfTheQuery) {
  Accept("AB CD 01 00 00 01 00 00 00 00 00 01 04 'Mail' 05 'local' 00 00 1C 00 03 'opt'"_wire);
  const DnsRequest& request = Request(0);
  EXPECT_EQ(request.usId, 0);
  EXPECT_EQ(WireAt(&request.usClientId, 2), "AB CD"_wire);
  EXPECT_EQ(request.CurrentDNSMethodIndex, 0);
  EXPECT_EQ(request.iRecvLen, 31);
  const sockaddr_in from = application.Address();
  EXPECT_EQ(WireAt(&request.ClientAddr, 16), WireAt(&from, 16));
  EXPECT_EQ(WireAt(request.QueryPacket, 31 + 17),
            "00 00 01 00 00 01 00 00 00 00 00 01 04 'Mail' 05 'local' 00 00 1C 00 03 'opt'"_wire +
                Repeated(17, 0));
  EXPECT_EQ(request.iQueryPacketLen, 31);
  EXPECT_EQ(request.strDomain, "Mail.local");
  EXPECT_EQ(request.usQType, 28);
  EXPECT_EQ(request.usQClass, 3);
  ASSERT_EQ(request.vecMethods.size(), 1U);
  const DNSMethodInfo method = AskServerA();
  EXPECT_EQ(WireAt(&request.vecMethods[0], sizeof(method)), WireAt(&method, sizeof(method)));
  EXPECT_FALSE(request.bSpare);
}

TEST_F(Intake, ReceiveCallOffers8192BytesAndAnAddressOf28) {
  Ask(kQuery);
  const system_calls::Recording recording;
  RecvAndProcessPacketsFromLocalApps(g_SockToClientApps);
  EXPECT_EQ(recording.Calls().front(), "recvfrom " + std::to_string(apps_socket) +
                                           ": up to 8192 bytes, flags 0, address of 28 bytes");
}

TEST_F(Intake, FirstQueryGetsIdZeroAndTheSecondGetsOneInNativeOrder) {
  Accept(kQuery);
  Accept(kQuery);
  EXPECT_EQ(WireAt(server_a.Receive().bytes.data(), 2), "00 00"_wire);
  EXPECT_EQ(WireAt(server_a.Receive().bytes.data(), 2), "01 00"_wire);
  EXPECT_EQ(g_QueryID, 2);
}

TEST_F(Intake, IdAfter65535IsZero) {
  g_QueryID = 65535;
  Accept(kQuery);
  EXPECT_TRUE(InFlight(65535));
  EXPECT_EQ(g_QueryID, 0);
  Accept(kQuery);
  EXPECT_TRUE(InFlight(0));
  EXPECT_EQ(WireAt(server_a.Receive().bytes.data(), 2), "FF FF"_wire);
  EXPECT_EQ(WireAt(server_a.Receive().bytes.data(), 2), "00 00"_wire);
}

TEST_F(Intake, IdsRepeatAfter65536QueriesWhichTakeTheStorageOfOneRecord) {
  g_DnsMethodList.clear();  // every query is answered at once
  Accept(kQuery);
  language_runtime::WatchAllocationsOf(sizeof(DnsRequest));
  for (int query = 1; query < 65536; ++query) Accept(kQuery);
  EXPECT_EQ(language_runtime::LastWatchedAllocation(), nullptr);
  EXPECT_EQ(g_QueryID, 0);
  Trace();
  Accept(kQuery);
  EXPECT_THAT(
      Trace(),
      ::testing::HasSubstr(
          "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is mail.local, id:0\n"));
}

TEST_F(Intake, RefusedDatagramTakesNoId) {
  Accept("AB CD"_wire);
  Accept(kQuery);
  EXPECT_TRUE(InFlight(0));
  EXPECT_EQ(g_QueryID, 1);
}

TEST_F(Intake, IdStillInFlightAdvancesTheEarlierQueryAndLosesTheNewOne) {
  Accept(kQuery);
  server_a.Receive();
  Trace();
  g_QueryID = 0;
  const auto spares = AllSpares();  // what is lost then is known to the leak check
  EXPECT_EQ(Accept("12 34 01 00 00 01 00 00 00 00 00 00 03 'new' 00 00 01 00 01"_wire), 1);
  EXPECT_EQ(Request(0).strDomain, "mail.local");
  EXPECT_EQ(WireAt(&Request(0).usClientId, 2), "AB CD"_wire);
  EXPECT_EQ(RequestsInFlight(), 1U);
  EXPECT_EQ(g_QueryID, 1);
  EXPECT_EQ(server_a.Receive(),
            "00 00 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 21 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............new\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is new, id:0\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:1\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
}

TEST_F(Intake, ReverseLookupNameIsAnsweredNoSuchNameAtOnce) {
  EXPECT_EQ(Accept(kReverseQuery), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 38 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............4.3.2.1.in-addr.arpa\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is 4.3.2.1.in-addr.arpa, id:0\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 159, DnsListSize:1\n"
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n");
  EXPECT_EQ(
      application.Receive(),
      "AB CD 80 03 00 01 00 00 00 00 00 00 01 '4' 01 '3' 01 '2' 01 '1' 07 'in-addr' 04 'arpa' 00 00 0C 00 01"_wire);
  EXPECT_TRUE(server_a.HasNothing());
}

TEST_F(Intake, ReverseLookupNameIsAskedOfMethod159WhenThereIsOne) {
  g_DnsMethodList.assign(159, AskServerA());
  g_DnsMethodList.push_back(AskServerB());
  Accept(kReverseQuery);
  EXPECT_EQ(Request(0).CurrentDNSMethodIndex, 0x9F);
  EXPECT_EQ(WireAt(server_b.Receive().bytes.data(), 2), "00 00"_wire);
  EXPECT_TRUE(server_a.HasNothing());
}

TEST_F(Intake, ReverseLookupMarkCountsAnywhereInTheName) {
  Accept(
      "AB CD 01 00 00 01 00 00 00 00 00 00 01 'x' 07 'in-addr' 04 'arpa' 07 'example' 00 00 0C 00 01"_wire);
  EXPECT_THAT(Trace(), ::testing::HasSubstr("CurrentDNSMethodIndex: 159, DnsListSize:1\n"));
}

TEST_F(Intake, ReverseLookupMarkInCapitalsDoesNotCount) {
  Accept("AB CD 01 00 00 01 00 00 00 00 00 00 01 'x' 07 'IN-ADDR' 04 'ARPA' 00 00 0C 00 01"_wire);
  EXPECT_EQ(Request(0).CurrentDNSMethodIndex, 0);
}

TEST_F(Intake, ReverseLookupMarkNeedsTheDotInFront) {
  Accept("AB CD 01 00 00 01 00 00 00 00 00 00 07 'in-addr' 04 'arpa' 00 00 0C 00 01"_wire);
  EXPECT_EQ(Request(0).CurrentDNSMethodIndex, 0);
}

TEST_F(Intake, RequestsHoldEqualListsAndAdvanceOnTheirOwn) {
  g_DnsMethodList = {AskServerA(), AskServerB()};
  Accept(kQuery);
  Accept(kQuery);
  g_DnsMethodList.clear();
  Respond(server_a, "00 00 81 80 00 01 00 00 00 00 00 00"_wire);
  RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers);
  EXPECT_EQ(Request(0).CurrentDNSMethodIndex, 1);
  EXPECT_EQ(Request(1).CurrentDNSMethodIndex, 0);
  for (std::uint16_t id = 0; id < 2; ++id) {
    ASSERT_EQ(Request(id).vecMethods.size(), 2U);
    const DNSMethodInfo first = AskServerA();
    const DNSMethodInfo second = AskServerB();
    EXPECT_EQ(WireAt(&Request(id).vecMethods[0], 24), WireAt(&first, 24));
    EXPECT_EQ(WireAt(&Request(id).vecMethods[1], 24), WireAt(&second, 24));
  }
}
