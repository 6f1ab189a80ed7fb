#include "page/http/response.h"

#include <cstdio>

namespace page {
namespace {

const char* Reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 400:
      return "Bad Request";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 408:
      return "Request Timeout";
    case 421:
      return "Misdirected Request";
    case 431:
      return "Request Header Fields Too Large";
    case 503:
      return "Service Unavailable";
    default:
      return "Internal Server Error";
  }
}

// Nothing but this program's own files is loaded or run, no script makes markup out of text, no
// page can show this one in a frame, and no other site can read an answer.
constexpr const char* kConfinement =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self'; connect-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Cross-Origin-Embedder-Policy: require-corp\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "X-Frame-Options: DENY\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cache-Control: no-store\r\n"
    "Connection: close\r\n";

}  // namespace

Response PlainResponse(int status, std::string_view text) {
  Response response;
  response.status = status;
  response.body = std::string(text) + '\n';
  return response;
}

std::string HeadOf(const Response& response, bool is_chunked) {
  std::string head =
      "HTTP/1.1 " + std::to_string(response.status) + ' ' + Reason(response.status) + "\r\n";
  head += "Content-Type: " + response.type + "\r\n";
  head += kConfinement;
  if (response.status == 405) head += "Allow: GET, HEAD\r\n";
  if (response.status == 503) head += "Retry-After: 2\r\n";
  if (!response.file_name.empty()) {
    head += "Content-Disposition: attachment; filename=\"" + response.file_name + "\"\r\n";
  }
  if (is_chunked) {
    head += "Transfer-Encoding: chunked\r\n";
  } else if (!response.is_event_stream && !response.pieces) {
    head += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
  }
  return head + "\r\n";
}

std::string AsChunk(std::string_view piece) {
  char size[24];
  static_cast<void>(std::snprintf(size, sizeof(size), "%zx\r\n", piece.size()));
  return size + std::string(piece) + "\r\n";
}

}  // namespace page
