// Reads a trace with the trace reader and prints what it made of it, for a comparison with the
// truth: trace_replay FILE [SEED [save]]
//
// With a seed the trace is handed over in pieces of random sizes; with "save" the reader is saved,
// thrown away and loaded again between some of them, and goes on at its place in the file.
// The first lines: the count of every kind of event, then lines, not understood, waiting and
// whether the last line is unfinished. Then a line a query: its number, outcome, reason of a loss,
// the servers it was sent to, its name in hexadecimal.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "common/trace/trace_reader.h"

namespace {

constexpr std::size_t kSmallPieces = 40;
constexpr std::size_t kLargePieces = 5000;

struct Record {
  int outcome;
  int loss;
  std::string servers;
  std::string name;
};

std::string Hexadecimal(const std::string& text) {
  std::string digits;
  for (const char byte : text) {
    char two[3];
    std::snprintf(two, sizeof(two), "%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    digits += two;
  }
  return digits;
}

// The events that leave a query as it is then, or end it.
bool ChangesQuery(ctl::TraceEventKind kind) {
  switch (kind) {
    case ctl::TraceEventKind::kAccepted:
    case ctl::TraceEventKind::kAsked:
    case ctl::TraceEventKind::kForwardFailed:
    case ctl::TraceEventKind::kFoundInHostMap:
    case ctl::TraceEventKind::kExhausted:
    case ctl::TraceEventKind::kRelayed:
    case ctl::TraceEventKind::kLost:
    case ctl::TraceEventKind::kNotLost:
    case ctl::TraceEventKind::kAnswerNotSent:
      return true;
    default:
      return false;
  }
}

// The reader of the moment, and what it has told so far.
class Replay : public ctl::TraceConsumer {
 public:
  explicit Replay(std::string trace) : trace_(std::move(trace)) { Begin(); }

  void Take(const ctl::TraceEvent& event) override {
    ++counts_[static_cast<int>(event.kind)];
    if (ChangesQuery(event.kind) && event.query->number != 0) Keep(*event.query);
  }

  void ReadWhole() {
    reader_->Feed(trace_, 1);
    reader_->EndFile();
  }

  void ReadInPieces(unsigned seed, bool saves) {
    std::mt19937 random(seed);
    const std::size_t largest = 1 + random() % (random() % 2 == 0 ? kSmallPieces : kLargePieces);
    for (std::size_t at = 0; at < trace_.size();) {
      const std::size_t size = 1 + random() % largest;
      reader_->Feed(std::string_view(trace_).substr(at, size), 1);
      at = std::min(at + size, trace_.size());
      if (!saves || random() % 8 != 0) continue;
      const std::string saved = reader_->Save();
      Begin();
      if (!reader_->Load(saved)) std::abort();
      const auto offset = static_cast<std::size_t>(reader_->offset());
      reader_->Feed(std::string_view(trace_).substr(offset, at - offset), 1);
    }
    reader_->EndFile();
  }

  void Print() const {
    for (const auto& [kind, count] : counts_) std::printf("kind %d %lu\n", kind, count);
    std::printf("lines %lu\nnot_understood %lu\nwaiting %zu\nunfinished %d\n",
                static_cast<unsigned long>(reader_->lines()),
                static_cast<unsigned long>(reader_->not_understood()), reader_->waiting(),
                reader_->has_unfinished_line() ? 1 : 0);
    for (const auto& [number, record] : records_) {
      std::printf("query %lu %d %d [%s] %s\n", static_cast<unsigned long>(number), record.outcome,
                  record.loss, record.servers.c_str(), Hexadecimal(record.name).c_str());
    }
  }

 private:
  void Begin() {
    reader_ = std::make_unique<ctl::TraceReader>();
    reader_->AddConsumer(*this);
  }

  void Keep(const ctl::Query& query) {
    Record& record = records_[query.number];
    record.outcome = static_cast<int>(query.outcome);
    record.loss = query.outcome == ctl::Outcome::kLost ? static_cast<int>(query.loss) : 0;
    record.servers.clear();
    for (const ctl::Try& asked : query.tries) {
      const bool is_known = asked.server < reader_->servers().size();
      record.servers += (is_known ? reader_->servers()[asked.server] : "?") + ' ';
    }
    record.name = query.name;
  }

  std::string trace_;
  std::unique_ptr<ctl::TraceReader> reader_;
  std::map<int, unsigned long> counts_;
  std::map<std::uint64_t, Record> records_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 64;
  std::ifstream file(argv[1], std::ios::binary);
  if (!file) return 2;
  Replay replay({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
  if (argc < 3) {
    replay.ReadWhole();
  } else {
    replay.ReadInPieces(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)), argc > 3);
  }
  replay.Print();
  return 0;
}
