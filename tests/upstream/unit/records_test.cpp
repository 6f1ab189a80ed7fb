#include "upstream/servers/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace upstream {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Texts(const Record& record) {
  EXPECT_TRUE(record.is_understood);
  std::vector<std::string> texts;
  for (const ServerAddress& server : record.servers) texts.push_back(AddressText(server));
  return texts;
}

// 2026-11-22 10:00:00 UTC
constexpr std::time_t kNow = 1795341600;

TEST(Records, AResolverFileNamesOneServerALine) {
  EXPECT_THAT(Texts(ReadResolverFile("# made by somebody\n"
                                     "nameserver 192.168.1.1\n"
                                     "nameserver\t2001:db8::1\n"
                                     "search lan nameserver\n"
                                     ";nameserver 10.0.0.1\n"
                                     "options edns0 trust-ad\n")),
              ElementsAre("192.168.1.1", "2001:db8::1"));
}

TEST(Records, AResolverFileWithSomethingElseForAnAddressIsNotUnderstood) {
  EXPECT_FALSE(ReadResolverFile("nameserver dns.example\n").is_understood);
  EXPECT_FALSE(ReadResolverFile(std::string("\x7f"
                                            "ELF\0",
                                            5))
                   .is_understood);
}

TEST(Records, ALinkLocalServerOfAnInterfaceThatIsGoneIsLeftOut) {
  EXPECT_THAT(Texts(ReadResolverFile("nameserver fe80::1%gone0\nnameserver fe80::1%lo\n")),
              ElementsAre("fe80::1%lo"));
}

TEST(Records, AssignmentsNameThemInOneLine) {
  EXPECT_THAT(Texts(ReadAssignments("OPER_STATE=routable\n"
                                    "DNS=192.168.1.1 2001:db8::1#dns.example\n"
                                    "NTP=192.168.1.2\n")),
              ElementsAre("192.168.1.1", "2001:db8::1"));
}

TEST(Records, TheLastLeaseForAnInterfaceCounts) {
  EXPECT_THAT(Texts(ReadLeases("lease {\n"
                               "  interface \"eth0\";\n"
                               "  option domain-name-servers 10.0.0.1;\n"
                               "  expire 0 2026/11/29 10:00:00;\n"
                               "}\n"
                               "lease {\n"
                               "  interface \"eth0\";\n"
                               "  option routers 192.168.1.254;\n"
                               "  option domain-name-servers 192.168.1.1,192.168.1.2;\n"
                               "  renew 0 2026/11/22 12:00:00;\n"
                               "  expire 0 2026/11/22 10:00:01;\n"
                               "}\n",
                               kNow)),
              ElementsAre("192.168.1.1", "192.168.1.2"));
}

TEST(Records, ALeaseThatHasRunOutDoesNot) {
  const auto with_expire = [](const std::string& expire) {
    return Texts(
        ReadLeases("lease {\n  interface \"eth0\";\n"
                   "  option domain-name-servers 10.0.0.1;\n  expire " +
                       expire + ";\n}\n",
                   kNow));
  };
  EXPECT_THAT(with_expire("0 2026/11/22 09:59:59"), IsEmpty());
  EXPECT_THAT(with_expire("0 2026/11/22 10:00:00"), ElementsAre("10.0.0.1"));
  EXPECT_THAT(with_expire("epoch 1795341599; # Sun Nov 22"), IsEmpty());
  EXPECT_THAT(with_expire("epoch 1795341600; # Sun Nov 22"), ElementsAre("10.0.0.1"));
  EXPECT_THAT(with_expire("never"), ElementsAre("10.0.0.1"));
}

TEST(Records, LeasesOfIpv6AreReadToo) {
  EXPECT_THAT(Texts(ReadLeases("lease6 {\n"
                               "  interface \"eth0\";\n"
                               "  ia-na 01:02 {\n    starts 1;\n  }\n"
                               "  option dhcp6.name-servers 2001:db8::1,2001:db8::2;\n"
                               "}\n",
                               kNow)),
              ElementsAre("2001:db8::1", "2001:db8::2"));
}

TEST(Records, DictionariesOfTheConfigurationStore) {
  EXPECT_THAT(Texts(ReadDictionaries("<dictionary> {\n"
                                     "  DomainName : lan\n"
                                     "  ServerAddresses : <array> {\n"
                                     "    0 : 192.168.1.1\n"
                                     "    1 : 2001:db8::1\n"
                                     "  }\n"
                                     "  SearchDomains : <array> {\n"
                                     "    0 : lan\n"
                                     "  }\n"
                                     "}\n")),
              ElementsAre("192.168.1.1", "2001:db8::1"));
}

}  // namespace
}  // namespace upstream
