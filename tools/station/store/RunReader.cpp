#include "store/RunReader.h"

#include <fmt/format.h>
#include <tavik/Json.h>

#include <algorithm>

namespace tavik::station {
namespace {

constexpr std::string_view kSummaryColumns = "number, time, microseconds, id, part_number, verdict";
constexpr std::string_view kColumns =
    "runs.number, time, microseconds, id, part_number, verdict, documents, device, outcome";

/// A query with the conditions of a filter.
class Query {
 public:
  Query(Database& database, std::string sql, const RunFilter& filter) : database_(database), sql_(std::move(sql)) {
    add("id = ?", filter.id);
    add("part_number = ?", filter.partNumber);
    add("verdict = ?", filter.verdict);
    add("runs.number IN (SELECT run FROM failures WHERE rule = (SELECT number FROM rules WHERE name = ?))",
        filter.rule);
    add("time >= ?", filter.from);
    add("time < ?", filter.to);
  }

  template <class Parameter>
  void add(std::string_view condition, const std::optional<Parameter>& parameter) {
    if (!parameter) return;
    sql_.append(binders_.empty() ? " WHERE " : " AND ").append(condition);
    binders_.push_back([&parameter](Statement& statement) { statement.bind(*parameter); });
  }

  /// The statement, whose parameters must remain valid.
  Statement prepare(std::string_view end = "") {
    Statement statement = database_.prepare(sql_.append(end));
    for (const auto& bind : binders_) bind(statement);
    return statement;
  }

 private:
  Database& database_;
  std::string sql_;
  std::vector<std::function<void(Statement&)>> binders_;
};

void readSummary(Statement& row, RunSummary& run) {
  run.number = row.integer();
  run.time = row.integer();
  run.microseconds = row.integer();
  run.id = row.text();
  run.partNumber = row.text();
  run.verdict = row.text();
}

}  // namespace

std::string RunSummary::json() const {
  std::string text = fmt::format(R"({{"run": {}, "time": "{}", "id": )", numberJson(), isoText(time));
  appendJsonString(text, id);
  text += R"(, "part_number": )";
  appendJsonString(text, partNumber);
  text += R"(, "verdict": )";
  appendJsonString(text, verdict);
  text += R"(, "rules": [)";
  for (const std::string& rule : rules) {
    if (&rule != &rules.front()) text += ", ";
    appendJsonString(text, rule);
  }
  return text + fmt::format(R"(], "milliseconds": {}.{:03}}})", microseconds / 1000, microseconds % 1000);
}

std::int64_t RunReader::count(const RunFilter& filter) {
  Statement row = Query(database_, "SELECT count(*) FROM runs", filter).prepare();
  row.step();
  return row.integer();
}

std::vector<RunSummary> RunReader::list(const RunFilter& filter, std::optional<std::int64_t> before,
                                        std::size_t limit) {
  // The "+" makes SQLite search the index by time, which holds what is compared and is much smaller than the runs.
  const bool isCompared = filter.partNumber || filter.verdict;
  Query query(database_, fmt::format("SELECT {} FROM runs WHERE number IN (SELECT number FROM runs", kSummaryColumns),
              filter);
  query.add("number < ?", before);
  Statement row = query.prepare(
      fmt::format(" ORDER BY {}number DESC LIMIT {}) ORDER BY number DESC", isCompared ? "+" : "", limit));
  std::vector<RunSummary> runs;
  while (row.step()) {
    readSummary(row, runs.emplace_back());
    runs.back().rules = rulesOf(runs.back().number);
  }
  return runs;
}

std::vector<std::string> RunReader::rulesOf(std::int64_t number) {
  Statement row = database_.prepare(
      "SELECT name FROM failures JOIN rules ON rules.number = failures.rule WHERE run = ? ORDER BY rule");
  row.bind(number);
  std::vector<std::string> rules;
  while (row.step()) rules.emplace_back(row.text());
  return rules;
}

/// The next value: a text, or a blob that is compressed with the sample of the documents.
std::string RunReader::restored(Statement& row, std::int64_t documents) {
  if (!row.isBlob()) return std::string(row.text());
  if (documents != decompressorNumber_) {
    Statement sample = database_.prepare("SELECT sample FROM documents WHERE number = ?");
    sample.bind(documents).step();
    decompressor_.emplace(sample.text());
    decompressorNumber_ = documents;
  }
  return decompressor_->text(row.text());
}

Run RunReader::read(Statement& row) {
  Run run;
  readSummary(row, run);
  const std::int64_t documents = row.integer();
  run.device = restored(row, documents);
  run.outcome = restored(row, documents);
  run.rules = rulesOf(run.number);
  if (documents != documentsNumber_) {
    Statement set = database_.prepare("SELECT provenance, library, rules FROM documents WHERE number = ?");
    if (!set.bind(documents).step())
      throw StoreError("the database is damaged: the rule documents of a run are missing; restore a backup");
    DocumentSet found{std::string(set.text()), std::string(set.text()), std::string(set.text())};
    documents_ = std::make_shared<const DocumentSet>(std::move(found));
    documentsNumber_ = documents;
  }
  run.documents = documents_;
  return run;
}

std::optional<Run> RunReader::find(std::int64_t number) {
  Statement row = database_.prepare(fmt::format("SELECT {} FROM runs WHERE number = ?", kColumns));
  if (!row.bind(number).step()) return std::nullopt;
  return read(row);
}

void RunReader::forEach(const std::function<void(const Run&)>& visit) {
  Statement row = database_.prepare(fmt::format("SELECT {} FROM runs ORDER BY number", kColumns));
  while (row.step()) visit(read(row));
}

std::vector<RuleFailures> RunReader::failures(const RunFilter& period) {
  Query query(database_,
              "SELECT name, part_number, count(*) FROM runs JOIN failures ON run = runs.number "
              "JOIN rules ON rules.number = rule",
              period);
  Statement row = query.prepare(" GROUP BY rule, part_number ORDER BY count(*) DESC, name LIMIT 1000");
  std::vector<RuleFailures> failures;
  while (row.step()) {
    std::string rule(row.text());
    std::string partNumber(row.text());
    failures.push_back({std::move(rule), std::move(partNumber), row.integer()});
  }
  return failures;
}

std::vector<HourCount> RunReader::hours(const RunFilter& period) {
  Query query(database_, "SELECT time / 3600000, part_number, verdict, count(*) FROM runs", period);
  Statement row = query.prepare(" GROUP BY 1, 2, 3 ORDER BY 1 DESC LIMIT 5000");
  std::vector<HourCount> hours;
  while (row.step()) {
    const Milliseconds hour = row.integer() * 3600000;
    std::string partNumber(row.text());
    std::string verdict(row.text());
    hours.push_back({hour, std::move(partNumber), std::move(verdict), row.integer()});
  }
  return hours;
}

std::unique_ptr<RunReader> RunReaders::take() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      std::unique_ptr<RunReader> reader = std::move(idle_.back());
      idle_.pop_back();
      return reader;
    }
  }
  return std::make_unique<RunReader>(path_);
}

void RunReaders::put(std::unique_ptr<RunReader> reader) {
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(reader));
}

}  // namespace tavik::station
