#include "page/memory/schema.h"

#include <sqlite3.h>

namespace page {
namespace {

constexpr std::int64_t kApplicationId = 0x646E7370;
constexpr std::int64_t kVersion = 1;

// Names are kept once, with the number of queries for each: a search looks through them instead of
// through the queries. A server of 0 is none. `tried` is packed; see query_row.h.
constexpr const char* kTables = R"(
  CREATE TABLE meta(key TEXT PRIMARY KEY, value) WITHOUT ROWID;
  CREATE TABLE servers(id INTEGER PRIMARY KEY, address TEXT NOT NULL UNIQUE);
  CREATE TABLE names(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, uses INTEGER NOT NULL);
  CREATE TABLE queries(id INTEGER PRIMARY KEY, asked INTEGER NOT NULL, name INTEGER NOT NULL,
    outcome INTEGER NOT NULL, server INTEGER NOT NULL, microseconds INTEGER, place INTEGER NOT NULL,
    file INTEGER NOT NULL, tried BLOB);
  CREATE INDEX queries_by_name ON queries(name);
  CREATE INDEX queries_by_outcome ON queries(outcome, server);
  CREATE TABLE files(id INTEGER PRIMARY KEY, device INTEGER NOT NULL, inode INTEGER NOT NULL,
    UNIQUE(device, inode));
  CREATE TABLE totals(width INTEGER, slot INTEGER, series INTEGER, server INTEGER,
    queries INTEGER NOT NULL, times BLOB, PRIMARY KEY(width, slot, series, server)) WITHOUT ROWID;
)";

}  // namespace

void PrepareSchema(Database& database) {
  database.Execute("PRAGMA journal_mode=WAL");
  // A commit survives the end of the program. One that is lost when the machine crashes is read
  // from the trace again.
  database.Execute("PRAGMA synchronous=NORMAL; PRAGMA journal_size_limit=4194304");
  const std::int64_t application = database.Integer("PRAGMA application_id");
  const std::int64_t version = database.Integer("PRAGMA user_version");
  if (application == kApplicationId && version == kVersion) return;
  if (application != 0 || version != 0 ||
      database.Integer("SELECT count(*) FROM sqlite_master") > 0) {
    throw DatabaseError(SQLITE_NOTADB, "The database is another program's.");
  }
  Transaction transaction(database);
  database.Execute(kTables);
  database.Execute(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str());
  database.Execute(("PRAGMA user_version=" + std::to_string(kVersion)).c_str());
  transaction.Commit();
}

void CheckPages(Database& database) {
  Statement check(database, "PRAGMA quick_check(1)");
  if (check.Step() && check.Text(0) != "ok") {
    throw DatabaseError(SQLITE_CORRUPT, "The database's pages do not fit together.");
  }
}

}  // namespace page
