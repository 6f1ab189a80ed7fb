#include "common/trace/trace_reader.h"

#include "common/trace/reader_inside.h"

namespace ctl {

TraceReader::TraceReader() : inside_(std::make_unique<Inside>()) {}
TraceReader::~TraceReader() = default;

void TraceReader::AddConsumer(TraceConsumer& consumer) { inside_->consumers.push_back(&consumer); }

void TraceReader::Feed(std::string_view bytes, std::int64_t arrival) {
  inside_->Feed(bytes, arrival);
}

void TraceReader::EndFile() { inside_->EndFile(); }

std::uint64_t TraceReader::offset() const { return inside_->offset; }
std::uint64_t TraceReader::lines() const { return inside_->lines; }
std::uint64_t TraceReader::not_understood() const { return inside_->not_understood; }
std::uint64_t TraceReader::first_not_understood() const { return inside_->first_not_understood; }
bool TraceReader::has_unfinished_line() const { return inside_->has_unfinished_line; }
const std::vector<std::string>& TraceReader::servers() const { return inside_->servers; }
std::size_t TraceReader::waiting() const { return inside_->queries.size(); }
std::vector<const Query*> TraceReader::Waiting(std::size_t most) const {
  return inside_->queries.Some(most);
}
std::string TraceReader::Save() const { return inside_->Save(); }

bool TraceReader::Load(std::string_view saved) {
  if (inside_->Load(saved)) return true;
  const std::vector<TraceConsumer*> consumers = inside_->consumers;
  inside_ = std::make_unique<Inside>();
  inside_->consumers = consumers;
  return false;
}

}  // namespace ctl
