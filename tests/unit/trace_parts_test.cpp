#include <cerrno>
#include <thread>

#include "dns_proxy_mac/engine/engine.h"
#include "dns_proxy_mac/startup/service.h"
#include "dns_proxy_mac/trace/print.h"
#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;

constexpr char kOneText[] = "%s\n";
constexpr char kTwoTexts[] = "%s%s\n";

// When each thread hands over what it has printed, and what that promises about the order of lines.
class TraceParts : public ProxyTest {
 protected:
  // Everything that has been handed over so far, by whatever thread.
  std::string HandedOver() {
    std::thread(trace::Flush).join();
    return trace_.Written();
  }

  // A query whose name fills all that is decoded of a name, and more, and that name.
  static Wire LongestQuery() {
    Wire query = "AB CD 01 00 00 01 00 00 00 00 00 00"_wire;
    for (int label = 0; label < 9; ++label) query = query + "7F"_wire + Repeated(127, 'n');
    return query + "00 00 01 00 01"_wire;
  }
  static std::string LongestName() {
    std::string name(127, 'n');
    for (int label = 1; label < 8; ++label) name += "." + std::string(127, 'n');
    return name;
  }
};

}  // namespace

TEST_F(TraceParts, LinesOfAThreadAreItsOwnUntilItHandsThemOver) {
  trace::Print<kOneText>("of the first");
  std::thread([] {
    trace::Print<kOneText>("of the second");
    trace::HandOver();
  }).join();
  EXPECT_EQ(Trace(), "of the second\nof the first\n");
}

TEST_F(TraceParts, LinesOfAStepStandTogether) {
  constexpr int kSteps = 2000;
  const auto print = [](char letter) {
    const std::string text(40, letter);
    for (int step = 0; step < kSteps; ++step) {
      for (int line = 0; line < 3; ++line) trace::Print<kTwoTexts>(text.c_str(), text.c_str());
      trace::HandOver();
    }
  };
  std::thread other(print, 'a');
  print('b');
  other.join();
  const std::string text = Trace();
  constexpr std::size_t kStepBytes = 3 * 81;
  ASSERT_EQ(text.size(), 2U * kSteps * kStepBytes);
  for (std::size_t at = 0; at < text.size(); at += kStepBytes) {
    const std::string line = std::string(80, text[at]) + "\n";
    ASSERT_EQ(text.substr(at, kStepBytes), line + line + line);
  }
}

TEST_F(TraceParts, LinesBeforeASendAreHandedOverBeforeIt) {
  g_DnsMethodList = {AskServerA()};
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  RecvAndProcessPacketsFromLocalApps(apps_socket);
  server_a.Receive();
  EXPECT_THAT(HandedOver(), ::testing::EndsWith("iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"));
  Respond(server_a, "00 00 81 80 00 01 00 01 00 00 00 00"_wire);
  RecvAndProcessPacketsFromDNSServer(servers_socket);
  EXPECT_THAT(HandedOver(),
              ::testing::EndsWith(
                  "(line:325) FromDNSServer: recv 12 data from 127.0.0.2\n"));  // and not the line
                                                                                // behind it
  EXPECT_THAT(Trace(), ::testing::HasSubstr("(line:367)"));
}

TEST_F(TraceParts, LinesBehindASendAreHandedOverBeforeTheNextWait) {
  Respond(server_a, "07 00 81 80 00 01 00 01 00 00 00 00"_wire);
  system_calls::Substitute(Call::kSelect, {system_calls::kSystem, {-1, EBADF}});
  thread_answer(nullptr);
  EXPECT_THAT(HandedOver(), ::testing::EndsWith("AnswerThread: select failed. exit.\n"));
}

TEST_F(TraceParts, LongestStepsTakeLessThanHalfOfAPart) {
  AddHost(LongestName(), "10.1.2.3");
  g_DnsMethodList = {HostMapMethod(), AskServerA()};
  system_calls::Substitute(Call::kSendto, {{-1, EPERM}});
  Ask(LongestQuery());
  RecvAndProcessPacketsFromLocalApps(apps_socket);
  const std::string hit = Trace();
  EXPECT_THAT(hit, ::testing::HasSubstr("(line:673)"));
  EXPECT_GT(hit.size(), 3U * LongestName().size());
  EXPECT_LT(hit.size(), 8192U);

  File({7, LongestQuery(), LongestName(), 1, 0, {AskServerA()}});
  system_calls::Substitute(Call::kSendto, {{-1, EPERM}});
  Respond(server_a, "07 00 81 80 00 01 00 00 00 00 00 00"_wire);
  RecvAndProcessPacketsFromDNSServer(servers_socket);
  const std::string exhausted = Trace();
  EXPECT_THAT(exhausted, ::testing::HasSubstr("(line:703)"));
  EXPECT_LT(exhausted.size(), 8192U);
}
