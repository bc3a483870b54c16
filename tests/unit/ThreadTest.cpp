// Eight threads share kernels, prepared rules, platforms and values; each gets the results of a single thread. Also
// runs under ThreadSanitizer.

#include <tavik/PreparedRules.h>
#include <tavik/StationPlatform.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include "support/RandomDocuments.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = TAVIK_SANITIZED ? 10 : 50;

// Runs all jobs repeatedly in all threads, which start with different jobs. Results must equal those of a single
// thread.
void expectSameResults(const std::vector<std::pair<const char*, std::function<Value()>>>& jobs) {
  std::vector<Value> expected;
  for (const auto& [name, job] : jobs) expected.push_back(job());
  std::vector<std::atomic<int>> different(jobs.size());
  std::atomic<int> waiting = kThreads;
  const auto work = [&](std::size_t first) {
    --waiting;
    while (waiting != 0) std::this_thread::yield();
    for (std::size_t step = 0; step < kRounds * jobs.size(); ++step) {
      const std::size_t job = (first + step) % jobs.size();
      if (jobs[job].second() != expected[job]) ++different[job];
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread * 5);
  for (std::thread& thread : threads) thread.join();
  for (std::size_t job = 0; job < jobs.size(); ++job) EXPECT_EQ(different[job], 0) << jobs[job].first;
}

Value valueOf(const CheckOutcome& run) {
  return Array::of(run.records ? Value(*run.records) : Value("absent"), run.station,
                   run.reason ? run.reason->text() : "verdict");
}

TEST(ThreadTest, Kernels) {
  auto platform = std::make_shared<TestPlatform>();
  platform->keepsLog = false;
  std::mt19937_64 random(20261123);
  std::vector<std::pair<const char*, std::function<Value()>>> jobs;
  while (jobs.size() < 100) {
    const auto made = std::make_shared<const RuleDocuments>(randomDocuments(random));
    Reason why;
    const std::shared_ptr kernel = ZRTTavikKernel::init(made->library, platform, why);
    if (kernel == nullptr || !made->rules) continue;
    const std::shared_ptr prepared = kernel->prepare(&*made->rules);
    const Dictionary* sources = made->sources ? &*made->sources : nullptr;
    for (const Dictionary& device : made->devices) {
      jobs.emplace_back("check", [=, &device] { return valueOf(kernel->run(device, &*made->rules, sources)); });
      jobs.emplace_back("prepared check", [=, &device] { return valueOf(prepared->run(device, sources)); });
      EXPECT_EQ(jobs.rbegin()[0].second(), jobs.rbegin()[1].second());
    }
    jobs.emplace_back("prepare",
                      [=] { return valueOf(kernel->prepare(&*made->rules)->run(made->devices.front(), sources)); });
    jobs.emplace_back("list", [=] {
      std::optional<Error> error;
      const auto list = kernel->sfcCheckList(*made->rules, made->devices.front(), error);
      return list ? Value(*list) : Value(error->localizedDescription());
    });
    jobs.emplace_back("changing a copy", [=] {
      Dictionary copy = *made->rules;
      copy.set("new", made->library);
      copy.erase("version");
      return Value(copy);
    });
    jobs.emplace_back("description", [=] { return Value(description(std::array{Value(made->library)}.data())); });
  }
  expectSameResults(jobs);
}

TEST(ThreadTest, StationPlatform) {
  std::string error;
  const KeyPair keys = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
  const KeyPair otherKeys = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
  const TemporaryFile publicKey(keys.publicKey);
  const TemporaryFile privateKey(keys.privateKey);
  const TemporaryFile otherPrivateKey(otherKeys.privateKey);
  const StationPlatform platform(publicKey.path(), StationPlatform::Log::kNone);

  std::vector<std::pair<const char*, std::function<Value()>>> jobs;
  const auto add = [&](const char* name, const Dictionary& document, bool trusted) {
    const auto validation = [&platform, document]() -> Value {
      std::optional<std::string> why;
      const auto validated = platform.validatedPropertyListFromSignedDictionary(document, "", why);
      return validated ? *validated : Value(*why);
    };
    EXPECT_EQ(validation().ifDictionary() != nullptr, trusted) << name;
    jobs.emplace_back(name, validation);
  };
  for (int number = 0; number < 10; ++number) {  // more than the cache has room for
    const std::string payload =
        "{ version = " + std::to_string(number) + "; A = \"a string that is not stored inline\"; }";
    const Dictionary document = signPropertyList(dataOf(payload), privateKey.path(), error).value();
    add("a document", document, true);
    Dictionary changed = document;
    changed.set("payload", dataOf(payload + " "));
    add("a changed document", changed, false);
    add("a document signed with another key", *signPropertyList(dataOf(payload), otherPrivateKey.path(), error), false);
  }
  expectSameResults(jobs);
}

}  // namespace
}  // namespace tavik
