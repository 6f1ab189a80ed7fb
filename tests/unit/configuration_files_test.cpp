#include "dns_proxy_mac/startup/configuration_files.h"

#include "tests/unit/proxy_fixture.h"
#include "tests/unit/temporary_file.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class ConfigurationFiles : public SharedObjectsTest {
 protected:
  // Reads a file of this text; `servers` and `host_map` are what it held.
  int ReadServers(const std::string& text) {
    return ReadServerFile(TemporaryFile(text).Path(), servers);
  }
  int ReadHostMap(const std::string& text) {
    return ReadHostMapFile(TemporaryFile(text).Path(), host_map);
  }

  ServerList servers;
  HostMapList host_map;
};

}  // namespace

TEST_F(ConfigurationFiles, OneServerALineInFileOrder) {
  EXPECT_EQ(ReadServers("192.0.2.1\n192.0.2.2\n"), 2);
  EXPECT_THAT(servers, ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_EQ(Trace(),
            "read dns: 192.0.2.1\n"
            "read dns: 192.0.2.2\n");
}

TEST_F(ConfigurationFiles, FileThatIsMissingReadsAsEmpty) {
  EXPECT_EQ(ReadServerFile("/var/log/no such directory/dns", servers), 0);
  EXPECT_EQ(ReadHostMapFile("/var/log/no such directory/hostmap", host_map), 0);
  EXPECT_THAT(servers, IsEmpty());
  EXPECT_THAT(host_map, IsEmpty());
  EXPECT_EQ(Trace(), "");
}

TEST_F(ConfigurationFiles, DirectoryInPlaceOfAFileReadsAsEmpty) {
  EXPECT_EQ(ReadServerFile("/", servers), 0);
  EXPECT_EQ(ReadHostMapFile("/", host_map), 0);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ConfigurationFiles, EmptyFileHasNoEntry) {
  EXPECT_EQ(ReadServers(""), 0);
  EXPECT_EQ(ReadHostMap(""), 0);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ConfigurationFiles, ServerFileEndingInOneNewlineHasNoExtraEntry) {
  EXPECT_EQ(ReadServers("192.0.2.1\n"), 1);
  EXPECT_THAT(servers, ElementsAre("192.0.2.1"));
}

TEST_F(ConfigurationFiles, ServerFileEndingInTwoNewlinesHasAnEmptyEntry) {
  EXPECT_EQ(ReadServers("192.0.2.1\n\n"), 2);
  EXPECT_THAT(servers, ElementsAre("192.0.2.1", ""));
  EXPECT_EQ(Trace(),
            "read dns: 192.0.2.1\n"
            "read dns: \n");
}

TEST_F(ConfigurationFiles, LastLineNeedsNoNewline) {
  EXPECT_EQ(ReadServers("192.0.2.1\n192.0.2.2"), 2);
  EXPECT_EQ(ReadHostMap("mail.local:10.1.2.3"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("mail.local", "10.1.2.3")));
}

TEST_F(ConfigurationFiles, ServerLinesAreTakenAsTheyAre) {
  ReadServers(" 192.0.2.1\t\n# comment\nDNS.Example\n");
  EXPECT_THAT(servers, ElementsAre(" 192.0.2.1\t", "# comment", "DNS.Example"));
}

TEST_F(ConfigurationFiles, ServerEntryEndsAtItsFirstNul) {
  EXPECT_EQ(ReadServers(std::string("192.0.2.1\0hidden\n\0\n", 19)), 2);
  EXPECT_THAT(servers, ElementsAre("192.0.2.1", ""));
  EXPECT_EQ(Trace(),
            "read dns: 192.0.2.1\n"
            "read dns: \n");
}

TEST_F(ConfigurationFiles, CarriageReturnsStay) {
  ReadServers("192.0.2.1\r\n");
  ReadHostMap("mail.local:10.1.2.3\r\n");
  EXPECT_THAT(servers, ElementsAre("192.0.2.1\r"));
  EXPECT_THAT(host_map, ElementsAre(Pair("mail.local", "10.1.2.3\r")));
  EXPECT_EQ(Trace(),
            "read dns: 192.0.2.1\r\n"
            "read hostmap: mail.local:10.1.2.3\r\n");
}

TEST_F(ConfigurationFiles, HostMapLineIsSplitAtItsFirstColon) {
  EXPECT_EQ(ReadHostMap("a.example:1.2.3.4:53\n"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("a.example", "1.2.3.4:53")));
  EXPECT_EQ(Trace(), "read hostmap: a.example:1.2.3.4:53\n");
}

TEST_F(ConfigurationFiles, HostMapLineThatBeginsWithAColonIsPrintedAndLeftOut) {
  EXPECT_EQ(ReadHostMap(":1.2.3.4\nmail.local:10.1.2.3\n"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("mail.local", "10.1.2.3")));
  EXPECT_EQ(Trace(),
            "read hostmap: :1.2.3.4\n"
            "read hostmap: mail.local:10.1.2.3\n");
}

TEST_F(ConfigurationFiles, HostMapLineWithoutAColonIsThePairOfItselfTwice) {
  EXPECT_EQ(ReadHostMap("localhost\n"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("localhost", "localhost")));
  EXPECT_EQ(Trace(), "read hostmap: localhost\n");
}

TEST_F(ConfigurationFiles, EmptyHostMapLineIsAPairOfEmptyTexts) {
  EXPECT_EQ(ReadHostMap("\n"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("", "")));
  EXPECT_EQ(Trace(), "read hostmap: \n");
}

TEST_F(ConfigurationFiles, ColonAtTheEndLeavesAnEmptyAddress) {
  EXPECT_EQ(ReadHostMap("mail.local:\n"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("mail.local", "")));
}

TEST_F(ConfigurationFiles, HostMapTextsAreNeitherTrimmedNorFolded) {
  ReadHostMap(" Mail.Local : 10.1.2.3 # mail\n");
  EXPECT_THAT(host_map, ElementsAre(Pair(" Mail.Local ", " 10.1.2.3 # mail")));
}

TEST_F(ConfigurationFiles, EntriesAreAppendedToTheCallersList) {
  servers = {"before"};
  EXPECT_EQ(ReadServers("192.0.2.1\n"), 1);
  EXPECT_THAT(servers, ElementsAre("before", "192.0.2.1"));
}

TEST_F(ConfigurationFiles, LongLinesAreKeptWhole) {
  const std::string longest(100000, 'a');
  EXPECT_EQ(ReadServers(longest + "\n"), 1);
  EXPECT_THAT(servers, ElementsAre(longest));
  EXPECT_EQ(Trace(), "read dns: " + longest + "\n");
}

TEST_F(ConfigurationFiles, AddressHalfOfAnyLengthIsKeptWhole) {
  const std::string address(200, '1');
  EXPECT_EQ(ReadHostMap("mail.local: " + address + "\n"), 1);
  EXPECT_THAT(host_map, ElementsAre(Pair("mail.local", " " + address)));
}
