// The reader of the trace: whatever it is given, what it tells adds up, its memory stays bounded,
// and neither the cutting into pieces nor a restart in between makes a difference.
//
// The first byte of an input chooses the pieces; the rest is the trace.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/trace/tally.h"
#include "common/trace/trace_reader.h"
#include "tests/fuzz/check.h"

namespace {

constexpr std::size_t kShort = 500;

// What was told, one event after the other, and the sums over it.
class Told : public ctl::TraceConsumer {
 public:
  void Take(const ctl::TraceEvent& event) override {
    text += std::to_string(static_cast<int>(event.kind)) + ' ' + std::to_string(event.line) + ' ' +
            std::to_string(event.server) + ' ';
    text.append(event.address).append(event.expected);
    if (event.query != nullptr) {
      text += std::to_string(event.query->number) + ' ' + event.query->name;
    }
    text += '\n';
    Count(event);
  }

  std::string text;
  std::uint64_t accepted = 0;
  std::uint64_t ended = 0;

 private:
  void Count(const ctl::TraceEvent& event) {
    if (event.kind == ctl::TraceEventKind::kAccepted) ++accepted;
    if (event.query == nullptr || event.query->number == 0) return;
    CHECK(event.query->number <= accepted);
    switch (event.kind) {
      case ctl::TraceEventKind::kFoundInHostMap:
      case ctl::TraceEventKind::kExhausted:
      case ctl::TraceEventKind::kRelayed:
      case ctl::TraceEventKind::kLost:
        ++ended;
        return;
      case ctl::TraceEventKind::kForwardFailed:
        if (event.numbers[1] != 0) ++ended;
        return;
      case ctl::TraceEventKind::kNotLost:
        --ended;
        return;
      default:
        return;
    }
  }
};

struct Reading {
  Reading() { Begin(); }
  void Begin() {
    reader = std::make_unique<ctl::TraceReader>();
    reader->AddConsumer(told);
  }
  std::string Whole() const {
    return told.text + std::to_string(reader->lines()) + ' ' +
           std::to_string(reader->not_understood()) + ' ' + std::to_string(reader->waiting());
  }

  Told told;
  std::unique_ptr<ctl::TraceReader> reader;
};

std::string ReadWhole(std::string_view trace) {
  Reading reading;
  reading.reader->Feed(trace, 1);
  reading.reader->EndFile();
  CHECK(reading.told.ended <= reading.told.accepted);
  CHECK(reading.reader->waiting() <= reading.told.accepted);
  CHECK(reading.reader->not_understood() <= reading.reader->lines() + trace.size());
  CHECK(reading.reader->servers().size() <= ctl::TraceReader::kMostServers);
  return reading.Whole();
}

std::string ReadInPieces(std::string_view trace, std::size_t size) {
  Reading reading;
  for (std::size_t at = 0; at < trace.size(); at += size) {
    reading.reader->Feed(trace.substr(at, size), 1);
  }
  reading.reader->EndFile();
  return reading.Whole();
}

std::string ReadWithRestart(std::string_view trace, std::size_t at) {
  Reading reading;
  reading.reader->Feed(trace.substr(0, at), 1);
  const std::string saved = reading.reader->Save();
  reading.Begin();
  CHECK(reading.reader->Load(saved));
  reading.reader->Feed(trace.substr(static_cast<std::size_t>(reading.reader->offset())), 1);
  reading.reader->EndFile();
  return reading.Whole();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view trace(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string whole = ReadWhole(trace);
  // Small pieces of long traces take most of the time and show nothing more.
  const std::size_t piece = (trace.size() < kShort ? 1 : kShort) + data[0];
  CHECK(ReadInPieces(trace, piece) == whole);
  CHECK(ReadWithRestart(trace, trace.size() * data[0] / 256) == whole);
  ctl::TraceReader reader;
  reader.Load(trace);
  return 0;
}
