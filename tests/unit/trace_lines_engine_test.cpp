#include "dns_proxy_mac/trace/print.h"
#include "tests/unit/trace_lines.h"

namespace {

constexpr char kIntake[] = "RecvAndProcessPacketsFromLocalApps";
constexpr char kFallback[] = "TryNextDNSQueryMethod";
constexpr char kRelay[] = "RecvAndProcessPacketsFromDNSServer";

}  // namespace

TEST_F(TraceLines, IntakeWithoutADatagram) {
  EXPECT_EQ(
      Printed([] { trace::Print<trace::kQuerySocketUnusable>(); }),
      "func: RecvAndProcessPacketsFromLocalApps(line:393)RecvAndProcessPacketsFromLocalApps: socket fd is invalid\n");
  EXPECT_EQ(
      Printed([] { trace::Print<trace::kNoQueryReceived>(); }),
      "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...\n");
}

TEST_F(TraceLines, DatagramOfAnApplication) {
  for (const std::string& text : texts) {
    const char* from = text.c_str();
    for (const int number : ints) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kQueryReceived>(number, from); }),
                Formatted("func: %s(line:%d)FromAPP: received %d data from %s\n", kIntake, 412,
                          number, from));
      EXPECT_EQ(
          Printed([=] { trace::Print<trace::kQuestionCountRead>(number); }),
          Formatted("func: %s(line:%d) pDNSHeader QuestionCount :%d\n", kIntake, 420, number));
      EXPECT_EQ(Printed([=] { trace::Print<trace::kQuestionCountRefused>(number, from); }),
                Formatted("func: %s(line:%d)FromAPP: QuestionCount invalid: %d, from: %s\n",
                          kIntake, 423, number, from));
    }
    EXPECT_EQ(Printed([=] { trace::Print<trace::kQueryTooShort>(from); }),
              Formatted("func: %s(line:%d)FromAPP: query too short from %s\n", kIntake, 415, from));
    EXPECT_EQ(
        Printed([=] { trace::Print<trace::kDomainEmpty>(from); }),
        Formatted("func: %s(line:%d)FromAPP: domain is empty, from: %s\n", kIntake, 429, from));
  }
}

TEST_F(TraceLines, QueryAccepted) {
  for (const std::string& text : texts) {
    const char* domain = text.c_str();
    EXPECT_EQ(
        Printed([=] { trace::Print<trace::kDomainDecoded>(domain); }),
        Formatted("func: %s(line:%d) received dns request............%s\n", kIntake, 432, domain));
    for (const int id : ints) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kRequestFiled>(domain, id); }),
                Formatted("func: %s(line:%d)FromAPP: the request domain is %s, id:%d\n", kIntake,
                          464, domain, id));
    }
  }
}

TEST_F(TraceLines, NameThatStopsEarly) {
  for (const int number : ints) {
    EXPECT_EQ(Printed([=] { trace::Print<trace::kLabelLengthNegative>(number); }),
              Formatted("func: %s(line:%d)ExtractDomain invalid value:%d\n", "ExtractDomain", 482,
                        number));
    EXPECT_EQ(
        Printed([=] { trace::Print<trace::kLabelOverflowsName>(number); }),
        Formatted(
            "func: %s(line:%d)ExtractDomain: buffer overflow when parsing qname, chunk_len: %d\n",
            "ExtractDomain", 488, number));
    EXPECT_EQ(
        Printed([=] { trace::Print<trace::kDotOverflowsName>(number); }),
        Formatted(
            "func: %s(line:%d)ExtractDomain: buffer overflow when add suffix dot, chunk_len: %d\n",
            "ExtractDomain", 504, number));
  }
}

TEST_F(TraceLines, MethodTried) {
  for (const int number : ints) {
    for (const bool timeout : {false, true}) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kNextMethodTried>(number, timeout); }),
                Formatted("func: %s(line:%d)TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:%d\n",
                          kFallback, 614, number, timeout ? 1 : 0));
    }
    for (const int size : ints) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kMethodPosition>(number, size); }),
                Formatted("func: %s(line:%d) CurrentDNSMethodIndex: %d, DnsListSize:%d\n",
                          kFallback, 624, number, size));
    }
    EXPECT_EQ(
        Printed([=] { trace::Print<trace::kMethodType>(number); }),
        Formatted(
            "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:%d(0: dns, 1:hostmap)\n",
            number));
  }
}

TEST_F(TraceLines, FallbackThatFails) {
  for (const unsigned id : unsigneds) {
    EXPECT_EQ(Printed([=] { trace::Print<trace::kRequestToAdvanceNotFound>(id); }),
              Formatted("func: %s(line:%d)TryNextDNSQueryMethod: %s: id: %u, request not found\n",
                        kFallback, 618, kFallback, id));
    for (const unsigned error : unsigneds) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kForwardFailed>(id, error); }),
                Formatted("TryNextDNSQueryMethod: id: %u,sendto failed: %u\n", id, error));
    }
    EXPECT_EQ(Printed([=] { trace::Print<trace::kNoSuchNameNotSent>(id); }),
              Formatted("func: %s(line:%d)TryNextDNSQueryMethod: id: %u, sendto failed\n",
                        kFallback, 703, id));
  }
  EXPECT_EQ(Printed([] { trace::Print<trace::kHostMapAnswerNotSent>(); }),
            "func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed\n");
  EXPECT_EQ(
      Printed([] { trace::Print<trace::kMethodsExhausted>(); }),
      "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n");
}

