#include "common/trace/query_records.h"

namespace ctl {

void QueryRecords::Take(const TraceEvent& event) {
  switch (event.kind) {
    case TraceEventKind::kAccepted:
    case TraceEventKind::kAsked:
    case TraceEventKind::kForwardFailed:
    case TraceEventKind::kFoundInHostMap:
    case TraceEventKind::kExhausted:
    case TraceEventKind::kRelayed:
    case TraceEventKind::kLost:
    case TraceEventKind::kNotLost:
    case TraceEventKind::kAnswerNotSent:
      if (event.query->number != 0) {
        callback_({*event.query, event.kind == TraceEventKind::kAnswerNotSent});
      }
      return;
    default:
      return;
  }
}

}  // namespace ctl
