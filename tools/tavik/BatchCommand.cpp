// `tavik batch`: one check run per line of the input.
//
// Every thread does the same: it takes the next few lines, which are there in the order of the input, checks their
// devices, and hands the results over to be written in that order. What is shared, and locked, is the taking and the
// handing over; a window between the two bounds the memory.

#include <algorithm>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "Command.h"
#include "DeviceLine.h"
#include "LineReader.h"
#include "OrderedOutput.h"
#include "Progress.h"
#include "StopRequest.h"
#include "Tally.h"
#include "Terminal.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostThreads = 256;

constexpr const char* kFooter =
    R"(INPUT holds one JSON object a line, {"id": any, "attributes": {...}, "sources": {"sfc": {...}}}; "id" and "sources" may be
left out, null is no value, and other keys are refused. A line may be 64 MiB long; blank lines are passed over.

For each, in the order of the input, one line is printed: the object of "check --format json" with "id" first (by default
the number of the line), or {"id": ..., "input_error": "..."} for a line that cannot be used, which counts as a failed
device. With --format table a line is the verdict, the id, and the rules that failed. A summary goes to standard error. Ctrl-C
and SIGTERM end the run after the devices that are being checked.

Examples:
  tavik batch --library rules.signed --rules product.signed devices.jsonl > results.jsonl
  tavik batch --library rules.signed --rules product.signed -j 1 --format table < devices.jsonl

Exit status: 0 every device passed, 1 some device did not, for whatever reason, 2 the command or an input is at fault, or
the run was ended early, 4 a document is not trusted, empty or malformed and no device was checked.)";

struct BatchOptions {
  std::string library;
  std::string rules;
  std::string input = "-";
  std::size_t threads = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMostThreads);
  PlatformOptions platform;
  std::string format;
};

Dictionary unshared(const Dictionary& dictionary);

/// A copy that shares nothing with the value.
Value unshared(const Value& value) {
  if (const auto text = value.ifString()) return *text;
  if (const Data* const data = value.ifData()) return Data(data->bytes());
  if (const Dictionary* const dictionary = value.ifDictionary()) return unshared(*dictionary);
  const Array* const array = value.ifArray();
  if (array == nullptr) return value;
  Array copy;
  for (const Value& element : *array) copy.append(unshared(element));
  return copy;
}

Dictionary unshared(const Dictionary& dictionary) {
  Dictionary copy;
  for (const auto [key, value] : dictionary) copy.set(key, unshared(value));
  return copy;
}

/// Validates the local rules once: a check that is given one of the copies made of their content takes it as it is.
/// Threads that shared one copy would queue for its reference counts.
class ValidatingOnce : public HostPlatform {
 public:
  explicit ValidatingOnce(const PlatformOptions& options) : HostPlatform(options) {}

  /// Before any check; messages call the document by `name`.
  void validateRules(const std::string& name, const Dictionary& document, std::size_t copies) {
    const Dictionary content = trustedContent(name, document, *this);
    while (rules_.size() < copies) rules_.push_back(unshared(content));
  }
  [[nodiscard]] const std::vector<Dictionary>& rules() const noexcept { return rules_; }

  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override {
    const bool isCopy = std::ranges::any_of(rules_, [&](const Dictionary& copy) { return &copy == &signedDictionary; });
    if (isCopy) return Value(signedDictionary);
    return HostPlatform::validatedPropertyListFromSignedDictionary(signedDictionary, publicKeyPath, errorDescription);
  }

 private:
  std::vector<Dictionary> rules_;
};

/// Refuses local rules that are malformed for every device. What is malformed for one part number is for its devices to
/// meet.
void refuseMalformed(const std::string& name, const Dictionary& rules, const ZRTTavikKernel& kernel) {
  constexpr int kMalformed = -100003;  // also an unknown part number, which nobody asks for here
  Dictionary forAll = rules;
  if (forAll.findDictionary("MPNRules") != nullptr) forAll.erase("MPNRules");
  std::optional<Error> error;
  if (!kernel.makeDeviceRules(forAll, {}, error) && error->code() == kMalformed) {
    throw Failure(ExitStatus::kNoVerdict, name + ": " + std::string(error->localizedDescription()));
  }
}

enum class ResultFormat : std::uint8_t { kJson, kTable };

/// The threads of a run and what they share.
class Batch {
 public:
  /// `rules`: copies of the validated local rules, one for each thread.
  Batch(const ZRTTavikKernel& kernel, const std::vector<Dictionary>& rules, LineReader& input, StopRequest& stop,
        ResultFormat format)
      : kernel_(kernel),
        rules_(rules),
        input_(input),
        stop_(stop),
        format_(format),
        progress_(input.size()),
        output_(kWindowPerThread * rules.size(), progress_) {}

