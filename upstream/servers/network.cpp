#include "upstream/servers/network.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>

#include "common/upstream/places.h"
#include "common/upstream/text_lines.h"
#include "upstream/servers/records.h"
#include "upstream/servers/scutil.h"

namespace upstream {
namespace {

struct Source {
  /// A file, or a directory of files.
  const char* path;
  /// In a directory, files whose names begin with this.
  const char* beginning;
  Record (*read)(std::string_view text, std::time_t now);
};

Record AsResolverFile(std::string_view text, std::time_t /*now*/) { return ReadResolverFile(text); }
#ifndef __APPLE__
Record AsAssignments(std::string_view text, std::time_t /*now*/) { return ReadAssignments(text); }
#endif

constexpr Source kSources[] = {
#ifndef __APPLE__
    {"/run/systemd/resolve/resolv.conf", "", AsResolverFile},
    {"/run/NetworkManager/no-stub-resolv.conf", "", AsResolverFile},
    {"/run/NetworkManager/resolv.conf", "", AsResolverFile},
    {"/run/resolvconf/interface", "", AsResolverFile},
    {"/run/resolvconf/interfaces", "", AsResolverFile},
    {"/run/dhcpcd/hook-state/resolv.conf", "", AsResolverFile},
    {"/run/dhcpcd/resolv.conf", "", AsResolverFile},
    {"/var/lib/dhcp", "dhclient", ReadLeases},
    {"/run/systemd/netif/state", "", AsAssignments},
#endif
    {"/etc/resolv.conf", "", AsResolverFile},
    {kServersBefore, "", AsResolverFile},
};

// In the order of their names, in which the interfaces come too.
std::vector<std::string> FilesAt(const std::string& path, const std::string& beginning) {
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) return {path};
  std::vector<std::string> files;
  for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.compare(0, beginning.size(), beginning) == 0) files.push_back(entry->path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Whether there is a result: servers, or a complaint.
bool Take(const Record& record, const std::string& origin, NetworkReading& reading) {
  if (!record.is_understood) {
    reading = {{}, origin + " has an unknown form."};
    return true;
  }
  for (const ServerAddress& server : record.servers) {
    if (!IsLoopback(server) && CanBeAsked(server)) reading.servers.push_back(server);
  }
  return !reading.servers.empty();
}

bool TakeFrom(const Source& source, std::time_t now, const std::string& root,
              NetworkReading& reading) {
  for (const std::string& file : FilesAt(root + source.path, source.beginning)) {
    const auto text = ReadFile(file);
    if (!text) continue;
    Take(source.read(*text, now), file, reading);
    if (!reading.complaint.empty()) return true;
  }
  return !reading.servers.empty();
}

}  // namespace

NetworkReading ReadNetwork(std::time_t now, const std::string& root) {
  NetworkReading reading;
#ifdef __APPLE__
  if (Take(ReadDictionaries(AskScutil()), "What scutil shows", reading)) return reading;
#endif
  for (const Source& source : kSources) {
    if (TakeFrom(source, now, root, reading)) return reading;
  }
  return reading;
}

}  // namespace upstream
