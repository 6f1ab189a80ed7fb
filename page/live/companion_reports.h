#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace page {

/// What `dns_proxy_ctl` says about the host: its `status --json` and `check --json`, run now and
/// then while somebody looks, on a thread of its own. Nobody ever waits for it: a run that takes
/// too long is ended.
class CompanionReports {
 public:
  /// `program`: the companion's path; empty for none. `seconds`: between two runs.
  CompanionReports(std::string program, int seconds);
  CompanionReports(const CompanionReports&) = delete;
  CompanionReports& operator=(const CompanionReports&) = delete;
  ~CompanionReports();

  /// To be called when somebody looks. The last reports are brought up to date in the background.
  void Want();

  struct Reports {
    std::string status;  ///< a JSON document, or "null"
    std::string check;   ///< the same
    std::uint64_t version = 0;
  };
  Reports Last();

 private:
  void Work();
  std::string Run(const char* command) const;

  std::string program_;
  int seconds_;
  std::array<int, 2> stop_;  // closed at the end, so that a run under way is not waited for
  std::mutex mutex_;
  Reports last_{"null", "null", 0};
  std::condition_variable changed_;
  bool is_wanted_ = false;
  bool is_to_end_ = false;
  std::thread thread_;
};

}  // namespace page
