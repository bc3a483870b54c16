#include "store/RunStore.h"

#include <fmt/format.h>
#include <tavik/CheckOutcome.h>

#include <chrono>
#include <limits>
#include <utility>

#include "store/Schema.h"

namespace tavik::station {
namespace {

constexpr std::chrono::seconds kRetentionInterval{1};
constexpr std::size_t kMostWaiting = std::size_t{256} << 20;   // bytes of runs
constexpr std::size_t kLargestSample = std::size_t{64} << 10;  // bytes of a device, and of an outcome

std::size_t sizeOf(const Run& run) { return run.device.size() + run.outcome.size(); }

void compress(Run& run) {
  const Compressor& compressor = *run.documents->compressor;
  if (!compressor.hasSample()) return;
  run.device = compressor.compressed(run.device);
  run.outcome = compressor.compressed(run.outcome);
  run.isCompressed = true;
}

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
      writer_(&RunStore::write, this) {}

RunStore::~RunStore() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_one();
  writer_.join();
}

void RunStore::store(Run run, RunStored done) {
  compress(run);
  {
    std::unique_lock lock(mutex_);
    const std::size_t size = sizeOf(run);
    if (bytes_ > kMostWaiting) {
      lock.unlock();
      const StoreError failure("too many results wait for the disk of the database; try again later");
      return done(run, &failure);
    }
    waiting_.push_back({std::move(run), std::move(done)});
    bytes_ += size;
  }
  changed_.notify_one();
}

void RunStore::write() {
  auto due = Clock::now();
  std::unique_lock lock(mutex_);
  while (!ends_ || !waiting_.empty()) {
    changed_.wait_until(lock, due, [&] { return ends_ || !waiting_.empty(); });
    Entries entries = std::exchange(waiting_, {});
    lock.unlock();
    std::size_t size = 0;
    const std::optional<StoreError> failure = insert(entries);
    for (const auto& [run, done] : entries) {
      done(run, failure ? &*failure : nullptr);
      size += sizeOf(run);
    }
    if (!failure) {
      for (const Entry& entry : entries) provideSample(entry.run);
    }
    if (Clock::now() >= due && !retain()) due = Clock::now() + kRetentionInterval;
    lock.lock();
    bytes_ -= size;
  }
}

/// Later runs with the same documents are compressed with the sample that is stored, or with this run.
void RunStore::provideSample(const Run& run) {
  const DocumentSet& documents = *run.documents;
  if (documents.compressor->hasSample() || run.verdict == wordOf(Verdict::kNone)) return;
  try {
    const std::string sample = run.device.substr(0, kLargestSample) + run.outcome.substr(0, kLargestSample);
    Statement set = database_.prepare("UPDATE documents SET sample = ? WHERE provenance = ? AND sample IS NULL");
    set.bindBlob(sample).bind(documents.provenance).run();
    Statement find = database_.prepare("SELECT sample FROM documents WHERE provenance = ?");
    if (find.bind(documents.provenance).step()) documents.compressor->setSample(find.text());
  } catch (const std::exception&) {  // tried again with the next run
  }
}

/// Stores runs in one transaction; why it failed, if it did.
std::optional<StoreError> RunStore::insert(Entries& entries) {
  if (entries.empty()) return std::nullopt;
  try {
    begin_.run();
    for (Entry& entry : entries) entry.run.number = insert(entry.run);
    commit_.run();
    return std::nullopt;
  } catch (const std::exception& failure) {
    database_.rollBack();
    documents_.reset();
    for (Entry& entry : entries) entry.run.number = 0;
    return StoreError(failure.what());
  }
}

std::int64_t RunStore::insert(const Run& run) {
  const std::int64_t documents = numberOf(run.documents);
  insertRun_.bind(run.time).bind(run.microseconds).bind(run.id).bind(run.partNumber).bind(run.verdict).bind(documents);
  const auto bindText = [&](const std::string& text) {
    run.isCompressed ? insertRun_.bindBlob(text) : insertRun_.bind(text);
  };
  bindText(run.device);
  bindText(run.outcome);
  insertRun_.run();
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

bool RunStore::isTooLarge() {
  const std::int64_t pages = database_.integer("PRAGMA page_count") - database_.integer("PRAGMA freelist_count");
  return pages * database_.integer("PRAGMA page_size") > retention_.bytes;
}

/// The last of the oldest runs, a few at a time, that were made before `end`; 0 if there are none.
std::int64_t RunStore::lastBefore(Milliseconds end) {
  Statement row = database_.prepare(
      "SELECT number, time FROM runs WHERE number < (SELECT max(number) FROM runs) ORDER BY number LIMIT 50");
  std::int64_t last = 0;
  while (row.step()) {
    const std::int64_t number = row.integer();
    if (row.integer() >= end) break;
    last = number;
  }
  return last;
}

/// Deletes some of the runs that need not be kept; whether more must be deleted at once. Old runs are deleted slowly: a
/// clock that is wrong for a minute costs few of them.
bool RunStore::retain() {
  constexpr Milliseconds kDay = Milliseconds{24} * 60 * 60 * 1000;
  try {
    const bool needsSpace = isTooLarge();
    const Milliseconds end = needsSpace ? std::numeric_limits<Milliseconds>::max() : now() - retention_.days * kDay;
    const std::int64_t last = lastBefore(end);
    if (last == 0) return false;
    database_.execute(fmt::format("BEGIN IMMEDIATE; DELETE FROM failures WHERE run <= {0};"
                                  "DELETE FROM runs WHERE number <= {0}; COMMIT",
                                  last)
                          .c_str());
    return needsSpace;
  } catch (const std::exception&) {  // tried again later; a full disk is reported by the next run
    database_.rollBack();
    return false;
  }
}

}  // namespace tavik::station
