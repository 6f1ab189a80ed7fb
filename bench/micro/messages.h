#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Messages for the benchmarks, as they lie on the wire.
namespace messages {

inline constexpr std::uint8_t kTypeA = 1;

/// A query of id 0 for `name` (dotted text), class IN.
inline std::vector<char> Query(const std::string& name, std::uint8_t type = kTypeA) {
  std::vector<char> bytes = {0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0};
  std::size_t begin = 0;
  while (begin < name.size()) {
    const std::size_t end = std::min(name.find('.', begin), name.size());
    bytes.push_back(static_cast<char>(end - begin));
    bytes.insert(bytes.end(), name.begin() + static_cast<std::ptrdiff_t>(begin),
                 name.begin() + static_cast<std::ptrdiff_t>(end));
    begin = end + 1;
  }
  for (const std::uint8_t byte : {std::uint8_t{0}, std::uint8_t{0}, type, std::uint8_t{0}}) {
    bytes.push_back(static_cast<char>(byte));
  }
  bytes.push_back(1);
  return bytes;
}

/// The response to `query` with `answers` A records.
inline std::vector<char> Response(std::vector<char> query, std::size_t answers) {
  query[2] = '\x81';
  query[7] = static_cast<char>(answers);
  for (std::size_t i = 0; i < answers; ++i) {
    for (const int byte : {0xC0, 0x0C, 0, 1, 0, 1, 0, 0, 0, 0, 0, 4, 10, 9, 8, 7}) {
      query.push_back(static_cast<char>(byte));
    }
  }
  return query;
}

/// The n-th of any number of host names, none like another and all of one length.
inline std::string HostName(std::size_t number) {
  std::string digits = std::to_string(number);
  return "n" + std::string(7 - digits.size(), '0') + digits + ".bench.lan";
}

}  // namespace messages
