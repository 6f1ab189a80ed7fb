#include "dns_proxy_mac/trace/print.h"
#include "tests/unit/trace_lines.h"

TEST_F(TraceLines, LinesOfTheConfigurationFiles) {
  for (const std::string& text : texts) {
    const char* line = text.c_str();
    EXPECT_EQ(Printed([=] { trace::Print<trace::kReadDnsLine>(line); }),
              Formatted("read dns: %s\n", line));
    EXPECT_EQ(Printed([=] { trace::Print<trace::kReadHostmapLine>(line); }),
              Formatted("read hostmap: %s\n", line));
  }
}

TEST_F(TraceLines, ConfigurationCounts) {
  for (const int servers : ints) {
    for (const int pairs : ints) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kConfigurationCounts>(servers, pairs); }),
                Formatted("dnsproxy: dns_size:%d, hostmap_size:%d\n", servers, pairs));
    }
  }
}

TEST_F(TraceLines, EndsOfTheEntry) {
  EXPECT_EQ(Printed([] { trace::Print<trace::kNothingConfigured>(); }),
            "func: main(line:79) StartDnsSrv failed\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kServiceStartFailed>(); }),
            "func: main(line:86) StartDnsSrv failed\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kServiceEnded>(); }),
            "func: main(line:90) StartDnsSrv success\n");
}

TEST_F(TraceLines, SocketInvalid) {
  EXPECT_EQ(Printed([] { trace::Print<trace::kSocketInvalid>(); }),
            "func: StartDnsSrv(line:103) socket invalid\n");
}

TEST_F(TraceLines, BindOfTheLocalSocket) {
  for (const std::string& text : texts) {
    for (const int port : ints) {
      const char* address = text.c_str();
      EXPECT_EQ(
          Printed([=] { trace::Print<trace::kBindFailed>(address, port); }),
          Formatted("func: %s(line:%d) bind %s:%d failed\n", "StartDnsSrv", 115, address, port));
      EXPECT_EQ(
          Printed([=] { trace::Print<trace::kBindSucceeded>(address, port); }),
          Formatted("func: %s(line:%d) bind %s:%d success\n", "StartDnsSrv", 118, address, port));
    }
  }
}

TEST_F(TraceLines, MethodsAdded) {
  for (const std::string& domain : texts) {
    for (const std::string& text : texts) {
      const char* address = text.c_str();
      EXPECT_EQ(Printed([&] { trace::Print<trace::kHostMapPairAdded>(domain.c_str(), address); }),
                Formatted("func: %s(line:%d) Add host map: %s -> %s\n", "StartDnsSrv", 124,
                          domain.c_str(), address));
      EXPECT_EQ(
          Printed([&] { trace::Print<trace::kServerAdded>(address); }),
          Formatted("func: %s(line:%d) Add KQ DNS to list: %s\n", "StartDnsSrv", 136, address));
    }
  }
}

TEST_F(TraceLines, ThreadsCreated) {
  EXPECT_EQ(Printed([] { trace::Print<trace::kAnswerThreadNotCreated>(); }),
            "func: StartDnsSrv(line:151) pthread_create g_thread_answer failed\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kAnswerThreadCreated>(); }),
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kQueryThreadNotCreated>(); }),
            "func: StartDnsSrv(line:158) pthread_create thread_query failed\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kQueryThreadCreated>(); }),
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n");
}

TEST_F(TraceLines, TurnsOfTheAnswerThread) {
  EXPECT_EQ(
      Printed([] { trace::Print<trace::kAnswerSocketInvalid>(); }),
      "func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kAnswerSelectFailed>(); }),
            "func: thread_answer(line:230) AnswerThread: select failed. exit.\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kAnswerSelectTimedOut>(); }),
            "func: thread_answer(line:235) AnswerThread: select timeout.\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kResponseReadable>(); }),
            "func: thread_answer(line:239) AnswerThread: received dns response.\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kRelayEnded>(); }),
            "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n");
}

TEST_F(TraceLines, TurnsOfTheQueryThread) {
  EXPECT_EQ(Printed([] { trace::Print<trace::kQuerySocketInvalid>(); }),
            "func: thread_query(line:264) Socket SockToClientApps is invalid, QueryThread exit\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kQuerySelectFailed>(); }),
            "func: thread_query(line:273) QureyThread: select failed. exit\n");
  EXPECT_EQ(Printed([] { trace::Print<trace::kQueryReadable>(); }),
            "func: thread_query(line:282) ****QureyThread***: received dns request\n");
}
