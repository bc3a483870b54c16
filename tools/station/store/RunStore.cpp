#include "store/RunStore.h"

#include <chrono>
#include <utility>

#include "store/Schema.h"

namespace tavik::station {
namespace {

constexpr std::chrono::seconds kRetentionInterval{60};
constexpr std::size_t kMostWaiting = std::size_t{256} << 20;  // bytes of runs

std::size_t sizeOf(const Run& run) { return run.device.size() + run.outcome.size(); }

Database opened(const std::string& path) {
  Database database(path, Database::Use::kWriting);
  migrate(database);
  return database;
}

}  // namespace

RunStore::RunStore(const std::string& path, Retention retention)
    : retention_(retention),
      database_(opened(path)),
      begin_(database_.prepare("BEGIN IMMEDIATE")),
      commit_(database_.prepare("COMMIT")),
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

void RunStore::store(Run run, Done done) {
  {
    const std::lock_guard lock(mutex_);
    const std::size_t size = sizeOf(run);
    if (bytes_ != 0 && bytes_ + size > kMostWaiting) {
      throw StoreError("too many results wait for the disk of the database; try again later");
    }
    waiting_.push_back({std::move(run), std::move(done)});
    bytes_ += size;
  }
  changed_.notify_one();
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
    if (!group.empty()) {
      const std::optional<StoreError> failure = storeTogether(group);
      std::size_t size = 0;
      for (const auto& [run, done] : group) {
        done(run, failure ? &*failure : nullptr);
        size += sizeOf(run);
      }
      const std::lock_guard lock(mutex_);
      bytes_ -= size;
    }
    if (std::chrono::steady_clock::now() >= due && !retain()) {
      due = std::chrono::steady_clock::now() + kRetentionInterval;
    }
  }
}

/// Stores runs in one transaction; why it failed, if it did.
std::optional<StoreError> RunStore::storeTogether(std::vector<Waiting>& group) {
  try {
    begin_.run();
    for (Waiting& waiting : group) waiting.run.number = insert(waiting.run);
    commit_.run();
    return std::nullopt;
  } catch (const StoreError& failure) {
    database_.rollBack();
    documents_.reset();
    for (Waiting& waiting : group) waiting.run.number = 0;
    return failure;
  }
}

std::int64_t RunStore::insert(const Run& run) {
  const std::int64_t documents = numberOf(run.documents);
  insertRun_.bind(run.time).bind(run.microseconds).bind(run.id).bind(run.partNumber).bind(run.verdict).bind(documents);
  insertRun_.bind(run.device).bind(run.outcome).run();
  const std::int64_t number = database_.lastRow();
  for (const std::string& rule : run.rules) {
    insertRule_.bind(rule).run();
    insertFailure_.bind(number).bind(rule).run();
  }
  return number;
}

std::int64_t RunStore::numberOf(const std::shared_ptr<const DocumentSet>& documents) {
  if (documents == documents_) return documentsNumber_;
  const bool isKnown = findDocuments_.bind(documents->provenance).step();
  if (isKnown) documentsNumber_ = findDocuments_.integer();
  findDocuments_.reset();
  if (!isKnown) {
    insertDocuments_.bind(documents->provenance).bindBlob(documents->library).bindBlob(documents->rules).run();
    documentsNumber_ = database_.lastRow();
  }
  documents_ = documents;
  return documentsNumber_;
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
    documents_.reset();  // may be deleted
    database_.execute(statements.c_str());
    return true;
  } catch (const std::exception&) {  // tried again later; a full disk is reported by the next run
    database_.rollBack();
    return false;
  }
}

}  // namespace tavik::station
