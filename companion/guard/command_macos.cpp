#if defined(__APPLE__)

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/commands.h"
#include "companion/guard/guard.h"

namespace ctl {

int RunGuard(const GuardOptions& options) {
  static_cast<void>(options);
  Complain("This system has no filters for another process's sockets.");
  return kNo;
}

std::string GuardInWords(const Process& proxy) {
  static_cast<void>(proxy);
  return "";
}

}  // namespace ctl

#endif  // __APPLE__
