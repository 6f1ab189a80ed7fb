#include "dns_proxy_mac/engine/engine.h"

#include <cerrno>

#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;

// One request in flight under id 7, waiting for server A and with server B behind it.
class Relay : public ProxyTest {
 protected:
  Relay() { FileAgain(); }

  // Puts the request in the place of the one before.
  void FileAgain() {
    Forget(7);
    RequestInFlight request;
    request.methods = {AskServerA(), AskServerB()};
    File(request);
  }

  // The response of `server` arrives and is handed to the relay.
  int TakeUp(const UdpPeer& server, const Wire& response) {
    Respond(server, response);
    return RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers);
  }
};

const Wire kQuestionAndAnswer =
    "04 'mail' 05 'local' 00 00 01 00 01 C0 0C 00 01 00 01 00 00 00 3C 00 04 C0 A8 01 01"_wire;

// A response to the request in flight, with these flags and this answer count.
Wire Response(const Wire& flags, const Wire& answer_count) {
  return "07 00"_wire + flags + "00 01"_wire + answer_count + "00 00 00 00"_wire +
         kQuestionAndAnswer;
}

}  // namespace

TEST_F(Relay, ResponseWithOneAnswerIsRelayedWithTheApplicationsId) {
  EXPECT_EQ(TakeUp(server_a, "07 00 81 80 00 01 00 01 00 00 00 00"_wire + kQuestionAndAnswer), 1);
  EXPECT_EQ(application.Receive(), "AB CD 81 80 00 01 00 01 00 00 00 00"_wire + kQuestionAndAnswer);
  EXPECT_EQ(application.last_sender.sin_port, AddressOfSocket(apps_socket).sin_port);
  EXPECT_FALSE(InFlight(7));
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 44 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:367) domain mail.local received answer -64.-88.1.1 from 127.0.0.2, we have to delete id:7\n");
}

