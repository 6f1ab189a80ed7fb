#include "companion/host/host.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <set>

#include "host_tree.h"
#include "interrupted_calls.h"

namespace ctl {
namespace {

using interrupted_calls::At;
using interrupted_calls::What;

constexpr char kOfOthers[] = "search home.lan\nnameserver 192.0.2.1\noptions edns0 timeout:1\n";
constexpr char kOurs[] =
    "# Written by dns_proxy_ctl on; dns_proxy_ctl off puts back what was here.\n"
    "nameserver 127.0.0.1\nsearch home.lan\noptions timeout:1\n";

// A way in which hosts resolve names.
struct SetUp {
  const char* name;
  std::function<void(const HostTree&)> make;
  bool has_hard_links = true;
};

void MakePlain(const HostTree& host) { host.Write("/etc/resolv.conf", kOfOthers, 0640); }

void MakeAbsent(const HostTree& host) { host.MakeFolder("/etc"); }

void MakeResolved(const HostTree& host) {
  host.Write("/run/systemd/resolve/stub-resolv.conf",
             "nameserver 127.0.0.53\noptions edns0 trust-ad\nsearch home.lan\n");
  host.Write("/run/systemd/resolve/resolv.conf", "nameserver 192.0.2.1\n");
  host.Link("/etc/resolv.conf", "../run/systemd/resolve/stub-resolv.conf");
}

void MakeDangling(const HostTree& host) { host.Link("/etc/resolv.conf", "../run/nowhere"); }

void MakeNetworkManager(const HostTree& host) {
  MakePlain(host);
  host.Write("/usr/sbin/NetworkManager", "");
  host.MakeFolder("/etc/NetworkManager/conf.d");
}

void MakeResolvconf(const HostTree& host) {
  host.Write("/run/resolvconf/resolv.conf", kOfOthers);
  host.Write("/sbin/resolvconf", "");
  host.Link("/etc/resolv.conf", "/run/resolvconf/resolv.conf");
}

void MakeOpenresolv(const HostTree& host) {
  MakePlain(host);
  host.Write("/etc/resolvconf.conf", "resolv_conf=/etc/resolv.conf", 0600);
  host.Write("/sbin/resolvconf", "");
}

void MakeDhclient(const HostTree& host) {
  MakePlain(host);
  host.MakeFolder("/etc/dhcp/dhclient-enter-hooks.d");
}

void MakeDhcpcd(const HostTree& host) {
  MakePlain(host);
  host.Write("/usr/lib/dhcpcd/dhcpcd-run-hooks", "");
  host.Write("/etc/dhcpcd.enter-hook", "somebody=s\n", 0755);
}

const SetUp kSetUps[] = {
    {"plain", MakePlain},
    {"mounted", MakePlain, false},
    {"absent", MakeAbsent},
    {"resolved", MakeResolved},
    {"dangling", MakeDangling},
    {"network_manager", MakeNetworkManager},
    {"resolvconf", MakeResolvconf},
    {"openresolv", MakeOpenresolv},
    {"openresolv_mounted", MakeOpenresolv, false},
    {"dhclient", MakeDhclient},
    {"dhcpcd", MakeDhcpcd},
};

class HostOf : public testing::TestWithParam<SetUp> {
 protected:
  HostOf() {
    interrupted_calls::RefuseHardLinks(!GetParam().has_hard_links);
    GetParam().make(host_);
    before_ = AsItIs();
  }
  ~HostOf() override {
    interrupted_calls::RefuseHardLinks(false);
    At(0, What::kNothing);
  }

  // A file that has to be written in its place gets another time.
  std::map<std::string, std::string> AsItIs() const {
    auto entries = host_.Everything();
    if (GetParam().has_hard_links) return entries;
    for (auto& [path, words] : entries) {
      const std::size_t dot = words.find('.');
      if (words[0] == '1' && dot != std::string::npos) words = words.substr(words.find(' ', dot));
    }
    return entries;
  }
  void ExpectAsBefore(int step) const {
    auto now = AsItIs();
    now.erase("/var");
    now.erase("/var/lib");
    EXPECT_EQ(now, before_) << "after step " << step;
  }
  // Whether the process was ended at `step`.
  bool EndAt(int step, const std::function<void()>& work) const {
    const pid_t process = fork();
    if (process == 0) {
      At(step, What::kEnd);
      work();
      _exit(0);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return WEXITSTATUS(status) == interrupted_calls::kEndStatus;
  }

  HostTree host_;
  std::map<std::string, std::string> before_;
};

INSTANTIATE_TEST_SUITE_P(All, HostOf, testing::ValuesIn(kSetUps),
                         [](const auto& set_up) { return set_up.param.name; });

TEST_P(HostOf, AsksTheProxyAfterOnAndIsTheSameAfterOff) {
  const HostOutcome on = TurnHostOn(host_.places());
  EXPECT_TRUE(on.is_done && on.sentences.empty());
  EXPECT_NE(host_.Read("/etc/resolv.conf").find("nameserver 127.0.0.1\n"), std::string::npos);
  EXPECT_EQ(host_.Read("/etc/resolv.conf").find("edns0"), std::string::npos);
  EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOn);

