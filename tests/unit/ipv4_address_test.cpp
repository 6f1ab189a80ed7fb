#include "dns_proxy_mac/state/ipv4_address.h"

#include <gtest/gtest.h>

#include "tests/unit/wire.h"

TEST(MakeIpv4AddressTest, PortAndAddressAreInNetworkOrderAndTheRestIsZero) {
  const sockaddr_in address = MakeIpv4Address("127.0.0.1", 0x1234);
  EXPECT_EQ(WireAt(&address, 16), "02 00 12 34 7F 00 00 01 00 00 00 00 00 00 00 00"_wire);
}

TEST(MakeIpv4AddressTest, TextThatIsNoAddressGivesTheAllOnesAddress) {
  const sockaddr_in address = MakeIpv4Address("localhost", 53);
  EXPECT_EQ(WireAt(&address, 16), "02 00 00 35 FF FF FF FF 00 00 00 00 00 00 00 00"_wire);
}

TEST(MakeIpv4AddressTest, DnsPortIs53) { EXPECT_EQ(kDnsPort, 53); }
