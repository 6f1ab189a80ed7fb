#include "page/memory/store_statements.h"

#include "page/memory/query_row.h"
#include "page/memory/schema.h"

namespace page {
namespace {

// The tables are there before the first statement on them is made.
const std::string& Prepared(const std::string& path) {
  Database database(path, Database::Access::kWrite);
  PrepareSchema(database);
  return path;
}

}  // namespace

Store::Open::Open(const std::string& path)
    : database(Prepared(path), Database::Access::kWrite),
      add_name_(database,
                "INSERT INTO names(name, uses) VALUES(?1, 1)"
                " ON CONFLICT(name) DO UPDATE SET uses = uses + 1 RETURNING id"),
      add_server_(database, "INSERT OR IGNORE INTO servers(address) VALUES(?1)"),
      find_server_(database, "SELECT id FROM servers WHERE address = ?1"),
      add_file_(database, "INSERT OR IGNORE INTO files(device, inode) VALUES(?1, ?2)"),
      find_file_(database, "SELECT id FROM files WHERE device = ?1 AND inode = ?2"),
      add_query_(
          database,
          "INSERT INTO queries(asked, name, outcome, server, microseconds, place, file, tried, id)"
          " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)"),
      find_total_(database,
                  "SELECT queries, times FROM totals"
                  " WHERE width = ?1 AND slot = ?2 AND series = ?3 AND server = ?4"),
      put_total_(database, "INSERT OR REPLACE INTO totals VALUES(?1, ?2, ?3, ?4, ?5, ?6)"),
      put_meta_(database, "INSERT OR REPLACE INTO meta VALUES(?1, ?2)"),
      find_meta_(database, "SELECT value FROM meta WHERE key = ?1") {
  database.Execute("PRAGMA synchronous=NORMAL; PRAGMA journal_size_limit=4194304");
  database.Execute("PRAGMA cache_size=-2000; PRAGMA temp_store=MEMORY");
}

std::int64_t Store::Open::NameId(const std::string& name) {
  add_name_.Bind(1, std::string_view(name));
  const std::int64_t id = add_name_.Step() ? add_name_.Integer(0) : 0;
  add_name_.Run();
  return id;
}

std::int64_t Store::Open::ServerId(const std::string& address) {
  if (address.empty()) return 0;
  const auto known = server_ids_.find(address);
  if (known != server_ids_.end()) return known->second;
  add_server_.Bind(1, std::string_view(address)).Run();
  find_server_.Bind(1, std::string_view(address)).Step();
  const std::int64_t id = find_server_.Integer(0);
  find_server_.Reset();
  server_ids_.emplace(address, id);
  return id;
}

std::int64_t Store::Open::FileId(const TracePlace& place) {
  if (file_id_ != 0 && file_ == std::make_pair(place.device, place.inode)) return file_id_;
  const auto device = static_cast<std::int64_t>(place.device);
  const auto inode = static_cast<std::int64_t>(place.inode);
  add_file_.Bind(1, device).Bind(2, inode).Run();
  find_file_.Bind(1, device).Bind(2, inode).Step();
  file_id_ = find_file_.Integer(0);
  find_file_.Reset();
  file_ = {place.device, place.inode};
  return file_id_;
}

void Store::Open::AddQuery(const Query& query) {
  std::vector<std::int64_t> servers;
  for (const Attempt& attempt : query.attempts) servers.push_back(ServerId(attempt.server));
  // The usual single attempt is told by the row's other columns.
  const bool is_plain =
      query.attempts.empty() || (query.attempts.size() == 1 && query.outcome == Outcome::kAnswered);
  const std::string tried = is_plain ? "" : PackAttempts(query.attempts, servers);
  add_query_.Bind(1, query.asked).Bind(2, NameId(query.name));
  add_query_.Bind(3, static_cast<std::int64_t>(query.outcome)).Bind(4, ServerId(query.Server()));
  if (query.microseconds) {
    add_query_.Bind(5, *query.microseconds);
  } else {
    add_query_.BindNull(5);
  }
  add_query_.Bind(6, static_cast<std::int64_t>(query.place.offset)).Bind(7, FileId(query.place));
  if (is_plain) {
    add_query_.BindNull(8);
  } else {
    add_query_.BindBytes(8, tried);
  }
  add_query_.Bind(9, query.id).Run();
}

// Rarely needed, so its statements are made when it is.
void Store::Open::RemoveLost(const Query& lost) {
  Statement find(database,
                 "SELECT q.id, n.id FROM names AS n JOIN queries AS q ON q.name = n.id"
                 " WHERE n.name = ?1 AND q.asked = ?2 AND q.outcome = ?3 AND q.server = 0 LIMIT 1");
  find.Bind(1, std::string_view(lost.name)).Bind(2, lost.asked);
  find.Bind(3, static_cast<std::int64_t>(Outcome::kLost));
  if (!find.Step()) return;
  const std::int64_t query = find.Integer(0);
  const std::int64_t name = find.Integer(1);
  find.Reset();
  Statement(database, "DELETE FROM queries WHERE id = ?1").Bind(1, query).Run();
  Statement(database, "UPDATE names SET uses = uses - 1 WHERE id = ?1").Bind(1, name).Run();
  Statement(database, "DELETE FROM names WHERE id = ?1 AND uses <= 0").Bind(1, name).Run();
}

void Store::Open::AddTotal(const Batch::Key& key, const Batch::Total& total) {
  const auto& [minute, series, address] = key;
  const std::int64_t server = ServerId(address);
  for (const SlotWidth& width : kSlotWidths) {
    const std::int64_t slot = minute - minute % width.seconds;
    find_total_.Bind(1, width.seconds).Bind(2, slot).Bind(3, series).Bind(4, server);
    auto queries = static_cast<std::int64_t>(total.queries);
    AnswerTimes times = total.times;
    if (find_total_.Step()) {
      queries += find_total_.Integer(0);
      times.Add(AnswerTimes::Unpack(find_total_.Text(1)));
    }
    find_total_.Reset();
    const std::string packed = times.Packed();
    put_total_.Bind(1, width.seconds).Bind(2, slot).Bind(3, series).Bind(4, server);
    put_total_.Bind(5, queries).BindBytes(6, packed).Run();
  }
}

void Store::Open::SaveProgress(const Progress& progress) {
  const auto put = [this](std::string_view key, std::int64_t number) {
    put_meta_.Bind(1, key).Bind(2, number).Run();
  };
  put("device", static_cast<std::int64_t>(progress.place.device));
  put("inode", static_cast<std::int64_t>(progress.place.inode));
  put("offset", static_cast<std::int64_t>(progress.place.offset));
  put("at", progress.at);
  put("last_id", progress.last_id);
  put("birth", progress.place.birth);
  put_meta_.Bind(1, std::string_view("reading")).BindBytes(2, progress.reading).Run();
  put_meta_.Bind(1, std::string_view("proxy")).BindBytes(2, progress.proxy).Run();
}

Progress Store::Open::LoadProgress() {
  const auto find = [this](std::string_view key) {
    find_meta_.Bind(1, key);
    const std::int64_t number = find_meta_.Step() ? find_meta_.Integer(0) : 0;
    find_meta_.Reset();
    return number;
  };
  Progress progress;
  progress.place.device = static_cast<std::uint64_t>(find("device"));
  progress.place.inode = static_cast<std::uint64_t>(find("inode"));
  progress.place.offset = static_cast<std::uint64_t>(find("offset"));
  progress.at = find("at");
  progress.last_id = find("last_id");
  progress.place.birth = find("birth");
  const auto find_text = [this](std::string_view key) {
    find_meta_.Bind(1, key);
    std::string text;
    if (find_meta_.Step()) text = find_meta_.Text(0);
    find_meta_.Reset();
    return text;
  };
  progress.reading = find_text("reading");
  progress.proxy = find_text("proxy");
  return progress;
}

void Store::Open::Forget() {
  server_ids_.clear();
  file_id_ = 0;
}

}  // namespace page
