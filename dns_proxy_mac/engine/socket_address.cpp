#include "dns_proxy_mac/engine/socket_address.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstring>

#include "dns_proxy_mac/platform.h"
#include "dns_proxy_mac/trace/output.h"

namespace {

constexpr int kOctetDigits = 3;

// Copies the 16 bytes into a 28-byte address, so that no call reads past them, whatever the family.
SenderAddress Widened(const sockaddr& address) {
  SenderAddress wide;
  std::memset(&wide, 0, sizeof(wide));
  std::memcpy(&wide, &address, sizeof(address));
  return wide;
}

// Dotted decimal, as inet_ntop writes it. That one goes through the C library's formatted output,
// which would take longer than all else that is done with an address.
void WriteDotted(const in_addr& address, char* text) {
  unsigned char octets[sizeof(address)];
  std::memcpy(octets, &address, sizeof(octets));
  for (const unsigned char octet : octets) {
    text = std::to_chars(text, text + kOctetDigits, octet).ptr;
    *text++ = '.';
  }
  text[-1] = 0;
}

socklen_t AddressLength(const sockaddr& address) {
  return address.sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
}

}  // namespace

AddressText::AddressText(const SenderAddress& address) {
  const sockaddr generic = KeptAddress(address);
  if (generic.sa_family == AF_INET) {
    sockaddr_in ipv4;
    std::memcpy(&ipv4, &address, sizeof(ipv4));
    WriteDotted(ipv4.sin_addr, text_);
  } else {
    // The family goes along as it is: one that is not IPv6 is refused and the text stays empty.
    inet_ntop(generic.sa_family, &address.sin6_addr, text_, kAddressTextSize);
  }
}

AddressText::AddressText(const sockaddr& address) : AddressText(Widened(address)) {}

sockaddr KeptAddress(const SenderAddress& sender) {
  sockaddr kept;
  std::memcpy(&kept, &sender, sizeof(kept));
  return kept;
}

int ReceiveDatagram(int sock, char* buffer, std::size_t capacity, SenderAddress& sender) {
  std::memset(&sender, 0, sizeof(sender));
  socklen_t length = sizeof(sender);
  return static_cast<int>(
      recvfrom(sock, buffer, capacity, 0, reinterpret_cast<sockaddr*>(&sender), &length));
}

bool SendDatagram(int sock, const char* datagram, int length, const sockaddr& to) {
  trace::HandOver();
  const SenderAddress wide = Widened(to);
  return sendto(sock, datagram, static_cast<std::size_t>(length), 0,
                reinterpret_cast<const sockaddr*>(&wide), AddressLength(to)) != -1;
}
