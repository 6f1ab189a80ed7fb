// The probe's look at a response. Input: the response. What is taken for an answer has the query's
// id, is a response, and repeats the question or has none.

#include <string>
#include <string_view>

#include "companion/probe/dns_exchange.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/wire.h"

namespace {

// Flags 80 03, one question, no records.
constexpr std::string_view kNoSuchName("\x12\x34\x80\x03\x00\x01\x00\x00\x00\x00\x00\x00", kHeader);

bool IsAnswer(const std::string& question, const std::string& response) {
  if (response.size() < kHeader || response.compare(0, 2, "\x12\x34") != 0) return false;
  if ((static_cast<unsigned char>(response[2]) & 0x80U) == 0) return false;
  if (response[4] == 0 && response[5] == 0) return true;
  return response.compare(kHeader, question.size(), question) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ctl::ProbeQuery query;
  CHECK(query.bytes.size() == kHeader + 28);
  query.bytes.replace(0, 2, "\x12\x34");
  const std::string question = query.bytes.substr(kHeader);
  const std::string response(reinterpret_cast<const char*>(data), size);

  const bool is_answer = ctl::IsAnswerTo(query, response);
  CHECK(is_answer == IsAnswer(question, response));
  CHECK(ctl::IsProxysNoSuchName(query, response) ==
        (response == std::string(kNoSuchName) + question));
  if (is_answer) CHECK(!ctl::InWords(response).empty());
  return 0;
}
