// Memory that runs out at the n-th request, for every n: every way in gives std::bad_alloc, leaks nothing, changes
// nothing, and works as before afterwards. OpenSSL's requests are refused too; then a refusal may come out, never a
// pass.

#include <openssl/crypto.h>
#include <tavik/Json.h>
#include <tavik/PreparedRules.h>
#include <tavik/StationPlatform.h>
#include <tavik/tavik_platform.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <new>

#include "CHandles.h"
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

Data dataOf(std::string_view bytes) {
  return Data(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::string text(std::string_view what) { return "a text that is too long to lie in place: " + std::string(what); }

std::string numbered(int number) { return "key " + std::to_string(number); }

Dictionary entries(int count) {
  Dictionary dictionary;
  for (int number = 0; number < count; ++number) dictionary.set(numbered(number), text(numbered(number)));
  return dictionary;
}

Array elements(int count) {
  Array array;
  for (int number = 0; number < count; ++number) array.append(text(numbered(number)));
  return array;
}

// A container of `size`, alone or shared with a copy, is changed: all or nothing, and never the copy.
template <class Container>
void changeAllOrNothing(const char* name, Container (*make)(int), int size, void (*change)(Container&)) {
  Container changed = make(size);
  change(changed);
  const std::string after = description(std::array{Value(changed)}.data());
  const std::string asMade = description(std::array{Value(make(size))}.data());
  for (const bool shared : {false, true}) {
    forEveryRequest(name, [&](std::size_t refused, bool onlyOne) {
      Container container = make(size);
      const Container copy = shared ? container : Container();
      const bool ended = runs(refused, onlyOne, [&] { change(container); });
      EXPECT_EQ(description(std::array{Value(container)}.data()), ended ? after : asMade);
      EXPECT_EQ(copy, shared ? make(size) : Container());
      if (!ended) change(container);
      EXPECT_EQ(container, changed) << "usable afterwards, every key found";
    });
  }
}

TEST(OutOfMemoryTest, ContainersChangeWhollyOrNotAtAll) {
  struct DictionaryCase {
    const char* name;
    void (*change)(Dictionary&);
  };
  const DictionaryCase dictionaryCases[] = {
      {"set, a new key", [](Dictionary& changed) { changed.set(text("new"), text("value")); }},
      {"set, a key it has", [](Dictionary& changed) { changed.set("key 1", text("value")); }},
      {"setFirst", [](Dictionary& changed) { changed.setFirst("first", text("value")); }},
      {"setAll",
       [](Dictionary& changed) {
         changed.setAll({{"key 2", text("x")}, {"a", "b"}, {text("c"), "d"}});
       }},
      {"erase", [](Dictionary& changed) { changed.erase("key 2"); }},
      {"setOrRemove", [](Dictionary& changed) { changed.setOrRemove("key 0", nullptr); }},
      {"reserve", [](Dictionary& changed) { changed.reserve(100); }},
  };
  // Room left and none, the last size that is scanned, one with an index.
  for (const int size : {3, 4, 16, 32}) {
    for (const auto& [name, change] : dictionaryCases) changeAllOrNothing<Dictionary>(name, entries, size, change);
  }
  struct ArrayCase {
    const char* name;
    void (*change)(Array&);
  };
  const ArrayCase arrayCases[] = {
      {"append", [](Array& changed) { changed.append(text("new")); }},
      {"Array set", [](Array& changed) { changed.set(1, text("new")); }},
      {"Array reserve", [](Array& changed) { changed.reserve(100); }},
  };
  for (const int size : {3, 4}) {
    for (const auto& [name, change] : arrayCases) changeAllOrNothing<Array>(name, elements, size, change);
  }
}

// One way in: what comes out, made into a value. What is refused where memory ran out inside OpenSSL is told by its
// text; everywhere else std::bad_alloc alone may come out.
struct WayIn {
  const char* name;
  std::function<Value()> call;
  bool (*mayComeOut)(const Value& result) = nullptr;
};

void exhaust(const WayIn& way) {
  const Value expected = way.call();
  forEveryRequest(way.name, [&](std::size_t refused, bool onlyOne) {
    Value result;
    const bool ended = runs(refused, onlyOne, [&] { result = way.call(); });
    if (ended && !(trial.hasRefused && way.mayComeOut != nullptr && way.mayComeOut(result))) {
      EXPECT_EQ(description(&result), description(&expected));
    }
  });
  const Value again = way.call();
  EXPECT_EQ(again, expected) << way.name << ": usable afterwards";
}

void exhaustAll(const std::vector<WayIn>& ways) {
  for (const WayIn& way : ways) {
    exhaust(way);
    if (testing::Test::HasFailure()) return;
  }
}

Value orReason(const std::optional<Value>& value, const std::string& reason) { return value ? *value : Value(reason); }

Value reading(const std::string& document) {
  std::string error;
  const auto value = readPropertyList({reinterpret_cast<const std::uint8_t*>(document.data()), document.size()}, error);
  return orReason(value, error);
}

Value writing(const Value& value, PropertyListFormat format) {
  std::string error;
  const auto document = writePropertyList(value, format, error);
  return document ? Value(*document) : Value(error);
}

Value readingJson(std::string_view text) {
  std::string error;
  ValueLocations locations;
  return orReason(readJson(text, error, locations), error);
}

Value writingJson(const Value& value) {
  std::string error;
  return writeJson(value, error, JsonLayout::kIndented).value_or(error);
}

Value readingFile(const std::string& path) {
  std::string error;
  return orReason(readPropertyListFile(path, error), error);
}

// A value of every kind, with a dictionary large enough for an index, and text that needs escapes and two-byte units.
Value everyKind() {
  Dictionary all = entries(18);
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

std::string bytesOf(const Value& value, PropertyListFormat format) {
  std::string error;
  const std::optional<Data> document = writePropertyList(value, format, error);
  return {document->bytes().begin(), document->bytes().end()};
}

Value nested(int depth) {
  Value value("core");
  for (; depth > 0; --depth) value = Array::of(std::move(value));
  return value;
}

TEST(OutOfMemoryTest, Values) {
  const Value value = everyKind();
  const Value equal = reading(bytesOf(value, PropertyListFormat::kBinary));
  const Value digits(std::string(400, '1') + "." + std::string(400, '2') + "e3");
  exhaustAll({
      {"building", everyKind},
      {"building from bytes that are no UTF-8", [] { return Value(text("\xFF\xC3") + std::string(100, '\x80')); }},
      {"comparing", [&] { return Value(value == equal); }},
      {"looking up", [&] { return Value(value.ifDictionary()->contains(text("none"))); }},
      {"Array contains", [&] { return Value(Array::of("x", equal).contains(value)); }},
      {"describing", [&] { return Value(description(&value)); }},
      {"converting", [&] { return Value(doubleValue(&digits) + static_cast<double>(longValue(&digits))); }},
      {"an index beyond the end",
       [&]() -> Value {
         try {
           return Array().at(1);
         } catch (const std::out_of_range& fault) {
           return std::string_view(fault.what());
         }
       }},
  });
}

TEST(OutOfMemoryTest, PropertyLists) {
  const Value value = everyKind();
  const std::string xml = bytesOf(value, PropertyListFormat::kXml);
  const std::string binary = bytesOf(value, PropertyListFormat::kBinary);
  const std::string oldStyle = description(&value);
  const std::string json(*writingJson(value).ifString());
  const std::string oddXml =
      "<?xml version=\"1.0\"?><!DOCTYPE plist><plist version=\"1.0\"><!-- a comment --><array><string>a long enough "
      "text &amp; &#x1F600; <![CDATA[<raw> text]]></string><real>+1.50e3</real><integer>0x1F</integer></array></plist>";
  const Value farDate(Date::sinceReference(1e15));
  const TemporaryFile file(binary);
  const Value readable = readingFile(file.path());
  exhaustAll({
      {"reading XML", [&] { return reading(xml); }},
      {"reading XML of other forms", [&] { return reading(oddXml); }},
      {"reading binary", [&] { return reading(binary); }},
      {"reading text", [&] { return reading(oldStyle); }},
      {"refusing XML",
       [] { return reading("<plist version=\"1.0\"><dict><key>a</key><true/><key>a</key><true/></dict></plist>"); }},
      {"refusing binary", [&] { return reading(binary.substr(0, binary.size() - 1)); }},
      {"refusing text", [] { return reading("{ a = 1; \"a\" = \"2\\U00e9\"; }"); }},
      {"reading a file", [&] { return readingFile(file.path()); }},
      {"refusing a file that is not there", [] { return readingFile("/no/such/folder/and/no/such/file.plist"); }},
      {"refusing a folder", [] { return readingFile("/"); }},
      {"writing XML", [&] { return writing(value, PropertyListFormat::kXml); }},
      {"writing binary", [&] { return writing(value, PropertyListFormat::kBinary); }},
      {"refusing to write a date", [&] { return writing(Array::of(farDate), PropertyListFormat::kXml); }},
      {"refusing to write so deep", [] { return writing(nested(513), PropertyListFormat::kBinary); }},
      {"reading JSON", [&] { return readingJson(json); }},
      {"refusing JSON", [] { return readingJson(R"({"a key beyond fifteen": [{"a": 1, "a": 2}]})"); }},
      {"writing JSON", [&] { return writingJson(value); }},
      {"refusing to write JSON", [] { return writingJson(nested(513)); }},
      {"a date as text", [] { return Value(dateToIsoText(Date::sinceReference(0.1)).value_or("")); }},
      {"a date from text",
       [] { return Value(*dateFromIsoText("2026-11-21T01:02:03.123456789012345678901234567890Z")); }},
  });
  EXPECT_EQ(readable, value);
  EXPECT_EQ(readingJson(json), value);
}

// An element with a length of up to 255 bytes.
std::string element(std::string_view identifier, std::string_view content) {
  return std::string(identifier) + '\x81' + static_cast<char>(content.size()) + std::string(content);
}

std::string manifest(bool provisioning) {
  const std::string algorithm = element("\x30", "\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x01\x05");
  const std::string items =
      element("\x31", element("\x9F\x87\x68", text("item")) + element("\x9F\xA7\x08", std::string(40, '\xFF')));
  const std::string end = element("\x04", "123") + element("\xA3", "");
  return element("\x30", provisioning ? element("\x02", "1") + algorithm + element("\xA0", "") + items + end
                                      : algorithm + items + end);
}

std::string systemConfig() {
  std::string blob(24, '\0');
  blob[20] = 2;
  blob += "#BLM" + std::string("C02XYZ") + std::string(10, '\0');
  blob += "\xE9vrS" + std::string(16, '\x01');
  return blob;
}

Dictionary packedDevice() {
  return {{"SysCfgData", dataOf(systemConfig())},
          {"BasebandFirmwareManifestData", Dictionary{{"ProvisioningManifestData", dataOf(manifest(true))},
                                                      {"RootManifestData", dataOf(manifest(false))}}}};
}

Value orAbsent(const std::optional<Dictionary>& dictionary) {
  return dictionary ? Value(*dictionary) : Value("absent");
}

TEST(OutOfMemoryTest, Decoders) {
  const Dictionary device = packedDevice();
  const Dictionary& manifests = *device.findDictionary("BasebandFirmwareManifestData");
  const Data& blob = *device.findData("SysCfgData");
  const Data bits = dataOf(std::string(64 + 2 * 32, '\x41'));
  const std::string members = element("\x04", "abc") + element("\x04", "def");
  exhaustAll({
      {"DERDecoderGetAllData",
       [&] {
         DERDecoder decoder = {};
         auto length = static_cast<std::uint32_t>(members.size());
         DERDecoderInitialize(&decoder, reinterpret_cast<const std::uint8_t*>(members.data()), &length, length);
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
      {"SysCfg blob", [&] { return Value(SystemConfig::sysCfgFromData(&blob)); }},
      {"control bits", [&] { return Value(SystemConfig::controlBitsFromData(&bits)); }},
      {"expansion",
       [&] {
         Dictionary attributes = device;
         ZRTTavikKernel::expandSysConfigData(attributes);
         ZRTTavikKernel::expandBasebandManifestData(attributes);
         return Value(attributes);
       }},
  });
  EXPECT_EQ(ManifestParser::rootDictFromData(manifests)->size(), 2U) << "there is something to decode";
  EXPECT_EQ(SystemConfig::sysCfgFromData(&blob).size(), 2U);
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

std::unique_ptr<ZRTTavikKernel> kernelFrom(std::string_view library) {
  const TemporaryFile file(library);
  return ZRTTavikKernel::init(file.path(), std::make_shared<TrustingPlatform>());
}

constexpr std::string_view kLibrary = R"({
  version = 7;
  Prefix = { attribute = serial; predicate = "hasPrefix AND hasSuffix"; domain = "a domain that is long enough";
             poll = "a polling entry that is long enough"; };
  Either = { attribute = serial; predicate = "isUppercase OR contains"; value = "nothing of the kind is in it"; };
  Not = { attribute = serial; predicate = "NOT caseInsensitiveEqual"; value = "another serial number"; hideResult = 1; };
  Unknown = { attribute = serial; predicate = nobodysPredicate; };
  "No Attribute serial" = { attribute = serial; };
  Missing = { attribute = "an attribute that is missing"; predicate = equal; };
  FromShop = { attribute = serial; predicate = equal;
               references = ( { source = sfc; attribute = serial; description = "the serial number as sold"; } ); };
  FromPerson = { attribute = serial; predicate = hasPrefix; references = ( { source = gui; } ); };
  Card = { attribute = IntegratedCircuitCardIdentity; predicate = hasPrefix; value = 89; };
  First = { attribute = serial; predicate = sendStaticAttribute; };
  Second = { attribute = serial; predicate = sendStaticAttribute; };
})";

constexpr std::string_view kLocal = R"({
  version = 8;
  MPNRules = { MD123 = { Prefix = { value = "C02 and more than fits"; }; Either = {}; SpecialRuleSet = {};
                         RegionRules = { LL = { Not = {}; Unknown = {}; }; }; }; };
  GenericRules = { "No Attribute serial" = {}; Missing = {}; FromShop = {}; FromPerson = {}; Card = {}; };
  RuleSets = { SpecialRuleSet = {
    First = { value = { OnPass = "first, when it passes"; OnFail = "first, when it fails"; }; };
    Second = { value = { OnPass = "second, when it passes"; OnFail = "second, when it fails"; }; }; }; };
})";

constexpr std::string_view kSources =
    R"({ sfc = { serial = "c02 and more than fits"; }; gui = { serial = "C02 and more than fits"; }; })";

Dictionary device() {
  Dictionary device = packedDevice();
  device.set("serial", "C02 and more than fits");
  device.set("ModelNumber", "MD123");
  device.set("RegionInfo", "LL");
  device.set("IntegratedCircuitCardIdentity", "8901260000000000000");
  return device;
}

Value outcome(const std::optional<Array>& records, const std::optional<Error>& error) {
  return Array::of(records ? Value(*records) : Value("absent"), error ? error->localizedDescription() : "no error");
}

TEST(OutOfMemoryTest, CheckRuns) {
  const TemporaryFile library(kLibrary);
  const auto platform = std::make_shared<TrustingPlatform>();
  const auto kernel = kernelFrom(kLibrary);
  const auto malformed =
      kernelFrom("{ version = 1; Prefix = { attribute = serial; predicate = \"hasPrefix XOR b\"; }; }");
  const Dictionary local = parsedDictionary(kLocal);
  const Dictionary sources = parsedDictionary(kSources);
  const Dictionary attributes = device();
  const Dictionary elsewhere{{"ModelNumber", "MD123"}, {"RegionInfo", "a region that nobody knows"}};
  const Dictionary untrusted{{"untrusted", "yes"}};
  const auto checking = [&](const ZRTTavikKernel& with, const Dictionary& of, const Dictionary* rules) {
    std::optional<Error> error;
    const auto records = with.check(of, rules, &sources, error);
    return outcome(records, error);
  };
  const auto prepared = kernel->prepare(&local);
  const auto preparedOutcome = [&](const PreparedRules& rules) {
    std::optional<Error> error;
    const auto records = rules.check(attributes, &sources, nullptr, error);
    return outcome(records, error);
  };
  using List =
      std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary&, const Dictionary&, std::optional<Error>&) const;
  const auto listing = [&](List list, const Dictionary& rules) {
    std::optional<Error> error;
    const auto entries = (*kernel.*list)(rules, attributes, error);
    return entries ? Value(*entries) : Value(error->localizedDescription());
  };
  exhaustAll({
      {"init", [&] { return Value(ZRTTavikKernel::init(library.path(), platform) != nullptr); }},
      {"init without a file", [&] { return Value(ZRTTavikKernel::init("/no/such/file", platform) != nullptr); }},
      {"check", [&] { return checking(*kernel, attributes, &local); }},
      {"check without rules", [&] { return checking(*kernel, attributes, nullptr); }},
      {"check with rules that are not trusted", [&] { return checking(*kernel, attributes, &untrusted); }},
      {"check in an unknown region", [&] { return checking(*kernel, elsewhere, &local); }},
      {"check with a malformed expression", [&] { return checking(*malformed, attributes, &local); }},
      {"prepare and check", [&] { return preparedOutcome(*kernel->prepare(&local)); }},
      {"check with rules prepared before", [&] { return preparedOutcome(*prepared); }},
      {"prepare without rules", [&] { return preparedOutcome(*kernel->prepare(nullptr)); }},
      {"sfcCheckList", [&] { return listing(&ZRTTavikKernel::sfcCheckList, local); }},
      {"guiCheckList", [&] { return listing(&ZRTTavikKernel::guiCheckList, local); }},
      {"simCheckList", [&] { return listing(&ZRTTavikKernel::simCheckList, local); }},
      {"getDomainList", [&] { return listing(&ZRTTavikKernel::getDomainList, local); }},
      {"getPollingList", [&] { return listing(&ZRTTavikKernel::getPollingList, local); }},
      {"a list from rules that are not trusted", [&] { return listing(&ZRTTavikKernel::guiCheckList, untrusted); }},
  });
  const Value records = checking(*kernel, attributes, &local);
  EXPECT_EQ(records.ifArray()->at(0).ifArray()->size(), 14U);
  EXPECT_EQ(attributes, device());
  EXPECT_EQ(local, parsedDictionary(kLocal));
  EXPECT_EQ(sources, parsedDictionary(kSources));
}

// A run that ends for want of memory leaves the station dictionary as some rule left it: never one rule's "OnFail"
// without its "OnPass".
TEST(OutOfMemoryTest, TheStationDictionaryIsNeverHalfWritten) {
  const auto kernel = kernelFrom(kLibrary);
  const Dictionary local = parsedDictionary(kLocal);
  const Dictionary sources = parsedDictionary(kSources);
  const Dictionary attributes = device();
  forEveryRequest("check", [&](std::size_t refused, bool onlyOne) {
    Dictionary station = entries(3);  // room for one more
    std::optional<Error> error;
    runs(refused, onlyOne, [&] { static_cast<void>(kernel->check(attributes, &local, &sources, &station, error)); });
    const std::string_view pass = station.findString("OnPass").value_or("");
    const std::string_view fail = station.findString("OnFail").value_or("");
    EXPECT_EQ(pass.substr(0, pass.find(',')), fail.substr(0, fail.find(',')));
  });
}

TEST(OutOfMemoryTest, Predicates) {
  struct Case {
    const char* expression;
    const char* attribute;
    const char* value;
    const char* references = nullptr;
  };
  // Each takes the long way: kinds that it is made for, texts that do not lie in place.
  const Case cases[] = {
      {"MPN4CCheck AND MPNCCCCheck", "\"a serial number of some length ABCD\"", "\"a code that is no code\""},
      {"MPN4CListCheck OR MPN4EListCheck", "\"a serial number of some length\"", "(ABCD, \"and a code too long\")"},
      {"NOT MPN4ECheck", "\"a serial number of some length\"", "\"a code that is no code\""},
      {"boolEqual", "\"a text that is no boolean\"", "\"yes, or what stands for yes\""},
      {"caseInsensitiveEqualData", "<000102030405060708090a0b0c0d0e0f>", "\"000102030405060708090A0B0C0D0E0F\""},
      {"caseInsensitiveEqual", "\"as long as the other one\"", "\"AS LONG AS THE OTHER ONE\""},
      {"cccNandSizeCheck", "64000000000", "{ BCD = 64; }", "{ SerialNumber = \"a serial number ABCD\"; }"},
      {"checkEEEFCCIDTable", "\"a board number\"", "{ fcc = (num); }", "{ FCCID = fcc; }"},
      {"checkIMEIfromGUI", "\"3500000000000012345\"", "\" 2345 and more than that \""},
      {"checkWifiVendorAgainst4E", "\"a b vendor=name\"", "{ name = (\"an EEE code\", umbe); }",
       "{ MLBSerialNumber = \"a long board number\"; }"},
      {"checkWifiVendorAgainstEEE", "\"a b vendor=name\"", "{ name = (\"an EEE code\", rdn); }",
       "{ MLBSerialNumber = \"a long board number\"; }"},
      {"combinedMPNRCCheck", "x", "x", "{ ModelNumber = a; }"},
      {"contains", "\"a text that holds another text\"", "\"holds another text\""},
      {"contains", "\"a text that holds none so long\"",
       "\"a text that is longer than any for which a plain search would do, so that it is searched in linear time\""},
      {"controlBitCheck", nullptr, "(0, 1)"},
      {"dataNotNull", "<000102030405060708090a0b0c0d0e0f>", "x"},
      {"equal AND equalLong", "\"12345678901234567890\"", "\"12345678901234567890\""},
      {"equalData", "<000102030405060708090a0b0c0d0e0f>", "\"<00010203 04050607 08090a0b 0c0d0e0f>\""},
      {"equalMask", "<0ff00ff0>", "{ Mask = <ff00ff00>; Result = <0f000f00>; }"},
      {"greaterThan", "\"1234567890.123456789\"", "\"1234567890.123456788\""},
      {"hasPrefix OR hasSuffix", "\"a text that begins with this\"", "\"a text that begins\""},
      {"isUppercase", "\"a text that is not upper case \\U00e9\"", "x"},
      {"nandSizeCheck AND minimumNandSize", "64000000000", "\"64 gigabytes as it stands\""},
      {"nvramWhiteList", "{ \"a variable of some length\" = 1; b = 2; }", "(b, \"a variable of some length\")"},
      {"referenceHasPrefix", "\"a text that begins with this\"", "\"a text that begins with this, and more\""},
      {"sendConditionalAttribute", "\"in the list, as it should be\"",
       "{ list = (\"in the list, as it should be\"); match = { OnPass = 1; }; nonMatch = { OnFail = 2; }; }"},
      {"sendStaticAttribute", "x", "{ OnPass = \"a text to send when it passes\"; }"},
      {"staticTextGUIEquals", "x", "\"as long as the other one\"", "{ a = \"AS LONG AS THE OTHER ONE\"; }"},
      {"staticTextGUIEquals", "x", "a", "{ a = \"a text that is much too long\"; b = 2; }"},
      {"swbhRegionMatch", "\"the behaviour of a region\"",
       "{ nospecial = { countryList = (XX); behavior = 1; }; special = { LL = \"the behaviour of a region\"; }; }",
       "{ RegionInfo = \"LL/A\"; }"},
      {"systemPartitionSizeCheck OR varnockSystemPartitionSizeCheck", "1073741824000000", "\"1024000000 mebibytes\""},
      {"validIMEI", "\"350000000000001\"", "(\"99999999999999999999\", 35)"},
      {"valueInList", "(\"one that is in the list\", b)", "(a, b, \"one that is in the list\")"},
      {"nobodysPredicate", "x", "x"},
      {"three words too many", "x", "x"},
      {"hasPrefix XOR hasSuffix", "x", "x"},
      {"greaterThan", "{ a = (\"of a kind that\", it, \"does not expect\"); }", "(1, 2)"},
      {"MPN4CCheck", "abc", "x"},  // too short: a fault
  };
  const PredicateKernel kernel(std::make_shared<TrustingPlatform>());
  for (const Case& c : cases) {
    const Value attribute = c.attribute != nullptr ? parsed(c.attribute) : dataOf(std::string(64 + 2 * 32, '\x41'));
    const Value value = parsed(c.value);
    const auto references = c.references != nullptr ? std::optional(parsedDictionary(c.references)) : std::nullopt;
    exhaust({c.expression, [&]() -> Value {
               std::optional<Error> error;
               try {
                 const auto tree = AbstractTreeNode::parsePredicateString(c.expression, kernel, error);
                 if (tree == nullptr) return error->localizedDescription();
                 return *tree->process(&attribute, &value, references ? &*references : nullptr);
               } catch (const std::out_of_range& fault) {
                 return std::string_view(fault.what());
               }
             }});
  }
  const Value list = Array::of(text("a"), "b");
  const Value sizes = Dictionary{{"BCD", Value(64)}};
  const Dictionary phone{{"SerialNumber", "a serial number of some length ABCD"}, {"TotalDiskCapacity", "64000000000"}};
  const Value variables = Dictionary{{text("a"), "1"}};
  exhaustAll({
      {"valueInListDescription", [&] { return Value(ZRTTavikKernel::valueInListDescription(&list, &list)); }},
      {"nandSizeCheckDescription", [&] { return Value(ZRTTavikKernel::nandSizeCheckDescription(phone, &sizes)); }},
      {"nvramWhiteListDescription",
       [&] { return Value(ZRTTavikKernel::nvramWhiteListDescription(&variables, &list)); }},
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

TEST(OutOfMemoryTest, ValuesThroughTheCInterface) {
  const std::string xml = bytesOf(everyKind(), PropertyListFormat::kXml);
  const c::OwnedValue all = c::handleOf(everyKind());
  exhaustAll({
      {"building and reading", [] { return c::valueOf(c::handleOf(everyKind())); }},
      {"describing", [&] { return fromC([&](auto value, auto) { return tavik_value_describe(all, value); }); }},
      {"reading XML",
       [&] {
         return fromC(
             [&](auto value, auto error) { return tavik_property_list_read(xml.data(), xml.size(), value, error); });
       }},
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
  });
  // A container that cannot be changed stays as it was.
  for (const bool shared : {false, true}) {
    forEveryRequest("tavik_dictionary_set", [&](std::size_t refused, bool onlyOne) {
      const c::OwnedValue handle = c::handleOf(entries(16));
      const Value copy = shared ? c::valueOf(handle) : Value();
      c::OwnedValue other;
      if (shared) c::done(tavik_value_copy(handle, other.out()));
      const bool ended = runs(refused, onlyOne, [&] {
        c::done(tavik_dictionary_set_string(handle, text("new").c_str(), "a value that is too long to lie in place"));
      });
      EXPECT_EQ(c::dictionaryOf(handle).size(), ended ? 17U : 16U);
      EXPECT_EQ(shared ? c::valueOf(other) : Value(), copy);
    });
  }
}

// As TrustingPlatform.
void trustThroughC(c::OwnedPlatform& platform) {
  static std::size_t characters = 0;
  tavik_platform_callbacks callbacks = {};
  callbacks.struct_size = sizeof callbacks;
  callbacks.user_data = &characters;
  callbacks.validate = [](void*, const tavik_value* document, const char*, tavik_verdict* verdict) {
    const char* reason = nullptr;
    std::size_t length = 0;
    if (tavik_dictionary_get_string(document, "untrusted", &reason, &length) == TAVIK_OK) {
      tavik_verdict_refuse(verdict, reason, length);
    } else {
      tavik_verdict_trust(verdict, document);
    }
  };
  callbacks.log = [](void* data, const char*, std::size_t length) { *static_cast<std::size_t*>(data) += length; };
  c::done(tavik_platform_new(&callbacks, platform.out()));
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

TEST(OutOfMemoryTest, ChecksThroughTheCInterface) {
  const TemporaryFile library(kLibrary);
  const TemporaryFile malformed("{ version = 1; Prefix = { attribute = serial; predicate = \"hasPrefix XOR b\"; }; }");
  c::OwnedPlatform platform;
  trustThroughC(platform);
  c::OwnedKernel kernel;
  c::OwnedKernel malformedKernel;
  c::OwnedRules rules;
  const c::OwnedValue local = c::handleOf(parsed(kLocal));
  const c::OwnedValue untrusted = c::handleOf(Dictionary{{"untrusted", "a reason that is too long to lie in place"}});
  const c::OwnedValue sources = c::handleOf(parsed(kSources));
  const c::OwnedValue attributes = c::handleOf(device());
  const c::OwnedValue elsewhere = c::handleOf(Dictionary{{"ModelNumber", "MD123"}, {"RegionInfo", "unheard of"}});
  const c::OwnedValue text = c::handleOf(Value("abc"));
  c::done(tavik_kernel_new(library.path().c_str(), platform, kernel.out(), nullptr));
  c::done(tavik_kernel_new(malformed.path().c_str(), platform, malformedKernel.out(), nullptr));
  c::done(tavik_kernel_prepare(kernel, local, rules.out(), nullptr));
  const auto checking = [&](const tavik_kernel* with, const tavik_value* of, const tavik_value* documents) {
    return fromC([&](auto records, auto error) {
      return tavik_kernel_check(with, of, documents, sources, nullptr, records, error);
    });
  };
  exhaustAll({
      {"check", [&] { return checking(kernel, attributes, local); }},
      {"check with rules that are refused", [&] { return checking(kernel, attributes, untrusted); }},
      {"check in an unknown region", [&] { return checking(kernel, elsewhere, local); }},
      {"check with a malformed expression", [&] { return checking(malformedKernel, attributes, local); }},
      {"check with rules prepared before",
       [&] {
         return fromC([&](auto records, auto error) {
           return tavik_rules_check(rules, attributes, sources, nullptr, records, error);
         });
       }},
      {"a list",
       [&] {
         return fromC([&](auto list, auto error) {
           return tavik_kernel_sfc_check_list(kernel, local, attributes, list, error);
         });
       }},
      {"an expression without a platform",
       [&] {
         return fromC([&](auto record, auto error) {
           return tavik_evaluate("hasPrefix AND hasSuffix", text, nullptr, text, nullptr, record, error);
         });
       }},
      {"a fault",
       [&] {
         return fromC([&](auto record, auto error) {
           return tavik_evaluate("MPN4CCheck", text, nullptr, text, nullptr, record, error);
         });
       }},
      {"a kernel of its own",
       [&]() -> Value {
         c::OwnedPlatform own;
         c::OwnedKernel made;
         c::OwnedRules prepared;
         c::done(tavik_station_platform_new("a path that is too long to lie in place", TAVIK_LOG_NONE, own.out()));
         trustThroughC(own);
         c::done(tavik_kernel_new(library.path().c_str(), own, made.out(), nullptr));
         c::done(tavik_kernel_prepare(made, local, prepared.out(), nullptr));
         return "made";
       }},
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
    exhaustAll({
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
