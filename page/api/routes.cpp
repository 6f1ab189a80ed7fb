#include "page/api/routes.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "page/api/documents.h"
#include "page/api/exports.h"
#include "page/api/metrics.h"
#include "page/api/trace_lines.h"
#include "page/api/why.h"
#include "page/resources.h"
#include "page/wall_clock.h"

namespace page {
namespace {

constexpr int kLongestWaitMs = 1000;
constexpr std::size_t kUsualRows = 100;
constexpr std::size_t kMostRows = 1000;
constexpr std::size_t kMostEventRows = 100;
constexpr std::size_t kRowsOfName = 20;
constexpr std::int64_t kBetweenBeatsMs = 1000;

Response JsonResponse(std::string text) {
  Response response;
  response.type = "application/json";
  response.body = std::move(text);
  return response;
}

std::int64_t NumberIn(const Request& request, std::string_view key, std::int64_t otherwise) {
  const std::string_view text = request.Value(key);
  std::int64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool is_number = result.ec == std::errc() && result.ptr == text.data() + text.size();
  return is_number && !text.empty() ? number : otherwise;
}

std::size_t RowsIn(const Request& request) {
  const std::int64_t rows = NumberIn(request, "limit", kUsualRows);
  return static_cast<std::size_t>(
      std::clamp<std::int64_t>(rows, 1, static_cast<std::int64_t>(kMostRows)));
}

QueryFilter FilterIn(const Request& request) {
  QueryFilter filter;
  filter.name_part = request.Value("name");
  filter.outcome = OutcomeOf(request.Value("outcome"));
  filter.server = request.Value("server");
  return filter;
}

std::string EventText(const char* event, const std::string& data) {
  return std::string("event: ") + event + "\ndata: " + data + "\n\n";
}

}  // namespace

Routes::Routes(Settings settings, LiveState& live, CompanionReports& reports,
               std::function<void()> wake)
    : settings_(std::move(settings)), live_(live), reports_(reports), wake_(std::move(wake)) {}

Response Routes::Answer(const Request& request) {
  if (const Resource* const resource = FindResource(request.path)) {
    Response response;
    response.type = resource->type;
    response.body = resource->bytes;
    return response;
  }
  if (request.path == "/api/now") return Now();
  if (request.path == "/api/events") return BeginEvents();
  if (request.path == "/api/totals") return Totals(request);
  if (request.path == "/api/queries") return Queries(request);
  if (request.path == "/api/queries.csv") return Export(request, true);
  if (request.path == "/api/queries.json") return Export(request, false);
  if (request.path == "/api/names") return Names(request);
  if (request.path == "/api/name") return Name(request);
  if (request.path == "/metrics") return MetricsPage();
  return PlainResponse(404, "There is nothing at this address.");
}

void Routes::BringUpToDate() { live_.WaitForCommit(wake_, kLongestWaitMs); }

Database& Routes::OpenDatabase() {
  const int generation = live_.DatabaseGeneration();
  if (!database_ || generation != generation_) {
    database_ = std::make_unique<Database>(settings_.database, Database::Access::kRead);
    database_->Execute("PRAGMA cache_size=-4000; PRAGMA temp_store=MEMORY");
    generation_ = generation;
  }
  return *database_;
}

std::string Routes::NowText() {
  reports_.Want();
  Snapshot now = live_.Now();
  now.time = WallMs();
  now.MoveSecondsTo(now.time / 1000);
  return WithReports(NowDocument(now, settings_.memory), reports_.Last());
}

Response Routes::Now() { return JsonResponse(NowText()); }

// A stream begins with the state and goes on with the events that all streams get.
Response Routes::BeginEvents() {
  Response response;
  response.type = "text/event-stream";
  response.is_event_stream = true;
  response.body = "retry: 1000\n\n" + EventText("now", NowText());
  // Nobody has listened for a while: what has ended since then is in the query log.
  if (WallMs() > next_beat_ + kBetweenBeatsMs) last_id_ = live_.LastId();
  return response;
}

std::string Routes::Events() {
  const std::uint64_t version = live_.Version();
  const std::int64_t wall = WallMs();
  const CompanionReports::Reports reports = reports_.Last();
  const bool is_beat = wall >= next_beat_;
  if (version == version_ && reports.version == reports_version_ && !is_beat) return {};
  version_ = version;
  reports_version_ = reports.version;
  next_beat_ = wall + kBetweenBeatsMs;
  std::string events = EventText("now", NowText());
  std::uint64_t skipped = 0;
  std::vector<Query> ended = live_.EndedAfter(last_id_, skipped);
  if (ended.empty()) return events;
  last_id_ = ended.back().id;
  if (ended.size() > kMostEventRows) {
    skipped += ended.size() - kMostEventRows;
    ended.erase(ended.begin(), ended.end() - static_cast<std::ptrdiff_t>(kMostEventRows));
  }
  Json document = {{"skipped", skipped}, {"queries", Json::array()}};
  for (const Query& query : ended) document["queries"].push_back(QueryDocument(query));
  return events + EventText("queries", AsText(document));
}

Response Routes::Totals(const Request& request) {
  const auto span = SpanOf(request.Value("span"), WallMs() / 1000);
  if (!span) return PlainResponse(400, "A span is hour, day, week or year.");
  BringUpToDate();
  return JsonResponse(AsText(HistoryDocument(ReadHistory(OpenDatabase(), *span))));
}

Response Routes::Queries(const Request& request) {
  BringUpToDate();
  const std::size_t most = RowsIn(request);
  QueryLog log(OpenDatabase(), FilterIn(request));
  const std::vector<Query> rows = log.Older(NumberIn(request, "before", 0), most);
  Json document = {
      {"count", OrNull(log.Count())}, {"more", rows.size() == most}, {"queries", Json::array()}};
  for (const Query& query : rows) document["queries"].push_back(QueryDocument(query));
  return JsonResponse(AsText(document));
}

Response Routes::Names(const Request& request) {
  BringUpToDate();
  Json document = Json::array();
  for (const NameUse& use :
       BusiestNames(OpenDatabase(), std::min<std::size_t>(RowsIn(request), 100))) {
    document.push_back({{"name", use.name}, {"queries", use.queries}});
  }
  return JsonResponse(AsText({{"names", document}}));
}

Response Routes::Name(const Request& request) {
  BringUpToDate();
  QueryFilter filter;
  filter.whole_name = request.Value("name");
  if (filter.whole_name.empty()) return PlainResponse(400, "Which name?");
  QueryLog log(OpenDatabase(), filter);
  const std::vector<Query> rows = log.Older(0, kRowsOfName);
  Json document = {{"name", filter.whole_name},
                   {"count", OrNull(log.Count())},
                   {"host_map_line", HostMapLineFor(filter.whole_name)},
                   {"why", rows.empty() ? "" : WhyOf(rows.front())},
                   {"trace", Json::array()},
                   {"queries", Json::array()}};
  for (const Query& query : rows) {
    Json row = QueryDocument(query);
    row["why"] = WhyOf(query);
    document["queries"].push_back(std::move(row));
  }
  if (!rows.empty()) document["trace"] = TraceLinesOf(rows.front(), settings_.trace);
  return JsonResponse(AsText(document));
}

Response Routes::MetricsPage() {
  BringUpToDate();
  Response response;
  response.type = kMetricsType;
  response.body = Metrics(live_.Now(), ReadAllOutcomes(OpenDatabase()));
  return response;
}

Response Routes::Export(const Request& request, bool is_csv) {
  BringUpToDate();
  const auto at_hand = [this]() -> Database& { return OpenDatabase(); };
  return is_csv ? CsvExport(at_hand, FilterIn(request)) : JsonExport(at_hand, FilterIn(request));
}

}  // namespace page
