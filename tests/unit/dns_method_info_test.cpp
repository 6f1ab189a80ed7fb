#include "dns_proxy_mac/state/dns_method_info.h"

#include <gtest/gtest.h>

#include "tests/unit/wire.h"

TEST(DNSMethodInfoTest, ServerIsAskedAtPort53OfItsAddress) {
  const DNSMethodInfo method = MakeServerMethod("192.0.2.1");
  EXPECT_EQ(method.iDNSMethodType, 0);
  EXPECT_EQ(WireAt(&method.ServerAddr, 16),
            IPV4_FAMILY " 00 35 C0 00 02 01 00 00 00 00 00 00 00 00"_wire);
  EXPECT_EQ(method.iParam, 1000);
}

TEST(DNSMethodInfoTest, HostMapIsAllZeroButItsType) {
  const DNSMethodInfo method = MakeHostMapMethod();
  EXPECT_EQ(method.iDNSMethodType, 1);
  EXPECT_EQ(WireAt(&method.ServerAddr, 16), Repeated(16, 0));
  EXPECT_EQ(method.iParam, 0);
}

TEST(DNSMethodInfoTest, TextThatIsNoAddressGivesTheAllOnesAddress) {
  for (const char* text : {"", "dns.example", "192.0.2.1:53", "::1"}) {
    const DNSMethodInfo method = MakeServerMethod(text);
    EXPECT_EQ(WireAt(&method.ServerAddr, 16),
              IPV4_FAMILY " 00 35 FF FF FF FF 00 00 00 00 00 00 00 00"_wire)
        << text;
  }
}

TEST(DNSMethodInfoTest, RecordIsTypeAddressAndParameterInTurn) {
  EXPECT_EQ(sizeof(DNSMethodInfo), 24U);
  const DNSMethodInfo method = MakeServerMethod("192.0.2.1");
  EXPECT_EQ(WireAt(&method, 24), "00 00 00 00 " IPV4_FAMILY
                                 " 00 35 C0 00 02 01 00 00 00 00 00 00 00 00 E8 03 00 00"_wire);
}

TEST(MakeIpv4AddressTest, PortAndAddressAreInNetworkOrderAndTheRestIsZero) {
  const sockaddr_in address = MakeIpv4Address("127.0.0.1", 0x1234);
  EXPECT_EQ(WireAt(&address, 16), IPV4_FAMILY " 12 34 7F 00 00 01 00 00 00 00 00 00 00 00"_wire);
}

TEST(MakeIpv4AddressTest, TextThatIsNoAddressGivesTheAllOnesAddress) {
  const sockaddr_in address = MakeIpv4Address("localhost", 53);
  EXPECT_EQ(WireAt(&address, 16), IPV4_FAMILY " 00 35 FF FF FF FF 00 00 00 00 00 00 00 00"_wire);
}

TEST(MakeIpv4AddressTest, DnsPortIs53) { EXPECT_EQ(kDnsPort, 53); }
