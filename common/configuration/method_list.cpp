#include "common/configuration/method_list.h"

#include "common/output/shown_text.h"
#include "dns_proxy_mac/state/dns_request.h"

namespace ctl {
namespace {

constexpr std::size_t kPositions = 256;  // a query's position in the list is kept in 8 bits
constexpr std::size_t kLengths = 65536;  // the list's length is kept in 16 bits

std::string HowLong(const MethodList& list) {
  return Grouped(list.Length()) + " resolution methods" +
         (list.has_host_map ? " (the host map is one)" : "");
}

}  // namespace

bool MethodList::ReachesReverseNames() const { return LengthAsSeen() > kReverseLookupMethodIndex; }

bool MethodList::Circles() const { return LengthAsSeen() >= kPositions; }

void CheckMethodList(const MethodList& list, Report& report) {
  if (list.Length() == 0) {
    report.Error(0, "neither file holds an entry",
                 "the proxy ends at once, with exit status 0, and nobody is served");
    return;
  }
  if (list.servers == 0) {
    report.Warning(0, "there is no server",
                   "every name that the host map does not hold is answered \"no such name\"");
  }
  if (list.ReachesReverseNames()) {
    report.Warning(list.ServerLine(kReverseLookupMethodIndex), HowLong(list),
                   "reverse names (.in-addr.arpa) are sent to this server first, instead of being "
                   "answered \"no such name\" at once");
  }
  if (list.Circles()) {
    report.Error(list.ServerLine(kPositions - 1), HowLong(list),
                 "the position in the list wraps behind this server: a query that nobody has an "
                 "answer for circles for ever, and no server after it is asked");
  }
  if (list.Length() >= kLengths) {
    report.Error(list.ServerLine(kLengths - 1), HowLong(list),
                 "the length is kept in 16 bits: every query takes the list to hold " +
                     Counted(list.LengthAsSeen(), "method"));
  }
}

}  // namespace ctl
