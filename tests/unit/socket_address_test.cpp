#include "dns_proxy_mac/engine/socket_address.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "tests/unit/proxy_fixture.h"

namespace {

SenderAddress Ipv4Sender(const char* address) {
  sockaddr_in ipv4{};
  ipv4.sin_family = AF_INET;
  ipv4.sin_addr.s_addr = inet_addr(address);
  SenderAddress sender{};
  std::memcpy(&sender, &ipv4, sizeof(ipv4));
  return sender;
}

SenderAddress Ipv6Sender(const char* address) {
  SenderAddress sender{};
  sender.sin6_family = AF_INET6;
  inet_pton(AF_INET6, address, &sender.sin6_addr);
  return sender;
}

class SocketAddressTest : public ProxyTest {};

}  // namespace

TEST(AddressTextTest, Ipv4IsDotted) {
  for (const char* text : {"192.0.2.1", "0.0.0.0", "9.10.99.100", "255.255.255.255"}) {
    EXPECT_STREQ(AddressText(Ipv4Sender(text)).c_str(), text);
  }
}

TEST(AddressTextTest, Ipv6IsItsOwnText) {
  EXPECT_STREQ(AddressText(Ipv6Sender("::1")).c_str(), "::1");
  EXPECT_STREQ(AddressText(Ipv6Sender("2001:db8:1111:2222:3333:4444:5555:6666")).c_str(),
               "2001:db8:1111:2222:3333:4444:5555:6666");
}

TEST(AddressTextTest, AnyOtherFamilyHasNoText) {
  EXPECT_STREQ(AddressText(SenderAddress{}).c_str(), "");
  SenderAddress local{};
  local.sin6_family = AF_UNIX;
  EXPECT_STREQ(AddressText(local).c_str(), "");
  EXPECT_STREQ(AddressText().c_str(), "");
}

TEST(AddressTextTest, KeptIpv4AddressHasTheSameText) {
  const sockaddr kept = KeptAddress(Ipv4Sender("10.0.0.8"));
  EXPECT_STREQ(AddressText(kept).c_str(), "10.0.0.8");
}

TEST(AddressTextTest, KeptIpv6AddressIsZeroWhereSixteenBytesDoNotReach) {
  const sockaddr kept = KeptAddress(Ipv6Sender("2001:db8:1111:2222:3333:4444:5555:6666"));
  EXPECT_STREQ(AddressText(kept).c_str(), "2001:db8:1111:2222::");
}

TEST_F(SocketAddressTest, ReceiveHandsOutTheDatagramAndItsSender) {
  Ask("'query'"_wire);
  char buffer[16] = {};
  SenderAddress sender;
  EXPECT_EQ(ReceiveDatagram(apps_socket, buffer, sizeof(buffer), sender), 5);
  EXPECT_EQ(WireAt(buffer, 6), "'query' 00"_wire);
  const sockaddr_in expected = application.Address();
  EXPECT_EQ(WireAt(&sender, 16), WireAt(&expected, 16));
  EXPECT_EQ(WireAt(&sender, 28), WireAt(&expected, 16) + Repeated(12, 0));
}

TEST_F(SocketAddressTest, ReceiveAsksForAnAddressOf28Bytes) {
  Ask("'query'"_wire);
  char buffer[16];
  SenderAddress sender;
  const system_calls::Recording recording;
  ReceiveDatagram(apps_socket, buffer, sizeof(buffer), sender);
  EXPECT_THAT(recording.Calls(),
              ::testing::ElementsAre("recvfrom " + std::to_string(apps_socket) +
                                     ": up to 16 bytes, flags 0, address of 28 bytes"));
}

TEST_F(SocketAddressTest, SendToAnIpv4AddressGivesItsLengthAs16) {
  const sockaddr_in to = application.Address();
  sockaddr kept;
  std::memcpy(&kept, &to, sizeof(kept));
  const system_calls::Recording recording;
  EXPECT_TRUE(SendDatagram(apps_socket, "answer", 6, kept));
  std::ostringstream expected;
  expected << "sendto " << apps_socket << ": 6 bytes, flags 0, to " << WireAt(&to, 16);
  EXPECT_THAT(recording.Calls(), ::testing::ElementsAre(expected.str()));
  EXPECT_EQ(application.Receive(), "'answer'"_wire);
}

TEST_F(SocketAddressTest, SendToAnyOtherFamilyGivesALengthOf28) {
  const sockaddr kept = KeptAddress(Ipv6Sender("2001:db8:1111:2222:3333:4444:5555:6666"));
  system_calls::Substitute(system_calls::Call::kSendto, {{6}});
  const system_calls::Recording recording;
  EXPECT_TRUE(SendDatagram(apps_socket, "answer", 6, kept));
  EXPECT_THAT(
      recording.Calls(),
      ::testing::ElementsAre(
          "sendto " + std::to_string(apps_socket) +
          ": 6 bytes, flags 0, to 28 bytes: 0A 00 00 00 00 00 00 00 20 01 0D B8 11 11 22 22 "
          "00 00 00 00 00 00 00 00 00 00 00 00"));
}

TEST_F(SocketAddressTest, RefusedSendIsFalseWithItsErrno) {
  system_calls::Substitute(system_calls::Call::kSendto, {{-1, EPERM}});
  EXPECT_FALSE(SendDatagram(apps_socket, "answer", 6, sockaddr{}));
  EXPECT_EQ(errno, EPERM);
}
