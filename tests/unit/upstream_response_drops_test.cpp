#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "dns_proxy_mac/engine/engine.h"
#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;

// What reaches no application: datagrams that end the answer thread, and responses that are dropped
// while the request waits on. One request is in flight under id 7, waiting for server A.
class RelayDrops : public ProxyTest {
 protected:
  RelayDrops() {
    RequestInFlight request;
    request.methods = {AskServerA(), AskServerB()};
    File(request);
  }

  ~RelayDrops() override {
    EXPECT_TRUE(InFlight(7));
    EXPECT_TRUE(application.HasNothing());
  }

  int TakeUp(const UdpPeer& server, const Wire& response) {
    Respond(server, response);
    return RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers);
  }

  void FileAtIndex(std::uint16_t id, std::uint8_t index) {
    RequestInFlight request;
    request.id = id;
    request.index = index;
    request.methods = {AskServerA(), AskServerB()};
    File(request);
  }
};

const Wire kAnswer = "07 00 81 80 00 01 00 01 00 00 00 00 01 02 03 04"_wire;

}  // namespace

TEST_F(RelayDrops, SocketOfMinusOneEndsTheThread) {
  EXPECT_EQ(RecvAndProcessPacketsFromDNSServer(-1), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:308) RecvAndProcessPacketsFromDNSServer: socket fd is invalid\n");
}

TEST_F(RelayDrops, ReceiveCallThatFailsEndsTheThread) {
  system_calls::Substitute(Call::kRecvfrom, {{-1, ECONNREFUSED}});
  EXPECT_EQ(RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:314) RecvAndProcessPacketsFromDNSServer: recv nothing...\n");
}

TEST_F(RelayDrops, ElevenBytesEndTheThread) {
  EXPECT_EQ(TakeUp(server_a, "07 00 81 80 00 01 00 01 00 00 00"_wire), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 11, from: 127.0.0.2\n");
}

TEST_F(RelayDrops, EmptyDatagramOfAnybodyEndsTheThread) {
  const UdpPeer stranger("127.0.0.9");
  EXPECT_EQ(TakeUp(stranger, ""_wire), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 0 data from 127.0.0.9\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 0, from: 127.0.0.9\n");
}

TEST_F(RelayDrops, IdThatNobodyHasIsReadInNativeOrder) {
  EXPECT_EQ(TakeUp(server_a, "01 02 81 80 00 01 00 01 00 00 00 00"_wire), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 12 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.2, id: 513, request not found\n");
}

TEST_F(RelayDrops, AnotherAddressThanTheServersIsTheWrongSource) {
  const UdpPeer stranger("127.0.0.9");
  EXPECT_EQ(TakeUp(stranger, kAnswer), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 16 data from 127.0.0.9\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 7, dns_index:0 current dns rsp from: 127.0.0.9, should from: 127.0.0.2, it seems error\n");
  EXPECT_EQ(MethodIndex(7), 0);
}

TEST_F(RelayDrops, ServerThatIsNotAskedYetIsTheWrongSource) {
  EXPECT_EQ(TakeUp(server_b, kAnswer), 1);
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 7, dns_index:0 current dns rsp from: 127.0.0.3, should from: 127.0.0.2, it seems error\n"));
}

TEST_F(RelayDrops, LateResponseOfThePreviousServerIsTheWrongSource) {
  TakeUp(server_a, "07 00 81 80 00 01 00 00 00 00 00 00"_wire);
  Trace();
  EXPECT_EQ(TakeUp(server_a, kAnswer), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 16 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 7, dns_index:1 current dns rsp from: 127.0.0.2, should from: 127.0.0.3, it seems error\n");
  EXPECT_EQ(MethodIndex(7), 1);
}

TEST_F(RelayDrops, ResponseWithoutAnswersFromTheWrongSourceMovesNothing) {
  const UdpPeer stranger("127.0.0.9");
  EXPECT_EQ(TakeUp(stranger, "07 00 81 83 00 01 00 00 00 00 00 00"_wire), 1);
  EXPECT_EQ(MethodIndex(7), 0);
  EXPECT_TRUE(server_b.HasNothing());
}

TEST_F(RelayDrops, IndexOutsideTheListMakesEverySourceWrong) {
  FileAtIndex(8, 0x9F);
  EXPECT_EQ(TakeUp(server_a, "08 00 81 80 00 01 00 01 00 00 00 00"_wire), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 12 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 8, dns_index:159 current dns rsp from: 127.0.0.2, should from: , it seems error\n");
  EXPECT_TRUE(InFlight(8));
}

TEST_F(RelayDrops, IndexEqualToTheListSizeIsOutsideTheList) {
  FileAtIndex(8, 2);
  EXPECT_EQ(TakeUp(server_b, "08 00 81 80 00 01 00 00 00 00 00 00"_wire), 1);
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 8, dns_index:2 current dns rsp from: 127.0.0.3, should from: , it seems error\n"));
  EXPECT_TRUE(InFlight(8));
}

TEST_F(RelayDrops, HostMapMethodHasNoAddressToComeFrom) {
  RequestInFlight request;
  request.id = 8;
  request.methods = {HostMapMethod()};
  File(request);
  EXPECT_EQ(TakeUp(server_a, "08 00 81 80 00 01 00 01 00 00 00 00"_wire), 1);
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 8, dns_index:0 current dns rsp from: 127.0.0.2, should from: , it seems error\n"));
  EXPECT_TRUE(InFlight(8));
}

TEST_F(RelayDrops, SenderWithoutAddressIsTheWrongSourceOfAnIndexOutsideTheListToo) {
  FileAtIndex(8, 0x9F);
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
  const Wire response = "08 00 81 80 00 01 00 01 00 00 00 00"_wire;
  ASSERT_EQ(send(ends[1], response.bytes.data(), response.bytes.size(), 0), 12);
  EXPECT_EQ(RecvAndProcessPacketsFromDNSServer(ends[0]), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 12 data from \n"
      "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 8, dns_index:159 current dns rsp from: , should from: , it seems error\n");
  EXPECT_TRUE(InFlight(8));
  close(ends[0]);
  close(ends[1]);
}

TEST_F(RelayDrops, SenderWhoseTextBeginsTheServersIsTheWrongSource) {
  const UdpPeer twenty("127.0.0.20");
  RequestInFlight request;
  request.id = 8;
  request.methods = {ServerMethod(twenty.Address())};
  File(request);
  EXPECT_EQ(TakeUp(server_a, "08 00 81 80 00 01 00 01 00 00 00 00"_wire), 1);
  EXPECT_TRUE(InFlight(8));
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "(line:352) id: 8, dns_index:0 current dns rsp from: 127.0.0.2, should from: 127.0.0.20, it seems error\n"));
}

TEST_F(RelayDrops, MethodBehindTheLastOneIsNoSourceWhateverStandsInItsPlace) {
  RequestInFlight request;
  request.id = 8;
  request.index = 1;
  request.methods = {AskServerB()};
  File(request);
  {
    const Guard guard(g_DnsRequestTable);
    std::vector<DNSMethodInfo>& methods = g_DnsRequestTable.mapRequests.at(8)->vecMethods;
    methods.push_back(AskServerA());
    methods.pop_back();  // its bytes stay
  }
  EXPECT_EQ(TakeUp(server_a, "08 00 81 80 00 01 00 01 00 00 00 00"_wire), 1);
  EXPECT_TRUE(InFlight(8));
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "(line:352) id: 8, dns_index:1 current dns rsp from: 127.0.0.2, should from: , it seems error\n"));
}
