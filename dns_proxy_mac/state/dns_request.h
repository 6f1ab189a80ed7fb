#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "dns_proxy_mac/state/dns_method_info.h"

/// The largest datagram that the proxy takes, keeps or sends, in bytes; a longer one is cut.
inline constexpr std::size_t kDatagramCapacity = 8192;

/// The `CurrentDNSMethodIndex` of a reverse-lookup name. It lies behind the end of every list of up
/// to 159 methods, so such a query is answered "no such name" at once instead of being forwarded.
inline constexpr std::uint8_t kReverseLookupMethodIndex = 0x9F;

/// One query in flight, from its acceptance to its answer. The request table owns it; a filed
/// record is reached through a `FiledRequest`.
class DnsRequest final {
 public:
  /// Leaves the plain fields unset. The intake fills every one before it files the record.
  DnsRequest();
  DnsRequest(const DnsRequest&) = delete;
  /// Takes over every field; a record may be assigned to itself.
  DnsRequest& operator=(const DnsRequest& other);
  ~DnsRequest() = default;

  /// Storage of the heap, kept for the next record when this one is freed. Any thread.
  static void* operator new(std::size_t size);
  static void operator delete(void* storage) noexcept;

  /// The proxy's own id, the key in the table and the first two bytes of `QueryPacket`.
  std::uint16_t usId;
  /// The application's id: the first two bytes of its datagram as they came, in no byte order.
  std::uint16_t usClientId;
  /// Position in `vecMethods` of the method being tried; at or past the end none is left.
  std::uint8_t CurrentDNSMethodIndex;
  /// Bytes received from the application.
  std::int32_t iRecvLen;
  /// Where the query came from and its answer goes.
  sockaddr ClientAddr;
  /// The query as it goes upstream: `iQueryPacketLen` bytes and, as far as there is room, behind
  /// them the zero bytes where a host map answer goes. The rest is unset; in new storage it takes
  /// no memory.
  char QueryPacket[kDatagramCapacity];
  std::int32_t iQueryPacketLen;
  /// The question name as dotted text.
  std::string strDomain;
  /// Question type and class, host byte order; 0 when the question is too short to hold them.
  std::uint16_t usQType;
  std::uint16_t usQClass;
  /// The request's own copy of `g_DnsMethodList`, taken when the query was accepted.
  std::vector<DNSMethodInfo> vecMethods;
  /// False in every record; nothing reads it, but it is carried with the others.
  bool bSpare;
};
