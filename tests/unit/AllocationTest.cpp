// Operations that must not allocate memory: log lines that are not recorded, predicate lookup, copies of values.

#include <cstdlib>
#include <new>

#include "support/TestSupport.h"

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tavik {
namespace {

template <class Action>
std::size_t allocationsOf(Action action) {
  const std::size_t before = allocations;
  action();
  return allocations - before;
}

TEST(AllocationTest, CopiesOfValues) {
  const Value values[] = {Value("short"), Value("a string that is not stored inline"), Value(Data{1, 2, 3}),
                          Value(Array::of(1, 2)), Value(Dictionary{{"a", "b"}})};
  EXPECT_EQ(allocationsOf([&] {
              for (const Value& value : values) Value copy = value;
            }),
            0U);
}

TEST(AllocationTest, PredicateLookup) {
  const PredicateKernel kernel(std::make_shared<TestPlatform>());
  const Value attribute("x");
  EXPECT_EQ(allocationsOf([&] { EXPECT_FALSE(kernel.perform("unknown predicate", &attribute, nullptr, nullptr)); }),
            0U);
  const std::size_t direct = allocationsOf([&] { ZRTTavikKernel::isUppercase(&attribute, nullptr); });
  EXPECT_EQ(allocationsOf([&] { static_cast<void>(kernel.perform("isUppercase", &attribute, nullptr, nullptr)); }),
            direct);
}

TEST(AllocationTest, LogLinesThatAreNotRecorded) {
  auto platform = std::make_shared<TestPlatform>();
  const auto kernel = kernelWith(
      "{ version = 1; A = { attribute = a; predicate = isUppercase; }; B = { attribute = b; }; "
      "\"No Attribute c\" = { attribute = c; }; }",
      platform);
  const Dictionary local =
      parsedDictionary("{ version = 1; GenericRules = { A = {}; B = {}; \"No Attribute c\" = {}; }; }");
  const Dictionary device = parsedDictionary("{ a = \"an attribute that is not stored inline\"; }");
  const auto run = [&] {
    std::optional<Error> error;
    EXPECT_EQ(kernel->check(device, &local, nullptr, error)->size(), 6U);
  };
  platform->keepsLog = false;
  run();
  const std::size_t silent = allocationsOf(run);
  EXPECT_TRUE(platform->lines.empty());
  EXPECT_LE(silent, 50U) << "for the records and the assembled rules";
  platform->keepsLog = true;
  EXPECT_GT(allocationsOf(run), silent + 10);
}

}  // namespace
}  // namespace tavik
