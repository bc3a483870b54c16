// The C interface: every misuse returns a status, and results for random documents equal those of the C++ interface.

#include <tavik/PlatformHandle.h>
#include <tavik/tavik_platform.h>

#include <functional>
#include <limits>
#include <random>

#include "CHandles.h"
#include "CheckAgreement.h"
#include "support/Cases.h"
#include "support/RandomDocuments.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using c::done;
using c::handleOf;
using c::handleOrNull;
using c::OwnedError;
using c::OwnedKernel;
using c::OwnedPlatform;
using c::OwnedRules;
using c::OwnedValue;
using c::valueOf;

// The C interface does not expose the previous error or an error in addition to a fault, and its strings end at a NUL.
std::string seenFromC(CheckTrace outcome) {
  if (!outcome.fault.empty() || (outcome.error && outcome.error->code() == -1)) outcome.error.reset();
  if (outcome.error) {
    const std::string text(outcome.error->localizedDescription());
    outcome.error = Error(static_cast<std::int32_t>(outcome.error->code()), text.c_str());
  }
  outcome.fault = outcome.fault.c_str();
  return outcome.text();
}

// A kernel created through C++ and through C from the same documents.
class BothKernels {
 public:
  BothKernels(const Dictionary& library, std::optional<Dictionary> rules) : rules_(std::move(rules)) {
    Reason why;
    kernel_ = ZRTTavikKernel::init(library, platform_, why);
    OwnedError error;
    const tavik_status status =
        tavik_kernel_new_from_document(handleOf(library), host_.platform(), handle_.out(), error.out());
    EXPECT_EQ(status, kernel_ != nullptr ? TAVIK_OK : TAVIK_REFUSED) << tavik_error_text(error);
    rulesHandle_ = handleOrNull(local());
    if (kernel_ != nullptr) done(tavik_kernel_prepare(handle_, rulesHandle_, prepared_.out(), nullptr));
  }

  [[nodiscard]] bool exists() const { return kernel_ != nullptr; }

  // Compares all results for a device; returns those of the check through C++.
  CheckTrace compare(const Dictionary& device, const Dictionary* sources, bool hasStation) {
    const OwnedValue deviceHandle = handleOf(device);
    const OwnedValue sourcesHandle = handleOrNull(sources);
    CheckTrace checked = traceOf(*platform_, hasStation, [&](Dictionary* station, std::optional<Error>& error) {
      return kernel_->check(device, local(), sources, station, error);
    });
    const std::string text = seenFromC(checked);
    EXPECT_EQ(text, fromC(hasStation, [&](auto... outputs) {
                return tavik_kernel_check(handle_, deviceHandle, rulesHandle_, sourcesHandle, outputs...);
              }));
    EXPECT_EQ(text, fromC(hasStation, [&](auto... outputs) {
                return tavik_rules_check(prepared_, deviceHandle, sourcesHandle, outputs...);
              }));
    if (rules_ && hasStation) compareLists(device, deviceHandle);
    compareOutcomes(kernel_->run(device, local(), sources), deviceHandle, sourcesHandle);
    return checked;
  }

 private:
  [[nodiscard]] const Dictionary* local() const { return rules_ ? &*rules_ : nullptr; }

  // The results of a check through C. `check` is called with station, records and error.
  template <class Check>
  std::string fromC(bool hasStation, Check check) {
    CheckTrace outcome;
    OwnedValue station;
    OwnedValue records;
    OwnedError error;
    if (hasStation) station = handleOf(Dictionary{{"OnPass", "previous"}, {"other", "kept"}});
    host_.lines.clear();
    const tavik_status status = check(static_cast<tavik_value*>(station), records.out(), error.out());
    if (records != nullptr) outcome.records = c::arrayOf(records);
    if (hasStation) outcome.station = c::dictionaryOf(station);
    outcome.lines = host_.lines;
    const std::string text = tavik_error_text(error);
    if (status == TAVIK_FAULT_OUT_OF_RANGE) outcome.fault = "out of range: " + text;
    if (status == TAVIK_FAULT_INVALID_ARGUMENT) outcome.fault = "invalid argument: " + text;
    if (status == TAVIK_ERROR) {
      EXPECT_EQ(tavik_error_domain(error), Error::kDomain);
      outcome.error = Error(static_cast<std::int32_t>(tavik_error_code(error)), text);
    }
    EXPECT_EQ(status == TAVIK_OK, error == nullptr);
    EXPECT_LE(status, TAVIK_FAULT_INVALID_ARGUMENT) << tavik_status_text(status);
    return outcome.text();
  }

