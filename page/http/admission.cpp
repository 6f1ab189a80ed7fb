#include "page/http/admission.h"

#include <string>

namespace page {
namespace {

constexpr std::uint16_t kPortOfHttp = 80;

bool IsOwnHost(const std::string& host, std::uint16_t port) {
  for (const char* name : {"127.0.0.1", "localhost"}) {
    if (host == name + (':' + std::to_string(port))) return true;
    if (port == kPortOfHttp && host == name) return true;
  }
  return false;
}

// A link on another site may lead here. It shows the page to the user, and the site learns nothing.
bool IsFollowedLink(const Request& request) {
  return request.fetch_mode == "navigate" && request.path == "/";
}

bool IsFromOtherSite(const Request& request) {
  if (!request.origin.empty() && request.origin != "http://" + request.host) return true;
  if (request.fetch_site.empty() || request.fetch_site == "same-origin" ||
      request.fetch_site == "none") {
    return false;
  }
  return !IsFollowedLink(request);
}

}  // namespace

int RefusalOf(const Request& request, std::uint16_t port) {
  if (!IsOwnHost(request.host, port)) return 421;
  if (request.method != "GET" && request.method != "HEAD") return 405;
  return IsFromOtherSite(request) ? 403 : 0;
}

}  // namespace page
