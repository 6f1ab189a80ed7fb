#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace page {

/// What a request is answered with. The connection is closed behind it.
struct Response {
  /// Appends the next piece to `out`; false when there is none left.
  using Pieces = std::function<bool(std::string& out)>;

  int status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::string body;
  /// For a body that is too long to be held at once, in place of `body`. A piece is asked for when
  /// the one before has been sent.
  Pieces pieces;
  std::string file_name;         ///< offered to be saved under this name
  bool is_event_stream = false;  ///< goes on with the server's events (the body begins it)
};

Response PlainResponse(int status, std::string_view text);

/// Status line and fields up to the empty line, with those that confine what a browser does with
/// it. `is_chunked`: the body follows in chunks (RFC 9112 section 7.1).
std::string HeadOf(const Response& response, bool is_chunked);

/// `piece` as one chunk; the empty one ends the body.
std::string AsChunk(std::string_view piece);

}  // namespace page
