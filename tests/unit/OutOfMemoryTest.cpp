// Memory that runs out at the n-th request, for every n: every way in gives std::bad_alloc, leaks nothing, changes
// nothing, and works as before afterwards. OpenSSL's requests are refused too; then a refusal may come out, never a
// pass.

#include <openssl/crypto.h>
#include <tavik/Json.h>
#include <tavik/PreparedRules.h>
#include <tavik/StationPlatform.h>
#include <tavik/tavik_platform.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>

#include "CHandles.h"
#include "Choices.h"
#include "support/TestSupport.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TAVIK_SYSTEM_CALLOC __interceptor_calloc
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TAVIK_SYSTEM_CALLOC __interceptor_calloc
#endif
#endif
#ifndef TAVIK_SYSTEM_CALLOC
#define TAVIK_SYSTEM_CALLOC __libc_calloc
#endif
extern "C" void* TAVIK_SYSTEM_CALLOC(std::size_t count, std::size_t size);

namespace {

// What the trial that runs on this thread asks for, and what it holds.
struct Trial {
  bool running = false;
  std::size_t requests = 0;
  std::size_t refused = 0;  // the first request to refuse, from 1
  bool onlyOne = false;     // or all from that one on
  bool hasRefused = false;
  std::ptrdiff_t blocks = 0;  // live ones from operator new, outside trials too
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

void giveBack(void* memory, std::ptrdiff_t& blocks = trial.blocks) noexcept {
  if (memory != nullptr) --blocks;
  std::free(memory);
}

void* orThrow(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* openSslMalloc(std::size_t size, const char* /*file*/, int /*line*/) { return request(size, trial.openSslBlocks); }
void openSslFree(void* memory, const char* /*file*/, int /*line*/) { giveBack(memory, trial.openSslBlocks); }
void* openSslRealloc(void* memory, std::size_t size, const char* /*file*/, int /*line*/) {
  if (memory == nullptr) return request(size, trial.openSslBlocks);
  return trial.refuses() ? nullptr : std::realloc(memory, size);
}
// Before OpenSSL's first request, or it keeps its own.
const bool openSslAsksHere = CRYPTO_set_mem_functions(openSslMalloc, openSslRealloc, openSslFree) == 1;

}  // namespace

// The C functions ask for memory with calloc.
extern "C" void* calloc(std::size_t count, std::size_t size) {
  return trial.refuses() ? nullptr : TAVIK_SYSTEM_CALLOC(count, size);
}

void* operator new(std::size_t size) { return orThrow(request(size)); }
void* operator new[](std::size_t size) { return orThrow(request(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return request(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return request(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return orThrow(requestAligned(size, alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return orThrow(requestAligned(size, alignment)); }
void operator delete(void* memory) noexcept { giveBack(memory); }
void operator delete[](void* memory) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }
void operator delete[](void* memory, std::size_t) noexcept { giveBack(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { giveBack(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { giveBack(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { giveBack(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { giveBack(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { giveBack(memory); }

namespace tavik {
namespace {

// Runs `action` with requests refused from the n-th on, or that one alone. Whether it came to its end; else it raised
// std::bad_alloc.
template <class Action>
bool runs(std::size_t refused, bool onlyOne, Action action) {
  trial.requests = 0;
  trial.refused = refused;
  trial.onlyOne = onlyOne;
  trial.hasRefused = false;
  trial.running = true;
  bool ended = true;
  try {
    action();
  } catch (const std::bad_alloc&) {
    ended = false;
  } catch (...) {
    trial.running = false;
    throw;
  }
  trial.running = false;
  return ended;
}

// For every n, both ways, until nothing is refused any more: `attempt` gets what `runs` needs.
template <class Attempt>
void forEveryRequest(const char* name, Attempt attempt) {
  for (const bool onlyOne : {true, false}) {
    std::size_t refused = 0;
    do {
      ++refused;
      SCOPED_TRACE(std::string(name) + ", " + (onlyOne ? "request " : "requests from ") + std::to_string(refused));
      const std::ptrdiff_t before = trial.blocks;
      attempt(refused, onlyOne);
      EXPECT_EQ(trial.blocks, before) << "blocks that leak";
      if (testing::Test::HasFailure()) return;
    } while (trial.hasRefused);
  }
}

// One operation, with its result made into a value. Where OpenSSL runs out of memory, other results may come out too;
// everywhere else only std::bad_alloc may.
struct Operation {
  std::string name;
  std::function<Value()> call;
  bool (*mayResult)(const Value& result) = nullptr;
};

void exhaust(const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) {
    const Value expected = operation.call();
    forEveryRequest(operation.name.c_str(), [&](std::size_t refused, bool onlyOne) {
      Value result;
      const bool ended = runs(refused, onlyOne, [&] { result = operation.call(); });
      if (ended && !(trial.hasRefused && operation.mayResult != nullptr && operation.mayResult(result))) {
        EXPECT_EQ(description(&result), description(&expected));
      }
    });
    EXPECT_EQ(operation.call(), expected) << operation.name << ": usable afterwards";
    if (testing::Test::HasFailure()) return;
  }
}

std::string text(std::string_view what) { return "a text that is too long to lie in place: " + std::string(what); }

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

// A container of a size, alone or shared with a copy, is changed: all or nothing, and never the copy.
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
        const bool ended = runs(refused, onlyOne, [&] { change(container); });
        EXPECT_EQ(exact::text(container), exact::text(ended ? changed : unchanged));
        EXPECT_EQ(copy, shared ? unchanged : Container());
        if (!ended) change(container);
        EXPECT_EQ(container, changed) << "usable afterwards, every key found";
      });
    }
  }
}

TEST(OutOfMemoryTest, ContainersChangeWhollyOrNotAtAll) {
  for (const int size : {3, 4, 16, 32}) {  // room left and none, the last size that is scanned, one with an index
    changeAllOrNothing<Dictionary>(
        {{"set, a new key", [](Dictionary& changed) { changed.set(text("new"), text("value")); }},
         {"set, a key it has", [](Dictionary& changed) { changed.set("key 1", text("value")); }},
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
  return orReason(readPropertyList({reinterpret_cast<const std::uint8_t*>(document.data()), document.size()}, error),
                  error);
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

// A value of every kind, with a dictionary large enough for an index, and text that needs escapes and two-byte units.
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
  exhaust({
      {"building", everyKind},
      {"building from bytes that are no UTF-8", [] { return Value(text("\xFF\xC3") + std::string(100, '\x80')); }},
      {"comparing", [&] { return Value(value == equal); }},
      {"looking up", [&] { return Value(value.ifDictionary()->contains(text("none"))); }},
      {"Array contains", [&] { return Value(Array::of("x", equal).contains(value)); }},
      {"describing", [&] { return Value(description(&value)); }},
      {"converting", [&] { return Value(doubleValue(&digits) + static_cast<double>(longValue(&digits))); }},
      {"an index beyond the end",
       []() -> Value {
         try {
           return Array().at(1);
         } catch (const std::out_of_range& fault) {
           return std::string_view(fault.what());
         }
       }},
      {"reading XML", [&] { return reading(xml); }},
      {"reading XML of other forms",
       [] {
         return reading(
             "<?xml version=\"1.0\"?><!DOCTYPE plist><plist version=\"1.0\"><!-- a comment --><array><string>a long "
             "enough text &amp; &#x1F600; <![CDATA[<raw> text]]></string><real>+1.50e3</real></array></plist>");
       }},
      {"reading binary", [&] { return reading(binary); }},
      {"reading text", [&] { return reading(oldStyle); }},
      {"refusing XML",
       [] { return reading("<plist version=\"1.0\"><dict><key>a</key><true/><key>a</key><true/></dict></plist>"); }},
      {"refusing binary", [&] { return reading(binary.substr(0, binary.size() - 1)); }},
      {"refusing text", [] { return reading("{ a = 1; \"a\" = \"2\\U00e9\"; }"); }},
      {"reading a file", [&] { return readingFile(file.path()); }},
      {"refusing a file that is not there", [&] { return readingFile("/no/such/folder/and/no/such/file.plist"); }},
      {"refusing a folder", [&] { return readingFile("/"); }},
      {"writing XML", [&] { return writing(value, PropertyListFormat::kXml); }},
      {"writing binary", [&] { return writing(value, PropertyListFormat::kBinary); }},
      {"refusing to write a date", [&] { return writing(Array::of(farDate), PropertyListFormat::kXml); }},
      {"refusing to write so deep", [&] { return writing(deep, PropertyListFormat::kBinary); }},
      {"reading JSON", [&] { return readingJson(json); }},
      {"refusing JSON", [] { return readingJson(R"({"a key beyond fifteen": [{"a": 1, "a": 2}]})"); }},
      {"writing JSON", [&] { return writingJson(value); }},
      {"refusing to write JSON", [&] { return writingJson(deep); }},
      {"a date as text", [] { return Value(dateToIsoText(Date::sinceReference(0.1)).value_or("")); }},
      {"a date from text",
       [] { return Value(*dateFromIsoText("2026-11-21T01:02:03.123456789012345678901234567890Z")); }},
  });
}

// Trusts what has no "untrusted" entry and asks for no memory itself.
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

// The example station, with a device that passes and attributes in every packed form.
struct Example {
  Dictionary library = document("rule-library.plist");
  Dictionary local = document("local-rules.plist");
  Dictionary device = document("device-good/attributes.plist");
  Dictionary sources{{"sfc", json("device-good/sfc.json")}, {"gui", json("device-good/gui.json")}};
  Dictionary elsewhere = with(device, "RegionInfo", "a region that nobody knows");
  Dictionary untrusted{{"untrusted", "a reason that is too long to lie in place"}};
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
  const auto orAbsent = [](const std::optional<Dictionary>& found) { return found ? Value(*found) : Value("absent"); };
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
         DERDecoderInitialize(&decoder, reinterpret_cast<const std::uint8_t*>(kMembers.data()), &length, length);
         struct List : DERDecoderItemList {
           ~List() { DERDecoderFreeData(this); }
         } list = {};
         std::uint32_t count = 0;
         const std::uint32_t status = DERDecoderGetAllData(&decoder, &list, &count);
         const Value result = Array::of(status, count, list.index, Value(list.items != nullptr));
         return result;
       },
       [](const Value& result) { return result == Value(Array::of(kDERDecoderErrorInvalid, 2, 0, Value(false))); }},
      {"provisioning manifest", [&] { return orAbsent(ManifestParser::provisioningDictFromData(manifests)); }},
      {"root manifest", [&] { return orAbsent(ManifestParser::rootDictFromData(manifests)); }},
      {"SysCfg blob", [&] { return Value(SystemConfig::sysCfgFromData(device.findData("SysCfgData"))); }},
      {"control bits", [&] { return Value(SystemConfig::controlBitsFromData(device.findData("ControlBits"))); }},
  });
  EXPECT_GT(ManifestParser::rootDictFromData(manifests).value().size(), 1U) << "there is something to decode";
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
  std::vector<Operation> operations = {
      {"init", [&] { return Value(making(example.library) != nullptr); }},
      {"init without a file", [&] { return Value(ZRTTavikKernel::init("/no/such/file", platform) != nullptr); }},
      {"run", [&] { return Value(outcome(kernel->run(example.device, &example.local, &example.sources))); }},
      {"run without rules", [&] { return Value(outcome(kernel->run(example.device, nullptr))); }},
      {"run with rules that are not trusted",
       [&] { return Value(outcome(kernel->run(example.device, &example.untrusted))); }},
      {"run in an unknown region", [&] { return Value(outcome(kernel->run(example.elsewhere, &example.local))); }},
      {"run with a malformed expression",
       [&] { return Value(outcome(malformed->run(example.device, &example.malformedLocal))); }},
      {"prepare and run",
       [&] { return Value(outcome(kernel->prepare(&example.local)->run(example.device, &example.sources))); }},
      {"run with rules prepared before",
       [&] { return Value(outcome(prepared->run(example.device, &example.sources))); }},
      {"a list from rules that are not trusted",
       [&] { return listing(&ZRTTavikKernel::guiCheckList, example.untrusted); }},
  };
  for (const List list : {&ZRTTavikKernel::sfcCheckList, &ZRTTavikKernel::guiCheckList, &ZRTTavikKernel::simCheckList,
                          &ZRTTavikKernel::getDomainList, &ZRTTavikKernel::getPollingList}) {
    operations.push_back({"a list", [&, list] { return listing(list, example.local); }});
  }
  exhaust(operations);
  EXPECT_EQ(kernel->run(example.device, &example.local, &example.sources).verdict, Verdict::kPassed);
  EXPECT_EQ(example.device, Example().device);
  EXPECT_EQ(example.local, Example().local);
}

// A run that ends for want of memory leaves the station dictionary as some rule left it: never one rule's "OnFail"
// without its "OnPass".
TEST(OutOfMemoryTest, TheStationDictionaryIsNeverHalfWritten) {
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
        {"", [&]() -> Value {
           std::optional<Error> error;
           try {
             const auto tree = AbstractTreeNode::parsePredicateString(values.findString("expression"), kernel, error);
             if (tree == nullptr) return error->localizedDescription();
             return *tree->process(values.find("attribute"), values.find("value"), values.findDictionary("references"));
           } catch (const std::logic_error& fault) {
             return std::string_view(fault.what());
           }
         }});
    operations.back().name = description(values.find("expression"));
  }
  EXPECT_GT(operations.size(), 300U);
  exhaust(operations);
  const Value list = Array::of(text("a"), "b");
  const Value sizes = Dictionary{{"BCD", Value(64)}};
  const Dictionary phone{{"SerialNumber", "a serial number of some length ABCD"}, {"TotalDiskCapacity", "64000000000"}};
  exhaust({
      {"valueInListDescription", [&] { return Value(ZRTTavikKernel::valueInListDescription(&list, &list)); }},
      {"nandSizeCheckDescription", [&] { return Value(ZRTTavikKernel::nandSizeCheckDescription(phone, &sizes)); }},
      {"nvramWhiteListDescription", [&] { return Value(ZRTTavikKernel::nvramWhiteListDescription(&sizes, &list)); }},
  });
}

// The C interface says TAVIK_NO_MEMORY where C++ raises, which `done` turns back; then there is no handle and no error.
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
  const auto checking = [&](const tavik_kernel* with, const tavik_value* documents) {
    return fromC([&](auto records, auto error) {
      return tavik_kernel_check(with, device, documents, sources, nullptr, records, error);
    });
  };
  const auto evaluating = [&](const char* expression) {
    return fromC([&](auto record, auto error) {
      return tavik_evaluate(expression, short_, nullptr, short_, nullptr, record, error);
    });
  };
  exhaust({
      {"building and reading", [] { return c::valueOf(c::handleOf(everyKind())); }},
      {"describing", [&] { return fromC([&](auto value, auto) { return tavik_value_describe(all, value); }); }},
      {"refusing a file",
       [] {
         return fromC([](auto value, auto error) { return tavik_property_list_read_file("/no/such", value, error); });
       }},
      {"writing binary",
       [&] {
         return fromC(
             [&](auto value, auto error) { return tavik_property_list_write(all, TAVIK_FORMAT_BINARY, value, error); });
       }},
      {"a wrong index", [&] { return fromC([&](auto value, auto) { return tavik_array_get(all, 7, value); }); }},
      {"a wrong kind, with an error",
       [&] {
         return fromC(
             [&](auto value, auto error) { return tavik_nand_size_check_description(nullptr, all, value, error); });
       }},
      {"check", [&] { return checking(kernel, local); }},
      {"check with a malformed expression", [&] { return checking(malformed, malformedLocal); }},
      {"check with rules prepared before",
       [&] {
         return fromC([&](auto records, auto error) {
           return tavik_rules_check(rules, device, sources, nullptr, records, error);
         });
       }},
      {"a list",
       [&] {
         return fromC(
             [&](auto list, auto error) { return tavik_kernel_sfc_check_list(kernel, local, device, list, error); });
       }},
      {"an expression", [&] { return evaluating("hasPrefix AND hasSuffix"); }},
      {"a fault", [&] { return evaluating("MPN4CCheck"); }},
      {"a kernel of its own",
       [&]() -> Value {
         c::OwnedPlatform own;
         c::OwnedKernel made;
         c::OwnedRules prepared;
         c::done(tavik_station_platform_new("a path that is too long to lie in place", TAVIK_LOG_NONE, own.out()));
         c::done(tavik_platform_new(&callbacks, own.out()));
         c::done(tavik_kernel_new_from_document(library, own, made.out(), nullptr));
         c::done(tavik_kernel_prepare(made, local, prepared.out(), nullptr));
         return "made";
       }},
  });
}

// The user data is the platform's once there is one, and stays the caller's when there is none.
TEST(OutOfMemoryTest, UserDataChangesHandsWithThePlatform) {
  forEveryRequest("tavik_platform_new", [](std::size_t refused, bool onlyOne) {
    int releases = 0;
    tavik_platform_callbacks callbacks = {};
    callbacks.struct_size = sizeof callbacks;
    callbacks.user_data = &releases;
    callbacks.validate = [](void*, const tavik_value*, const char*, tavik_verdict*) {};
    callbacks.release = [](void* data) { ++*static_cast<int*>(data); };
    c::OwnedPlatform platform;
    const bool ended = runs(refused, onlyOne, [&] { c::done(tavik_platform_new(&callbacks, platform.out())); });
    EXPECT_EQ(releases, 0);
    platform = c::OwnedPlatform();
    EXPECT_EQ(releases, ended ? 1 : 0);
  });
}

// What comes out of a signature check under `platform`: the document, or why not.
Value validating(const StationPlatform& platform, const Dictionary& document) {
  std::optional<std::string> why;
  const auto validated = platform.validatedPropertyListFromSignedDictionary(document, "/no/such/key", why);
  EXPECT_NE(validated.has_value(), why.has_value());
  return validated ? *validated : Value(*why);
}

// OpenSSL reports some of its own refused requests as failures of another kind, so a refusal may come out; never a
// document but the one that was signed, and never a verdict that lasts.
TEST(OutOfMemoryTest, SignatureChecks) {
  ASSERT_TRUE(openSslAsksHere);
  const std::ptrdiff_t openSslBlocks = trial.openSslBlocks;
  const auto isReason = [](const Value& result) { return result.isString() && !result.ifString()->empty(); };
  const std::string_view payload = "{ version = 7; A = \"a text that is too long to lie in place\"; }";
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
      EXPECT_EQ(validating(platform, *document), parsed(payload)) << "with memory again";
    });
    if (algorithm != KeyAlgorithm::kEd25519) continue;  // what follows takes the others too long
    const TemporaryFile otherKey(generateKeyPair(algorithm, error)->publicKey);
    exhaust({
        {"validation with another key",
         [&] { return validating(StationPlatform(otherKey.path(), StationPlatform::Log::kNone), *document); },
         isReason},
        {"signing",
         [&]() -> Value {
           std::string why;
           const auto made = signPropertyList(dataOf(payload), privateKey.path(), why);
           return made ? Value(*made) : Value(why);
         },
         isReason},
        {"key making",
         [&]() -> Value {
           std::string why;
           const auto made = generateKeyPair(algorithm, why);
           return made ? Value(made->privateKey.ends_with("-----END PRIVATE KEY-----\n")) : Value(why);
         },
         isReason},
    });
  }
  EXPECT_LT(trial.openSslBlocks - openSslBlocks, 10000) << "what OpenSSL keeps, however many times memory ran out";
}

}  // namespace
}  // namespace tavik