  /// Checks the devices of the input. Raises what kept results from being made or written.
  Tally run();

 private:
  static constexpr std::size_t kWindowPerThread = 4;

  struct Piece {
    std::size_t number = 0;
    std::vector<Line> lines;
    std::uint64_t position = 0;
  };

  void work(const Dictionary& rules) noexcept;
  Piece take();
  [[nodiscard]] Finished check(Piece piece, DeviceChecker& checker, Tally& tally) const;
  void add(const Tally& tally);
  void fail(std::exception_ptr why);

  const ZRTTavikKernel& kernel_;
  const std::vector<Dictionary>& rules_;
  LineReader& input_;
  StopRequest& stop_;
  ResultFormat format_;
  Progress progress_;
  OrderedOutput output_;
  Screen screen_ = Screen::standardOutput();
  std::mutex inputMutex_;  // held while a thread waits for input
  std::size_t taken_ = 0;
  std::mutex resultMutex_;
  Tally tally_;
  std::exception_ptr failure_;
};

Tally Batch::run() {
  {
    std::vector<std::jthread> others;
    others.reserve(rules_.size());
    try {
      for (std::size_t i = 1; i < rules_.size(); ++i) others.emplace_back(&Batch::work, this, std::cref(rules_[i]));
    } catch (const std::system_error&) {
      // No more threads are to be had; those that are there come to the same results.
    }
    work(rules_.front());
  }
  if (failure_) std::rethrow_exception(failure_);
  return tally_;
}

void Batch::work(const Dictionary& rules) noexcept {
  try {
    DeviceChecker checker(kernel_, rules);
    Tally tally;
    for (Piece piece = take(); !piece.lines.empty(); piece = take()) {
      const std::size_t number = piece.number;
      output_.put(number, check(std::move(piece), checker, tally));
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

Finished Batch::check(Piece piece, DeviceChecker& checker, Tally& tally) const {
  Finished finished{.lines = {}, .devices = piece.lines.size(), .failed = 0, .position = piece.position};
  for (Line& line : piece.lines) {
    const DeviceResult result = checker.check(line);
    tally.add(result);
    if (!result.passed()) ++finished.failed;
    if (format_ == ResultFormat::kJson) {
      appendJson(finished.lines, result);
    } else {
      appendText(finished.lines, result, screen_);
    }
  }
  return finished;
}

void Batch::add(const Tally& tally) {
  const std::lock_guard lock(resultMutex_);
  tally_.add(tally);
}

/// Has all threads end: one that waits for input, and those that wait for their turn to write.
void Batch::fail(std::exception_ptr why) {
  stop_.make();
  output_.abandon();
  const std::lock_guard lock(resultMutex_);
  if (!failure_) failure_ = std::move(why);
}

ExitStatus runBatch(const BatchOptions& options) {
  const auto platform = std::make_shared<ValidatingOnce>(options.platform);
  warnWhenUnsigned("batch", options.platform);
  const std::string libraryName = nameOf("--library", options.library);
  const std::string rulesName = nameOf("--rules", options.rules);
  Inputs inputs;
  const Dictionary library = inputs.dictionary("--library", options.library);
  const Dictionary rules = inputs.dictionary("--rules", options.rules);
  trustedContent(libraryName, library, *platform);
  platform->validateRules(rulesName, rules, options.threads);
  const std::unique_ptr<ZRTTavikKernel> kernel = openKernel(libraryName, library, platform);
  refuseMalformed(rulesName, platform->rules().front(), *kernel);

  FileDescriptor file = inputs.open("", options.input);
  StopRequest stop;
  LineReader input(nameOf("", options.input), std::move(file), stop);
  const ResultFormat format = options.format == "json" ? ResultFormat::kJson : ResultFormat::kTable;
  const Tally tally = Batch(*kernel, platform->rules(), input, stop, format).run();
  writeStandardError(tally.summary());
  input.checkEnd();
  platform->checkLog();
  return tally.failed() == 0 ? ExitStatus::kPassed : ExitStatus::kFailed;
}

}  // namespace

Run defineBatch(CLI::App& app) {
  const auto options = std::make_shared<BatchOptions>();
  addText(app, "--library", options->library, "FILE", "The signed rule library")->required();
  addText(app, "--rules", options->rules, "FILE", "The signed local rules of the product")->required();
  addText(app, "INPUT", options->input, "",
          "The devices, one JSON object a line; \"-\", the default, is standard input");
  app.add_option("-j", options->threads, "Threads to check with, by default one for each processor")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, kMostThreads).description(""))
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"json", "table"});
  app.footer(kFooter);
  return [options] { return runBatch(*options); };
}

}  // namespace tavik::tool
