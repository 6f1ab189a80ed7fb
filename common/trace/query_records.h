#pragma once

#include <functional>
#include <utility>

#include "common/trace/trace_event.h"

namespace ctl {

/// Turns events into records. It calls back with each query that has been accepted, that has been
/// sent to a server, or that has ended. A query is identified by its `number`. It comes with
/// outcome kWaiting any number of times and then with its end. After that only two things can
/// follow: its answer could not be sent (`answer_not_sent`), or, rarely, a query called lost for
/// kIdStillWaiting waits after all and comes back.
class QueryRecords : public TraceConsumer {
 public:
  struct Change {
    const Query& query;
    /// The system refused to send the answer; `query.outcome` stays what it is.
    bool answer_not_sent = false;
  };
  using Callback = std::function<void(const Change&)>;

  explicit QueryRecords(Callback callback) : callback_(std::move(callback)) {}

  void Take(const TraceEvent& event) override;

 private:
  Callback callback_;
};

}  // namespace ctl
