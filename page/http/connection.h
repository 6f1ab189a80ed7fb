#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "page/http/request.h"
#include "page/http/response.h"

namespace page {

/// One client: its request comes in, the response goes out, the connection is closed. Its bytes are
/// bounded, and so is its time, except for an event stream. No call waits: each does what the
/// socket permits at the moment. One thread.
class Connection {
 public:
  using Answer = std::function<Response(const Request&)>;

  /// Owns `descriptor`, a connected socket that does not block. `now`: milliseconds of a clock that
  /// nobody sets.
  Connection(int descriptor, std::int64_t now);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  int descriptor() const { return descriptor_; }
  bool IsOver() const { return stage_ == Stage::kOver; }
  /// Whether the request has not come as a whole yet.
  bool IsAsking() const { return stage_ == Stage::kAsking; }
  bool IsEventStream() const { return stage_ == Stage::kEvents; }
  bool WantsToRead() const { return !has_left_; }
  bool WantsToWrite() const { return HasUntaken() || pieces_; }
  /// When its time is up. An event stream has a deadline only for bytes that the client does not
  /// read.
  std::int64_t deadline() const { return deadline_; }

  void Read(const Answer& answer, std::int64_t now);
  void Write(std::int64_t now);
  void ExpireAt(std::int64_t now);

  /// Adds to an event stream. The connection of a client that does not read is closed.
  void AddEvents(const std::string& events, std::int64_t now);

 private:
  enum class Stage { kAsking, kAnswering, kEvents, kLingering, kOver };

  void Begin(const Request& request, Response response, std::int64_t now);
  void Refuse(int status, const char* text, std::int64_t now);
  void Discard();
  bool HasUntaken() const { return sent_ < out_.size(); }
  bool Fill();
  void EndOfOutput(std::int64_t now);

  int descriptor_;
  Stage stage_ = Stage::kAsking;
  std::int64_t deadline_;
  std::string in_;
  std::string out_;
  std::size_t sent_ = 0;  // of `out_`
  Response::Pieces pieces_;
  bool is_chunked_ = false;
  bool has_left_ = false;  // the client sends nothing more; it may still take the response
};

}  // namespace page