TEST_F(TraceLines, FoundInHostMap) {
  const unsigned char address[] = {0, 127, 128, 255};
  for (const std::string& text : texts) {
    for (const int id : ints) {
      const char* domain = text.c_str();
      EXPECT_EQ(Printed([&] {
                  trace::Print<trace::kFoundInHostMap>(domain, address[0], address[1], address[2],
                                                       address[3], id);
                }),
                Formatted("func: %s(line:%d) find %s from hostmap, ip:%d.%d.%d.%d, req id:%d\n",
                          kFallback, 669, domain, 0, 127, 128, 255, id));
    }
  }
}

TEST_F(TraceLines, RelayWithoutADatagram) {
  EXPECT_EQ(
      Printed([] { trace::Print<trace::kResponseSocketUnusable>(); }),
      "func: RecvAndProcessPacketsFromDNSServer(line:308) RecvAndProcessPacketsFromDNSServer: socket fd is invalid\n");
  EXPECT_EQ(
      Printed([] { trace::Print<trace::kNoResponseReceived>(); }),
      "func: RecvAndProcessPacketsFromDNSServer(line:314) RecvAndProcessPacketsFromDNSServer: recv nothing...\n");
}

TEST_F(TraceLines, DatagramOfAServer) {
  for (const std::string& text : texts) {
    for (const int length : ints) {
      const char* from = text.c_str();
      EXPECT_EQ(Printed([=] { trace::Print<trace::kResponseReceived>(length, from); }),
                Formatted("func: %s(line:%d) FromDNSServer: recv %d data from %s\n", kRelay, 325,
                          length, from));
      EXPECT_EQ(
          Printed([=] { trace::Print<trace::kResponseTooShort>(length, from); }),
          Formatted("func: %s(line:%d) FromDNSServer: do_answer: answer too short: %d, from: %s\n",
                    kRelay, 327, length, from));
    }
  }
}

TEST_F(TraceLines, ResponseNotRelayed) {
  for (const std::string& text : texts) {
    for (const unsigned id : unsigneds) {
      const char* from = text.c_str();
      EXPECT_EQ(Printed([=] { trace::Print<trace::kResponseWithoutRequest>(from, id); }),
                Formatted("func: %s(line:%d) rsp from: %s, id: %u, request not found\n", kRelay,
                          338, from, id));
      for (const std::string& other : texts) {
        EXPECT_EQ(
            Printed([&] { trace::Print<trace::kResponseWithoutAnswer>(from, id, other.c_str()); }),
            Formatted("func: %s(line:%d) rsp from: %s, id: %u, for : %s, no such name\n", kRelay,
                      372, from, id, other.c_str()));
        EXPECT_EQ(
            Printed([&] {
              trace::Print<trace::kResponseFromWrongSource>(id, 159, from, other.c_str());
            }),
            Formatted(
                "func: %s(line:%d) id: %u, dns_index:%d current dns rsp from: %s, should from: %s, it seems error\n",
                kRelay, 352, id, 159, from, other.c_str()));
      }
    }
  }
  for (const int index : ints) {
    EXPECT_EQ(
        Printed([=] { trace::Print<trace::kResponseFromWrongSource>(7U, index, "a", "b"); }),
        Formatted(
            "func: %s(line:%d) id: %u, dns_index:%d current dns rsp from: %s, should from: %s, it seems error\n",
            kRelay, 352, 7U, index, "a", "b"));
  }
}

TEST_F(TraceLines, RelayNotSent) {
  for (const unsigned id : unsigneds) {
    for (const unsigned error : unsigneds) {
      EXPECT_EQ(Printed([=] { trace::Print<trace::kRelayNotSent>(id, error); }),
                Formatted("func: %s(line:%d) id: %u: sendto failed: %u\n", kRelay, 364, id, error));
    }
  }
}

TEST_F(TraceLines, ResponseRelayed) {
  const signed char last_four[] = {-128, -1, 0, 127};
  for (const std::string& domain : texts) {
    for (const std::string& from : texts) {
      for (const int id : ints) {
        EXPECT_EQ(
            Printed([&] {
              trace::Print<trace::kResponseRelayed>(domain.c_str(), last_four[0], last_four[1],
                                                    last_four[2], last_four[3], from.c_str(), id);
            }),
            Formatted(
                "func: %s(line:%d) domain %s received answer %d.%d.%d.%d from %s, we have to delete id:%d\n",
                kRelay, 367, domain.c_str(), -128, -1, 0, 127, from.c_str(), id));
      }
    }
  }
}
