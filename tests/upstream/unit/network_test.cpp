#include "upstream/servers/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "common/upstream/places.h"
#include "upstream/servers/scutil.h"

namespace upstream {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A host's file tree, as far as it says something of servers.
class Network : public testing::Test {
 protected:
  Network() {
    char folder[] = "/tmp/upstream_network_XXXXXX";
    root_ = mkdtemp(folder);
  }
  ~Network() override { std::filesystem::remove_all(root_); }

  void Write(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(root_ + path).parent_path());
    std::ofstream(root_ + path) << text;
  }
  std::vector<std::string> Read() {
    reading_ = ReadNetwork(0, root_);
    std::vector<std::string> texts;
    for (const ServerAddress& server : reading_.servers) texts.push_back(AddressText(server));
    return texts;
  }

  std::string root_;
  NetworkReading reading_;
};

TEST_F(Network, WithoutARecordThereAreNoServersAndNoComplaint) {
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(reading_.complaint, "");
}

#ifndef __APPLE__
// Each kind of record alone: where it lies, and what it holds.
struct Kind {
  const char* path;
  const char* text;
};
class NetworkOfOneKind : public Network, public testing::WithParamInterface<Kind> {};

TEST_P(NetworkOfOneKind, NamesTheServers) {
  Write("/etc/resolv.conf", "nameserver 127.0.0.1\n");
  Write(GetParam().path, GetParam().text);
  EXPECT_THAT(Read(), ElementsAre("192.168.1.1"));
}

INSTANTIATE_TEST_SUITE_P(
    All, NetworkOfOneKind,
    testing::Values(Kind{"/run/systemd/resolve/resolv.conf", "nameserver 192.168.1.1\nsearch .\n"},
                    Kind{"/run/NetworkManager/no-stub-resolv.conf", "nameserver 192.168.1.1\n"},
                    Kind{"/run/NetworkManager/resolv.conf", "nameserver 192.168.1.1\n"},
                    Kind{"/run/resolvconf/interface/eth0.dhclient", "nameserver 192.168.1.1\n"},
                    Kind{"/run/resolvconf/interfaces/eth0", "nameserver 192.168.1.1\n"},
                    Kind{"/run/dhcpcd/hook-state/resolv.conf/eth0.dhcp",
                         "nameserver 192.168.1.1\n"},
                    Kind{"/run/dhcpcd/resolv.conf/eth0.dhcp", "nameserver 192.168.1.1\n"},
                    Kind{"/var/lib/dhcp/dhclient.eth0.leases",
                         "lease {\n  option domain-name-servers 192.168.1.1;\n}\n"},
                    Kind{"/run/systemd/netif/state", "DNS=192.168.1.1\n"},
                    Kind{"/etc/resolv.conf", "nameserver 192.168.1.1\n"}));

TEST_F(Network, AStubIsPassedOverForTheServersThatItAsks) {
  Write("/run/NetworkManager/no-stub-resolv.conf", "nameserver 192.168.1.1\n");
  Write("/run/NetworkManager/resolv.conf", "nameserver 127.0.0.53\n");
  Write("/etc/resolv.conf", "nameserver 127.0.0.53\n");
  EXPECT_THAT(Read(), ElementsAre("192.168.1.1"));
}

TEST_F(Network, AllInterfacesOfOneKindCountInTheOrderOfTheirNames) {
  Write("/run/resolvconf/interface/wlan0.dhclient", "nameserver 192.168.2.1\n");
  Write("/run/resolvconf/interface/eth0.dhclient", "nameserver 192.168.1.1\n");
  Write("/run/resolvconf/interface/lo.named", "nameserver 127.0.0.1\n");
  EXPECT_THAT(Read(), ElementsAre("192.168.1.1", "192.168.2.1"));
}

TEST_F(Network, ARecordOfUnknownFormIsComplainedOf) {
  Write("/run/systemd/resolve/resolv.conf", "nameserver somewhere\n");
  Write("/etc/resolv.conf", "nameserver 192.168.1.1\n");
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(reading_.complaint, root_ + "/run/systemd/resolve/resolv.conf has an unknown form.");
}
#endif

TEST_F(Network, AHostThatAsksTheProxyHasTheServersThatItAskedBefore) {
  Write("/etc/resolv.conf", "nameserver 127.0.0.1\n");
  Write(kServersBefore, "nameserver 192.168.1.1\nnameserver 2001:db8::1\n");
  EXPECT_THAT(Read(), ElementsAre("192.168.1.1", "2001:db8::1"));
}

TEST_F(Network, WhatAnotherProgramHasWrittenSinceIsNewer) {
  Write("/etc/resolv.conf", "nameserver 192.168.9.1\n");
  Write(kServersBefore, "nameserver 192.168.1.1\n");
  EXPECT_THAT(Read(), ElementsAre("192.168.9.1"));
}

TEST_F(Network, TheConfigurationStoreIsAskedForEachService) {
  const std::string stand_in = root_ + "/scutil";
  std::ofstream(stand_in) << "#!/bin/sh\n"
                             "while read -r verb key; do\n"
                             "  case $verb in\n"
                             "    list) echo '  subKey [0] = State:/Network/Service/A/DNS'\n"
                             "          echo '  subKey [1] = State:/Network/Service/B/DNS' ;;\n"
                             "    show) echo \"shown: $key\" ;;\n"
                             "    quit) exit ;;\n"
                             "  esac\n"
                             "done\n";
  chmod(stand_in.c_str(), 0755);
  EXPECT_EQ(AskScutil(stand_in.c_str()),
            "shown: State:/Network/Service/A/DNS\nshown: State:/Network/Service/B/DNS\n");
}

TEST_F(Network, AConfigurationStoreThatCannotBeAskedSaysNothing) {
  EXPECT_EQ(AskScutil((root_ + "/none").c_str()), "");
}

}  // namespace
}  // namespace upstream
