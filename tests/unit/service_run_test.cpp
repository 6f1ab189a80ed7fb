#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/child_process.h"
#include "tests/unit/program.h"
#include "tests/unit/udp_peer.h"

namespace {

// The whole program at work in a child process, with one pair in its host map and a server at
// 127.0.0.2. Every step waits for the lines of the one before.
class ServiceRun : public ::testing::Test {
 protected:
  ServiceRun() {
    proxy.sin_family = AF_INET;
    proxy.sin_port = htons(53);
    proxy.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    start = program.ReadUntil("pthread_create thread_query success\n");
  }

  // What the program prints from here until the line that ends with `text`.
  std::string Trace(const std::string& text) { return program.ReadUntil(text); }

  void Ask(const Wire& query) { application.Send(query, proxy); }

  // A query reaches the server, which is then known to be able to answer.
  Wire AskThroughServer(const Wire& query) {
    Ask(query);
    Wire forwarded = server.Receive();
    Trace("iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n");
    return forwarded;
  }

  UdpPeer application{"127.0.0.1"};
  UdpPeer server{"127.0.0.2", 53};
  sockaddr_in proxy{};
  std::string start;
  ChildProcess program{[] { return RunProgramWith("127.0.0.2\n", "mail.local:10.1.2.3\n"); }};
};

const Wire kQueryForMail =
    "AB CD 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire;
const Wire kQueryForOther =
    "12 34 01 00 00 01 00 00 00 00 00 00 05 'other' 05 'local' 00 00 01 00 01"_wire;
const Wire kEndOfService = "00 00 81 80 00 01 00 01 00 00 00"_wire;

// A query thread that has not come to its wait yet finds its socket closed, and may still say so.
std::string WithoutEndOfQueryThread(std::string trace) {
  const std::string line = "func: thread_query(line:273) QureyThread: select failed. exit\n";
  const std::size_t at = trace.find(line);
  return at == std::string::npos ? trace : trace.erase(at, line.size());
}

}  // namespace

TEST_F(ServiceRun, StartIsTracedInItsOrder) {
  EXPECT_EQ(start,
            "read dns: 127.0.0.2\n"
            "read hostmap: mail.local:10.1.2.3\n"
            "dnsproxy: dns_size:1, hostmap_size:1\n"
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:124) Add host map: mail.local -> 10.1.2.3\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n");
}

TEST_F(ServiceRun, HostMapAnswersByItself) {
  Ask(kQueryForMail);
  EXPECT_EQ(application.Receive(),
            "AB CD 81 00 00 01 00 01 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01 "
            "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
  EXPECT_EQ(
      Trace("req id:0\n"),
      "func: thread_query(line:282) ****QureyThread***: received dns request\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 28 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............mail.local\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is mail.local, id:0\n"
      "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0\n"
      "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2\n"
      "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n"
      "func: TryNextDNSQueryMethod(line:669) find mail.local from hostmap, ip:10.1.2.3, req id:0\n");
}

TEST_F(ServiceRun, ServersAnswerIsRelayed) {
  Ask(kQueryForOther);
  EXPECT_EQ(server.Receive(),
            "00 00 01 00 00 01 00 00 00 00 00 00 05 'other' 05 'local' 00 00 01 00 01"_wire);
  EXPECT_THAT(
      Trace("iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"),
      ::testing::EndsWith(
          "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 1, DnsListSize:2\n"
          "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"));
  server.Send("00 00 81 80 00 01 00 01 00 00 00 00 'answer' 0A 00 00 FF"_wire, server.last_sender);
  EXPECT_EQ(application.Receive(), "12 34 81 80 00 01 00 01 00 00 00 00 'answer' 0A 00 00 FF"_wire);
  EXPECT_EQ(
      Trace("delete id:0\n"),
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 22 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:367) domain other.local received answer 10.0.0.-1 from 127.0.0.2, we have to delete id:0\n");
}

TEST_F(ServiceRun, ElevenBytesFromAServerEndTheServiceWithStatusZero) {
  AskThroughServer(kQueryForOther);
  server.Send(kEndOfService, server.last_sender);
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(
      WithoutEndOfQueryThread(program.rest),
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 11, from: 127.0.0.2\n"
      "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n"
      "func: main(line:90) StartDnsSrv success\n");
}

TEST_F(ServiceRun, RefusedQueryEndsIntakeAndNothingElse) {
  AskThroughServer(kQueryForOther);
  Ask("AB CD"_wire);
  EXPECT_EQ(
      Trace("query too short from 127.0.0.1\n"),
      "func: thread_query(line:282) ****QureyThread***: received dns request\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 2 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1\n");
  Ask(kQueryForMail);
  server.Send("00 00 81 80 00 01 00 01 00 00 00 00"_wire, server.last_sender);
  EXPECT_EQ(application.Receive(), "12 34 81 80 00 01 00 01 00 00 00 00"_wire);
  Trace("delete id:0\n");
  server.Send(kEndOfService, server.last_sender);
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(ServiceRun, BothThreadsAtWorkGiveEveryApplicationItsAnswer) {
  constexpr int kQueries = 200;
  AskThroughServer(kQueryForOther);
  for (int query = 0; query < kQueries; ++query) {
    Ask(kQueryForOther);
    Ask(kQueryForMail);
    Wire response = server.Receive();
    response.bytes[7] = 1;
    server.Send(response, server.last_sender);
    const int lengths = application.Receive().length() + application.Receive().length();
    ASSERT_EQ(lengths, 29 + 44);
    program.Drain();
  }
  server.Send(kEndOfService, server.last_sender);
  EXPECT_EQ(program.Wait(), 0);
}

TEST_F(ServiceRun, EndWhileQueriesKeepComingIsStillTheLastLine) {
  constexpr int kQueries = 300;
  AskThroughServer(kQueryForOther);
  for (int query = 0; query < kQueries; ++query) {
    Ask(kQueryForMail);
    if (query == kQueries / 2) server.Send(kEndOfService, server.last_sender);
  }
  EXPECT_EQ(program.Wait(), 0);
  const std::string end = "func: main(line:90) StartDnsSrv success\n";
  EXPECT_THAT(program.rest, ::testing::EndsWith(end));
  EXPECT_EQ(program.rest.find(end), program.rest.size() - end.size());
}
