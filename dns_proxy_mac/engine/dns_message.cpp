#include "dns_proxy_mac/engine/dns_message.h"

#include <cstring>

#include "dns_proxy_mac/platform.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

// Copies labels, a dot behind each, until the name ends or cannot go on. Returns how many bytes
// were written; `cur` is left on the length byte at which decoding stopped.
std::int32_t CopyLabels(const char* pkt, std::int32_t len, char* out, std::int32_t outsize,
                        std::int32_t& cur) {
  std::int32_t written = 0;
  while (cur < len && pkt[cur] != 0) {
    // Signed, so that compression pointers (0xC0 and above) are negative and never followed.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse): that is what is meant
    const int n = static_cast<signed char>(pkt[cur]);
    if (n < 0) {
      trace::Print<trace::kLabelLengthNegative>(n);
      break;
    }
    if (n > outsize - written) {
      trace::Print<trace::kLabelOverflowsName>(n);
      break;
    }
    std::memmove(out + written, pkt + cur + 1, static_cast<std::size_t>(n));
    written += n;
    if (written >= outsize) {
      trace::Print<trace::kDotOverflowsName>(n);
      break;
    }
    out[written++] = '.';
    cur += n + 1;
  }
  return written;
}

// Reads 16 bits in network order at `at`, when both bytes lie inside the question section.
void ReadUint16(const char* pkt, std::int32_t len, std::int32_t at, std::uint16_t& value) {
  if (at >= len - 1) return;
  std::uint16_t raw;
  std::memcpy(&raw, pkt + at, sizeof(raw));
  value = _OSSwapInt16(raw);
}

}  // namespace

DNSHeader ReadHeader(const char* message) {
  DNSHeader header;
  std::memcpy(&header, message, sizeof(header));
  return header;
}

void WriteHeader(char* message, const DNSHeader& header) {
  std::memcpy(message, &header, sizeof(header));
}

void ExtractDomain(const char* pkt, std::int32_t len, char* out, std::int32_t outsize,
                   std::uint16_t& qtype, std::uint16_t& qclass) {
  std::int32_t cur = 0;
  const std::int32_t written = CopyLabels(pkt, len, out, outsize, cur);
  if (written > 0 && out[written - 1] == '.') out[written - 1] = 0;

  // One step on whatever stopped the labels: over the zero byte of a good name, into the middle of
  // a bad one, whose type and class are whatever stands there.
  cur += 1;
  ReadUint16(pkt, len, cur, qtype);
  ReadUint16(pkt, len, cur + 2, qclass);
}