  void compareOutcomes(const CheckOutcome& run, const tavik_value* deviceHandle, const tavik_value* sourcesHandle) {
    c::OwnedOutcome outcome;
    OwnedValue records;
    OwnedValue ruleRecords;
    OwnedValue station;
    OwnedError error;
    done(tavik_rules_run(prepared_, deviceHandle, sourcesHandle, nullptr, outcome.out(), nullptr));
    EXPECT_EQ(tavik_outcome_verdict(outcome), static_cast<int>(run.verdict) + TAVIK_PASSED);
    EXPECT_EQ(tavik_outcome_reason(outcome), run.reason ? run.reason->word() : "");
    EXPECT_STREQ(tavik_outcome_description(outcome), run.reason ? run.reason->description.c_str() : "");
    EXPECT_STREQ(tavik_outcome_rule(outcome), run.reason ? run.reason->rule.value_or("").c_str() : "");
    EXPECT_EQ(tavik_outcome_fault(outcome),
              run.fault ? static_cast<int>(run.fault->category) + TAVIK_FAULT_OUT_OF_RANGE : TAVIK_OK);
    done(tavik_outcome_error(outcome, error.out()));
    EXPECT_EQ(tavik_error_code(error), run.error ? run.error->code() : 0);
    EXPECT_EQ(tavik_outcome_records(outcome, records.out()), run.records ? TAVIK_OK : TAVIK_NOT_FOUND);
    if (run.records) {
      EXPECT_EQ(exact::text(valueOf(records)), exact::text(*run.records));
    }
    done(tavik_outcome_rule_records(outcome, ruleRecords.out()));
    EXPECT_EQ(c::arrayOf(ruleRecords).size(), run.ruleRecords().size());
    done(tavik_outcome_station(outcome, station.out()));
    EXPECT_EQ(exact::text(valueOf(station)), exact::text(run.station));
    OwnedValue provenance;
    done(tavik_outcome_provenance(outcome, provenance.out()));
    EXPECT_EQ(exact::text(valueOf(provenance)), exact::text(run.provenance->dictionary()));
  }

  void compareLists(const Dictionary& device, const tavik_value* deviceHandle) {
    using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary&, const Dictionary&,
                                                               std::optional<Error>&) const;
    const std::pair<List, decltype(&tavik_kernel_sfc_check_list)> lists[] = {
        {&ZRTTavikKernel::sfcCheckList, tavik_kernel_sfc_check_list},
        {&ZRTTavikKernel::guiCheckList, tavik_kernel_gui_check_list},
        {&ZRTTavikKernel::simCheckList, tavik_kernel_sim_check_list},
        {&ZRTTavikKernel::getDomainList, tavik_kernel_domain_list},
        {&ZRTTavikKernel::getPollingList, tavik_kernel_polling_list},
    };
    for (const auto& [list, function] : lists) {
      std::optional<Error> error;
      const auto entries = (*kernel_.*list)(*rules_, device, error);
      OwnedValue entriesHandle;
      OwnedError errorHandle;
      const tavik_status status = function(handle_, rulesHandle_, deviceHandle, entriesHandle.out(), errorHandle.out());
      EXPECT_EQ(status, entries ? TAVIK_OK : TAVIK_ERROR);
      EXPECT_EQ(tavik_error_code(errorHandle), error ? error->code() : 0);
      EXPECT_EQ(entriesHandle == nullptr, !entries);
      if (entries && entriesHandle != nullptr) {
        EXPECT_EQ(exact::text(valueOf(entriesHandle)), exact::text(*entries));
      }
    }
  }

  std::optional<Dictionary> rules_;
  std::shared_ptr<RecordingPlatform> platform_ = std::make_shared<RecordingPlatform>();
  std::unique_ptr<ZRTTavikKernel> kernel_;
  c::CallbackHost host_;
  OwnedKernel handle_;
  OwnedRules prepared_;
  OwnedValue rulesHandle_;
};

TEST(CInterfaceTest, RandomDevices) {
  std::mt19937_64 random(20261122);
  int devices = 0;
  int errors = 0;
  int faults = 0;
  while (devices < 3000 && !HasFailure()) {
    SCOPED_TRACE("device " + std::to_string(devices));
    const RuleDocuments made = randomDocuments(random);
    BothKernels kernels(made.library, made.rules);
    if (!kernels.exists()) continue;
    for (const Dictionary& device : made.devices) {
      const auto outcome = kernels.compare(device, made.sources ? &*made.sources : nullptr, devices++ % 2 == 0);
      if (!outcome.fault.empty()) ++faults;
      if (outcome.error && outcome.error->code() != -1) ++errors;
    }
  }
  EXPECT_GT(errors, 150);
  EXPECT_GT(faults, 150);
}