  const HostOutcome off = TurnHostOff(host_.places());
  EXPECT_TRUE(off.is_done && off.sentences.empty());
  EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOff);
  ExpectAsBefore(0);
}

TEST_P(HostOf, IsTheSameAfterOffWhereverOnWasEnded) {
  int step = 1;
  while (EndAt(step, [this] { TurnHostOn(host_.places()); })) {
    EXPECT_TRUE(TurnHostOff(host_.places()).is_done);
    EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOff);
    ExpectAsBefore(step++);
  }
  EXPECT_GT(step, 10);
}

TEST_P(HostOf, IsTheSameAfterOffWhereverOffWasEnded) {
  int step = 0;
  do {
    EXPECT_TRUE(TurnHostOn(host_.places()).is_done);
    ++step;
  } while (EndAt(step, [this] { TurnHostOff(host_.places()); }) &&
           (TurnHostOff(host_.places()), ExpectAsBefore(step), true));
  ExpectAsBefore(step);
  EXPECT_GT(step, 5);
}

TEST_P(HostOf, CanBeTurnedOnAgainWhereverItWasEnded) {
  for (int step = 1; EndAt(step, [this] { TurnHostOn(host_.places()); }); ++step) {
    EXPECT_TRUE(TurnHostOn(host_.places()).is_done);
    EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOn);
    EXPECT_TRUE(TurnHostOff(host_.places()).is_done);
    ExpectAsBefore(step);
  }
}

TEST_P(HostOf, IsTheSameWhenAStepOfOnFails) {
  const int most = 200;
  int step = 1;
  for (; step < most; ++step) {
    At(step, What::kFail);
    const HostOutcome outcome = TurnHostOn(host_.places());
    const bool was_reached = interrupted_calls::Steps() >= step;
    At(0, What::kNothing);
    EXPECT_EQ(outcome.is_done, ReadHostUse(host_.places()) == HostUse::kOn) << "step " << step;
    TurnHostOff(host_.places());
    ExpectAsBefore(step);
    if (!was_reached) break;
  }
  EXPECT_LT(step, most);
}

class Host : public testing::Test {
 protected:
  HostTree host_;
};

TEST_F(Host, KeepsSearchListAndOptionsThatTheProxyCanLiveWith) {
  host_.Write("/etc/resolv.conf",
              "# a comment\ndomain lan\nsortlist 10.0.0.0\nnameserver ::1\n"
              "options use-vc ndots:2 trust-ad edns0\noptions edns0\n");
  TurnHostOn(host_.places());
  EXPECT_EQ(host_.Read("/etc/resolv.conf"),
            "# Written by dns_proxy_ctl on; dns_proxy_ctl off puts back what was here.\n"
            "nameserver 127.0.0.1\ndomain lan\nsortlist 10.0.0.0\noptions ndots:2\n");
}

TEST_F(Host, RemembersTheServersOfTheNetwork) {
  host_.Write("/etc/resolv.conf", "nameserver 127.0.0.53\nnameserver 2001:db8::1\n");
  host_.Write("/run/systemd/resolve/resolv.conf", "nameserver 192.0.2.1\n");
  TurnHostOn(host_.places());
  EXPECT_EQ(host_.Read("/var/lib/dns_proxy_mac/servers_before"),
            "nameserver 2001:db8::1\nnameserver 192.0.2.1\n");
}

