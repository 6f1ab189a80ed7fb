#include "page/http/connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <limits>
#include <utility>

namespace page {
namespace {

constexpr std::int64_t kTimeToAskMs = 10000;
constexpr std::int64_t kTimeToTakeMs = 10000;  // since the client has taken a byte
constexpr std::int64_t kTimeToLeaveMs = 1000;
constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t kMostUntakenEvents = 512 << 10;
#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL;
#else
constexpr int kSendFlags = 0;  // macOS: SIGPIPE is ignored by the whole program
#endif

bool HasToWait() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

}  // namespace

Connection::Connection(int descriptor, std::int64_t now)
    : descriptor_(descriptor), deadline_(now + kTimeToAskMs) {}

Connection::~Connection() { close(descriptor_); }

void Connection::Read(const Answer& answer, std::int64_t now) {
  if (stage_ != Stage::kAsking) return Discard();
  char piece[kLargestRequest + 1];
  const ssize_t got = recv(descriptor_, piece, sizeof(piece), 0);
  if (got < 0 && HasToWait()) return;
  if (got <= 0) {
    stage_ = Stage::kOver;
    return;
  }
  in_.append(piece, static_cast<std::size_t>(got));
  Request request;
  switch (ReadRequest(in_, request)) {
    case RequestState::kUnfinished:
      return;
    case RequestState::kTooLarge:
      return Refuse(431, "The request is too large.", now);
    case RequestState::kBad:
      return Refuse(400, "This is no request for this page.", now);
    case RequestState::kWhole:
      return Begin(request, answer(request), now);
  }
}

// What still comes is ignored. A client that has shut down its side may still wait for the
// response.
void Connection::Discard() {
  char piece[4096];
  const ssize_t got = recv(descriptor_, piece, sizeof(piece), 0);
  if (got > 0 || (got < 0 && HasToWait())) return;
  has_left_ = true;
  if (got < 0 || stage_ != Stage::kAnswering) stage_ = Stage::kOver;
}

void Connection::Begin(const Request& request, Response response, std::int64_t now) {
  const bool is_head = request.method == "HEAD";
  is_chunked_ = response.pieces && request.is_http_1_1;
  out_ = HeadOf(response, is_chunked_);
  if (!is_head) {
    out_ += response.body;
    pieces_ = std::move(response.pieces);
  }
  stage_ = response.is_event_stream && !is_head ? Stage::kEvents : Stage::kAnswering;
  deadline_ = now + kTimeToTakeMs;
  in_ = std::string();
  Write(now);
}

void Connection::Refuse(int status, const char* text, std::int64_t now) {
  Begin(Request(), PlainResponse(status, text), now);
}

// The next piece of a long body; false at its end.
bool Connection::Fill() {
  if (!pieces_) return false;
  std::string piece;
  bool has_more = false;
  try {
    has_more = pieces_(piece);
  } catch (const std::exception&) {
    stage_ = Stage::kOver;  // without the last chunk the client knows that it is not whole
    return true;
  }
  out_ = is_chunked_ && !piece.empty() ? AsChunk(piece) : piece;
  sent_ = 0;
  if (has_more) return true;
  if (is_chunked_) out_ += AsChunk({});
  pieces_ = nullptr;
  return true;
}

// One piece for each call, so that other clients get their turn during a long body.
void Connection::Write(std::int64_t now) {
  if (stage_ != Stage::kAnswering && stage_ != Stage::kEvents) return;
  if (HasUntaken()) {
    const ssize_t sent = send(descriptor_, out_.data() + sent_, out_.size() - sent_, kSendFlags);
    if (sent < 0 && HasToWait()) return;
    if (sent < 0) {
      stage_ = Stage::kOver;
      return;
    }
    sent_ += static_cast<std::size_t>(sent);
    deadline_ = now + kTimeToTakeMs;
  }
  if (!HasUntaken() && !Fill()) EndOfOutput(now);
}

void Connection::EndOfOutput(std::int64_t now) {
  out_.clear();
  sent_ = 0;
  if (stage_ == Stage::kEvents) {
    deadline_ = kNever;
    return;
  }
  // A close with unread bytes would take the response back from the client.
  shutdown(descriptor_, SHUT_WR);
  stage_ = has_left_ ? Stage::kOver : Stage::kLingering;
  deadline_ = now + kTimeToLeaveMs;
}

void Connection::ExpireAt(std::int64_t now) {
  if (now >= deadline_) stage_ = Stage::kOver;
}

void Connection::AddEvents(const std::string& events, std::int64_t now) {
  if (stage_ != Stage::kEvents) return;
  if (out_.size() - sent_ + events.size() > kMostUntakenEvents) {
    stage_ = Stage::kOver;
    return;
  }
  if (!HasUntaken()) deadline_ = now + kTimeToTakeMs;
  out_.erase(0, sent_);
  sent_ = 0;
  out_ += events;
  Write(now);
}

}  // namespace page
