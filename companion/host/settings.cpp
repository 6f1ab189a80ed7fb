#include "companion/host/settings.h"

#include "common/upstream/server_address.h"
#include "common/upstream/text_lines.h"
#include "companion/host/files.h"
#include "companion/host/programs.h"

namespace ctl {
namespace {

constexpr char kNetworksetup[] = "/usr/sbin/networksetup";
constexpr char kProxyAddress[] = "127.0.0.1";
// What `networksetup` takes for no servers of the service's own.
constexpr char kNoServers[] = "empty";

std::optional<ProgramRun> RunNetworksetup(const HostPlaces& places,
                                          std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), places.At(kNetworksetup));
  return RunProgram(arguments);
}

// The first line is an explanation; a service that is turned off has a star in front.
std::vector<std::string> ActiveServices(const std::string& listing) {
  std::vector<std::string> services;
  bool is_first = true;
  for (const std::string_view line : upstream::Lines(listing)) {
    if (!is_first && !line.empty() && line[0] != '*') services.emplace_back(line);
    is_first = false;
  }
  return services;
}

// The addresses, or, when a sentence says that there are none, the word for none.
std::string ServersOf(const std::string& answer) {
  std::string servers;
  for (const std::string_view line : upstream::Lines(answer)) {
    if (!upstream::ReadAddress(line)) return kNoServers;
    servers += (servers.empty() ? "" : " ") + std::string(line);
  }
  return servers.empty() ? kNoServers : servers;
}

std::string SetServers(const HostPlaces& places, const std::string& service,
                       const std::string& servers) {
  std::vector<std::string> arguments = {"-setdnsservers", service};
  for (const std::string_view server : upstream::Words(servers)) arguments.emplace_back(server);
  const auto run = RunNetworksetup(places, arguments);
  if (!run) return "networksetup can't be run";
  return run->status == 0 ? "" : "networksetup refuses: " + run->output.substr(0, 200);
}

std::string CannotBeSet(const std::string& service, const std::string& why) {
  return "The servers of " + service + " can't be set: " + why + '.';
}

}  // namespace

std::string PointSettingsAtProxy(const HostPlaces& places, Journal& journal, int number) {
  if (!IsThere(places.At(kNetworksetup))) return "";
  const auto listing = RunNetworksetup(places, {"-listallnetworkservices"});
  if (!listing || listing->status != 0) return "The network services can't be listed.";
  for (const std::string& service : ActiveServices(listing->output)) {
    const auto servers = RunNetworksetup(places, {"-getdnsservers", service});
    if (!servers || servers->status != 0) return "The servers of " + service + " can't be read.";
    ChangeRecord record;
    record.change.path = service;
    record.change.written = kProxyAddress;
    record.before = Before::kSettings;
    record.content_before = ServersOf(servers->output);
    std::string problem = journal.Write(number++, record);
    if (problem.empty()) problem = SetServers(places, service, kProxyAddress);
    if (!problem.empty()) return CannotBeSet(service, problem);
  }
  return "";
}

std::string PutBackSettings(const HostPlaces& places, const std::string& service,
                            const std::string& servers) {
  const auto now = RunNetworksetup(places, {"-getdnsservers", service});
  // The service may have been removed, or somebody may have chosen other servers since.
  if (!now || now->status != 0 || ServersOf(now->output) != kProxyAddress) return "";
  return SetServers(places, service, servers);
}

}  // namespace ctl
