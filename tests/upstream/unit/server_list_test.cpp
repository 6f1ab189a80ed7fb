#include "common/upstream/server_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace upstream {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Texts(const std::vector<ServerAddress>& servers) {
  std::vector<std::string> texts;
  for (const ServerAddress& server : servers) texts.push_back(AddressText(server));
  return texts;
}

std::vector<ServerAddress> Addresses(const std::vector<std::string>& texts) {
  std::vector<ServerAddress> servers;
  for (const std::string& text : texts) servers.push_back(*ReadAddress(text));
  return servers;
}

std::vector<std::string> Read(std::string_view text, const std::vector<std::string>& network = {}) {
  const ServerList list = ReadServerList(text);
  EXPECT_EQ(list.complaint, "");
  return Texts(Servers(list, Addresses(network)));
}

std::string Complaint(std::string_view text) {
  const ServerList list = ReadServerList(text);
  EXPECT_THAT(list.entries, IsEmpty());
  return list.complaint;
}

TEST(ServerList, OneServerALineInTheirOrder) {
  EXPECT_THAT(Read("192.0.2.2\n192.0.2.1\n2001:db8::1\n"),
              ElementsAre("192.0.2.2", "192.0.2.1", "2001:db8::1"));
}

TEST(ServerList, BlanksCommentsAndCarriageReturnsCountForNothing) {
  EXPECT_THAT(Read("# ours\r\n\r\n  192.0.2.1\t# the first\r\n   \n192.0.2.2"),
              ElementsAre("192.0.2.1", "192.0.2.2"));
}

TEST(ServerList, NetworkStandsForItsServersInItsPlace) {
  EXPECT_THAT(Read("192.0.2.1\nnetwork\n192.0.2.2\n", {"10.0.0.1"}),
              ElementsAre("192.0.2.1", "10.0.0.1", "192.0.2.2"));
  EXPECT_THAT(Read("network\n192.0.2.1\n"), ElementsAre("192.0.2.1"));
}

TEST(ServerList, EachOnceAndThreeAtMost) {
  EXPECT_THAT(Read("192.0.2.1\nnetwork\n192.0.2.4\n", {"192.0.2.1", "192.0.2.2", "192.0.2.3"}),
              ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
}

TEST(ServerList, OtherLinesRefuseTheWholeText) {
  EXPECT_EQ(Complaint("192.0.2.1\n192.0.2\n"),
            "Line 2: \"192.0.2\" is neither an address nor \"network\".");
  EXPECT_EQ(Complaint("192.0.2.1 192.0.2.2\n"), "Line 1: more than one word: \"192.0.2.2\".");
  EXPECT_EQ(Complaint("network:\n"), "Line 1: \"network:\" is neither an address nor \"network\".");
  EXPECT_EQ(Complaint("224.0.0.1\n"), "Line 1: \"224.0.0.1\" is no address of a server.");
  EXPECT_EQ(Complaint("fe80::1\n"), "Line 1: \"fe80::1\" is no address of a server.");
}

TEST(ServerList, TextWithoutAServerIsHalfOfOne) {
  EXPECT_EQ(Complaint(""), "It names no server.");
  EXPECT_EQ(Complaint("# nothing\n"), "It names no server.");
}

TEST(ServerList, BinaryContentIsNoText) {
  EXPECT_EQ(Complaint(std::string("192.0.2.1\n\0\x7f"
                                  "ELF",
                                  15)),
            "It holds something other than text.");
}

TEST(ServerList, NobodyAsksThemselves) {
  for (const char* own : {"127.0.0.1", "127.0.53.1", "127.0.53.2", "127.0.53.3", "0.0.0.0",
                          "::", "::ffff:127.0.0.1", "::ffff:127.0.53.3"}) {
    EXPECT_EQ(Complaint(std::string(own) + "\n"),
              "Line 1: \"" + std::string(own) +
                  "\" is this program or the proxy, which would ask itself.");
  }
  EXPECT_THAT(Read("127.0.0.53\n127.0.53.4\n::1\n"),
              ElementsAre("127.0.0.53", "127.0.53.4", "::1"));
}

}  // namespace
}  // namespace upstream