// A root manifest with one item.
constexpr std::uint8_t kRootManifest[] = {0x30, 0x19, 0x30, 0x0b, 0x06, 0x09, 0x2a, 0x86, 0x48,
                                          0x86, 0xf7, 0x0d, 0x01, 0x01, 0x05, 0x31, 0x05, 0x04,
                                          0x03, 'a',  'b',  'c',  0x04, 0x01, 0x02, 0xa3, 0x00};

TEST(CInterfaceTest, DescriptionsAndDecoders) {
  const Value list = Array::of("a", "b");
  const Dictionary phone{{"SerialNumber", "C02K6470ABCD"}, {"TotalDiskCapacity", Value(64000000000)}};
  const Value sizes = Dictionary{{"BCD", Value(64)}};
  const Value variables = Dictionary{{"a", "1"}, {"c", "2"}};
  const Value text("ok");
  const Dictionary answers{{"question", "OK"}};
  std::string blob(24, '\0');
  blob[20] = 1;
  blob += "#BLMxy" + std::string(14, '\0');
#define EXPECT_GIVEN(call, expected) \
  EXPECT_EQ(exact::text(valueOf(c::made([&](tavik_value** value) { return call; }))), exact::text(expected))
  EXPECT_GIVEN(tavik_value_in_list_description(handleOf(list), nullptr, value, nullptr),
               ZRTTavikKernel::valueInListDescription(&list, nullptr));
  EXPECT_GIVEN(tavik_nand_size_check_description(handleOf(phone), handleOf(sizes), value, nullptr),
               ZRTTavikKernel::nandSizeCheckDescription(phone, &sizes));
  EXPECT_GIVEN(tavik_nvram_white_list_description(handleOf(variables), handleOf(list), value, nullptr),
               ZRTTavikKernel::nvramWhiteListDescription(&variables, &list));
  EXPECT_GIVEN(
      tavik_evaluate("staticTextGUIEquals", handleOf(list), handleOf(answers), handleOf(text), nullptr, value, nullptr),
      ZRTTavikKernel::staticTextGUIEquals(&list, &answers, &text));
  EXPECT_GIVEN(tavik_decode_syscfg(blob.data(), blob.size(), value), (Dictionary{{"MLB#", "xy"}}));
  EXPECT_GIVEN(tavik_decode_control_bits(blob.data(), blob.size(), value), Array());
  EXPECT_GIVEN(tavik_decode_root_manifest(kRootManifest, sizeof kRootManifest, value),
               *ManifestParser::rootDictFromData({{"RootManifestData", Data(kRootManifest)}}));
#undef EXPECT_GIVEN
}

