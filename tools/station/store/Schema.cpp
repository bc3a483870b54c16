#include "store/Schema.h"

#include <fmt/format.h>

#include <iterator>

namespace tavik::station {
namespace {

/// Each leads from the version with its index to the next one.
constexpr const char* kMigrations[] = {
    R"(
CREATE TABLE documents (
  number INTEGER PRIMARY KEY,
  provenance TEXT NOT NULL UNIQUE,
  library BLOB NOT NULL,
  rules BLOB NOT NULL
);
CREATE TABLE runs (
  number INTEGER PRIMARY KEY,  -- one more than the highest one; the newest run is never deleted
  time INTEGER NOT NULL,       -- milliseconds since 1970-01-01 UTC
  microseconds INTEGER NOT NULL,
  id TEXT NOT NULL,
  part_number TEXT NOT NULL,
  verdict TEXT NOT NULL,
  documents INTEGER NOT NULL REFERENCES documents (number),
  device TEXT NOT NULL,
  outcome TEXT NOT NULL
);
CREATE INDEX runs_by_time ON runs (time, part_number, verdict);
CREATE INDEX runs_by_id ON runs (id);
CREATE INDEX runs_by_part_number ON runs (part_number);
CREATE INDEX runs_by_verdict ON runs (verdict);
CREATE TABLE rules (
  number INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE
);
CREATE TABLE failures (
  run INTEGER NOT NULL,
  rule INTEGER NOT NULL REFERENCES rules (number),
  PRIMARY KEY (run, rule)
) WITHOUT ROWID;
CREATE INDEX failures_by_rule ON failures (rule, run);
)",
    R"(
DROP INDEX runs_by_part_number;  -- runs_by_time serves their queries, with less to write for every run
DROP INDEX runs_by_verdict;
)",
    R"(
-- The device and outcome of runs are texts, or blobs that are compressed with the sample of their documents.
ALTER TABLE documents ADD COLUMN sample BLOB;
)",
};
constexpr std::int64_t kVersion = std::size(kMigrations);
constexpr std::int64_t kApplication = 0x7461766b;  // in the header of the file

void requireKnown(Database& database) {
  if (database.integer("PRAGMA application_id") != kApplication) {
    throw StoreError("the database belongs to another program; use another file");
  }
  const std::int64_t version = database.integer("PRAGMA user_version");
  if (version > kVersion) {
    throw StoreError(
        fmt::format("the database has version {}, and this program knows versions up to {}; install a "
                    "newer version of the package, or use another file",
                    version, kVersion));
  }
}

}  // namespace

void migrate(Database& database) {
  database.execute(
      "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"  // COMMIT waits for the disk
      "PRAGMA journal_size_limit = 67108864; PRAGMA wal_autocheckpoint = 8192; BEGIN IMMEDIATE");
  const bool isNew = database.integer("SELECT count(*) FROM sqlite_schema") == 0;
  if (!isNew) requireKnown(database);
  for (std::int64_t next = database.integer("PRAGMA user_version"); next < kVersion; ++next) {
    database.execute(kMigrations[next]);
  }
  database.execute(
      fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}; COMMIT", kApplication, kVersion).c_str());
}

void requireUsable(Database& database) {
  requireKnown(database);
  if (database.integer("PRAGMA user_version") == 0) throw StoreError("the database is empty; check the path");
}

}  // namespace tavik::station
