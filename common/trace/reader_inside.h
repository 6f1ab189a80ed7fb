#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "common/trace/line_reading.h"
#include "common/trace/trace_reader.h"

namespace ctl {

/// What a TraceReader is made of.
class TraceReader::Inside {
 public:
  Inside();

  void Feed(std::string_view bytes, std::int64_t arrival);
  void EndFile();
  std::string Save() const;
  bool Load(std::string_view saved);

  std::vector<TraceConsumer*> consumers;
  std::vector<std::string> servers;
  QueriesInFlight queries;
  std::uint64_t offset = 0;
  std::uint64_t lines = 0;
  std::uint64_t not_understood = 0;
  std::uint64_t first_not_understood = 0;
  bool has_unfinished_line = false;

 private:
  static constexpr std::uint16_t kNoServer = TraceEvent::kNoServer;

  // The query that a worker works on, known by what stays valid after its end, and the position in
  // the method list at which the worker looks.
  struct AtWork {
    std::uint64_t number = 0;
    std::uint16_t id = 0;
    std::int64_t position = 0;
    std::uint16_t server = kNoServer;
  };

  // Bytes into lines.
  std::size_t ReadAll(std::string_view text, bool is_all);
  std::size_t ReadOne(std::string_view text, bool is_all);
  std::size_t CutLongLine(std::string_view text);
  std::size_t PassForeign(std::string_view text, bool is_all, std::size_t doubtful);
  void Pass(std::string_view text, bool understood);

  // Lines into events.
  bool Place(const LineFields& fields);
  void TellOfRun(const LineFields& fields);
  void TellOfIntake(const LineFields& fields);
  void TellOfRelay(const LineFields& fields);
  void TellOfFallback(const LineFields& fields, Worker worker);
  void TellOfAnswer(const LineFields& fields, const AtWork& at_work);
  void Tell(TraceEvent& event);
  void TellOf(TraceEventKind kind, const Query& query);
  std::uint16_t ServerAt(std::string_view address);
  void AddMethod(std::string_view server);

  // What becomes of the queries.
  Query& Stranger(std::int32_t id, std::string_view name);
  Query& QueryWithId(std::int32_t id);
  Query& QueryNamed(std::int32_t id, std::string_view name);
  Query& QueryOf(const AtWork& at_work);
  void Pursue(Worker worker, const Query& query);
  void BeginRun(const LineFields& fields);
  void LoseAll();
  Query& Accept(const LineFields& fields);
  void FileQuery(const LineFields& fields);
  Query& Succeed(std::uint16_t id);
  void LookAt(std::int64_t position, Worker worker);
  void Ask(AtWork& at_work);
  void FailToSend(std::int64_t error, const AtWork& at_work);
  void RelayOf(const LineFields& fields);
  bool End(Query& query, Outcome outcome);
  void EndWith(TraceEvent& event, Query& query, Outcome outcome);

  ReadingState state_;
  KnownNames names_;
  LineReading reading_;
  std::string rest_;         // of what was fed: the beginning of a line
  bool skips_line_ = false;  // the rest of a line too long to be kept
  std::int64_t now_ = 0;

  std::array<AtWork, 2> at_work_;
  std::vector<std::uint16_t> methods_;  // of the run: index into `servers`, kNoServer for the map
  std::unordered_map<std::string, std::uint16_t> server_indices_;
  std::string datagram_sender_;
  Query stranger_;  // accepted before the first line that was read
};

}  // namespace ctl
