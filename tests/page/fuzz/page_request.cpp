// Any bytes as a client's request: however they are cut, they are read the same, what is refused is
// refused for good, and what is accepted holds what the rest of the program relies on.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "page/http/admission.h"
#include "page/http/request.h"
#include "tests/fuzz/check.h"

namespace {

constexpr std::uint16_t kPort = 5380;

bool HasControl(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte == 0x7F || (byte < ' ' && byte != '\t');
  });
}

void CheckWhole(const page::Request& request) {
  CHECK(!request.path.empty() && request.path.front() == '/');
  CHECK(!request.method.empty() && !HasControl(request.method));
  CHECK(!HasControl(request.host) && !HasControl(request.origin));
  CHECK(request.parameters.size() <= 16);
  const int refusal = page::RefusalOf(request, kPort);
  const bool is_own = request.host == "127.0.0.1:5380" || request.host == "localhost:5380";
  CHECK((refusal == 421) == !is_own);
  if (refusal == 0) CHECK(request.method == "GET" || request.method == "HEAD");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  page::Request request;
  const page::RequestState state = page::ReadRequest(bytes, request);
  if (state == page::RequestState::kWhole) CheckWhole(request);
  // A client's bytes come in pieces: nothing is decided before the head has ended.
  for (std::size_t cut = 0; cut < size && size < 256; ++cut) {
    page::Request begun;
    const page::RequestState early = page::ReadRequest(bytes.substr(0, cut), begun);
    if (state == page::RequestState::kWhole) CHECK(early == page::RequestState::kUnfinished);
  }
  if (state == page::RequestState::kUnfinished) CHECK(size <= page::kLargestRequest);
  return 0;
}