TEST_F(Host, LeavesWhatAnotherProgramHasWrittenSince) {
  MakePlain(host_);
  TurnHostOn(host_.places());
  host_.Write("/etc/resolv.conf", "nameserver 192.0.2.9\n");
  const HostOutcome off = TurnHostOff(host_.places());
  EXPECT_TRUE(off.is_done);
  EXPECT_EQ(off.sentences.size(), 1U);
  EXPECT_EQ(host_.Read("/etc/resolv.conf"), "nameserver 192.0.2.9\n");
  EXPECT_EQ(host_.Read("/etc/resolv.conf.dns_proxy_mac-saved"), kOfOthers);
}

TEST_F(Host, PutsBackAFileThatWasEditedAndStillNamesTheProxy) {
  MakePlain(host_);
  TurnHostOn(host_.places());
  host_.Write("/etc/resolv.conf", "nameserver 127.0.0.1\noptions ndots:3\n");
  const HostOutcome off = TurnHostOff(host_.places());
  EXPECT_TRUE(off.is_done);
  EXPECT_EQ(off.sentences.size(), 1U);
  EXPECT_EQ(host_.Read("/etc/resolv.conf"), kOfOthers);
  EXPECT_EQ(host_.Read("/etc/resolv.conf.dns_proxy_mac-saved"),
            "nameserver 127.0.0.1\noptions ndots:3\n");
}

class HostWhereAStepOfOffFails : public testing::TestWithParam<const char*> {
 protected:
  // Whether there is such a step. Off is said once more where it has failed.
  static bool TurnOff(const HostTree& host, int step) {
    MakePlain(host);
    TurnHostOn(host.places());
    host.Write("/etc/resolv.conf", GetParam());
    At(step, What::kFail);
    TurnHostOff(host.places());
    const bool was_reached = interrupted_calls::Steps() >= step;
    At(0, What::kNothing);
    TurnHostOff(host.places());
    return was_reached;
  }
};

INSTANTIATE_TEST_SUITE_P(All, HostWhereAStepOfOffFails,
                         testing::Values("nameserver 192.0.2.9\n",
                                         "nameserver 127.0.0.1\noptions ndots:3\n"));

TEST_P(HostWhereAStepOfOffFails, NeitherTheFileBeforeNorWhatWasWrittenSinceIsLost) {
  const std::set<std::string> both = {kOfOthers, GetParam()};
  int step = 0;
  for (bool is_there = true; is_there;) {
    const HostTree host;
    is_there = TurnOff(host, ++step);
    EXPECT_EQ((std::set<std::string>{host.Read("/etc/resolv.conf"),
                                     host.Read("/etc/resolv.conf.dns_proxy_mac-saved")}),
              both)
        << "step " << step;
  }
  EXPECT_GT(step, 5);
}

TEST_F(Host, PutsBackAFileThatSomebodyHasRemoved) {
  MakePlain(host_);
  TurnHostOn(host_.places());
  EXPECT_EQ(unlink((host_.places().At("/etc/resolv.conf")).c_str()), 0);
  EXPECT_TRUE(TurnHostOff(host_.places()).sentences.empty());
  EXPECT_EQ(host_.Read("/etc/resolv.conf"), kOfOthers);
}

TEST_F(Host, OffForNowIsRememberedUntilOnOrOff) {
  MakePlain(host_);
  TurnHostOn(host_.places());
  TurnHostOff(host_.places(), true);
  EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOffForNow);
  EXPECT_TRUE(HostIsWantedOn(host_.places()));
  EXPECT_EQ(host_.Read("/etc/resolv.conf"), kOfOthers);

  TurnHostOn(host_.places());
  EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOn);
  EXPECT_EQ(host_.Read("/etc/resolv.conf"), kOurs);

  TurnHostOff(host_.places(), true);
  TurnHostOff(host_.places());
  EXPECT_EQ(ReadHostUse(host_.places()), HostUse::kOff);
  EXPECT_FALSE(host_.Has("/var/lib/dns_proxy_mac"));
}

TEST_F(Host, ProgramsThatRunAreToldBothTimes) {
  MakeResolved(host_);
  host_.Write("/usr/sbin/NetworkManager", "");
  host_.MakeFolder("/run/systemd/system");
  host_.WriteProgram("/usr/bin/systemctl");
  TurnHostOn(host_.places());
  TurnHostOff(host_.places());
  EXPECT_EQ(host_.Read("/usr/bin/systemctl.ran"),
            "try-restart systemd-resolved.service\n"
            "try-reload-or-restart NetworkManager.service\n"
            "try-reload-or-restart NetworkManager.service\n"
            "try-restart systemd-resolved.service\n");
}

}  // namespace
}  // namespace ctl
