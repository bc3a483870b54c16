// Every operation runs out of memory at its n-th allocation, for every n. It must throw std::bad_alloc, leak nothing,
// change nothing, and work afterwards. OpenSSL's allocations fail too; then a document may be rejected but never
// wrongly accepted.

#include <openssl/crypto.h>
#include <tavik/Json.h>
#include <tavik/PreparedRules.h>
#include <tavik/StationPlatform.h>
#include <tavik/tavik_platform.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <new>

#include "CHandles.h"
#include "Choices.h"
#include "support/TestSupport.h"

#if TAVIK_SANITIZED
#define TAVIK_SYSTEM_CALLOC __interceptor_calloc
#else
#define TAVIK_SYSTEM_CALLOC __libc_calloc
#endif
extern "C" void* TAVIK_SYSTEM_CALLOC(std::size_t count, std::size_t size);

namespace {

// The allocations of the current thread, and which of them fail.
struct Trial {
  bool running = false;
  std::size_t requests = 0;
  std::size_t refused = 0;  // the first request that fails, counted from 1
  bool onlyOne = false;     // otherwise all later requests fail too
  bool hasRefused = false;
  std::ptrdiff_t blocks = 0;  // live blocks of operator new, including those from outside of trials
  std::ptrdiff_t openSslBlocks = 0;

