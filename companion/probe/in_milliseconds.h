#pragma once

#include <cstdio>
#include <string>

namespace ctl {

/// "0.12 ms".
inline std::string InMilliseconds(double milliseconds) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.2f ms", milliseconds);
  return text;
}

}  // namespace ctl