TEST(CInterfaceTest, BuildingAndReadingValues) {
  OwnedValue device;
  done(tavik_value_new_dictionary(device.out()));
  done(tavik_dictionary_set_string(device, "string", "\xC3\xA4"));
  done(tavik_dictionary_set_integer(device, "integer", std::numeric_limits<std::int64_t>::min()));
  done(tavik_dictionary_set_real(device, "real", -0.0));
  done(tavik_dictionary_set_boolean(device, "boolean", 7));
  done(tavik_dictionary_set_data(device, "data", "\0\1", 2));
  done(tavik_dictionary_set_date(device, "date", 0.25));
  done(tavik_dictionary_set(device, "itself\0and more", 15, device));
  const std::string built = exact::text(valueOf(device));
  Dictionary same{{"string", "\u00E4"},  {"integer", Value(std::numeric_limits<std::int64_t>::min())},
                  {"real", Value(-0.0)}, {"boolean", Value(true)},
                  {"data", Data{0, 1}},  {"date", Date::sinceReference(0.25)}};
  same.set(std::string_view("itself\0and more", 15), same);
  EXPECT_EQ(built, exact::text(same));

  const char* text = nullptr;
  const std::uint8_t* bytes = nullptr;
  std::size_t length = 0;
  std::int32_t truth = 0;
  const auto entry = [&]<class Raw>(const char* key, tavik_status (*get)(const tavik_value*, const char*, Raw*)) {
    Raw raw = {};
    done(get(device, key, &raw));
    return raw;
  };
  done(tavik_dictionary_get_string(device, "string", &text, &length));
  EXPECT_EQ(std::string_view(text, length), "\u00E4");
  done(tavik_dictionary_get_data(device, "data", &bytes, &length));
  EXPECT_EQ(Data(std::span(bytes, length)), (Data{0, 1}));
  EXPECT_EQ(entry("integer", tavik_dictionary_get_integer), std::numeric_limits<std::int64_t>::min());
  EXPECT_TRUE(std::signbit(entry("real", tavik_dictionary_get_real)));
  EXPECT_EQ(entry("boolean", tavik_dictionary_get_boolean), 1);
  EXPECT_EQ(entry("date", tavik_dictionary_get_date), 0.25);

  OwnedValue copy;
  OwnedValue taken;
  done(tavik_value_copy(device, copy.out()));
  done(tavik_dictionary_get(copy, "itself\0and more", 15, taken.out()));
  done(tavik_dictionary_erase(taken, "string", TAVIK_TO_NUL));
  done(tavik_dictionary_erase(copy, "date", 4));
  EXPECT_EQ(exact::text(valueOf(device)), built) << "copies are independent";
  EXPECT_EQ(tavik_value_equal(device, copy, &truth), TAVIK_OK);
  EXPECT_EQ(truth, 0);
  const OwnedValue array = handleOf(Array::of("x"));
  done(tavik_array_append(array, array));
  done(tavik_array_set(array, 0, array));
  EXPECT_EQ(valueOf(array), Value(Array::of(Array::of("x", Array::of("x")), Array::of("x"))))
      << "the array before the call";
  OwnedValue nothing;
  done(tavik_value_describe(nullptr, nothing.out()));
  EXPECT_EQ(c::stringOf(nothing), "(null)");
  OwnedValue visible;
  done(tavik_visible_text("a\x1b\n\0b", 4, visible.out()));
  EXPECT_EQ(c::stringOf(visible), R"(a\x1b\n\x00)");
}

TEST(CInterfaceTest, PropertyLists) {
  const Value value = Dictionary{{"a", Array::of(Value(1), Value(1.0), Value(true), Data{1, 2})}};
  OwnedValue read;
  OwnedError error;
  for (const std::int32_t format : {TAVIK_FORMAT_XML, TAVIK_FORMAT_BINARY}) {
    const Value document =
        valueOf(c::made([&](auto out) { return tavik_property_list_write(handleOf(value), format, out, nullptr); }));
    const std::string bytes(document.ifData()->bytes().begin(), document.ifData()->bytes().end());
    EXPECT_EQ(bytes.substr(0, 5), format == TAVIK_FORMAT_XML ? "<?xml" : "bplis");
    done(tavik_property_list_read(bytes.data(), bytes.size(), read.out(), nullptr));
    EXPECT_EQ(exact::text(valueOf(read)), exact::text(value));
    done(tavik_property_list_read_file(TemporaryFile(bytes).path().c_str(), read.out(), nullptr));
    EXPECT_EQ(exact::text(valueOf(read)), exact::text(value));
  }
  EXPECT_EQ(tavik_property_list_read("{ a = 1;\n a = 2; }", 18, read.out(), error.out()), TAVIK_REFUSED);
  EXPECT_THAT(tavik_error_text(error), testing::StartsWith("line 2, column 2: "));
  EXPECT_STREQ(tavik_error_domain(error), "Tavik C Interface");
  EXPECT_EQ(tavik_error_code(error), TAVIK_REFUSED);
}

TEST(CInterfaceTest, Json) {
  OwnedValue value;
  OwnedValue text;
  OwnedError error;
  done(tavik_json_read("[1, {}] ?", 8, value.out(), nullptr));
  for (const auto& [layout, expected] :
       {std::pair(TAVIK_JSON_ONE_LINE, "[1, {}]"), std::pair(TAVIK_JSON_INDENTED, "[\n  1,\n  {}\n]")}) {
    done(tavik_json_write(value, layout, text.out(), nullptr));
    EXPECT_EQ(c::stringOf(text), expected);
  }
  EXPECT_EQ(tavik_json_read("[1,\n\"\xFF\"]", TAVIK_TO_NUL, value.out(), error.out()), TAVIK_REFUSED);
  EXPECT_STREQ(tavik_error_text(error), "line 2, column 2 ([1]): invalid UTF-8");
}

