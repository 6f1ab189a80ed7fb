#include "page/follow/follower.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/output/clock.h"
#include "page/wall_clock.h"

namespace page {
namespace {

constexpr std::size_t kPiece = 64 << 10;
constexpr int kBetweenTriesMs =
    1000;  // for a file that can't be opened, and in case of missed news
// More rounds a second than this are not worth their cost. The trace is then read in pieces of a
// few milliseconds.
constexpr int kMostQuickRounds = 250;
constexpr int kPauseMs = 4;

}  // namespace

Follower::Follower(const std::string& path, Recorder& recorder, int wake)
    : file_(path), recorder_(recorder), wake_(wake), piece_(kPiece) {}

void Follower::Open(const TracePlace& place) {
  if (file_.IsStandardInput()) return recorder_.EndFile();  // of what came through the last one
  const bool is_resumed = file_.OpenAt(place);
  if (!is_resumed) {
    if (place.inode != 0) recorder_.EndFile();
    OpenNewest();
  }
  if (!file_.IsOpen()) return;
  known_offset_ = file_.place().offset;
  known_size_ = file_.Size();
  known_to_ = file_.ModifiedMs() * kMicrosecondsInMillisecond;
  const std::int64_t born = file_.place().birth / kMicrosecondsInMillisecond;
  known_from_ = is_resumed ? recorder_.LastArrival() : (born == 0 ? known_to_ : born);
  known_to_ = std::max(known_from_, known_to_);
}

void Follower::OpenNewest() {
  trouble_.clear();
  known_offset_ = known_size_ = 0;
  if (!file_.OpenNewest()) trouble_ = std::strerror(errno);
}

bool Follower::IsCatchingUp() const { return file_.place().offset < known_size_; }

std::int64_t Follower::ArrivalOf(std::uint64_t offset) const {
  if (offset > known_size_ || known_size_ <= known_offset_) return WallMicroseconds();
  const double share = static_cast<double>(offset - known_offset_) /
                       static_cast<double>(known_size_ - known_offset_);
  return known_from_ +
         static_cast<std::int64_t>(share * static_cast<double>(known_to_ - known_from_));
}

// False at the present end of the file.
bool Follower::ReadPiece() {
  const TracePlace begin = file_.place();
  const bool is_watched = !IsCatchingUp();
  const ssize_t got = file_.Read(piece_.data(), piece_.size());
  if (got < 0 && errno != EINTR && errno != EAGAIN) trouble_ = std::strerror(errno);
  if (got == 0 && file_.IsStandardInput()) has_ended_ = true;
  if (got <= 0) return false;
  recorder_.Feed({piece_.data(), static_cast<std::size_t>(got)}, ArrivalOf(file_.place().offset),
                 begin, is_watched);
  return true;
}

void Follower::ReadAll() {
  // Between the pieces of a long trace the page is updated and rows are written to the database.
  while (ReadPiece()) {
    const std::int64_t now = WallMs();
    recorder_.CommitIfDue(file_.place(), now, false);
    recorder_.PublishIfDue(trouble_, now, false);
    if (file_.IsStandardInput()) return;
  }
}

void Follower::Wait() {
  pollfd waited[2] = {{wake_, POLLIN, 0}, {file_.WaitDescriptor(), POLLIN, 0}};
  const std::int64_t now = ctl::MonotonicNow() / ctl::kNanosecondsInMillisecond;
  if (now / 1000 != last_round_ / 1000) quick_rounds_ = 0;
  last_round_ = now;
  if (++quick_rounds_ > kMostQuickRounds) poll(waited, 1, kPauseMs);
  int timeout = recorder_.UntilDue(WallMs());
  if (!file_.IsStandardInput()) {
    const int at_most = file_.IsOpen() ? 30 * kBetweenTriesMs : kBetweenTriesMs;
    timeout = timeout < 0 ? at_most : std::min(timeout, at_most);
  }
  poll(waited, has_ended_ ? 1 : 2, timeout);
  if (waited[0].revents != 0) {
    char bytes[64];
    while (read(wake_, bytes, sizeof(bytes)) > 0) {
    }
  }
}

bool Follower::Round() {
  Wait();
  if (!file_.IsOpen()) OpenNewest();
  if (file_.IsOpen() && !has_ended_) {
    file_.DrainChanges();
    ReadAll();
    if (file_.IsReplaced()) {
      ReadAll();  // what came before the new file took its place
      recorder_.EndFile();
      OpenNewest();
      ReadAll();
    }
  }
  if (has_ended_) trouble_ = "it has ended";
  const std::int64_t now = WallMs();
  recorder_.CommitIfDue(file_.place(), now, false);
  recorder_.PublishIfDue(trouble_, now, false);
  return !has_ended_;
}

void Follower::Finish() { recorder_.CommitIfDue(file_.place(), WallMs(), true); }

}  // namespace page
