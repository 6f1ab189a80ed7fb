#include "dns_proxy_mac/trace/events.h"
#include "tests/unit/trace_events.h"

TEST_F(TraceEvents, LinesOfTheConfigurationFiles) {
  for (const std::string& text : texts) {
    const char* line = text.c_str();
    EXPECT_EQ(Printed([=] { trace::ReadDnsLine(line); }), Formatted("read dns: %s\n", line));
    EXPECT_EQ(Printed([=] { trace::ReadHostmapLine(line); }),
              Formatted("read hostmap: %s\n", line));
  }
}

TEST_F(TraceEvents, ConfigurationCounts) {
  for (const int servers : ints) {
    for (const int pairs : ints) {
      EXPECT_EQ(Printed([=] { trace::ConfigurationCounts(servers, pairs); }),
                Formatted("dnsproxy: dns_size:%d, hostmap_size:%d\n", servers, pairs));
    }
  }
}

TEST_F(TraceEvents, EndsOfTheEntry) {
  EXPECT_EQ(Printed(trace::NothingConfigured), "func: main(line:79) StartDnsSrv failed\n");
  EXPECT_EQ(Printed(trace::ServiceStartFailed), "func: main(line:86) StartDnsSrv failed\n");
  EXPECT_EQ(Printed(trace::ServiceEnded), "func: main(line:90) StartDnsSrv success\n");
}

TEST_F(TraceEvents, SocketInvalid) {
  EXPECT_EQ(Printed(trace::SocketInvalid), "func: StartDnsSrv(line:103) socket invalid\n");
}

TEST_F(TraceEvents, BindOfTheLocalSocket) {
  for (const std::string& text : texts) {
    for (const int port : ints) {
      const char* address = text.c_str();
      EXPECT_EQ(
          Printed([=] { trace::BindFailed(address, port); }),
          Formatted("func: %s(line:%d) bind %s:%d failed\n", "StartDnsSrv", 115, address, port));
      EXPECT_EQ(
          Printed([=] { trace::BindSucceeded(address, port); }),
          Formatted("func: %s(line:%d) bind %s:%d success\n", "StartDnsSrv", 118, address, port));
    }
  }
}

TEST_F(TraceEvents, MethodsAdded) {
  for (const std::string& domain : texts) {
    for (const std::string& text : texts) {
      const char* address = text.c_str();
      EXPECT_EQ(Printed([&] { trace::HostMapPairAdded(domain.c_str(), address); }),
                Formatted("func: %s(line:%d) Add host map: %s -> %s\n", "StartDnsSrv", 124,
                          domain.c_str(), address));
      EXPECT_EQ(
          Printed([&] { trace::ServerAdded(address); }),
          Formatted("func: %s(line:%d) Add KQ DNS to list: %s\n", "StartDnsSrv", 136, address));
    }
  }
}

TEST_F(TraceEvents, ThreadsCreated) {
  EXPECT_EQ(Printed(trace::AnswerThreadNotCreated),
            "func: StartDnsSrv(line:151) pthread_create g_thread_answer failed\n");
  EXPECT_EQ(Printed(trace::AnswerThreadCreated),
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n");
  EXPECT_EQ(Printed(trace::QueryThreadNotCreated),
            "func: StartDnsSrv(line:158) pthread_create thread_query failed\n");
  EXPECT_EQ(Printed(trace::QueryThreadCreated),
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n");
}

TEST_F(TraceEvents, TurnsOfTheAnswerThread) {
  EXPECT_EQ(
      Printed(trace::AnswerSocketInvalid),
      "func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit\n");
  EXPECT_EQ(Printed(trace::AnswerSelectFailed),
            "func: thread_answer(line:230) AnswerThread: select failed. exit.\n");
  EXPECT_EQ(Printed(trace::AnswerSelectTimedOut),
            "func: thread_answer(line:235) AnswerThread: select timeout.\n");
  EXPECT_EQ(Printed(trace::ResponseReadable),
            "func: thread_answer(line:239) AnswerThread: received dns response.\n");
  EXPECT_EQ(Printed(trace::RelayEnded),
            "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n");
}

TEST_F(TraceEvents, TurnsOfTheQueryThread) {
  EXPECT_EQ(Printed(trace::QuerySocketInvalid),
            "func: thread_query(line:264) Socket SockToClientApps is invalid, QueryThread exit\n");
  EXPECT_EQ(Printed(trace::QuerySelectFailed),
            "func: thread_query(line:273) QureyThread: select failed. exit\n");
  EXPECT_EQ(Printed(trace::QueryReadable),
            "func: thread_query(line:282) ****QureyThread***: received dns request\n");
}
