#include "companion/host/setups.h"

#include <optional>

#include "common/upstream/text_lines.h"
#include "companion/host/files.h"
#include "companion/host/resolver_text.h"
#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {
namespace {

constexpr char kOpenresolvsFile[] = "/etc/resolvconf.conf";
constexpr char kDhcpcdsHook[] = "/etc/dhcpcd.enter-hook";
constexpr char kFileOfResolved[] = "/run/systemd/resolve/resolv.conf";

std::string ContentOf(const HostPlaces& places, const std::string& path) {
  return upstream::ReadFile(places.At(path)).value_or("");
}

std::string Removed(const std::string& text) {
  return std::string(kMark) + " removes this.\n" + text;
}

// An addition to a file of which there may be one already.
std::string Behind(const std::string& before, const std::string& addition) {
  const bool ends_in_line = before.empty() || before.back() == '\n';
  return before + (ends_in_line ? "" : "\n") + Removed(addition);
}

bool HasResolvconf(const HostPlaces& places) {
  return IsThere(places.At("/sbin/resolvconf")) || IsThere(places.At("/usr/sbin/resolvconf"));
}

// Programs that do not read the resolver file ask systemd-resolved, and it asks the proxy, for
// every name. An empty DNS= first: its servers are asked in turn otherwise. The proxy passes on
// what servers say about DNSSEC, but has nothing of the kind for the host map; it speaks no TLS.
void AddForResolved(const HostPlaces& places, std::vector<HostChange>& changes) {
  if (!IsThere(places.At("/run/systemd/resolve"))) return;
  changes.push_back({"/etc/systemd/resolved.conf.d/zz-dns_proxy_mac.conf",
                     Removed("[Resolve]\nDNS=\nDNS=127.0.0.1\nDomains=~.\nDNSSEC=no\n"
                             "DNSOverTLS=no\n"),
                     Reader::kResolved});
}

// It leaves the file alone and goes on to keep its own below /run/NetworkManager.
void AddForNetworkManager(const HostPlaces& places, std::vector<HostChange>& changes) {
  if (!IsThere(places.At("/usr/sbin/NetworkManager"))) return;
  changes.push_back({"/etc/NetworkManager/conf.d/zz-dns_proxy_mac.conf",
                     Removed("[main]\nrc-manager=unmanaged\n"), Reader::kNetworkManager});
}

// openresolv writes into the file whatever is there, so it gets another one. The resolvconf of
// Debian needs nothing: it writes below /run alone, where the file is a symbolic link to.
void AddForOpenresolv(const HostPlaces& places, std::vector<HostChange>& changes) {
  if (!IsThere(places.At(kOpenresolvsFile)) || !HasResolvconf(places)) return;
  changes.push_back(
      {kOpenresolvsFile,
       Behind(ContentOf(places, kOpenresolvsFile), "resolv_conf=/run/resolvconf/resolv.conf\n"),
       Reader::kOpenresolv});
}

// Where there is a resolvconf, dhclient and dhcpcd write no resolver file.
void AddForDhclient(const HostPlaces& places, std::vector<HostChange>& changes) {
  if (!IsThere(places.At("/etc/dhcp/dhclient-enter-hooks.d")) || HasResolvconf(places)) return;
  changes.push_back({"/etc/dhcp/dhclient-enter-hooks.d/zz_dns_proxy_mac",
                     Removed("make_resolv_conf() { :; }\n"), Reader::kNone});
}

// In place of writing the resolver file its hook gives what it knows to a resolvconf, if there is
// one. This one keeps it where the hook would keep it.
void AddForDhcpcd(const HostPlaces& places, std::vector<HostChange>& changes) {
  const bool is_there = IsThere(places.At("/usr/lib/dhcpcd/dhcpcd-run-hooks")) ||
                        IsThere(places.At("/lib/dhcpcd/dhcpcd-run-hooks"));
  if (!is_there || HasResolvconf(places)) return;
  changes.push_back({kDhcpcdsHook,
                     Behind(ContentOf(places, kDhcpcdsHook),
                            "resolvconf=keep_record\n"
                            "keep_record() {\n"
                            "  case $1 in\n"
                            "    -a) mkdir -p \"$state_dir/resolv.conf\" &&\n"
                            "      cat >\"$state_dir/resolv.conf/$2\" ;;\n"
                            "    -d) rm -f \"$state_dir/resolv.conf/$2\" ;;\n"
                            "  esac\n"
                            "}\n"),
                     Reader::kDhcpcd});
}

}  // namespace

std::vector<HostChange> ChangesFor(const HostPlaces& places) {
  std::vector<HostChange> changes;
  AddForResolved(places, changes);
  AddForNetworkManager(places, changes);
  AddForOpenresolv(places, changes);
  AddForDhclient(places, changes);
  AddForDhcpcd(places, changes);
  changes.push_back(
      {kResolverFile, ResolverTextFor(ContentOf(places, kResolverFile)), Reader::kNone});
  return changes;
}

std::string ServersOfHost(const HostPlaces& places) {
  std::string text;
  for (const char* path : {kResolverFile, kFileOfResolved}) {
    for (const std::string& server : NetworkServersIn(ContentOf(places, path))) {
      text += "nameserver " + server + '\n';
    }
  }
  return text;
}

}  // namespace ctl
