#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace page {

/// A call of SQLite that failed; the text is a sentence.
class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(int code, const std::string& sentence)
      : std::runtime_error(sentence), code_(code) {}
  /// The file is no database, or a damaged one.
  bool IsDamage() const;

 private:
  int code_;
};

/// One connection to an SQLite database. One thread; other connections may be used by others. Every
/// failure is a DatabaseError.
class Database {
 public:
  enum class Access { kWrite, kRead };

  /// With kWrite the file is made when it is missing, mode 0640 before umask.
  Database(const std::string& path, Access access);
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database();

  void Execute(const char* sql);
  /// The first column of the first row; 0 without one.
  std::int64_t Integer(const char* sql);
  std::int64_t LastRow() const;
  sqlite3* handle() const { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

/// A prepared statement. Columns and parameters are counted from 0 and from 1, as SQLite does.
class Statement {
 public:
  Statement(Database& database, const std::string& sql);
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  Statement& Bind(int parameter, std::int64_t number);
  /// `text` and `bytes` live until the statement is run or reset.
  Statement& Bind(int parameter, std::string_view text);
  Statement& BindBytes(int parameter, std::string_view bytes);
  Statement& BindNull(int parameter);

  /// True for a row, false at the end, where it is reset with its parameters kept.
  bool Step();
  /// Runs it to its end and makes it ready for the next run.
  void Run();
  void Reset();

  std::int64_t Integer(int column) const;
  bool IsNull(int column) const;
  /// Valid until the next step.
  std::string_view Text(int column) const;

 private:
  void Check(int result) const;

  Database& database_;
  sqlite3_stmt* handle_ = nullptr;
};

/// What is done between its construction and `Commit` is done as a whole or not at all.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();
  void Commit();

 private:
  Database& database_;
  bool is_open_ = true;
};

}  // namespace page