TEST_F(Relay, SecondCopyOfARelayedResponseFindsNoRequest) {
  TakeUp(server_a, Response("81 80"_wire, "00 01"_wire));
  application.Receive();
  Trace();
  EXPECT_EQ(TakeUp(server_a, Response("81 80"_wire, "00 01"_wire)), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 44 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.2, id: 7, request not found\n");
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(Relay, ResponseWithoutAnswersMovesTheRequestToTheNextServer) {
  EXPECT_EQ(TakeUp(server_a, "07 00 81 83 00 01 00 00 00 00 00 00"_wire), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 12 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: 127.0.0.2, id: 7, for : mail.local, no such name\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 1, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
  EXPECT_EQ(server_b.Receive(),
            "07 00 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
  EXPECT_EQ(MethodIndex(7), 1);
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(Relay, LastServerWithoutAnswersEndsInNoSuchName) {
  TakeUp(server_a, Response("81 80"_wire, "00 00"_wire));
  Trace();
  EXPECT_EQ(TakeUp(server_b, Response("81 82"_wire, "00 00"_wire)), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 44 data from 127.0.0.3\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: 127.0.0.3, id: 7, for : mail.local, no such name\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 7, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 2, DnsListSize:2\n"
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n");
  EXPECT_EQ(application.Receive(),
            "AB CD 80 03 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
  EXPECT_FALSE(InFlight(7));
}

TEST_F(Relay, HostMapMissAndTwoServersWithoutAnswersEndInNoSuchName) {
  RequestInFlight request;
  request.id = 8;
  request.methods = {HostMapMethod(), AskServerA(), AskServerB()};
  File(request);
  TryNext(8);
  EXPECT_EQ(MethodIndex(8), 1);
  EXPECT_EQ(server_a.Receive().length(), 28);
  TakeUp(server_a, "08 00 81 80 00 01 00 00 00 00 00 00"_wire);
  EXPECT_EQ(MethodIndex(8), 2);
  EXPECT_EQ(server_b.Receive().length(), 28);
  TakeUp(server_b, "08 00 81 80 00 01 00 00 00 00 00 00"_wire);
  EXPECT_FALSE(InFlight(8));
  EXPECT_EQ(application.Receive(),
            "AB CD 80 03 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
}

TEST_F(Relay, CountsThatAreAnswersReadInNativeOrderAndSigned) {  // 1, 127, 256, 257, 65407
  for (const Wire& count : {"00 01"_wire, "00 7F"_wire, "01 00"_wire, "01 01"_wire, "FF 7F"_wire}) {
    FileAgain();
    TakeUp(server_a, Response("81 80"_wire, count));
    EXPECT_EQ(application.Receive(),
              "AB CD 81 80 00 01"_wire + count + "00 00 00 00"_wire + kQuestionAndAnswer);
    EXPECT_FALSE(InFlight(7));
  }
}

TEST_F(Relay, CountsThatAreNoneReadInNativeOrderAndSigned) {  // 0, 128, 255, 384, 65535
  for (const Wire& count : {"00 00"_wire, "00 80"_wire, "00 FF"_wire, "01 80"_wire, "FF FF"_wire}) {
    FileAgain();
    TakeUp(server_a, Response("81 80"_wire, count));
    EXPECT_EQ(MethodIndex(7), 1) << count;
    EXPECT_EQ(server_b.Receive().length(), 28);
    EXPECT_TRUE(application.HasNothing());
  }
}

TEST_F(Relay, ResponseWithAnswersAndRcode3IsRelayedUnchanged) {
  TakeUp(server_a, Response("FF F3"_wire, "00 01"_wire));
  EXPECT_EQ(application.Receive(), "AB CD FF F3 00 01 00 01 00 00 00 00"_wire + kQuestionAndAnswer);
}

TEST_F(Relay, ResponseFromAnotherPortOfTheRightAddressIsAccepted) {
  const UdpPeer other_port("127.0.0.2");
  TakeUp(other_port, Response("81 80"_wire, "00 01"_wire));
  EXPECT_EQ(application.Receive().length(), 44);
  EXPECT_FALSE(InFlight(7));
}

TEST_F(Relay, TracedTailIsSignedAndTakenFromTheEnd) {
  TakeUp(server_a, "07 00 81 80 00 01 00 01 00 00 00 00 'no address at all' 7F 80 FF 00"_wire);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 33 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:367) domain mail.local received answer 127.-128.-1.0 from 127.0.0.2, we have to delete id:7\n");
}

TEST_F(Relay, HeaderAloneWithAnAnswerCountShowsItsOwnLastBytes) {
  TakeUp(server_a, "07 00 81 80 00 01 00 01 01 02 03 04"_wire);
  EXPECT_THAT(
      Trace(),
      ::testing::EndsWith(
          "func: RecvAndProcessPacketsFromDNSServer(line:367) domain mail.local received answer 1.2.3.4 from 127.0.0.2, we have to delete id:7\n"));
  EXPECT_EQ(application.Receive(), "AB CD 81 80 00 01 00 01 01 02 03 04"_wire);
}

TEST_F(Relay, ResponseOf8192BytesIsSentWhole) {
  const Wire tail = Repeated(8192 - 44, 'r');
  TakeUp(server_a, Response("81 80"_wire, "00 01"_wire) + tail);
  EXPECT_EQ(application.Receive(),
            "AB CD 81 80 00 01 00 01 00 00 00 00"_wire + kQuestionAndAnswer + tail);
}

TEST_F(Relay, LongerResponseIsCutTo8192Bytes) {
  TakeUp(server_a, Response("81 80"_wire, "00 01"_wire) + Repeated(9000, 'r'));
  EXPECT_EQ(application.Receive().length(), 8192);
  EXPECT_THAT(
      Trace(),
      ::testing::StartsWith(
          "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 8192 data from 127.0.0.2\n"));
}

TEST_F(Relay, FailedSendToTheApplicationEndsTheRequestAllTheSame) {
  Respond(server_a, Response("81 80"_wire, "00 01"_wire));
  system_calls::Substitute(Call::kSendto, {{-1, EPERM}});
  EXPECT_EQ(RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers), 1);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 44 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:364) id: 7: sendto failed: 1\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:367) domain mail.local received answer -64.-88.1.1 from 127.0.0.2, we have to delete id:7\n");
  EXPECT_FALSE(InFlight(7));
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(Relay, ResponseWithoutAnswerAtIndex255GoesOnAtTheFirstMethod) {
  RequestInFlight request;
  request.id = 8;
  request.index = 255;
  request.methods.assign(255, AskServerB());
  request.methods.push_back(AskServerA());
  File(request);
  Respond(server_a, "08 00 81 80 00 01 00 00 00 00 00 00"_wire);
  EXPECT_EQ(RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers), 1);
  EXPECT_EQ(MethodIndex(8), 0);
}
