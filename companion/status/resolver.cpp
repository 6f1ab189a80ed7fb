#include "companion/status/resolver.h"

#include <fstream>
#include <sstream>

#include "common/output/shown_text.h"
#include "dns_proxy_mac/startup/resolver_file_reader.h"

namespace ctl {
namespace {

// Empty when there is none: the resolver then asks the local host, see resolv.conf(5). The proxy's
// own reader of this file is of no use here: it takes commented entries too.
std::string FirstServer(std::istream& file) {
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string keyword;
    std::string address;
    if (words >> keyword >> address && keyword == "nameserver") return address;
  }
  return "";
}

}  // namespace

ResolverTarget ReadResolverTarget() {
  const std::string path = kResolverFile;
  std::ifstream file(path);
  if (!file) return {false, path + " can't be read"};
  const std::string server = FirstServer(file);
  if (server.empty()) return {true, path + " names no server, so the local host is asked"};
  if (server == "127.0.0.1") return {true, path + " points at the proxy"};
  return {false, path + " points at " + Shown(server) + ", not at the proxy"};
}

}  // namespace ctl
