#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "page/follow/recorder.h"
#include "page/follow/trace_file.h"

namespace page {

/// Reads the trace as it grows, over renewals of its file, and feeds the recorder. A thread of its
/// own. A file that is not there, or can't be read, is waited for.
class Follower {
 public:
  /// `wake`: a descriptor that becomes readable when there is something to do besides the trace.
  Follower(const std::string& path, Recorder& recorder, int wake);

  /// Goes on at `place`, or at the beginning of the file when that is empty.
  void Open(const TracePlace& place);
  /// One round: waits for something to happen, and does it. False when standard input has ended.
  bool Round();
  /// Writes what has been seen.
  void Finish();

 private:
  void OpenNewest();
  void Wait();
  bool ReadPiece();
  void ReadAll();
  std::int64_t ArrivalOf(std::uint64_t offset) const;
  bool IsCatchingUp() const;

  TraceFile file_;
  Recorder& recorder_;
  int wake_;
  std::vector<char> piece_;
  std::string trouble_;
  // What was in the file when it was opened is taken to have come evenly between these times; in
  // microseconds.
  std::uint64_t known_offset_ = 0;
  std::uint64_t known_size_ = 0;
  std::int64_t known_from_ = 0;
  std::int64_t known_to_ = 0;
  std::int64_t last_round_ = 0;
  int quick_rounds_ = 0;
  bool has_ended_ = false;
};

}  // namespace page
