#include "companion/host/readers.h"

#include <vector>

#include "companion/host/files.h"
#include "companion/host/programs.h"

namespace ctl {
namespace {

constexpr char kSystemctl[] = "/usr/bin/systemctl";
constexpr char kKeeper[] = "dns_proxy_mac-host.service";

// The command that tells the reader, its program with the full path.
std::vector<std::string> CommandFor(const HostPlaces& places, Reader reader) {
  switch (reader) {
    case Reader::kResolved:
      return {kSystemctl, "try-restart", "systemd-resolved.service"};
    case Reader::kNetworkManager:
      return {kSystemctl, "try-reload-or-restart", "NetworkManager.service"};
    case Reader::kOpenresolv:
      return {"/sbin/resolvconf", "-u"};
    case Reader::kDhcpcd:
      // Without one that runs it would become one.
      if (!IsThere(places.At("/run/dhcpcd/pid"))) return {};
      return {"/usr/sbin/dhcpcd", "--reconfigure"};
    case Reader::kNone:
      break;
  }
  return {};
}

bool IsServiceManagersTask(const std::vector<std::string>& command) {
  return command[0] == kSystemctl;
}

}  // namespace

std::string TellReader(const HostPlaces& places, Reader reader) {
  std::vector<std::string> command = CommandFor(places, reader);
  if (command.empty()) return "";
  if (IsServiceManagersTask(command) && !IsThere(places.At("/run/systemd/system"))) return "";
  std::string words;
  for (const std::string& word : command) words += (words.empty() ? "" : " ") + word;
  command[0] = places.At(command[0]);
  const auto run = RunProgram(command);
  // What dhcpcd knows is in its records, whether it hears of this or not.
  if (!run || run->status == 0 || reader == Reader::kDhcpcd) return "";
  return "The command '" + words + "' has failed: run it once more.";
}

// One that runs from before sees a state folder that was removed since, so it is started anew.
void StartKeeper(const HostPlaces& places) {
  if (!IsThere(places.At("/run/systemd/system"))) return;
  RunProgram({places.At(kSystemctl), "--no-block", "restart", kKeeper});
}

void StopKeeper(const HostPlaces& places) {
  if (!IsThere(places.At("/run/systemd/system"))) return;
  RunProgram({places.At(kSystemctl), "stop", kKeeper});
}

}  // namespace ctl
