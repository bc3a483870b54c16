#include "store/RunStore.h"

#include <chrono>
#include <utility>

#include "store/Schema.h"

namespace tavik::station {
namespace {

constexpr std::chrono::seconds kRetentionInterval{60};

Database opened(const std::string& path) {
  Database database(path, Database::Use::kWriting);
  migrate(database);
  return database;
}

}  // namespace

RunStore::RunStore(const std::string& path, Retention retention)
    : retention_(retention),
      database_(opened(path)),
      findDocuments_(database_.prepare("SELECT number FROM documents WHERE provenance = ?")),
      insertDocuments_(database_.prepare("INSERT INTO documents (provenance, library, rules) VALUES (?, ?, ?)")),
      insertRun_(database_.prepare("INSERT INTO runs (time, microseconds, id, part_number, verdict, documents, device, "
                                   "outcome) VALUES (?, ?, ?, ?, ?, ?, ?, ?)")),
      insertRule_(database_.prepare("INSERT OR IGNORE INTO rules (name) VALUES (?)")),
      insertFailure_(
          database_.prepare("INSERT OR IGNORE INTO failures (run, rule) SELECT ?, number FROM rules WHERE name = ?")),
      writer_(&RunStore::work, this) {}

RunStore::~RunStore() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_one();
  writer_.join();
}

std::int64_t RunStore::store(const Run& run) {
  std::future<std::int64_t> number;
  {
    const std::lock_guard lock(mutex_);
    number = waiting_.emplace_back(Waiting{&run, {}}).number.get_future();
  }
  changed_.notify_one();
  return number.get();
}

void RunStore::work() {
  auto due = std::chrono::steady_clock::now();
  while (true) {
    std::vector<Waiting> group;
    {
      std::unique_lock lock(mutex_);
      changed_.wait_until(lock, due, [&] { return ends_ || !waiting_.empty(); });
      if (ends_ && waiting_.empty()) return;
      group.swap(waiting_);
    }
    if (!group.empty()) storeTogether(group);
    if (std::chrono::steady_clock::now() >= due && !retain()) {
      due = std::chrono::steady_clock::now() + kRetentionInterval;
    }
  }
}

void RunStore::storeTogether(std::vector<Waiting>& group) {
  std::vector<std::int64_t> numbers;
  try {
    numbers.reserve(group.size());
    database_.execute("BEGIN IMMEDIATE");
    for (const Waiting& waiting : group) numbers.push_back(insert(*waiting.run));
    database_.execute("COMMIT");
  } catch (...) {
    database_.rollBack();
    for (Waiting& waiting : group) waiting.number.set_exception(std::current_exception());
    return;
  }
  for (std::size_t i = 0; i < group.size(); ++i) group[i].number.set_value(numbers[i]);
}

std::int64_t RunStore::insert(const Run& run) {
  const std::int64_t documents = numberOf(*run.documents);
  insertRun_.bind(run.time).bind(run.microseconds).bind(run.id).bind(run.partNumber).bind(run.verdict).bind(documents);
  insertRun_.bind(run.device).bind(run.outcome).run();
  const std::int64_t number = database_.lastRow();
  for (const std::string& rule : run.rules) {
    insertRule_.bind(rule).run();
    insertFailure_.bind(number).bind(rule).run();
  }
  return number;
}

std::int64_t RunStore::numberOf(const DocumentSet& documents) {
  const bool isKnown = findDocuments_.bind(documents.provenance).step();
  const std::int64_t number = isKnown ? findDocuments_.integer() : 0;
  findDocuments_.reset();
  if (isKnown) return number;
  insertDocuments_.bind(documents.provenance).bindBlob(documents.library).bindBlob(documents.rules).run();
  return database_.lastRow();
}

/// Whether the oldest run is too old, or the runs take too much space.
bool RunStore::mustDelete() {
  Statement oldest = database_.prepare("SELECT time FROM runs ORDER BY number LIMIT 1");
  if (!oldest.step()) return false;
  constexpr Milliseconds kDay = Milliseconds{24} * 60 * 60 * 1000;
  const std::int64_t pages = database_.integer("PRAGMA page_count") - database_.integer("PRAGMA freelist_count");
  return oldest.integer() < now() - retention_.days * kDay ||
         pages * database_.integer("PRAGMA page_size") > retention_.bytes;
}

/// Deletes some of the runs that need not be kept; whether there may be more.
bool RunStore::retain() {
  try {
    if (!mustDelete()) return false;
    const std::string last = std::to_string(
        database_.integer("SELECT max(number) FROM (SELECT number FROM runs ORDER BY number LIMIT 100)"));
    const std::string statements =
        "BEGIN IMMEDIATE; DELETE FROM failures WHERE run <= " + last + "; DELETE FROM runs WHERE number <= " + last +
        "; DELETE FROM documents WHERE NOT EXISTS (SELECT 1 FROM runs WHERE runs.documents = documents.number)"
        "; COMMIT; PRAGMA incremental_vacuum";
    database_.execute(statements.c_str());
    return true;
  } catch (const std::exception&) {  // tried again later; a full disk is reported by the next run
    database_.rollBack();
    return false;
  }
}

}  // namespace tavik::station
