#include "upstream/servers/follower.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace upstream {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Follow : public testing::Test {
 protected:
  Follow() {
    char folder[] = "/tmp/upstream_follow_XXXXXX";
    folder_ = mkdtemp(folder);
    path_ = folder_ + "/servers";
  }
  ~Follow() override { std::filesystem::remove_all(folder_); }

  void Write(const std::string& text) { std::ofstream(path_, std::ios::trunc) << text; }
  void SetNetwork(const std::vector<std::string>& texts) {
    network_ = {};
    for (const std::string& text : texts) network_.servers.push_back(*ReadAddress(text));
  }
  // The servers after so many looks.
  std::vector<std::string> Look(int times = 1) {
    if (!follower_) {
      follower_.emplace(
          path_, [this] { return network_; },
          [this](const std::string& sentence) { said_.push_back(sentence); });
    }
    for (int i = 0; i < times; ++i) {
      if (const auto servers = follower_->Look()) {
        now_.clear();
        for (const ServerAddress& server : *servers) now_.push_back(AddressText(server));
      }
    }
    return now_;
  }

  std::string folder_;
  std::string path_;
  NetworkReading network_;
  std::optional<Follower> follower_;
  std::vector<std::string> now_;
  std::vector<std::string> said_;
};

TEST_F(Follow, TheFirstLookCounts) {
  Write("192.0.2.1\n");
  EXPECT_THAT(Look(), ElementsAre("192.0.2.1"));
  EXPECT_THAT(said_, IsEmpty());
}

TEST_F(Follow, AnEditCountsWhenItIsSeenTwice) {
  Write("192.0.2.1\n");
  Look();
  Write("192.0.2.2\n");
  EXPECT_THAT(Look(), ElementsAre("192.0.2.1"));
  EXPECT_THAT(Look(), ElementsAre("192.0.2.2"));
}

TEST_F(Follow, AFileThatIsBeingWrittenDoesNotCount) {
  Write("192.0.2.1\n");
  Look();
  Write("192.0.2.2\n");
  Look();
  Write("192.0.2.2\n192.0.2.3\n");
  EXPECT_THAT(Look(), ElementsAre("192.0.2.1"));
  EXPECT_THAT(Look(), ElementsAre("192.0.2.2", "192.0.2.3"));
}

TEST_F(Follow, ABadFileLeavesTheServersAndGivesOneSentence) {
  Write("192.0.2.1\n");
  Look();
  Write("192.0.2.2\n192.0.\n");
  EXPECT_THAT(Look(5), ElementsAre("192.0.2.1"));
  EXPECT_THAT(said_,
              ElementsAre(path_ + ": Line 2: \"192.0.\" is neither an address nor \"network\". The "
                                  "servers stay as they were."));
}

TEST_F(Follow, AfterABadFileAGoodOneCounts) {
  Write("192.0.2.1\n");
  Look();
  Write("192.0.\n");
  Look(2);
  Write("192.0.2.2\n");
  EXPECT_THAT(Look(2), ElementsAre("192.0.2.2"));
}

TEST_F(Follow, AFileThatGoesLeavesTheServersAndGivesOneSentence) {
  Write("192.0.2.1\n");
  Look();
  std::filesystem::remove(path_);
  EXPECT_THAT(Look(5), ElementsAre("192.0.2.1"));
  EXPECT_THAT(said_,
              ElementsAre(path_ + " cannot be read: the servers that it named last are asked on."));
}

TEST_F(Follow, WithoutAFileTheNetworksServersAreAsked) {
  SetNetwork({"10.0.0.1"});
  EXPECT_THAT(Look(2), ElementsAre("10.0.0.1"));
  EXPECT_THAT(said_, ElementsAre(path_ + " cannot be read: the network's own servers are asked."));
}

TEST_F(Follow, TheNetworksServersAreFollowed) {
  Write("network\n");
  SetNetwork({"10.0.0.1"});
  Look();
  SetNetwork({"10.1.0.1"});
  EXPECT_THAT(Look(), ElementsAre("10.0.0.1"));
  EXPECT_THAT(Look(), ElementsAre("10.1.0.1"));
}

TEST_F(Follow, ANetworkWithoutServersTakesNoneAway) {
  Write("network\n");
  SetNetwork({"10.0.0.1"});
  Look();
  SetNetwork({});
  EXPECT_THAT(Look(5), ElementsAre("10.0.0.1"));
}

TEST_F(Follow, ARecordOfUnknownFormTakesNoneAwayAndGivesOneSentence) {
  Write("network\n");
  SetNetwork({"10.0.0.1"});
  Look();
  network_ = {{}, "A record has an unknown form."};
  EXPECT_THAT(Look(5), ElementsAre("10.0.0.1"));
  EXPECT_THAT(said_, ElementsAre("A record has an unknown form. The servers stay as they were."));
}

TEST_F(Follow, TheNetworkIsNotLookedAtForNothing) {
  Write("192.0.2.1\n");
  network_ = {{}, "A record has an unknown form."};
  Look(3);
  EXPECT_THAT(said_, IsEmpty());
}

}  // namespace
}  // namespace upstream
