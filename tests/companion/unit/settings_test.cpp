#include "companion/host/settings.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "companion/host/change.h"
#include "host_tree.h"
#include "interrupted_calls.h"

namespace ctl {
namespace {

constexpr char kNetworksetup[] = "/usr/sbin/networksetup";

// Plays macOS's program: a service is a file of the folder "services" beside it, with a server a
// line.
constexpr char kStandIn[] =
    "#!/bin/sh\n"
    "cd \"$(dirname \"$0\")/services\" || exit 1\n"
    "case $1 in\n"
    "  -listallnetworkservices)\n"
    "    echo 'An asterisk (*) denotes that a network service is disabled.'\n"
    "    ls ;;\n"
    "  -getdnsservers)\n"
    "    [ -f \"$2\" ] || exit 4\n"
    "    if [ -s \"$2\" ]; then cat \"$2\"; else\n"
    "      echo \"There aren't any DNS Servers set on $2.\"; fi ;;\n"
    "  -setdnsservers)\n"
    "    [ -f \"$2\" ] || exit 4\n"
    "    file=$2; shift 2\n"
    "    if [ \"$1\" = empty ]; then : >\"$file\"; else printf '%s\\n' \"$@\" >\"$file\"; fi ;;\n"
    "esac\n";

class Settings : public testing::Test {
 protected:
  Settings() {
    host_.Write(kNetworksetup, kStandIn, 0755);
    Set("Wi-Fi", "");
    Set("USB LAN", "192.0.2.1\n2001:db8::1\n");
    Set("*Old modem", "192.0.2.9\n");
  }
  ~Settings() override { interrupted_calls::At(0, interrupted_calls::What::kNothing); }

  static std::string FileOf(const std::string& service) { return "/usr/sbin/services/" + service; }
  void Set(const std::string& service, const std::string& servers) const {
    host_.Write(FileOf(service), servers);
  }
  std::string ServersOf(const std::string& service) const { return host_.Read(FileOf(service)); }

  std::string TurnOn() {
    Journal journal(host_.places().State("host"));
    EXPECT_EQ(journal.Open(), "");
    return PointSettingsAtProxy(host_.places(), journal, 1);
  }
  std::vector<std::string> TurnOff() {
    std::vector<std::string> sentences;
    Journal journal(host_.places().State("host"));
    EXPECT_EQ(journal.Open(), "");
    const std::vector<int> numbers = journal.Numbers();
    for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
      EXPECT_TRUE(UndoChange(host_.places(), journal, *number, sentences));
    }
    return sentences;
  }
  void ExpectAsBefore() const {
    EXPECT_EQ(ServersOf("Wi-Fi"), "");
    EXPECT_EQ(ServersOf("USB LAN"), "192.0.2.1\n2001:db8::1\n");
    EXPECT_EQ(ServersOf("*Old modem"), "192.0.2.9\n");
  }

  HostTree host_;
};

TEST_F(Settings, EveryActiveServiceAsksTheProxyAndGetsItsServersBack) {
  EXPECT_EQ(TurnOn(), "");
  EXPECT_EQ(ServersOf("Wi-Fi"), "127.0.0.1\n");
  EXPECT_EQ(ServersOf("USB LAN"), "127.0.0.1\n");
  EXPECT_EQ(ServersOf("*Old modem"), "192.0.2.9\n");

  EXPECT_TRUE(TurnOff().empty());
  ExpectAsBefore();
}

TEST_F(Settings, ComeBackWhereverOnWasEnded) {
  for (int step = 1;; ++step) {
    const pid_t process = fork();
    if (process == 0) {
      interrupted_calls::At(step, interrupted_calls::What::kEnd);
      TurnOn();
      _exit(0);
    }
    int status = 0;
    waitpid(process, &status, 0);
    TurnOff();
    ExpectAsBefore();
    if (WEXITSTATUS(status) != interrupted_calls::kEndStatus) break;
  }
}

TEST_F(Settings, ThatSomebodyHasChosenSinceStay) {
  EXPECT_EQ(TurnOn(), "");
  Set("Wi-Fi", "192.0.2.7\n");
  TurnOff();
  EXPECT_EQ(ServersOf("Wi-Fi"), "192.0.2.7\n");
}

TEST_F(Settings, OfAServiceThatHasGoneAreForgotten) {
  EXPECT_EQ(TurnOn(), "");
  EXPECT_EQ(unlink(host_.places().At(FileOf("Wi-Fi")).c_str()), 0);
  EXPECT_TRUE(TurnOff().empty());
}

TEST_F(Settings, WithoutNetworksetupThereIsNothingToDo) {
  EXPECT_EQ(unlink(host_.places().At(kNetworksetup).c_str()), 0);
  EXPECT_EQ(TurnOn(), "");
}

}  // namespace
}  // namespace ctl
