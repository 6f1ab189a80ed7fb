#include <sys/stat.h>

#include <algorithm>
#include <ctime>

#include "common/configuration/address_text.h"
#include "common/configuration/configuration_text.h"
#include "companion/guard/guard.h"

namespace ctl {
namespace {

// Each takes at most five instructions of the 4096 that a filter may have.
constexpr std::size_t kMostSenders = 200;

// The start of a process is known to a hundredth of a second.
constexpr double kSecondsOfDoubt = 0.05;

double SecondsSinceChange(const struct stat& file) {
#if defined(__APPLE__)
  const timespec& changed = file.st_ctimespec;
#else
  const timespec& changed = file.st_ctim;
#endif
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec - changed.tv_sec) +
         static_cast<double>(now.tv_nsec - changed.tv_nsec) / 1e9;
}

}  // namespace

std::optional<std::vector<in_addr>> KnownSenders(const Process& proxy) {
  struct stat status {};
  if (stat(kServerFile, &status) != 0 ||
      SecondsSinceChange(status) < SecondsSinceStart(proxy) + kSecondsOfDoubt) {
    return std::nullopt;
  }
  SilenceTrace();
  ServerFileText file;
  ReadServers(kServerFile, file);
  if (!IsReadByProxy(file.text)) return std::nullopt;
  std::vector<in_addr> senders;
  for (const std::string& text : file.servers) {
    const in_addr address = ReadAddress(text).address;
    const bool is_listed = std::any_of(senders.begin(), senders.end(), [&](const in_addr& listed) {
      return listed.s_addr == address.s_addr;
    });
    if (!is_listed) senders.push_back(address);
    if (senders.size() > kMostSenders) return std::nullopt;
  }
  return senders;
}

}  // namespace ctl
