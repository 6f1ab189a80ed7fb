#include "common/upstream/server_address.h"

#include <gtest/gtest.h>

namespace upstream {
namespace {

TEST(ServerAddress, UsualFormsAreRead) {
  for (const char* text : {"192.0.2.1", "2001:db8::1", "::1", "fe80::1%lo"}) {
    const auto address = ReadAddress(text);
    ASSERT_TRUE(address) << text;
    EXPECT_EQ(AddressText(*address), text);
  }
}

TEST(ServerAddress, OthersAreNot) {
  for (const char* text : {"", "192.0.2", "192.0.2.256", "0x7f.1", "192.0.2.1:53", "[::1]",
                           "dns.example", "fe80::1%no_such_one", "192.0.2.1%lo", "fe80::1%"}) {
    EXPECT_FALSE(ReadAddress(text)) << text;
  }
}

TEST(ServerAddress, AnInterfaceCountsForLinkLocalAddressesOnly) {
  EXPECT_EQ(AddressText(*ReadAddress("2001:db8::1%lo")), "2001:db8::1");
}

TEST(ServerAddress, LoopbackInEveryDress) {
  for (const char* text :
       {"127.0.0.1", "127.255.255.255", "0.0.0.0", "::1", "::", "::ffff:127.0.0.53"}) {
    EXPECT_TRUE(IsLoopback(*ReadAddress(text))) << text;
  }
  for (const char* text : {"128.0.0.1", "126.255.255.255", "2001:db8::1", "::ffff:192.0.2.1"}) {
    EXPECT_FALSE(IsLoopback(*ReadAddress(text))) << text;
  }
}

}  // namespace
}  // namespace upstream
