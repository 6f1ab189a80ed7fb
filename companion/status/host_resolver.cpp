#include "companion/status/host_resolver.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "common/output/shown_text.h"
#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {
namespace {

constexpr char kProxy[] = "127.0.0.1";
// The servers that systemd-resolved itself asks, where it runs.
constexpr char kFileOfResolved[] = "/run/systemd/resolve/resolv.conf";

// What is of interest in a resolver file. The proxy's own reader of this file is of no use here: it
// accepts commented entries too.
struct ResolverFile {
  bool is_there = false;
  std::vector<std::string> servers;
  std::vector<std::string> options;

  // Empty when there is none: the resolver then asks the local host, see resolv.conf(5).
  std::string FirstServer() const { return servers.empty() ? "" : servers.front(); }
  bool Has(const std::string& option) const {
    return std::find(options.begin(), options.end(), option) != options.end();
  }
};

ResolverFile Read(const std::string& path) {
  std::ifstream file(path);
  ResolverFile read;
  read.is_there = file.is_open();
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string keyword;
    std::string word;
    words >> keyword;
    if (keyword == "nameserver" && words >> word) read.servers.push_back(word);
    if (keyword != "options") continue;
    while (words >> word) read.options.push_back(word);
  }
  return read;
}

bool IsOnThisHost(const std::string& server) {
  return server.compare(0, 4, "127.") == 0 || server == "::1" || server == "0.0.0.0";
}

bool NameIpv6Only(const ResolverFile& file, const ResolverFile& of_resolved) {
  std::vector<std::string> servers = file.servers;
  servers.insert(servers.end(), of_resolved.servers.begin(), of_resolved.servers.end());
  servers.erase(std::remove_if(servers.begin(), servers.end(), IsOnThisHost), servers.end());
  return !servers.empty() &&
         std::all_of(servers.begin(), servers.end(), [](const std::string& server) {
           return server.find(':') != std::string::npos;
         });
}

std::string BadOptions(const std::string& path, const ResolverFile& file) {
  if (file.Has("use-vc")) {
    return path + " sets use-vc: applications ask over TCP, which the proxy does not take";
  }
  if (file.Has("edns0")) {
    return path + " sets edns0: the C library then refuses what the host map answers";
  }
  return "";
}

}  // namespace

bool IsResolved(std::string_view address) {
  return address == "127.0.0.53" || address == "127.0.0.54";
}

HostResolver ReadHostResolver() {
  const std::string path = kResolverFile;
  const ResolverFile file = Read(path);
  const ResolverFile of_resolved = Read(kFileOfResolved);
  HostResolver host;
  host.resolved_asks_proxy = of_resolved.FirstServer() == kProxy;
  host.names_ipv6_only = NameIpv6Only(file, of_resolved);
  host.bad_options = BadOptions(path, file);
  const std::string server = file.FirstServer();
  if (!file.is_there) {
    host.words = path + " can't be read";
  } else if (server.empty() || server == kProxy) {
    host.asks_proxy = true;
    host.words = server.empty() ? path + " names no server, so the local host is asked"
                                : path + " points at the proxy";
  } else if (IsResolved(server) && host.resolved_asks_proxy) {
    host.asks_proxy = true;
    host.words = path + " points at systemd-resolved, which asks the proxy";
  } else {
    host.words = path + " points at " + Shown(server) + ", not at the proxy";
  }
  return host;
}

}  // namespace ctl
