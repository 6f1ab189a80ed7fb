#include "dns_proxy_mac/startup/service.h"

#include <sys/select.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;
using system_calls::kSystem;
using ::testing::ElementsAre;

// The bodies of the threads, run on the test's own thread until they end.
class Workers : public ProxyTest {
 protected:
  // Waits until the query that waits to be taken up is one of this length.
  void UntilNextQueryHas(ssize_t length) const {
    char byte = 0;
    while (recv(apps_socket, &byte, 1, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT) != length) {
      std::this_thread::yield();
    }
  }
};

const Wire kTooShort = "07 00 81 80 00 01 00 01 00 00 00"_wire;

}  // namespace

TEST_F(Workers, AnswerThreadEndsWhenItsSocketIsMinusOne) {
  g_SockToDNSServers = -1;
  EXPECT_EQ(thread_answer(nullptr), nullptr);
  EXPECT_EQ(
      trace_.Written(),
      "func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit\n");
}

TEST_F(Workers, QueryThreadEndsWhenItsSocketIsMinusOne) {
  g_SockToClientApps = -1;
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(),
            "func: thread_query(line:264) Socket SockToClientApps is invalid, QueryThread exit\n");
}

TEST_F(Workers, AnswerThreadEndsWhenTheFirstLookFails) {
  system_calls::Substitute(Call::kSelect, {{-1, EBADF}});
  EXPECT_EQ(thread_answer(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(), "func: thread_answer(line:230) AnswerThread: select failed. exit.\n");
}

TEST_F(Workers, AnswerThreadEndsWhenTheWaitFails) {
  system_calls::Substitute(Call::kSelect, {{0}, {-1, EBADF}});
  EXPECT_EQ(thread_answer(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(), "func: thread_answer(line:230) AnswerThread: select failed. exit.\n");
}

TEST_F(Workers, AnswerThreadGoesOnAfterATimeout) {
  system_calls::Substitute(Call::kSelect, {{0}, {0}, {0}, {0}, {-1, EBADF}});
  EXPECT_EQ(thread_answer(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(),
            "func: thread_answer(line:235) AnswerThread: select timeout.\n"
            "func: thread_answer(line:235) AnswerThread: select timeout.\n"
            "func: thread_answer(line:230) AnswerThread: select failed. exit.\n");
}

TEST_F(Workers, QueryThreadEndsWhenTheFirstLookFails) {
  system_calls::Substitute(Call::kSelect, {{-1, EBADF}});
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(), "func: thread_query(line:273) QureyThread: select failed. exit\n");
}

TEST_F(Workers, QueryThreadEndsWhenTheWaitFails) {
  system_calls::Substitute(Call::kSelect, {{0}, {-1, EBADF}});
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(), "func: thread_query(line:273) QureyThread: select failed. exit\n");
}

TEST_F(Workers, QueryThreadEndsOnATimeoutToo) {
  system_calls::Substitute(Call::kSelect, {{0}, {0}});
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(trace_.Written(), "func: thread_query(line:273) QureyThread: select failed. exit\n");
}

TEST_F(Workers, EventThatIsNotOfTheSocketIsTracedAndHandedToNobody) {
  system_calls::Substitute(Call::kSelect, {{1}, {-1, EBADF}, {1}, {-1, EBADF}});
  thread_answer(nullptr);
  thread_query(nullptr);
  EXPECT_EQ(trace_.Written(),
            "func: thread_answer(line:239) AnswerThread: received dns response.\n"
            "func: thread_answer(line:230) AnswerThread: select failed. exit.\n"
            "func: thread_query(line:282) ****QureyThread***: received dns request\n"
            "func: thread_query(line:273) QureyThread: select failed. exit\n");
}

TEST_F(Workers, AnswerThreadEndsWithALineWhenTheRelayRefuses) {
  Respond(server_a, kTooShort);
  EXPECT_EQ(thread_answer(nullptr), nullptr);
  EXPECT_EQ(
      trace_.Written(),
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 11, from: 127.0.0.2\n"
      "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n");
}

TEST_F(Workers, QueryThreadEndsWithoutALineWhenTheIntakeRefuses) {
  Ask("AB CD"_wire);
  EXPECT_EQ(thread_query(nullptr), nullptr);
  EXPECT_EQ(
      trace_.Written(),
      "func: thread_query(line:282) ****QureyThread***: received dns request\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 2 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1\n");
}

TEST_F(Workers, OneDatagramIsHandledATurn) {
  Respond(server_a, "07 00 81 80 00 01 00 01 00 00 00 00"_wire);
  Respond(server_b, "08 00 81 80 00 01 00 01 00 00 00 00"_wire);
  Respond(server_a, kTooShort);
  thread_answer(nullptr);
  EXPECT_EQ(
      trace_.Written(),
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 12 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.2, id: 7, request not found\n"
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 12 data from 127.0.0.3\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.3, id: 8, request not found\n"
      "func: thread_answer(line:239) AnswerThread: received dns response.\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.2\n"
      "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 11, from: 127.0.0.2\n"
      "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n");
}

TEST_F(Workers, QueriesAreServedUntilOneIsRefused) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  Ask("12 34 01 00 00 01 00 00 00 00 00 00 01 'b' 00 00 01 00 01"_wire);
  Ask(""_wire);
  Ask("56 78 01 00 00 01 00 00 00 00 00 00 01 'c' 00 00 01 00 01"_wire);
  thread_query(nullptr);
  EXPECT_EQ(application.Receive(),
            "AB CD 80 03 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  EXPECT_EQ(application.Receive(),
            "12 34 80 03 00 01 00 00 00 00 00 00 01 'b' 00 00 01 00 01"_wire);
  EXPECT_TRUE(application.HasNothing());
}

