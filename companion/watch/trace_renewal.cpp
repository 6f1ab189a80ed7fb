#include "companion/watch/trace_renewal.h"

#include <sys/stat.h>

#include <ctime>

#include "common/output/clock.h"

namespace ctl {
namespace {

constexpr char kTraceFile[] = "/var/log/Varnok/trace";
constexpr std::int64_t kQuiet = 1000 * kNanosecondsInMillisecond;
constexpr double kSecondsInDay = 86400;

// A file that can't be put aside is still as large after the start. Without this the proxy would be
// started again every second.
constexpr double kShortestLife = 10;

}  // namespace

TraceFacts FactsOf(const Process& proxy) {
  struct stat status {};
  const bool is_there = stat(kTraceFile, &status) == 0;
  return {FileSizeLimitOf(proxy), is_there ? static_cast<std::uint64_t>(status.st_size) : 0,
          std::difftime(std::time(nullptr), status.st_mtime), SecondsSinceStart(proxy)};
}

std::string TraceRenewal::Look(const TraceFacts& facts, std::int64_t now) {
  if (facts.size != size_) {
    size_ = facts.size;
    quiet_since_ = now;
  }
  const bool is_written = facts.limit != 0 && facts.seconds_since_write < facts.proxys_age;
  const bool is_quiet = now - quiet_since_ >= kQuiet;
  if (!is_written || !is_quiet || facts.proxys_age < kShortestLife) return "";
  quiet_since_ = now;  // before it is said again
  if (facts.size >= facts.limit / 2) return "The trace has reached half of its size";
  return facts.proxys_age >= kSecondsInDay ? "The proxy has run for a day" : "";
}

}  // namespace ctl
