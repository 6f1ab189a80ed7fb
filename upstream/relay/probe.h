#pragma once

#include <functional>

#include "upstream/asking/lane.h"

namespace upstream {

/// Asks a server for a sign of life: any response at all. The question is for the name servers of
/// the root, which every resolver knows. A server that does not answer that is next asked the last
/// query that it left unanswered.
class Probe final : private AskedQuery {
 public:
  using Done = std::function<void(bool answered)>;

  /// `done` is called at the end of each probe; no lane may be destroyed from it.
  Probe(const ServerAddress& server, EventLoop& loop, RandomNumbers& numbers, Done done);

  /// One at a time. `done` may be called before this returns.
  void Begin();
  void Turn() { lane_.Turn(); }

  void SetOtherQuestion(View query) { other_.assign(query.bytes, query.bytes + query.count); }

 private:
  void Ended(const Outcome& outcome) override;

  Done done_;
  Bytes other_;
  bool asks_other_ = false;
  Lane lane_;
};

}  // namespace upstream
