#pragma once

#include <cstddef>
#include <cstdint>

/// The header of every DNS message, RFC 1035 section 4.1.1, as its 12 bytes lie on the wire.
///
/// The id is opaque: it moves between messages and records as two raw bytes in the machine's own
/// order, in both directions, so an id always comes back to its owner as it was.
struct DNSHeader {
  std::uint16_t usId;
  std::uint8_t FlagsFirst;   ///< QR, opcode, AA, TC, RD
  std::uint8_t FlagsSecond;  ///< RA, Z, AD, CD, RCODE
  std::uint16_t QuestionCount;
  std::uint16_t AnswerCount;
  std::uint16_t AuthorityCount;
  std::uint16_t AdditionalCount;
};

inline constexpr int kHeaderSize = 12;
static_assert(sizeof(DNSHeader) == kHeaderSize, "the fields lie as they do on the wire");

inline constexpr std::uint8_t kFlagResponse = 0x80;  ///< QR, in the first flags byte
inline constexpr std::uint8_t kRcodeMask = 0x0F;     ///< RCODE, in the second flags byte
inline constexpr std::uint8_t kRcodeNameError = 3;   ///< "no such name"
inline constexpr std::uint16_t kTypeAaaa = 28;       ///< an IPv6 address question, RFC 3596

/// The name buffer that the intake decodes into, in bytes.
inline constexpr int kNameCapacity = 1024;

/// How far behind its input `ExtractDomain` may read: the longest label, when its length byte is
/// the last byte of the input.
inline constexpr std::size_t kLabelOverrun = 127;

/// The header at the start of `message`, at least 12 bytes.
DNSHeader ReadHeader(const char* message);

/// Writes `header` over the first 12 bytes of `message`.
void WriteHeader(char* message, const DNSHeader& header);

/// Decodes the first question of a message: its name as dotted text without a final dot, its type
/// and its class (host byte order).
///
/// `pkt` is the first byte behind the header and `len` the number of bytes from there to the end of
/// the datagram; `kLabelOverrun` more must be readable, because a label is not held to `len`: one
/// that runs past the datagram takes the rest of its bytes from behind it.
/// `out` holds `outsize` bytes, zero on entry. A name that fills them gets no terminator, so the
/// caller keeps a zero byte behind them.
///
/// A bad name is reported in the trace only. What was decoded before a compression pointer or an
/// overflow is kept, and type and class are read from wherever decoding stopped. `qtype` and
/// `qclass` keep their values where `len` leaves no two bytes for them. Labels may hold any bytes
/// and be up to 127 long.
void ExtractDomain(const char* pkt, std::int32_t len, char* out, std::int32_t outsize,
                   std::uint16_t& qtype, std::uint16_t& qclass);
