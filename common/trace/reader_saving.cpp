#include <charconv>
#include <memory>
#include <utility>

#include "common/trace/reader_inside.h"

namespace ctl {
namespace {

constexpr std::string_view kForm = "dns_proxy trace reader 2\n";
constexpr std::size_t kIds = 65536;

// Numbers are decimal with a blank behind each; a text follows its size.
class Writer {
 public:
  template <typename Number>
  Writer& Put(Number number) {
    text_ += std::to_string(static_cast<std::int64_t>(number)) + ' ';
    return *this;
  }
  Writer& PutText(std::string_view text) {
    Put(text.size());
    text_.append(text);
    return *this;
  }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_{kForm};
};

// Everything after the first fault is 0 or empty.
class Parser {
 public:
  explicit Parser(std::string_view text)
      : text_(text), is_good_(text.substr(0, kForm.size()) == kForm) {
    text_.remove_prefix(is_good_ ? kForm.size() : text_.size());
  }

  template <typename Number>
  void Get(Number& number, std::int64_t lowest, std::int64_t highest) {
    number = static_cast<Number>(GetNumber(lowest, highest));
  }
  std::int64_t GetNumber(std::int64_t lowest, std::int64_t highest) {
    std::int64_t number = 0;
    const char* const end = text_.data() + text_.size();
    const auto result = std::from_chars(text_.data(), end, number);
    if (!is_good_ || result.ec != std::errc() || result.ptr == end || *result.ptr != ' ' ||
        number < lowest || number > highest) {
      return Fail();
    }
    text_.remove_prefix(static_cast<std::size_t>(result.ptr - text_.data()) + 1);
    return number;
  }
  std::uint64_t GetCount() { return static_cast<std::uint64_t>(GetNumber(0, kMost)); }
  std::string_view GetText() {
    const std::size_t size = GetCount();
    if (size > text_.size()) Fail();
    const std::string_view text = text_.substr(0, is_good_ ? size : 0);
    text_.remove_prefix(text.size());
    return text;
  }
  bool is_good() const { return is_good_; }
  bool IsAtEnd() const { return is_good_ && text_.empty(); }

  static constexpr std::int64_t kMost = INT64_MAX;

 private:
  std::int64_t Fail() {
    is_good_ = false;
    text_ = "";
    return 0;
  }

