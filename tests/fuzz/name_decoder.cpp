// The decoder of question names, with output buffers of every size.
//
// Input: the output buffer's size in two bytes, then the question section.

#include <cstring>
#include <memory>

#include "dns_proxy_mac/engine/dns_message.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/expected_name.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/quiet_trace.h"

namespace {

constexpr std::size_t kLargestOutput = 2048;
constexpr char kUntouched = '\x5A';
constexpr std::uint16_t kUnset = 0xBEEF;

// The section and the 127 bytes behind it that may be read, none of them zero.
std::string WithOverrun(const std::string& section) {
  std::string readable = section;
  for (std::size_t i = 0; i < 127; ++i) readable += static_cast<char>('A' + i % 26);
  return readable;
}

// Of exactly the size asked for, so that the address sanitizer sees the first byte too many.
std::unique_ptr<char[]> ExactBuffer(const std::string& bytes) {
  std::unique_ptr<char[]> buffer(new char[bytes.size()]);
  if (!bytes.empty()) std::memcpy(buffer.get(), bytes.data(), bytes.size());
  return buffer;
}

// A name ends with a NUL that has taken the place of its last dot, or fills its buffer.
void CheckTermination(const std::string& out, const std::string& written) {
  if (written.empty()) {
    CHECK(out == std::string(out.size(), kUntouched));
  } else {
    CHECK(out[written.size() - 1] == '\0' || written.size() == out.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QuietTrace();
  Input input(data, size);
  const std::size_t capacity = input.Uint16() % (kLargestOutput + 1);
  const std::string section = input.Rest();
  const std::string readable = WithOverrun(section);
  const auto pkt = ExactBuffer(readable);
  const auto out = ExactBuffer(std::string(capacity, kUntouched));
  std::uint16_t qtype = kUnset;
  std::uint16_t qclass = kUnset;

  ExtractDomain(pkt.get(), static_cast<std::int32_t>(section.size()), out.get(),
                static_cast<std::int32_t>(capacity), qtype, qclass);

  const ExpectedName name = ExpectedNameOf(readable, section.size(), capacity);
  const std::string result(out.get(), capacity);
  CheckTermination(result, name.written);
  CHECK(result.substr(0, name.written.size()) == name.written);
  CHECK(result.substr(name.written.size()) ==
        std::string(capacity - name.written.size(), kUntouched));
  CHECK(qtype == name.type.value_or(kUnset));
  CHECK(qclass == name.type_class.value_or(kUnset));
  CHECK(std::memcmp(pkt.get(), readable.data(), readable.size()) == 0);
  return 0;
}
