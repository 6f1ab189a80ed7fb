#include "page/memory/database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace page {
namespace {

constexpr int kBusyMs = 2000;
constexpr mode_t kMode = 0640;  // names are private

[[noreturn]] void Fail(sqlite3* handle, int code) {
  const char* const words = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(code);
  throw DatabaseError(code, std::string("The database fails: ") + words + '.');
}

// SQLite gives its own files the mode of the database, which it would make readable for everybody.
void CreateWithMode(const std::string& path) {
  const int descriptor = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kMode);
  if (descriptor >= 0) close(descriptor);
}

}  // namespace

bool DatabaseError::IsDamage() const {
  const int primary = code_ & 0xFF;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

Database::Database(const std::string& path, Access access) {
  if (access == Access::kWrite) CreateWithMode(path);
  const int flags = access == Access::kWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
  const int result = sqlite3_open_v2(path.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  if (result != SQLITE_OK) {
    const std::string words = sqlite3_errstr(result);
    sqlite3_close(handle_);
    throw DatabaseError(result, path + " can't be opened: " + words + '.');
  }
  sqlite3_extended_result_codes(handle_, 1);
  sqlite3_busy_timeout(handle_, kBusyMs);
}

Database::~Database() { sqlite3_close(handle_); }

void Database::Execute(const char* sql) {
  const int result = sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) Fail(handle_, result);
}

std::int64_t Database::Integer(const char* sql) {
  Statement statement(*this, sql);
  return statement.Step() ? statement.Integer(0) : 0;
}

std::int64_t Database::LastRow() const { return sqlite3_last_insert_rowid(handle_); }

Statement::Statement(Database& database, const std::string& sql) : database_(database) {
  Check(sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &handle_,
                           nullptr));
}

Statement::~Statement() { sqlite3_finalize(handle_); }

void Statement::Check(int result) const {
  if (result != SQLITE_OK) Fail(database_.handle(), result);
}

Statement& Statement::Bind(int parameter, std::int64_t number) {
  Check(sqlite3_bind_int64(handle_, parameter, number));
  return *this;
}

Statement& Statement::Bind(int parameter, std::string_view text) {
  Check(sqlite3_bind_text(handle_, parameter, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC));
  return *this;
}

Statement& Statement::BindBytes(int parameter, std::string_view bytes) {
  Check(sqlite3_bind_blob(handle_, parameter, bytes.data(), static_cast<int>(bytes.size()),
                          SQLITE_STATIC));
  return *this;
}

Statement& Statement::BindNull(int parameter) {
  Check(sqlite3_bind_null(handle_, parameter));
  return *this;
}

bool Statement::Step() {
  const int result = sqlite3_step(handle_);
  if (result == SQLITE_ROW) return true;
  sqlite3_reset(handle_);
  if (result != SQLITE_DONE) Fail(database_.handle(), result);
  return false;
}

void Statement::Run() {
  while (Step()) {
  }
}

void Statement::Reset() { sqlite3_reset(handle_); }

std::int64_t Statement::Integer(int column) const { return sqlite3_column_int64(handle_, column); }

bool Statement::IsNull(int column) const {
  return sqlite3_column_type(handle_, column) == SQLITE_NULL;
}

std::string_view Statement::Text(int column) const {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(handle_, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_, column));
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, size);
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  // After some failures SQLite has rolled back already; then there is nothing left to end.
  if (is_open_) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
  database_.Execute("COMMIT");
  is_open_ = false;
}

}  // namespace page