TEST_F(Workers, TraceIsWrittenBeforeAWaitWithoutLimitAndNotWhileThereIsWork) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 01 'b' 00 00 01 00 01"_wire);
  system_calls::Substitute(Call::kSelect, {kSystem, kSystem, {0}, {-1, EBADF}});
  const std::string look = "select up to " + std::to_string(apps_socket + 1);
  const auto receive = ::testing::StartsWith("recvfrom");
  const auto send = ::testing::StartsWith("sendto");
  const auto write = ::testing::StartsWith("write 1: ");
  const system_calls::Recording recording;
  thread_query(nullptr);
  EXPECT_THAT(recording.Calls(),
              ElementsAre(look + ", at once", receive, send, look + ", at once", receive, send,
                          look + ", at once", write, look + ", no timeout", write));
}

TEST_F(Workers, TraceIsLeftToTheOtherWorkerWhileThatIsAtWork) {
  const std::string descriptors = std::to_string(servers_socket + 1);
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  Ask(""_wire);
  std::thread query_thread;
  {
    const Guard guard(g_DnsRequestTable);
    query_thread = std::thread(thread_query, nullptr);
    UntilNextQueryHas(0);  // the first is taken, and its worker comes no further than the table
    system_calls::Substitute(Call::kSelect, {{-1, EBADF}});
    const system_calls::Recording recording;
    thread_answer(nullptr);
    EXPECT_THAT(recording.Calls(), ElementsAre("select up to " + descriptors + ", no timeout",
                                               ::testing::StartsWith("write 1: ")));
  }
  query_thread.join();
}

TEST_F(Workers, LinesAreHandedOverBeforeAWaitWhileTheOtherWorkerIsAtWork) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  Ask(""_wire);
  std::thread query_thread;
  std::thread answer_thread;
  std::string trace;
  {
    const Guard guard(g_DnsRequestTable);
    query_thread = std::thread(thread_query, nullptr);
    UntilNextQueryHas(0);  // the first is taken, and its worker comes no further than the table
    system_calls::Substitute(Call::kSelect, {{0}});
    answer_thread = std::thread(thread_answer, nullptr);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (trace.find("(line:235)") == std::string::npos &&
           std::chrono::steady_clock::now() < end) {
      trace += Trace();
      std::this_thread::yield();
    }
  }
  EXPECT_EQ(trace, "func: thread_answer(line:235) AnswerThread: select timeout.\n");
  server_a.Send(kTooShort, AddressOfSocket(servers_socket));
  answer_thread.join();
  query_thread.join();
}

TEST_F(Workers, DescriptorBeyondTheSetIsAFailedSelect) {
  constexpr int beyond = FD_SETSIZE;
  g_SockToClientApps = beyond;
  g_SockToDNSServers = beyond;
  system_calls::Substitute(Call::kSelect, {{-1, EBADF}, {-1, EBADF}});  // if it is asked after all
  const system_calls::Recording recording;
  thread_query(nullptr);
  thread_answer(nullptr);
  EXPECT_THAT(recording.Calls(), ::testing::Each(::testing::StartsWith("write")));
  EXPECT_EQ(trace_.Written(),
            "func: thread_query(line:273) QureyThread: select failed. exit\n"
            "func: thread_answer(line:230) AnswerThread: select failed. exit.\n");
}

TEST_F(Workers, HitTakesAtMostFourLocks) {
  AddHost("mail.local", "10.1.2.3");
  g_DnsMethodList = {HostMapMethod(), AskServerA()};
  const Wire query = "AB CD 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire;
  constexpr int kQueries = 10;
  for (int number = 0; number < kQueries; ++number) {
    Ask(query);
    system_calls::Substitute(Call::kSelect, {kSystem});
  }
  system_calls::Substitute(Call::kSelect, {{-1, EBADF}});
  const int before = system_calls::LocksTaken();
  thread_query(nullptr);
  const int at_the_end = 2;  // the last line is handed over and written out
  EXPECT_LE(system_calls::LocksTaken() - before - at_the_end, 4 * kQueries);
}

TEST_F(Workers, ForwardTakesAtMostSevenLocks) {
  g_DnsMethodList = {AskServerA()};
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
  system_calls::Substitute(Call::kSelect, {kSystem, {-1, EBADF}, kSystem, {-1, EBADF}});
  const int before = system_calls::LocksTaken();
  thread_query(nullptr);
  const int query_thread = system_calls::LocksTaken() - before;
  Respond(server_a, "00 00 81 80 00 01 00 01 00 00 00 00"_wire);
  const int between = system_calls::LocksTaken();
  thread_answer(nullptr);
  const int at_the_ends = 4;
  EXPECT_LE(query_thread + system_calls::LocksTaken() - between - at_the_ends, 7);
}
