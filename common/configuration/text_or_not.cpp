#include "common/configuration/text_or_not.h"

namespace ctl {
namespace {

constexpr std::size_t kSampleSize = 65536;
constexpr std::size_t kOddBytesToBeBinary = 4;  // one in so many

bool IsAsciiText(unsigned char byte) {
  if (byte >= 0x20) return byte < 0x7F;
  return byte == '\t' || byte == '\n' || byte == '\r';
}

// How many bytes follow a UTF-8 lead byte; 0 when it is none.
std::size_t Followers(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  if (lead >= 0xF0 && lead <= 0xF4) return 3;
  return 0;
}

// The length of the character at the start of `bytes` in UTF-8 beyond ASCII; 0 when there is none.
std::size_t WideCharacterLength(std::string_view bytes) {
  const std::size_t followers = Followers(static_cast<unsigned char>(bytes.front()));
  if (followers == 0 || bytes.size() <= followers) return 0;
  for (std::size_t at = 1; at <= followers; ++at) {
    if ((static_cast<unsigned char>(bytes[at]) & 0xC0) != 0x80) return 0;
  }
  return followers + 1;
}

}  // namespace

bool LooksLikeText(std::string_view bytes) {
  const std::string_view sample = bytes.substr(0, kSampleSize);
  std::size_t odd = 0;
  for (std::size_t at = 0; at < sample.size();) {
    if (IsAsciiText(static_cast<unsigned char>(sample[at]))) {
      ++at;
      continue;
    }
    const std::size_t wide = WideCharacterLength(sample.substr(at));
    if (wide == 0) ++odd;
    at += wide == 0 ? 1 : wide;
  }
  return odd * kOddBytesToBeBinary < sample.size() || odd == 0;
}

}  // namespace ctl
