#include "store/Database.h"

#include <fmt/format.h>

namespace tavik::station {
namespace {

constexpr int kBusyMilliseconds = 2000;

std::string_view adviceFor(int code) {
  switch (code) {
    case SQLITE_FULL:
      return "; free space on the disk of the database";
    case SQLITE_NOMEM:
      return "; try again later";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "; end the program that uses it";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "; stop the service, keep the file, and restore a backup or start with a new file";
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_CANTOPEN:
      return "; the user of the service must be able to write to the file and its folder";
    default:
      return "; check the disk of the database";
  }
}

/// Makes a statement usable again after a failure, whose message is read first.
class ResetAtEnd {
 public:
  explicit ResetAtEnd(sqlite3_stmt* statement) : statement_(statement) {}
  ResetAtEnd(const ResetAtEnd&) = delete;
  ResetAtEnd& operator=(const ResetAtEnd&) = delete;
  ~ResetAtEnd() { sqlite3_reset(statement_); }

 private:
  sqlite3_stmt* statement_;
};

}  // namespace

Database::Database(const std::string& path, Use use) : handle_(nullptr, sqlite3_close_v2) {
  sqlite3* opened = nullptr;
  const int flags = use == Use::kWriting ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
  const int result = sqlite3_open_v2(path.c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(opened);
  if (opened == nullptr) throw std::bad_alloc();
  require(result);
  sqlite3_extended_result_codes(opened, 0);
  sqlite3_busy_timeout(opened, kBusyMilliseconds);
}

void Database::fail() const {
  const int code = sqlite3_errcode(handle_.get()) & 0xff;
  throw StoreError(fmt::format("the database cannot be used: {}{}", sqlite3_errmsg(handle_.get()), adviceFor(code)));
}

void Database::execute(const char* sql) { require(sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr)); }

void Database::rollBack() noexcept {
  if (sqlite3_get_autocommit(handle_.get()) == 0) sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

Statement Database::prepare(std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(handle_.get(), sql.data(), static_cast<int>(sql.size()), &statement, nullptr));
  return {*this, statement};
}

std::int64_t Database::integer(std::string_view sql) {
  Statement statement = prepare(sql);
  return statement.step() ? statement.integer() : 0;
}

/// Parameters are counted from the first one again after a failure.
void Statement::requireBound(int result) {
  if (result != SQLITE_OK) parameter_ = 0;
  database_->require(result);
}

Statement& Statement::bind(std::int64_t value) {
  requireBound(sqlite3_bind_int64(statement_.get(), ++parameter_, value));
  return *this;
}

Statement& Statement::bind(std::string_view text) {
  const char* const bytes = text.empty() ? "" : text.data();
  requireBound(sqlite3_bind_text64(statement_.get(), ++parameter_, bytes, text.size(), nullptr, SQLITE_UTF8));
  return *this;
}

Statement& Statement::bindBlob(std::string_view bytes) {
  requireBound(sqlite3_bind_blob64(statement_.get(), ++parameter_, bytes.data(), bytes.size(), nullptr));
  return *this;
}

bool Statement::step() {
  column_ = 0;
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW || result == SQLITE_DONE) return result == SQLITE_ROW;
  parameter_ = 0;
  const ResetAtEnd reset(statement_.get());
  database_->fail();
}

void Statement::run() {
  while (step()) {
  }
  reset();
}

void Statement::reset() noexcept {
  sqlite3_reset(statement_.get());
  parameter_ = column_ = 0;
}

std::string_view Statement::text() {
  const int column = column_++;
  const void* const bytes = sqlite3_column_blob(statement_.get(), column);  // that of a text is its UTF-8
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

}  // namespace tavik::station
