#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "tests/unit/proxy_fixture.h"

/// Compares what a line prints with what the C library makes of the same format and arguments.
class TraceLines : public SharedObjectsTest {
 protected:
  std::string Printed(const std::function<void()>& event) {
    event();
    return Trace();
  }

  /// The C library's text, of any length.
  static std::string Formatted(const char* format, ...) __attribute__((format(printf, 1, 2))) {
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0) return "the C library has failed";
    std::string result(text, static_cast<std::size_t>(length));
    std::free(text);
    return result;
  }

  const std::vector<int> ints = {INT_MIN, -1, 0, 1, 53, INT_MAX};
  const std::vector<unsigned> unsigneds = {0, 1, 65535, UINT_MAX};
  /// Empty, ordinary, as long as a name can be, and longer than a part and than the shared output.
  const std::vector<std::string> texts = {"", "mail.local", "100%d %s", std::string(1024, 'n'),
                                          std::string(70000, 'l')};
};