// No call may crash, return a handle, or change its arguments.
TEST(CInterfaceTest, Misuse) {
  c::CallbackHost host;
  const OwnedPlatform platform = host.platform();
  const TemporaryFile file("{ version = 1; A = { attribute = a; predicate = hasPrefix; }; }");
  OwnedKernel kernel;
  OwnedRules rules;
  done(tavik_kernel_new(file.path().c_str(), platform, kernel.out(), nullptr));
  done(tavik_kernel_prepare(kernel, nullptr, rules.out(), nullptr));
  const OwnedValue string = handleOf(Value("text"));
  const OwnedValue integer = handleOf(Value(5));
  const OwnedValue farDate = handleOf(Value(Date::sinceReference(1e15)));
  const OwnedValue array = handleOf(Value(Array::of("element")));
  const OwnedValue dictionary = handleOf(Value(Dictionary{{"k", "v"}}));
  // Handles of the wrong type.
  auto* const noValue = reinterpret_cast<tavik_value*>(static_cast<tavik_kernel*>(kernel));
  auto* const noKernel = reinterpret_cast<tavik_kernel*>(static_cast<tavik_value*>(string));
  auto* const noRules = reinterpret_cast<tavik_rules*>(static_cast<tavik_kernel*>(kernel));
  auto* const noPlatform = reinterpret_cast<tavik_platform*>(static_cast<tavik_rules*>(rules));
  auto* const noVerdict = reinterpret_cast<tavik_verdict*>(static_cast<tavik_value*>(string));

  tavik_value* value = nullptr;
  tavik_kernel* madeKernel = nullptr;
  tavik_rules* madeRules = nullptr;
  tavik_platform* madePlatform = nullptr;
  tavik_error* error = nullptr;
  const char* text = nullptr;
  const std::uint8_t* bytes = nullptr;
  std::size_t size = 0;
  std::int64_t number = 0;
  double real = 0;
  std::int32_t truth = 0;
  tavik_platform_callbacks noValidate = {};
  noValidate.struct_size = sizeof noValidate;
  struct {
    tavik_platform_callbacks known;
    void* added;
  } future = {};
  future.known.struct_size = sizeof future;
  future.known.validate = [](void*, const tavik_value*, const char*, tavik_verdict*) {};
  future.added = &future;
  tavik_platform_callbacks wrongSize = future.known;
  wrongSize.struct_size = sizeof wrongSize - 1;
  tavik_platform_callbacks hugeSize = future.known;
  hugeSize.struct_size = std::numeric_limits<std::size_t>::max();
  const auto released = [&](auto* handle, auto release) { return release(&handle); };

  struct Case {
    const char* call;
    tavik_status status;
    std::function<tavik_status()> run;
  };
#define CASE(status, call)              \
  Case {                                \
#call, status, [&] { return call; } \
  }
  const Case cases[] = {
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_new_string(nullptr, 1, &value)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_new_string("x", 1, nullptr)),
      CASE(TAVIK_NOT_UTF8, tavik_value_new_string("a\xFF", TAVIK_TO_NUL, &value)),
      CASE(TAVIK_NOT_UTF8, tavik_value_new_string("\xED\xA0\x80", 3, &value)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_new_data(nullptr, 1, &value)),
      CASE(TAVIK_BAD_ARGUMENT, tavik_value_new_data("x", SIZE_MAX, &value)),
      CASE(TAVIK_BAD_HANDLE, tavik_value_copy(noValue, &value)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_release(nullptr)),
      CASE(TAVIK_BAD_HANDLE, released(noValue, tavik_value_release)),
      CASE(TAVIK_BAD_HANDLE, released(noKernel, tavik_kernel_release)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_get_kind(nullptr, &truth)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_get_kind(string, nullptr)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_get_string(string, nullptr, &size)),
      CASE(TAVIK_WRONG_KIND, tavik_value_get_string(integer, &text, &size)),
      CASE(TAVIK_WRONG_KIND, tavik_value_get_integer(string, &number)),
      CASE(TAVIK_WRONG_KIND, tavik_value_get_data(string, &bytes, &size)),
      CASE(TAVIK_WRONG_KIND, tavik_value_get_date(integer, &real)),
      CASE(TAVIK_WRONG_KIND, tavik_value_get_count(string, &size)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_value_equal(string, nullptr, &truth)),
      CASE(TAVIK_INDEX_OUT_OF_RANGE, tavik_array_get(array, 1, &value)),
      CASE(TAVIK_INDEX_OUT_OF_RANGE, tavik_array_set(array, 1, string)),
      CASE(TAVIK_WRONG_KIND, tavik_array_set(string, 0, string)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_array_append(array, nullptr)),
      CASE(TAVIK_WRONG_KIND, tavik_dictionary_keys(array, &value)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_dictionary_get(dictionary, nullptr, 1, &value)),
      CASE(TAVIK_NOT_FOUND, tavik_dictionary_get(dictionary, "x", 1, &value)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_dictionary_set(dictionary, "n", 1, nullptr)),
      CASE(TAVIK_NOT_UTF8, tavik_dictionary_set(dictionary, "\x80", 1, string)),
      CASE(TAVIK_BAD_HANDLE, tavik_dictionary_set(noValue, "n", 1, string)),
      CASE(TAVIK_NOT_FOUND, tavik_dictionary_erase(dictionary, "x", 1)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_dictionary_set_string(dictionary, "n", nullptr)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_dictionary_set_data(dictionary, "n", nullptr, 1)),
      CASE(TAVIK_NOT_FOUND, tavik_dictionary_get_string(dictionary, "x", &text, &size)),
      CASE(TAVIK_WRONG_KIND, tavik_dictionary_get_integer(dictionary, "k", &number)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_dictionary_get_real(dictionary, "x", nullptr)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_dictionary_get_data(dictionary, nullptr, &bytes, &size)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_property_list_read(nullptr, 1, &value, &error)),
      CASE(TAVIK_REFUSED, tavik_property_list_read(nullptr, 0, &value, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_property_list_read_file(nullptr, &value, &error)),
      CASE(TAVIK_BAD_ARGUMENT, tavik_property_list_write(string, 3, &value, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_json_read(nullptr, TAVIK_TO_NUL, &value, &error)),
      CASE(TAVIK_REFUSED, tavik_json_read(nullptr, 0, &value, &error)),
      CASE(TAVIK_BAD_ARGUMENT, tavik_json_write(string, 3, &value, &error)),
      CASE(TAVIK_REFUSED, tavik_json_write(farDate, TAVIK_JSON_ONE_LINE, &value, &error)),
      CASE(TAVIK_REFUSED, tavik_property_list_write(farDate, TAVIK_FORMAT_XML, &value, &error)),
      CASE(TAVIK_REFUSED, tavik_property_list_read_file("/no/such/file", &value, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_verdict_trust(nullptr, string)),
      CASE(TAVIK_BAD_HANDLE, tavik_verdict_trust(noVerdict, string)),
      CASE(TAVIK_BAD_HANDLE, tavik_verdict_refuse(noVerdict, "x", 1)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_platform_new(nullptr, &madePlatform)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_platform_new(&noValidate, &madePlatform)),
      CASE(TAVIK_BAD_ARGUMENT, tavik_platform_new(&future.known, &madePlatform)),
      CASE(TAVIK_BAD_ARGUMENT, tavik_platform_new(&wrongSize, &madePlatform)),
      CASE(TAVIK_BAD_ARGUMENT, tavik_platform_new(&hugeSize, &madePlatform)),
      CASE(TAVIK_NULL_ARGUMENT, makePlatformHandle(nullptr, &madePlatform)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_kernel_new(nullptr, platform, &madeKernel, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_kernel_new("/x", nullptr, &madeKernel, &error)),
      CASE(TAVIK_BAD_HANDLE, tavik_kernel_new("/x", noPlatform, &madeKernel, &error)),
      CASE(TAVIK_REFUSED, tavik_kernel_new("/no/such/file", platform, &madeKernel, &error)),
      CASE(TAVIK_BAD_HANDLE, tavik_kernel_check(noKernel, dictionary, nullptr, nullptr, nullptr, &value, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_kernel_check(kernel, nullptr, nullptr, nullptr, nullptr, &value, &error)),
      CASE(TAVIK_WRONG_KIND, tavik_kernel_check(kernel, dictionary, string, nullptr, nullptr, &value, &error)),
      CASE(TAVIK_WRONG_KIND, tavik_kernel_check(kernel, dictionary, nullptr, nullptr, integer, &value, &error)),
      CASE(TAVIK_WRONG_KIND, tavik_kernel_prepare(kernel, string, &madeRules, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_kernel_prepare(kernel, nullptr, nullptr, &error)),
      CASE(TAVIK_BAD_HANDLE, tavik_rules_check(noRules, dictionary, nullptr, nullptr, &value, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_kernel_sfc_check_list(kernel, nullptr, dictionary, &value, &error)),
      CASE(TAVIK_BAD_HANDLE, tavik_kernel_domain_list(noKernel, dictionary, dictionary, &value, &error)),
      CASE(TAVIK_NULL_ARGUMENT, tavik_evaluate(nullptr, string, nullptr, string, nullptr, &value, &error)),
      CASE(TAVIK_ERROR, tavik_evaluate("a b c d", string, nullptr, string, nullptr, &value, &error)),
      CASE(TAVIK_BAD_HANDLE, tavik_evaluate("equal", string, nullptr, string, noPlatform, &value, &error)),
      CASE(TAVIK_FAULT_OUT_OF_RANGE,
           tavik_evaluate("MPN4CCheck", handleOf(Value("abc")), nullptr, string, nullptr, &value, &error)),
      CASE(TAVIK_FAULT_INVALID_ARGUMENT,
           tavik_evaluate("sendStaticAttribute", string, nullptr, nullptr, platform, &value, &error)),
      CASE(TAVIK_BAD_HANDLE, tavik_value_in_list_description(noValue, string, &value, &error)),
      CASE(TAVIK_REFUSED, tavik_decode_provisioning_manifest(kRootManifest, sizeof kRootManifest, &value)),
  };
#undef CASE
  for (const Case& c : cases) {
    SCOPED_TRACE(c.call);
    const OwnedValue stale = handleOf(Value("previous contents of outputs"));
    value = stale;
    const bool hasError = std::string_view(c.call).ends_with("&error)");
    EXPECT_STREQ(tavik_status_text(c.run()), tavik_status_text(c.status));
    const bool givesValue = std::string_view(c.call).find("&value") != std::string_view::npos;
    EXPECT_EQ(value, givesValue ? nullptr : static_cast<tavik_value*>(stale));
    EXPECT_TRUE(madeKernel == nullptr && madeRules == nullptr && madePlatform == nullptr);
    EXPECT_EQ(error != nullptr, hasError);
    EXPECT_EQ(*tavik_error_text(error) != '\0', hasError);
    done(tavik_error_release(&error));
  }
  EXPECT_EQ(valueOf(array), Value(Array::of("element")));
  EXPECT_EQ(valueOf(dictionary), Value(Dictionary{{"k", "v"}}));
  EXPECT_EQ(tavik_error_code(nullptr), 0);
  for (const auto* outcome : {static_cast<tavik_outcome*>(nullptr), reinterpret_cast<tavik_outcome*>(noValue)}) {
    EXPECT_EQ(tavik_outcome_verdict(outcome), TAVIK_NO_VERDICT);
    EXPECT_STREQ(tavik_outcome_reason(outcome), "");
  }
  EXPECT_STREQ(tavik_error_text(reinterpret_cast<tavik_error*>(noValue)), "");
  EXPECT_STREQ(tavik_status_text(-1), "unknown status");
  EXPECT_STREQ(tavik_status_text(TAVIK_INTERNAL + 1), "unknown status");

  tavik_value* twice = nullptr;
  done(tavik_value_copy(dictionary, &twice));
  EXPECT_EQ(tavik_value_release(&twice), TAVIK_OK);
  EXPECT_EQ(tavik_value_release(&twice), TAVIK_OK);
}

// Callbacks: what they may return, how the kernel treats it, and which calls they must not make.
TEST(CInterfaceTest, PlatformCallbacks) {
  using Validate = decltype(tavik_platform_callbacks::validate);
  struct Host {
    Validate validate;  // called from the second document on
    int documents = 0;
    int releases = 0;
    const tavik_kernel* kernel = nullptr;
  };
  struct Case {
    const char* why;
    Validate validate;
    const char* actual;  // of the record with the reason for no check; null: the rules are checked
  };
  const Case cases[] = {
      {"no verdict", [](void*, const tavik_value*, const char*, tavik_verdict*) {}, "the platform gave no verdict"},
      {"refused, then trusted",
       [](void*, const tavik_value* document, const char*, tavik_verdict* verdict) {
         EXPECT_EQ(tavik_verdict_refuse(verdict, "not \xFF ours", TAVIK_TO_NUL), TAVIK_OK);
         EXPECT_EQ(tavik_verdict_trust(verdict, document), TAVIK_BAD_ARGUMENT);
       },
       "not \uFFFD ours"},
      {"trusted, then refused with a null reason",
       [](void*, const tavik_value* document, const char*, tavik_verdict* verdict) {
         EXPECT_EQ(tavik_verdict_trust(verdict, document), TAVIK_OK);
         EXPECT_EQ(tavik_verdict_refuse(verdict, nullptr, 1), TAVIK_NULL_ARGUMENT);
       },
       ""},
      {"trusted a null document",
       [](void*, const tavik_value*, const char*, tavik_verdict* verdict) {
         EXPECT_EQ(tavik_verdict_trust(verdict, nullptr), TAVIK_NULL_ARGUMENT);
       },
       "the platform gave no verdict"},
      {"trusted; the document can be neither changed nor released",
       [](void* data, const tavik_value* document, const char* path, tavik_verdict* verdict) {
         EXPECT_STREQ(path, ZRTTavikKernel::kPublicKeyPath);
         auto* borrowed = const_cast<tavik_value*>(document);
         tavik_value* records = nullptr;
         const tavik_kernel* kernel = static_cast<Host*>(data)->kernel;
         EXPECT_EQ(tavik_kernel_check(kernel, document, nullptr, nullptr, borrowed, &records, nullptr),
                   TAVIK_BAD_HANDLE);
         EXPECT_EQ(tavik_dictionary_set_integer(borrowed, "version", 9), TAVIK_BAD_HANDLE);
         EXPECT_EQ(tavik_value_release(&borrowed), TAVIK_BAD_HANDLE);
         EXPECT_EQ(tavik_verdict_trust(verdict, document), TAVIK_OK);
       },
       nullptr},
  };
  const TemporaryFile file("{ version = 1; A = { attribute = a; predicate = hasPrefix; value = x; }; }");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Host host{c.validate};
    tavik_platform_callbacks callbacks = {};
    callbacks.struct_size = sizeof callbacks;
    callbacks.user_data = &host;
    callbacks.validate = [](void* data, const tavik_value* document, const char* path, tavik_verdict* verdict) {
      auto* const self = static_cast<Host*>(data);
      if (self->documents++ == 0) return done(tavik_verdict_trust(verdict, document));
      self->validate(data, document, path, verdict);
    };
    callbacks.release = [](void* data) { ++static_cast<Host*>(data)->releases; };
    OwnedPlatform platform;
    OwnedKernel kernel;
    OwnedRules rules;
    OwnedValue records;
    done(tavik_platform_new(&callbacks, platform.out()));
    done(tavik_kernel_new(file.path().c_str(), platform, kernel.out(), nullptr));
    host.kernel = kernel;
    platform = OwnedPlatform();
    const OwnedValue local = handleOf(parsed("{ version = 2; GenericRules = { A = {}; }; }"));
    done(tavik_kernel_prepare(kernel, local, rules.out(), nullptr));
    kernel = OwnedKernel();
    EXPECT_EQ(host.releases, 0) << "in use by the rules";
    done(tavik_rules_check(rules, handleOf(Dictionary{{"a", "xyz"}}), nullptr, nullptr, records.out(), nullptr));
    const Array made = c::arrayOf(records);
    if (c.actual != nullptr) {
      EXPECT_EQ(made.size(), 1U);
      EXPECT_THAT(description(made.at(0).ifDictionary()->find("actual")), testing::HasSubstr(c.actual));
    } else {
      EXPECT_EQ(lineOf(*made.at(3).ifDictionary()), "A: pass, xyz, has prefix x");
    }
    rules = OwnedRules();
    EXPECT_EQ(host.releases, 1);
  }
}

// The same handle as device, sources and station, and a platform implemented in C++.
TEST(CInterfaceTest, OneHandleForSeveralArguments) {
  const TemporaryFile file("{ version = 1; A = { attribute = a; predicate = sendStaticAttribute; }; }");
  OwnedPlatform platform;
  OwnedKernel kernel;
  OwnedValue records;
  done(makePlatformHandle(std::make_shared<RecordingPlatform>(), platform.out()));
  done(tavik_kernel_new(file.path().c_str(), platform, kernel.out(), nullptr));
  const OwnedValue local =
      handleOf(parsed("{ version = 2; GenericRules = { A = { value = { OnPass = p; OnFail = f; }; }; }; }"));
  const OwnedValue all = handleOf(Dictionary{{"a", "b"}});
  done(tavik_kernel_check(kernel, all, local, all, all, records.out(), nullptr));
  EXPECT_EQ(valueOf(all), Value(Dictionary{{"a", "b"}, {"OnPass", "p"}, {"OnFail", "f"}}));
  EXPECT_EQ(c::arrayOf(records).size(), 4U);
}

}  // namespace
}  // namespace tavik
