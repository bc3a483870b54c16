// `tavik batch`: one check run per line of the input.
//
// Every thread does the same: it takes the next few lines in input order, checks their devices and hands over the
// results, which are written in that order. Only taking and handing over are shared and locked; a window between the
// two bounds the memory.

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "check/DeviceChecker.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/FileDescriptor.h"
#include "io/Inputs.h"
#include "io/LineReader.h"
#include "io/OrderedOutput.h"
#include "io/Output.h"
#include "io/Progress.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "io/StopRequest.h"
#include "reports/Report.h"
#include "reports/Tally.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostThreads = 256;

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(INPUT has one JSON object per line, {"id": any, "attributes": {...}, "sources": {"sfc": {...}}}; "id" and
"sources" are optional, null is not allowed, and other keys are rejected. Blank lines are skipped.)"),
    paragraph(
        R"(For each device, in input order, one line is printed: the object of "check --format json" without "signatures"
and what follows it, and with "id" first (by default the line number), or {"id": ..., "input_error": "..."} for a line that cannot be
used, which counts as a failed device. The same applies to a line longer than --max-line, a line whose result is
larger than 64 MiB, and a line that exhausts memory. A summary goes to standard error. Ctrl-C and SIGTERM end
the run once the devices being checked are done.)"),
    heading("Formats"),
    item("json", "as above"),
    item("table",
         "one line per device: the verdict, the id and the failed rules; below, what these found and expected, "
         "and what to do"),
    item("plist", R"(one XML property list: an array of the same objects as "json"; null values are left out)"),
    item("junit", "JUnit XML for CI servers: one test suite per device, one test case per rule"),
    item("html",
         "a page for people, written at the end: pass rate, failures by rule and by part number, every device "
         "that did not pass. Of each kind, at most 10,000 devices or 16 MiB are listed; the rest are only "
         "counted. The page shows when it was made; SOURCE_DATE_EPOCH overrides the time"),
    paragraph(
        R"(--summary writes one JSON object when the whole input has been checked: {"devices": N, "passed": N, "failed": N,
"input_errors": N, "faults": N, "no_verdict": N, "rules": [{"rule": "...", "devices": N}, ...], "part_numbers":
[{"part_number": "...", and the same counts and rules}, ...]}. "failed" counts every device that did not pass,
for any reason. "rules" has the rules that failed and those that ended a check, most devices first. Beyond
100,000 counters, the last part numbers by name are counted together as (others).)"),
};
constexpr std::string_view kExamples[] = {
    "tavik batch --library rules.signed --rules product.signed devices.jsonl > results.jsonl",
    "tavik batch --library rules.signed --rules product.signed --summary counts.json devices.jsonl > "
    "results.jsonl",
    "tavik batch --library rules.signed --rules product.signed -j 1 --format table < devices.jsonl",
    "tavik batch --library rules.signed --rules product.signed --format html devices.jsonl > shift.html",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "every device passed"},
    {ExitStatus::kFailed, "at least one device did not pass"},
    {ExitStatus::kUnusable,
     "the command line or an input is invalid, the input has no devices, or the run ended early"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed and no device was checked"},
};
constexpr Help kHelp = {"Check a stream of devices, one JSON object per line", kDescription, kExamples, kExitStatuses};

struct BatchOptions : RuleOptions {
  std::string input = "-";
  std::optional<std::string> summary;
  std::size_t longestLine = kLongestLine >> 20U;  // MiB
  std::size_t threads = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMostThreads);
  std::string format;
};

/// The threads of a run and what they share.
class Batch {
 public:
  /// byPartNumber: also counts the devices; may be null.
  Batch(const DeviceChecker& checker, std::size_t threads, LineReader& input, StopRequest& stop, ResultWriter& writer,
        TallyByPartNumber* byPartNumber)
      : checker_(checker),
        threads_(threads),
        input_(input),
        stop_(stop),
        writer_(writer),
        byPartNumber_(byPartNumber),
        progress_(input.size()),
        output_(kWindowPerThread * threads, progress_) {}

  /// Checks the devices of the input. Throws if results could not be made or written.
  Tally run();

 private:
  static constexpr std::size_t kWindowPerThread = 4;

  struct Piece {
    std::size_t number = 0;
    std::vector<Line> lines;
    std::uint64_t position = 0;
  };

  void workOnThreads();
  void work(std::size_t most = std::numeric_limits<std::size_t>::max()) noexcept;
  Piece take();
  [[nodiscard]] Finished check(const Piece& piece, Tally& tally);
  void count(const DeviceResult& result, Tally& tally);
  void add(const Tally& tally);
  void fail(std::exception_ptr why);

  const DeviceChecker& checker_;
  std::size_t threads_;
  LineReader& input_;
  StopRequest& stop_;
  ResultWriter& writer_;
  TallyByPartNumber* byPartNumber_;
  Progress progress_;
  OrderedOutput output_;
  std::mutex inputMutex_;  // held while a thread waits for input
  std::size_t taken_ = 0;
  std::mutex resultMutex_;
  Tally tally_;
  std::exception_ptr failure_;
};

Tally Batch::run() {
  threads_ == 1 ? work() : workOnThreads();
  if (failure_) std::rethrow_exception(failure_);
  return tally_;
}

