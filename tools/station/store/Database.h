/// @file
/// A SQLite database. Every function throws `StoreError`.
#ifndef TAVIK_STATION_STORE_DATABASE_H
#define TAVIK_STATION_STORE_DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tavik::station {

/// Results cannot be stored or read. The message says why and what to do.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Statement;

/// A connection to a database file, for one thread at a time.
class Database {
 public:
  enum class Use : std::uint8_t { kWriting, kReading };

  /// Opens the file; for writing, creates it if it does not exist.
  Database(const std::string& path, Use use);

  /// Executes statements without results.
  void execute(const char* sql);
  /// Prepares a statement, which must not outlive this object.
  Statement prepare(std::string_view sql);
  [[nodiscard]] std::int64_t lastRow() const noexcept { return sqlite3_last_insert_rowid(handle_.get()); }
  /// Rolls back the open transaction, if any.
  void rollBack() noexcept;
  /// The only value of a query.
  std::int64_t integer(std::string_view sql);

 private:
  friend class Statement;
  [[noreturn]] void fail() const;
  void require(int result) const {
    if (result != SQLITE_OK) fail();
  }

  std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)> handle_;
};

/// A prepared statement. Parameters and columns are used in order, from the first one.
class Statement {
 public:
  Statement& bind(std::int64_t value);
  /// The text must remain valid until the next `reset`.
  Statement& bind(std::string_view text);
  Statement& bindBlob(std::string_view bytes);

  /// Whether there is another row.
  bool step();
  /// Executes a statement without rows, ready for new parameters.
  void run();
  void reset() noexcept;

  std::int64_t integer() { return sqlite3_column_int64(statement_.get(), column_++); }
  /// Text or bytes, empty if the value is null; valid until the next step.
  std::string_view text();
  /// Whether the next value is a blob.
  [[nodiscard]] bool isBlob() { return sqlite3_column_type(statement_.get(), column_) == SQLITE_BLOB; }

 private:
  friend class Database;
  Statement(Database& database, sqlite3_stmt* statement)
      : database_(&database), statement_(statement, sqlite3_finalize) {}
  void requireBound(int result);

  Database* database_;
  std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement_;
  int parameter_ = 0;
  int column_ = 0;
};

}  // namespace tavik::station

#endif