  std::string_view text_;
  bool is_good_;
};

void PutQuery(const Query& query, QueriesInFlight::Place place, Writer& writer) {
  writer.Put(query.number).Put(query.id).Put(place).Put(query.outcome).Put(query.loss);
  writer.Put(query.begun).Put(query.ended).Put(query.position).PutText(query.name);
  writer.Put(query.tries.size());
  for (const Try& asked : query.tries) {
    writer.Put(asked.server).Put(asked.asked).Put(asked.responded);
  }
}

bool GetQuery(Parser& parser, std::size_t servers, QueriesInFlight& queries) {
  constexpr std::int64_t kMost = Parser::kMost;
  auto query = std::make_unique<Query>();
  auto place = QueriesInFlight::Place::kEnded;
  query->number = parser.GetCount();
  parser.Get(query->id, 0, kIds - 1);
  parser.Get(place, 0, 3);
  parser.Get(query->outcome, 0, static_cast<std::int64_t>(Outcome::kLost));
  parser.Get(query->loss, 0, kDropReasons - 1);
  parser.Get(query->begun, -kMost, kMost);
  parser.Get(query->ended, -kMost, kMost);
  parser.Get(query->position, -1, kMost);
  query->name = parser.GetText();
  const std::uint64_t tries = parser.GetCount();
  for (std::uint64_t at = 0; at < tries && parser.is_good(); ++at) {
    Try asked;
    parser.Get(asked.server, 0, TraceEvent::kNoServer);
    parser.Get(asked.asked, -kMost, kMost);
    parser.Get(asked.responded, -kMost, kMost);
    if (asked.server != TraceEvent::kNoServer && asked.server >= servers) return false;
    query->tries.push_back(asked);
  }
  if (parser.is_good()) queries.Restore(std::move(query), place);
  return parser.is_good();
}

void PutState(const ReadingState& state, Writer& writer) {
  for (const WorkerSteps::Standing& standing : state.steps.standings()) {
    writer.Put(standing.place).Put(standing.id);
  }
  const RunStart::State& start = state.start.state();
  writer.Put(start.stage).Put(start.reading_lines).Put(start.dns_lines).Put(start.hostmap_lines);
  writer.Put(start.glued_lines).Put(start.servers_to_come).Put(start.pairs_to_come);
  writer.Put(state.next_id).Put(state.datagram_size).PutText(state.next_name);
}

void GetState(Parser& parser, ReadingState& state) {
  constexpr std::int64_t kMost = Parser::kMost;
  WorkerSteps::Standings standings{};
  for (WorkerSteps::Standing& standing : standings) {
    parser.Get(standing.place, 1, 1 << 15);
    parser.Get(standing.id, -1, kIds - 1);
  }
  state.steps.set_standings(standings);
  RunStart::State start;
  parser.Get(start.stage, 0, static_cast<std::int64_t>(RunStart::Stage::kOver));
  for (std::int64_t* count : {&start.reading_lines, &start.dns_lines, &start.hostmap_lines,
                              &start.glued_lines, &start.servers_to_come, &start.pairs_to_come}) {
    *count = parser.GetNumber(0, kMost);
  }
  state.start.set_state(start);
  parser.Get(state.next_id, -1, kIds - 1);
  parser.Get(state.datagram_size, -1, kMost);
  state.next_name = parser.GetText();
}

std::string Packed(const std::vector<bool>& bits) {
  std::string packed;
  for (const bool bit : bits) packed += bit ? '1' : '0';
  return packed;
}

}  // namespace

std::string TraceReader::Inside::Save() const {
  Writer writer;
  writer.Put(offset).Put(lines).Put(not_understood).Put(first_not_understood).Put(skips_line_);
  PutState(state_, writer);
  writer.PutText(names_.decoded).PutText(Packed(names_.ids_without_name));
  writer.Put(servers.size());
  for (const std::string& server : servers) writer.PutText(server);
  writer.Put(methods_.size());
  for (const std::uint16_t method : methods_) writer.Put(method);
  for (const AtWork& at_work : at_work_) {
    writer.Put(at_work.number).Put(at_work.id).Put(at_work.position).Put(at_work.server);
  }
  writer.Put(queries.last_number()).Put(queries.CountKept());
  queries.ForEachKept([&writer](const Query& query, QueriesInFlight::Place place) {
    PutQuery(query, place, writer);
  });
  return writer.Take();
}

bool TraceReader::Inside::Load(std::string_view saved) {
  Parser parser(saved);
  for (std::uint64_t* count : {&offset, &lines, &not_understood, &first_not_understood}) {
    *count = parser.GetCount();
  }
  parser.Get(skips_line_, 0, 1);
  GetState(parser, state_);
  names_.decoded = parser.GetText();
  const std::string_view packed = parser.GetText();
  if (!packed.empty() && packed.size() != kIds) return false;
  names_.ids_without_name.clear();
  for (const char bit : packed) names_.ids_without_name.push_back(bit == '1');
  const std::uint64_t server_count = parser.GetCount();
  for (std::uint64_t at = 0; at < server_count && parser.is_good(); ++at) {
    ServerAt(parser.GetText());
  }
  if (servers.size() != server_count) return false;
  const std::uint64_t method_count = parser.GetCount();
  for (std::uint64_t at = 0; at < method_count && parser.is_good(); ++at) {
    parser.Get(methods_.emplace_back(), 0, kNoServer);
    if (methods_.back() != kNoServer && methods_.back() >= servers.size()) return false;
  }
  for (AtWork& at_work : at_work_) {
    at_work.number = parser.GetCount();
    parser.Get(at_work.id, 0, kIds - 1);
    parser.Get(at_work.position, -Parser::kMost, Parser::kMost);
    parser.Get(at_work.server, 0, kNoServer);
    if (at_work.server != kNoServer && at_work.server >= servers.size()) return false;
  }
  queries.set_last_number(parser.GetCount());
  const std::uint64_t kept = parser.GetCount();
  for (std::uint64_t at = 0; at < kept; ++at) {
    if (!GetQuery(parser, servers.size(), queries)) return false;
  }
  return parser.IsAtEnd();
}

}  // namespace ctl