/// The calling thread has the rules in its heap. It checks the first devices, which prepares their rules there, and
/// then only waits: what it would write for more devices shares cache lines with what all threads read.
void Batch::workOnThreads() {
  work(1);
  std::vector<std::jthread> workers;
  workers.reserve(threads_);
  try {
    while (workers.size() < threads_) workers.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
    // No more threads are available; the existing ones produce the same results.
  }
  if (workers.empty()) work();
}

/// most: the maximum number of pieces.
void Batch::work(std::size_t most) noexcept {
  try {
    Tally tally;
    for (Piece piece = take(); !piece.lines.empty(); piece = take()) {
      output_.put(piece.number, check(piece, tally));
      if (--most == 0) break;
    }
    add(tally);
  } catch (...) {
    fail(std::current_exception());
  }
}

Batch::Piece Batch::take() {
  const std::lock_guard lock(inputMutex_);
  std::vector<Line> lines = input_.next();
  return {taken_++, std::move(lines), input_.position()};
}

Finished Batch::check(const Piece& piece, Tally& tally) {
  Finished finished{
      .lines = output_.emptyLines(), .devices = piece.lines.size(), .failed = 0, .position = piece.position};
  for (const Line& line : piece.lines) {
    const DeviceResult result = checker_.check(line);
    count(result, tally);
    if (!result.passed()) ++finished.failed;
    writer_.add(finished.lines, line.number, result);
  }
  return finished;
}

void Batch::count(const DeviceResult& result, Tally& tally) {
  tally.add(result);
  if (byPartNumber_ == nullptr) return;
  const std::lock_guard lock(resultMutex_);
  byPartNumber_->add(result);
}

void Batch::add(const Tally& tally) {
  const std::lock_guard lock(resultMutex_);
  tally_.add(tally);
}

/// Ends all threads, including one that waits for input and those that wait for their turn to write.
void Batch::fail(std::exception_ptr why) {
  stop_.make();
  output_.abandon();
  const std::lock_guard lock(resultMutex_);
  if (!failure_) failure_ = std::move(why);
}

void writeSummary(const std::string& path, const Tally& all, const TallyByPartNumber& byPartNumber) {
  const std::string text = summaryJson(all, byPartNumber);
  writeOutput("--summary", path, bytesOf(text));
}

ExitStatus runBatch(const BatchOptions& options) {
  if (options.summary == "-") throw Unusable("--summary: standard output is used for the results");
  const auto platform = std::make_shared<HostPlatform>(options.platform);
  warnAboutTrust("batch", options.platform);
  Inputs inputs;
  const auto kernel = readLibrary(inputs, "--library", options.library, platform);
  const auto rules = readLocalRules(inputs, "--rules", options.rules, *kernel);
  requireWellFormed(nameOf("--rules", options.rules), rules->localRules(), *kernel);

  FileDescriptor file = inputs.open("", options.input);
  StopRequest stop;
  LineReader input(nameOf("", options.input), std::move(file), stop, options.longestLine << 20U);
  const auto writer = makeResultWriter(options.format, {kernel->library(), rules->localRules(),
                                                        !options.platform.unsignedDocuments, rules->provenance()});
  writeStandardOutput(writer->begin());
  const bool isForPeople = options.format != "json" && options.format != "plist";
  const NoteMaker notes(kernel->library(), rules->localRules(), isForPeople);
  TallyByPartNumber byPartNumber;
  TallyByPartNumber* const counted = options.summary ? &byPartNumber : nullptr;
  const Tally tally = Batch(DeviceChecker(*rules, &notes), options.threads, input, stop, *writer, counted).run();
  std::string whyEarly = input.whyEnded().value_or("");
  if (tally.devices() == 0 && whyEarly.empty()) whyEarly = nameOf("", options.input) + ": has no devices";
  writeStandardOutput(writer->end({tally, whyEarly}));
  writeStandardError(tally.summary());
  if (!whyEarly.empty()) throw Unusable(whyEarly);
  if (tally.inputErrors() == tally.devices()) {
    printToStandardError("batch", nameOf("", options.input) + ": no line can be used; write one JSON object per line");
  }
  if (options.summary) writeSummary(*options.summary, tally, byPartNumber);
  platform->checkLog();
  return tally.failed() == 0 ? ExitStatus::kPassed : ExitStatus::kFailed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<BatchOptions>();
  options->platform.checksDevices = true;
  addRules(app, *options);
  addText(app, "INPUT", options->input, "",
          "The devices, one JSON object per line; \"-\", the default, is standard input");
  addNumber(app, "-j", options->threads, "N", "Number of threads, by default one per processor", std::size_t{1},
            kMostThreads);
  addNumber(app, "--max-line", options->longestLine, "MIB",
            "Maximum line length in MiB; a longer line is an input error", std::size_t{1}, kLargestInput >> 20U)
      ->default_str(std::to_string(options->longestLine));
  addText(app, "--summary", options->summary, "FILE",
          "Write the counts of passed and failed devices, by part number and rule, to FILE (JSON)");
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"json", "table", "junit", "html", "plist"});
  return [options] { return runBatch(*options); };
}

}  // namespace

const Command kBatch = {"batch", kHelp, define};

}  // namespace tavik::tool
