#pragma once

#include <cstdint>
#include <string>

namespace page {

struct Options {
  std::string trace = "/var/log/Varnok/trace";
  std::string database = "/var/lib/dns_proxy_page/memory.db";
  std::string companion;
  int companion_seconds = 60;
  std::uint16_t port = 5380;
  std::int64_t query_hours = 24;
  std::int64_t megabytes = 64;
};

/// True when the program is to run with `options`. Otherwise all has been said (help, version, what
/// is wrong) and `status` is to be returned.
bool ReadCommandLine(int argc, const char* const* argv, Options& options, int& status);

}  // namespace page
