#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace page {

/// How far the bytes of a request have come.
enum class RequestState {
  kUnfinished,  ///< more has to come
  kWhole,
  kBad,      ///< never becomes a request
  kTooLarge  ///< more than `kLargestRequest` without an end
};

/// A request's head is no longer than this; there is no body.
inline constexpr std::size_t kLargestRequest = 4096;

/// One request (RFC 9112), taken apart. Texts are copies: they outlive the connection's buffer.
struct Request {
  std::string method;
  std::string path;  ///< percent-decoded, without the query; begins with a slash
  struct Parameter {
    std::string key;
    std::string value;  ///< any bytes
  };
  std::vector<Parameter> parameters;  ///< percent-decoded, in their order
  std::string host;                   ///< the one Host field; empty when there is none
  std::string origin;
  std::string fetch_site;  ///< Sec-Fetch-Site
  std::string fetch_mode;  ///< Sec-Fetch-Mode
  bool is_http_1_1 = false;

  /// The first value of this key; empty when there is none.
  std::string_view Value(std::string_view key) const;
};

/// Reads `bytes`, all that has come so far. `request` is filled when the result is kWhole.
/// Strict where leniency would let two readers differ: no bare carriage returns, no folded lines,
/// no blank before a colon, one Host field, no body, no bytes behind the head.
RequestState ReadRequest(std::string_view bytes, Request& request);

/// `text` with %XX, and a plus as a blank, decoded. False when a percent sign stands alone.
bool DecodePercent(std::string_view text, std::string& decoded);

}  // namespace page
