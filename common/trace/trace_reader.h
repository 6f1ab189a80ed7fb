#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/trace/trace_event.h"

namespace ctl {

/// Reads a trace that comes in pieces of any size and hands what it tells to the consumers, in the
/// trace's order. The result does not depend on how the trace was cut.
///
///   TraceReader reader;
///   Tally tally(reader);  // the counts; a consumer of one's own adds itself likewise
///   while (...) reader.Feed(bytes, now);
///   reader.EndFile();
///
/// Names of queries hold any byte, line feeds and whole lines of the trace too; no name can make
/// the reader see a line that the proxy did not print. Lines that the proxy can't have printed, or
/// can't have printed there, count as not understood and change nothing. Memory is bounded for any
/// input. Two things it cannot tell. Where the proxy was killed in the middle of a name, a whole
/// start of a run in the name is taken for the next start, or the next start for a part of the
/// name. And where a response was forged before its query was sent, the query's name may come in
/// front of its own lines: should it begin with the whole rest of the line that tells of another
/// waiting query's answer, it is taken for that. To wait for what comes behind would hold back
/// every answer.
///
/// To go on after a restart: keep the text of `Save()`, together with the file's identity, in the
/// same transaction as what was made of the events. It may be called between any two calls. The
/// text grows with the queries that wait, by their names and about 40 bytes each. Later `Load` it,
/// place the file at `offset()` and feed what follows: no event comes twice, and none is missing.
/// When that file is gone, call `EndFile` after `Load` and feed the next one from its beginning.
///
/// For one thread. Consumers may call the const functions.
class TraceReader {
 public:
  TraceReader();
  TraceReader(const TraceReader&) = delete;
  TraceReader& operator=(const TraceReader&) = delete;
  ~TraceReader();

  /// `consumer` stays the caller's, and outlives the last call of this reader.
  void AddConsumer(TraceConsumer& consumer);

  /// The next bytes. `arrival` is the time of any clock that never goes back. It is handed on as
  /// the time of what the bytes tell.
  void Feed(std::string_view bytes, std::int64_t arrival);

  /// The file, or the pipe, has no more: what could still have been read in two ways is decided,
  /// and a last line without an end is left out. What is fed afterwards begins another file, which
  /// goes on where this one ended, perhaps with something missing in between.
  void EndFile();

  /// Position in the current file up to which everything has been handed on.
  std::uint64_t offset() const;

  /// Lines are counted as an editor does, so that a name may hold some.
  std::uint64_t lines() const;
  std::uint64_t not_understood() const;
  std::uint64_t first_not_understood() const;
  /// Whether the last line so far has no end; false when nothing is left over.
  bool has_unfinished_line() const;

  /// The address texts of all servers seen, in the order of their first mention. After kMostServers
  /// the last one, "others", stands for all further ones.
  static constexpr std::size_t kMostServers = 1024;
  const std::vector<std::string>& servers() const;

  /// The queries that wait at present: how many, and some of them in the order of their ids. The
  /// pointers are good until the next call that is not const.
  std::size_t waiting() const;
  std::vector<const Query*> Waiting(std::size_t most) const;

  /// All that is needed to go on after a restart, in a form of this version's own.
  std::string Save() const;
  /// False, with the reader as new, for a text that this version has not saved. Call it before the
  /// first `Feed`. Consumers are not told of what was loaded; the waiting queries keep their
  /// numbers and times.
  bool Load(std::string_view saved);

 private:
  class Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace ctl