  bool refuses() noexcept {
    if (!running) return false;
    ++requests;
    if (onlyOne ? requests != refused : requests < refused) return false;
    return hasRefused = true;
  }
};
thread_local constinit Trial trial;

void* request(std::size_t size, std::ptrdiff_t& blocks = trial.blocks) noexcept {
  void* memory = trial.refuses() ? nullptr : std::malloc(size);
  if (memory != nullptr) ++blocks;
  return memory;
}

void* requestAligned(std::size_t size, std::align_val_t alignment) noexcept {
  const auto boundary = static_cast<std::size_t>(alignment);
  void* memory = trial.refuses() ? nullptr : std::aligned_alloc(boundary, (size + boundary - 1) / boundary * boundary);
  if (memory != nullptr) ++trial.blocks;
  return memory;
}

void deallocate(void* memory, std::ptrdiff_t& blocks = trial.blocks) noexcept {
  if (memory != nullptr) --blocks;
  std::free(memory);
}

void* orThrow(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* openSslMalloc(std::size_t size, const char* /*file*/, int /*line*/) { return request(size, trial.openSslBlocks); }
void openSslFree(void* memory, const char* /*file*/, int /*line*/) { deallocate(memory, trial.openSslBlocks); }
void* openSslRealloc(void* memory, std::size_t size, const char* /*file*/, int /*line*/) {
  if (memory == nullptr) return request(size, trial.openSslBlocks);
  return trial.refuses() ? nullptr : std::realloc(memory, size);
}
// Has an effect only before OpenSSL's first allocation.
const bool openSslIsHooked = CRYPTO_set_mem_functions(openSslMalloc, openSslRealloc, openSslFree) == 1;

}  // namespace

// The C functions allocate memory with calloc.
extern "C" void* calloc(std::size_t count, std::size_t size) {
  return trial.refuses() ? nullptr : TAVIK_SYSTEM_CALLOC(count, size);
}

void* operator new(std::size_t size) { return orThrow(request(size)); }
void* operator new[](std::size_t size) { return orThrow(request(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return request(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return request(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return orThrow(requestAligned(size, alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return orThrow(requestAligned(size, alignment)); }
void operator delete(void* memory) noexcept { deallocate(memory); }
void operator delete[](void* memory) noexcept { deallocate(memory); }
void operator delete(void* memory, std::size_t) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::size_t) noexcept { deallocate(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { deallocate(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { deallocate(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { deallocate(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { deallocate(memory); }

namespace tavik {
namespace {

// Runs `action` while the n-th request fails, and all later ones unless `onlyOne`. Returns false if the action throws
// std::bad_alloc.
template <class Action>
bool runs(std::size_t refused, bool onlyOne, Action action) {
  trial.requests = 0;
  trial.refused = refused;
  trial.onlyOne = onlyOne;
  trial.hasRefused = false;
  trial.running = true;
  bool completed = true;
  try {
    action();
  } catch (const std::bad_alloc&) {
    completed = false;
  } catch (...) {
    trial.running = false;
    throw;
  }
  trial.running = false;
  return completed;
}

// Calls `attempt` with the arguments for `runs`, for every n and in both modes, until no request fails.
template <class Attempt>
void forEveryRequest(const char* name, Attempt attempt) {
  attempt(std::numeric_limits<std::size_t>::max(), true);  // after this, the thread keeps the slabs that it needs
  for (const bool onlyOne : {true, false}) {
    std::size_t refused = 0;
    do {
      ++refused;
      SCOPED_TRACE(std::string(name) + ", " + (onlyOne ? "request " : "requests from number ") +
                   std::to_string(refused));
      const std::ptrdiff_t before = trial.blocks;
      attempt(refused, onlyOne);
      EXPECT_EQ(trial.blocks, before) << "leaked blocks";
      if (testing::Test::HasFailure()) return;
    } while (trial.hasRefused);
  }
}

// An operation with its result as a value. `mayResult` accepts other results that are allowed if memory runs out.
struct Operation {
  std::string name;
  std::function<Value()> call;
  bool (*mayResult)(const Value& result) = nullptr;
};

#define OPERATION(result)                  \
  {                                        \
#result, [&] { return Value(result); } \
  }

void exhaust(const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) {
    const Value expected = operation.call();
    forEveryRequest(operation.name.c_str(), [&](std::size_t refused, bool onlyOne) {
      Value result;
      const bool completed = runs(refused, onlyOne, [&] { result = operation.call(); });
      if (completed && !(trial.hasRefused && operation.mayResult != nullptr && operation.mayResult(result))) {
        EXPECT_EQ(description(&result), description(&expected));
      }
    });
    EXPECT_EQ(operation.call(), expected) << operation.name << ": result afterwards";
    if (testing::Test::HasFailure()) return;
  }
}

std::string text(std::string_view suffix) { return "a string that is not stored inline: " + std::string(suffix); }

template <class Container>
Container filled(int count) {
  Container container;
  for (int number = 0; number < count; ++number) {
    const std::string key = "key " + std::to_string(number);
    if constexpr (std::is_same_v<Container, Array>) {
      container.append(text(key));
    } else {
      container.set(key, text(key));
    }
  }
  return container;
}

// Changes containers of a size, alone or shared with a copy: completely or not at all, and never the copy.
template <class Container>
void changeAllOrNothing(const std::vector<std::pair<const char*, void (*)(Container&)>>& changes, int size) {
  const Container unchanged = filled<Container>(size);
  for (const auto& [name, change] : changes) {
    Container changed = filled<Container>(size);
    change(changed);
    for (const bool shared : {false, true}) {
      forEveryRequest(name, [&, change = change](std::size_t refused, bool onlyOne) {
        Container container = filled<Container>(size);
        const Container copy = shared ? container : Container();
        const bool completed = runs(refused, onlyOne, [&] { change(container); });
        EXPECT_EQ(exact::text(container), exact::text(completed ? changed : unchanged));
        EXPECT_EQ(copy, shared ? unchanged : Container());
        if (!completed) change(container);
        EXPECT_EQ(container, changed) << "usable afterwards, with all keys";
      });
    }
  }
}

TEST(OutOfMemoryTest, ContainersChangeCompletelyOrNotAtAll) {
  for (const int size :
       {3, 4, 16, 32}) {  // with and without spare capacity, the largest size without an index, and one with an index
    changeAllOrNothing<Dictionary>(
        {{"set, a new key", [](Dictionary& changed) { changed.set(text("new"), text("value")); }},
         {"set, an existing key", [](Dictionary& changed) { changed.set("key 1", text("value")); }},
         {"setFirst", [](Dictionary& changed) { changed.setFirst("first", text("value")); }},
         {"setAll",
          [](Dictionary& changed) {
            changed.setAll({{"key 2", text("x")}, {"a", "b"}, {text("c"), "d"}});
          }},
         {"erase", [](Dictionary& changed) { changed.erase("key 2"); }},
         {"setOrRemove", [](Dictionary& changed) { changed.setOrRemove("key 0", nullptr); }},
         {"reserve", [](Dictionary& changed) { changed.reserve(100); }}},
        size);
    changeAllOrNothing<Array>({{"append", [](Array& changed) { changed.append(text("new")); }},
                               {"set", [](Array& changed) { changed.set(1, text("new")); }},
                               {"reserve", [](Array& changed) { changed.reserve(100); }}},
                              size);
  }
}

template <class Result>
Value orReason(const std::optional<Result>& result, const std::string& reason) {
  return result ? Value(*result) : Value(reason);
}

Value reading(std::string_view document) {
  std::string error;
  return orReason(readPropertyList(bytesOf(document), error), error);
}

Value readingJson(std::string_view text) {
  std::string error;
  ValueLocations locations;
  return orReason(readJson(text, error, locations), error);
}

Value writing(const Value& value, PropertyListFormat format) {
  std::string error;
  return orReason(writePropertyList(value, format, error), error);
}

Value writingJson(const Value& value) {
  std::string error;
  return orReason(writeJson(value, error, JsonLayout::kIndented), error);
}

std::string textOf(const Value& data) { return {data.ifData()->bytes().begin(), data.ifData()->bytes().end()}; }

// Values of every kind, a dictionary large enough for an index, and strings that need escapes or UTF-16.
Value everyKind() {
  Dictionary all = filled<Dictionary>(18);
  all.set("short", "x");
  all.set("escaped <&\"\\\n", text("\u00E9\U0001F600 <&>\"\t"));
  all.set("integer", Value(std::int64_t{-5000000000}));
  all.set("real", Value(0.1));
  all.set("boolean", Value(true));
  all.set("data", dataOf(text("bytes")));
  all.set("date", Date::sinceReference(0.25));
  all.set("array", Array::of(Array(), Dictionary(), Array::of(text("inner"), Dictionary{{"k", text("deep")}})));
  return all;
}

TEST(OutOfMemoryTest, ValuesAndDocuments) {
  const Value value = everyKind();
  const std::string xml = textOf(writing(value, PropertyListFormat::kXml));
  const std::string binary = textOf(writing(value, PropertyListFormat::kBinary));
  const std::string oldStyle = description(&value);
  const std::string json(*writingJson(value).ifString());
  const Value equal = reading(binary);
  const Value digits(std::string(400, '1') + "." + std::string(400, '2') + "e3");
  const Value farDate(Date::sinceReference(1e15));
  Value deep("core");
  for (int level = 0; level <= kPropertyListDepthLimit; ++level) deep = Array::of(std::move(deep));
  const TemporaryFile file(binary);
  const auto readingFile = [](const std::string& path) {
    std::string error;
    return orReason(readPropertyListFile(path, error), error);
  };
  const auto beyondTheEnd = []() -> Value {
    try {
      return Array().at(1);
    } catch (const std::out_of_range& fault) {
      return std::string_view(fault.what());
    }
  };
  const std::string_view otherForms =
      "<?xml version=\"1.0\"?><!DOCTYPE plist><plist version=\"1.0\"><!-- a comment --><array><string>a long enough "
      "text &amp; &#x1F600; <![CDATA[<raw> text]]></string><real>+1.50e3</real></array></plist>";
  const std::string_view twice = "<plist version=\"1.0\"><dict><key>a</key><true/><key>a</key><true/></dict></plist>";
  exhaust({
      OPERATION(everyKind()),
      OPERATION(text("bytes that are not UTF-8: \xFF\xC3") + std::string(100, '\x80')),
      OPERATION(value == equal),
      OPERATION(value.ifDictionary()->contains(text("none"))),
      OPERATION(Array::of("x", equal).contains(value)),
      OPERATION(description(&value)),
      OPERATION(doubleValue(&digits) + static_cast<double>(longValue(&digits))),
      OPERATION(beyondTheEnd()),
      OPERATION(reading(xml)),
      OPERATION(reading(otherForms)),
      OPERATION(reading(binary)),
      OPERATION(reading(oldStyle)),
      OPERATION(reading(twice)),
      OPERATION(reading(binary.substr(0, binary.size() - 1))),
      OPERATION(reading("{ a = 1; \"a\" = \"2\\U00e9\"; }")),
      OPERATION(readingFile(file.path())),
      OPERATION(readingFile("/no/such/folder/and/no/such/file.plist")),
      OPERATION(readingFile("/")),
      OPERATION(writing(value, PropertyListFormat::kXml)),
      OPERATION(writing(value, PropertyListFormat::kBinary)),
      OPERATION(writing(Array::of(farDate), PropertyListFormat::kXml)),
      OPERATION(writing(deep, PropertyListFormat::kBinary)),
      OPERATION(readingJson(json)),
      OPERATION(readingJson(R"({"a key that is not inline": [{"a": 1, "a": 2}]})")),
      OPERATION(writingJson(value)),
      OPERATION(writingJson(deep)),
      OPERATION(dateToIsoText(Date::sinceReference(0.1)).value_or("")),
      OPERATION(*dateFromIsoText("2026-11-21T01:02:03.123456789012345678901234567890Z")),
  });
}

// Trusts documents without an "untrusted" entry, and allocates no memory for the log.
class TrustingPlatform : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& /*publicKeyPath*/,
      std::optional<std::string>& errorDescription) const override {
    if (signedDictionary.contains("untrusted")) errorDescription = "no";
    return Value(signedDictionary);
  }
  bool logs() const override { return true; }
  void log(std::string_view line) const override { characters += line.size(); }
  mutable std::size_t characters = 0;
};

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The example station with a device that passes and has all kinds of packed attributes.
struct Example {
  Dictionary library = document("rule-library.plist");
  Dictionary local = document("local-rules.plist");
  Dictionary device = document("device-good/attributes.plist");
  Dictionary sources{{"sfc", json("device-good/sfc.json")}, {"gui", json("device-good/gui.json")}};
  Dictionary elsewhere = with(device, "RegionInfo", "a region not in the rules");
  Dictionary untrusted{{"untrusted", "a reason that is not stored inline"}};
  Dictionary malformed{
      {"version", "1"},
      {"Model", Dictionary{{"attribute", "ModelNumber"}, {"predicate", "hasPrefix XOR contains"}, {"value", "x"}}}};
  Dictionary malformedLocal{{"version", "1"}, {"GenericRules", Dictionary{{"Model", Dictionary()}}}};

  static Dictionary document(const char* name) {
    return *reading(contentsOf(std::filesystem::path(TAVIK_EXAMPLE) / name)).ifDictionary();
  }
  static Value json(const char* name) { return readingJson(contentsOf(std::filesystem::path(TAVIK_EXAMPLE) / name)); }
  static Dictionary with(Dictionary dictionary, std::string_view key, std::string_view value) {
    dictionary.set(key, value);
    return dictionary;
  }
};

TEST(OutOfMemoryTest, Decoders) {
  const Dictionary device = Example().device;
  const Dictionary& manifests = *device.findDictionary("BasebandFirmwareManifestData");
  constexpr std::string_view kMembers(
      "\x04\x03"
      "abc"
      "\x04\x03"
      "def");
  exhaust({
      {"DERDecoderGetAllData",
       [&] {
         DERDecoder decoder = {};
         auto length = static_cast<std::uint32_t>(kMembers.size());
         DERDecoderInitialize(&decoder, bytesOf(kMembers).data(), &length, length);
         struct List : DERDecoderItemList {
           ~List() { DERDecoderFreeData(this); }
         } list = {};
         std::uint32_t count = 0;
         const std::uint32_t status = DERDecoderGetAllData(&decoder, &list, &count);
         const Value result = Array::of(status, count, list.index, Value(list.items != nullptr));
         return result;
       },
       [](const Value& result) { return result == Value(Array::of(kDERDecoderErrorInvalid, 2, 0, Value(false))); }},
      OPERATION(ManifestParser::provisioningDictFromData(manifests).value()),
      OPERATION(ManifestParser::rootDictFromData(manifests).value()),
      OPERATION(SystemConfig::sysCfgFromData(device.findData("SysCfgData"))),
      OPERATION(SystemConfig::controlBitsFromData(device.findData("ControlBits"))),
  });
  EXPECT_GT(ManifestParser::rootDictFromData(manifests).value().size(), 1U);
}

using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary&, const Dictionary&,
                                                           std::optional<Error>&) const;

TEST(OutOfMemoryTest, CheckRuns) {
  const Example example;
  const auto platform = std::make_shared<TrustingPlatform>();
  const auto making = [&](const Dictionary& library) {
    Reason why;
    return ZRTTavikKernel::init(library, platform, why);
  };
  const auto kernel = making(example.library);
  const auto malformed = making(example.malformed);
  const auto prepared = kernel->prepare(&example.local);
  const auto outcome = [](const CheckOutcome& run) {
    return Array::of(run.records ? Value(*run.records) : Value("absent"),
                     run.reason ? run.reason->description : "a verdict", Value(run.station));
  };
  const auto listing = [&](List list, const Dictionary& rules) {
    std::optional<Error> error;
    const auto entries = (*kernel.*list)(rules, example.device, error);
    return entries ? Value(*entries) : Value(error->localizedDescription());
  };
  exhaust({
      OPERATION(making(example.library) != nullptr),
      OPERATION(ZRTTavikKernel::init("/no/such/file", platform) != nullptr),
      OPERATION(outcome(kernel->run(example.device, &example.local, &example.sources))),
      OPERATION(outcome(kernel->run(example.device, nullptr))),
      OPERATION(outcome(kernel->run(example.device, &example.untrusted))),
      OPERATION(outcome(kernel->run(example.elsewhere, &example.local))),
      OPERATION(outcome(malformed->run(example.device, &example.malformedLocal))),
      OPERATION(outcome(kernel->prepare(&example.local)->run(example.device, &example.sources))),
      OPERATION(outcome(prepared->run(example.device, &example.sources))),
      OPERATION(listing(&ZRTTavikKernel::guiCheckList, example.untrusted)),
      OPERATION(listing(&ZRTTavikKernel::sfcCheckList, example.local)),
      OPERATION(listing(&ZRTTavikKernel::guiCheckList, example.local)),
      OPERATION(listing(&ZRTTavikKernel::simCheckList, example.local)),
      OPERATION(listing(&ZRTTavikKernel::getDomainList, example.local)),
      OPERATION(listing(&ZRTTavikKernel::getPollingList, example.local)),
  });
  EXPECT_EQ(kernel->run(example.device, &example.local, &example.sources).verdict, Verdict::kPassed);
  EXPECT_EQ(example.device, Example().device);
  EXPECT_EQ(example.local, Example().local);
}

// If a run is out of memory, the station dictionary has both entries of a rule, "OnPass" and "OnFail", or neither.
TEST(OutOfMemoryTest, StationDictionariesHaveBothEntriesOfARule) {
  const Dictionary definition{{"attribute", "serial"}, {"predicate", "sendStaticAttribute"}};
  Reason why;
  const auto kernel = ZRTTavikKernel::init({{"version", "1"}, {"First", definition}, {"Second", definition}},
                                           std::make_shared<TrustingPlatform>(), why);
  const Dictionary local = parsedDictionary(R"({ version = 8; GenericRules = {
    First = { value = { OnPass = "first, when it passes"; OnFail = "first, when it fails"; }; };
    Second = { value = { OnPass = "second, when it passes"; OnFail = "second, when it fails"; }; }; }; })");
  forEveryRequest("check", [&](std::size_t refused, bool onlyOne) {
    Dictionary station = filled<Dictionary>(3);  // room for one more
    std::optional<Error> error;
    runs(refused, onlyOne, [&] {
      static_cast<void>(kernel->check({{"serial", "C02"}}, &local, nullptr, &station, error));
    });
    const std::string_view pass = station.findString("OnPass").value_or("");
    const std::string_view fail = station.findString("OnFail").value_or("");
    EXPECT_EQ(pass.substr(0, pass.find(',')), fail.substr(0, fail.find(',')));
  });
}

TEST(OutOfMemoryTest, Predicates) {
  const PredicateKernel kernel(std::make_shared<TrustingPlatform>());
  std::vector<Value> cases;
  for (const auto& file : std::filesystem::directory_iterator(TAVIK_CASES)) {
    if (file.path().extension() != ".json") continue;
    const Value all = readingJson(contentsOf(file.path()));
    for (const Value& each : *all.ifArray()) cases.push_back(each);
  }
  cases.emplace_back(Dictionary{{"expression", "three words too many"}, {"attribute", "x"}});
  std::vector<Operation> operations;
  for (const Value& each : cases) {
    const Dictionary& values = *each.ifDictionary();
    operations.push_back(
        {description(values.find("expression")), [&]() -> Value {
           std::optional<Error> error;
           try {
             const auto tree = AbstractTreeNode::parsePredicateString(values.findString("expression"), kernel, error);
             if (tree == nullptr) return error->localizedDescription();
             return *tree->process(values.find("attribute"), values.find("value"), values.findDictionary("references"));
           } catch (const std::logic_error& fault) {
             return std::string_view(fault.what());
           }
         }});
  }
  EXPECT_GT(operations.size(), 300U);
  exhaust(operations);
  const Value list = Array::of(text("a"), "b");
  const Value sizes = Dictionary{{"BCD", Value(64)}};
  const Dictionary phone{{"SerialNumber", "a serial number of some length ABCD"}, {"TotalDiskCapacity", "64000000000"}};
  exhaust({
      OPERATION(ZRTTavikKernel::valueInListDescription(&list, &list)),
      OPERATION(ZRTTavikKernel::nandSizeCheckDescription(phone, &sizes)),
      OPERATION(ZRTTavikKernel::nvramWhiteListDescription(&sizes, &list)),
  });
}

// Throws std::bad_alloc for TAVIK_NO_MEMORY, which must come without a handle and without an error.
Value fromC(const std::function<tavik_status(tavik_value** value, tavik_error** error)>& call) {
  tavik_value* value = nullptr;
  tavik_error* error = nullptr;
  const tavik_status status = call(&value, &error);
  if (status == TAVIK_NO_MEMORY) {
    EXPECT_TRUE(value == nullptr && error == nullptr);
    throw std::bad_alloc();
  }
  struct Release {
    ~Release() {
      tavik_value_release(&value);
      tavik_error_release(&error);
    }
    tavik_value*& value;
    tavik_error*& error;
  } const release{value, error};
  return Array::of(tavik_status_text(status), tavik_error_text(error), value == nullptr ? Value() : c::valueOf(value));
}

#define CALL(call)                                                                                               \
  {                                                                                                              \
#call, [&] { return fromC([&]([[maybe_unused]] auto value, [[maybe_unused]] auto error) { return call; }); } \
  }

TEST(OutOfMemoryTest, CInterface) {
  const Example example;
  const c::OwnedValue all = c::handleOf(everyKind());
  tavik_platform_callbacks callbacks = {};
  callbacks.struct_size = sizeof callbacks;
  callbacks.validate = [](void*, const tavik_value* document, const char*, tavik_verdict* verdict) {
    tavik_verdict_trust(verdict, document);
  };
  c::OwnedPlatform platform;
  c::OwnedKernel kernel;
  c::OwnedKernel malformed;
  c::OwnedRules rules;
  const c::OwnedValue library = c::handleOf(example.library);
  const c::OwnedValue local = c::handleOf(example.local);
  const c::OwnedValue malformedLocal = c::handleOf(example.malformedLocal);
  const c::OwnedValue sources = c::handleOf(example.sources);
  const c::OwnedValue device = c::handleOf(example.device);
  const c::OwnedValue short_ = c::handleOf(Value("abc"));
  c::done(tavik_platform_new(&callbacks, platform.out()));
  c::done(tavik_kernel_new_from_document(library, platform, kernel.out(), nullptr));
  c::done(tavik_kernel_new_from_document(c::handleOf(example.malformed), platform, malformed.out(), nullptr));
  c::done(tavik_kernel_prepare(kernel, local, rules.out(), nullptr));
  const auto newKernel = [&]() -> Value {
    c::OwnedPlatform own;
    c::OwnedKernel made;
    c::OwnedRules prepared;
    c::done(tavik_station_platform_new("a path that is not stored inline", TAVIK_LOG_NONE, own.out()));
    c::done(tavik_platform_new(&callbacks, own.out()));
    c::done(tavik_kernel_new_from_document(library, own, made.out(), nullptr));
    c::done(tavik_kernel_prepare(made, local, prepared.out(), nullptr));
    return "made";
  };
  exhaust({
      OPERATION(c::valueOf(c::handleOf(everyKind()))),
      CALL(tavik_value_describe(all, value)),
      CALL(tavik_property_list_read_file("/no/such", value, error)),
      CALL(tavik_property_list_write(all, TAVIK_FORMAT_BINARY, value, error)),
      CALL(tavik_array_get(all, 7, value)),
      CALL(tavik_nand_size_check_description(nullptr, all, value, error)),
      CALL(tavik_kernel_check(kernel, device, local, sources, nullptr, value, error)),
      CALL(tavik_kernel_check(malformed, device, malformedLocal, sources, nullptr, value, error)),
      CALL(tavik_rules_check(rules, device, sources, nullptr, value, error)),
      CALL(tavik_kernel_sfc_check_list(kernel, local, device, value, error)),
      CALL(tavik_evaluate("hasPrefix AND hasSuffix", short_, nullptr, short_, nullptr, value, error)),
      CALL(tavik_evaluate("MPN4CCheck", short_, nullptr, short_, nullptr, value, error)),
      OPERATION(newKernel()),
  });
}

// The platform owns the user data; if it cannot be created, the caller keeps the ownership.
TEST(OutOfMemoryTest, OwnershipOfUserData) {
  forEveryRequest("tavik_platform_new", [](std::size_t refused, bool onlyOne) {
    int releases = 0;
    tavik_platform_callbacks callbacks = {};
    callbacks.struct_size = sizeof callbacks;
    callbacks.user_data = &releases;
    callbacks.validate = [](void*, const tavik_value*, const char*, tavik_verdict*) {};
    callbacks.release = [](void* data) { ++*static_cast<int*>(data); };
    c::OwnedPlatform platform;
    const bool completed = runs(refused, onlyOne, [&] { c::done(tavik_platform_new(&callbacks, platform.out())); });
    EXPECT_EQ(releases, 0);
    platform = c::OwnedPlatform();
    EXPECT_EQ(releases, completed ? 1 : 0);
  });
}

// The validated document, or the reason for the rejection.
Value validating(const StationPlatform& platform, const Dictionary& document) {
  std::optional<std::string> why;
  const auto validated = platform.validatedPropertyListFromSignedDictionary(document, "/no/such/key", why);
  EXPECT_NE(validated.has_value(), why.has_value());
  return validated ? *validated : Value(*why);
}

// OpenSSL reports some failed allocations as other errors, so the document may be rejected. The rejection must not be
// cached, and no other document may be accepted.
TEST(OutOfMemoryTest, SignatureChecks) {
  ASSERT_TRUE(openSslIsHooked);
  const std::ptrdiff_t openSslBlocks = trial.openSslBlocks;
  const auto isReason = [](const Value& result) { return result.isString() && !result.ifString()->empty(); };
  const std::string_view payload = "{ version = 7; A = \"a string that is not stored inline\"; }";
  std::string error;
  for (const KeyAlgorithm algorithm : {KeyAlgorithm::kEd25519, KeyAlgorithm::kP256, KeyAlgorithm::kRsa3072}) {
    const KeyPair keys = generateKeyPair(algorithm, error).value();
    const TemporaryFile publicKey(keys.publicKey);
    const TemporaryFile privateKey(keys.privateKey);
    const auto document = signPropertyList(dataOf(payload), privateKey.path(), error);
    ASSERT_TRUE(document) << error;
    forEveryRequest("validation", [&](std::size_t refused, bool onlyOne) {
      const StationPlatform platform(publicKey.path(), StationPlatform::Log::kNone);
      Value result;
      if (runs(refused, onlyOne, [&] { result = validating(platform, *document); })) {
        EXPECT_TRUE(result == parsed(payload) || (trial.hasRefused && isReason(result))) << description(&result);
      }
      EXPECT_EQ(validating(platform, *document), parsed(payload)) << "with memory available";
    });
    if (algorithm != KeyAlgorithm::kEd25519) continue;  // the rest takes too long for the others
    const TemporaryFile otherKey(generateKeyPair(algorithm, error)->publicKey);
    const auto signing = [&]() -> Value {
      std::string why;
      return orReason(signPropertyList(dataOf(payload), privateKey.path(), why), why);
    };
    const auto keyMaking = [&]() -> Value {
      std::string why;
      const auto made = generateKeyPair(algorithm, why);
      return made ? Value(made->privateKey.ends_with("-----END PRIVATE KEY-----\n")) : Value(why);
    };
    const auto otherKeyFails = [&] {
      return validating(StationPlatform(otherKey.path(), StationPlatform::Log::kNone), *document);
    };
    exhaust({{"another key", otherKeyFails, isReason}, {"signing", signing, isReason}, {"keys", keyMaking, isReason}});
  }
  EXPECT_LT(trial.openSslBlocks - openSslBlocks, 10000) << "blocks that OpenSSL keeps do not accumulate";
}

}  // namespace
}  // namespace tavik
