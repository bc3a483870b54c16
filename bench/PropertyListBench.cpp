// Property lists and JSON: rule libraries of 5 KB, 50 KB and 500 KB of XML read and written in each encoding, compared
// with pugixml's parse of the same XML, and RapidJSON's parse (validating UTF-8) and output of the same JSON. "rules"
// counts the rules of a library, so that encodings of different sizes compare.
//
// Each case runs twice: with glibc's default heap, which returns large free blocks to the system and requests them
// again for every document ("kept" 0), and with a heap that keeps all freed memory ("kept" 1).

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <tavik/Json.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <pugixml.hpp>
#include <random>
#include <string>

namespace {

using tavik::Array;
using tavik::Data;
using tavik::Dictionary;
using tavik::PropertyListFormat;
using tavik::Value;

// Typical contents of rule libraries: a few frequent words, descriptions, lists, numbers, some data.
class LibraryMaker {
 public:
  Dictionary rule() {
    Dictionary rule{{"attribute", oneOf({"SerialNumber", "ModelNumber", "SysCfgData.BHVR", "TotalDiskCapacity",
                                         "BasebandFirmwareVersion", "TouchPanelRevision"})},
                    {"predicate", oneOf({"equal", "equal", "caseInsensitiveEqual", "hasPrefix", "valueInList",
                                         "greaterThan", "hasPrefix AND isUppercase", "NOT (equal OR hasSuffix)"})}};
    switch (random_() % 4) {
      case 0:
        rule.set("value", Value(static_cast<std::int64_t>(random_() % 100000)));
        break;
      case 1:
        rule.set("value", list());
        break;
      case 2:
        rule.set("value", random_() % 8 == 0 ? Value(Data{0xFF, 0, 7, 1, 2, 3, 4, 5, 6, 7, 8, 9}) : Value(code()));
        break;
      default:
        rule.set("references", Array::of(reference()));
    }
    if (random_() % 4 == 0) rule.set("hideResult", Value(true));
    if (random_() % 8 == 0) rule.set("tolerance", Value(static_cast<double>(random_() % 1000) / 16));
    return rule;
  }

  std::string name() {
    return oneOf({"Serial number", "Capacity code", "Board code", "Radio bands", "Front & rear camera",
                  "Housing color"}) +
           " on " + oneOf({"traveller", "label", "board", "d\xC3\xA9tail sheet"}) + " " + std::to_string(++names_);
  }

 private:
  std::string oneOf(std::initializer_list<const char*> texts) { return texts.begin()[random_() % texts.size()]; }
  std::string code() { return "DN" + std::to_string(random_() % 1000000); }
  Array list() {
    Array codes;
    for (std::uint64_t count = 5 + random_() % 16; count > 0; --count) codes.append(code());
    return codes;
  }
  Dictionary reference() {
    return {{"source", oneOf({"sfc", "gui"})},
            {"attribute", oneOf({"serial_number", "mpn", "region_code", "housing_inspection"})},
            {"description", oneOf({"Serial number on the traveller", "Part number of the work order",
                                   "Look at all six sides of the housing, then type ok or scratched"})}};
  }

  std::mt19937_64 random_{5};
  int names_ = 0;
};

struct Library {
  Value value;
  Data xml;
  Data binary;
  std::string text;
  std::string json;
  std::int64_t rules = 0;
};

Data written(const Value& value, PropertyListFormat format) {
  std::string error;
  return writePropertyList(value, format, error).value();
}

Value read(std::span<const std::uint8_t> document) {
  std::string error;
  return tavik::readPropertyList(document, error).value();
}

std::string writtenAsJson(const Value& value) {
  std::string error;
  return tavik::writeJson(value, error).value();
}

Value readAsJson(std::string_view text) {
  std::string error;
  return tavik::readJson(text, error).value();
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

Library makeLibrary(std::size_t xmlSize) {
  LibraryMaker maker;
  Dictionary rules;
  Library library;
  while (library.xml.size() < xmlSize) {
    for (int count = 0; count < 20; ++count) rules.set(maker.name(), maker.rule());
    library.xml = written(rules, PropertyListFormat::kXml);
  }
  library.value = rules;
  library.rules = static_cast<std::int64_t>(rules.size());
  library.binary = written(rules, PropertyListFormat::kBinary);
  library.text = tavik::description(&library.value);
  library.json = writtenAsJson(rules);
  // Verifies that all output reads back equal. Text has no numbers, so descriptions are compared.
  const Value fromText = read(bytesOf(library.text));
  if (read(library.xml.bytes()) != library.value || read(library.binary.bytes()) != library.value ||
      readAsJson(library.json) != library.value || tavik::description(&fromText) != library.text) {
    std::abort();
  }
  return library;
}

// Arguments: kilobytes of XML, and whether the heap keeps freed memory. That setting cannot be undone, so these cases
// run last.
const Library& prepare(const benchmark::State& state) {
  constexpr int kNever = 1 << 30;
  static std::map<std::int64_t, Library> libraries;
  if (state.range(1) != 0 && (mallopt(M_TRIM_THRESHOLD, kNever) == 0 || mallopt(M_MMAP_THRESHOLD, kNever) == 0)) {
    std::abort();
  }
  const auto [library, isNew] = libraries.try_emplace(state.range(0));
  if (isNew) library->second = makeLibrary(static_cast<std::size_t>(state.range(0)) * 1000);
  return library->second;
}

void count(benchmark::State& state, const Library& library, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.SetItemsProcessed(state.iterations() * library.rules);
}

void parseXmlWithPugixml(benchmark::State& state) {
  const Library& library = prepare(state);
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_buffer(library.xml.bytes().data(), library.xml.size())) std::abort();
    benchmark::DoNotOptimize(document);
  }
  count(state, library, library.xml.size());
}

void readDocument(benchmark::State& state, const Library& library, std::span<const std::uint8_t> document) {
  for (auto _ : state) benchmark::DoNotOptimize(read(document));
  count(state, library, document.size());
}

void readXml(benchmark::State& state) {
  const Library& library = prepare(state);
  readDocument(state, library, library.xml.bytes());
}

void readBinary(benchmark::State& state) {
  const Library& library = prepare(state);
  readDocument(state, library, library.binary.bytes());
}

void readText(benchmark::State& state) {
  const Library& library = prepare(state);
  readDocument(state, library, bytesOf(library.text));
}

void writeXml(benchmark::State& state) {
  const Library& library = prepare(state);
  for (auto _ : state) benchmark::DoNotOptimize(written(library.value, PropertyListFormat::kXml));
  count(state, library, library.xml.size());
}

void writeBinary(benchmark::State& state) {
  const Library& library = prepare(state);
  for (auto _ : state) benchmark::DoNotOptimize(written(library.value, PropertyListFormat::kBinary));
  count(state, library, library.binary.size());
}

rapidjson::Document parsedByRapidJson(const std::string& json) {
  rapidjson::Document document;
  if (document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size()).HasParseError()) std::abort();
  return document;
}

void parseJsonWithRapidJson(benchmark::State& state) {
  const Library& library = prepare(state);
  for (auto _ : state) benchmark::DoNotOptimize(parsedByRapidJson(library.json));
  count(state, library, library.json.size());
}

void writeJsonWithRapidJson(benchmark::State& state) {
  const Library& library = prepare(state);
  const rapidjson::Document document = parsedByRapidJson(library.json);
  for (auto _ : state) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    if (!document.Accept(writer)) std::abort();
    benchmark::DoNotOptimize(text.GetString());
  }
  count(state, library, library.json.size());
}

void readJson(benchmark::State& state) {
  const Library& library = prepare(state);
  for (auto _ : state) benchmark::DoNotOptimize(readAsJson(library.json));
  count(state, library, library.json.size());
}

void writeJson(benchmark::State& state) {
  const Library& library = prepare(state);
  for (auto _ : state) benchmark::DoNotOptimize(writtenAsJson(library.value));
  count(state, library, library.json.size());
}

const int kRegistered = [] {
  for (const int kept : {0, 1}) {
    for (const int kilobytes : {5, 50, 500}) {
      for (const auto& [name, function] : {std::pair("parseXmlWithPugixml", &parseXmlWithPugixml),
                                           {"readXml", &readXml},
                                           {"readBinary", &readBinary},
                                           {"readText", &readText},
                                           {"parseJsonWithRapidJson", &parseJsonWithRapidJson},
                                           {"readJson", &readJson},
                                           {"writeXml", &writeXml},
                                           {"writeJsonWithRapidJson", &writeJsonWithRapidJson},
                                           {"writeJson", &writeJson},
                                           {"writeBinary", &writeBinary}}) {
        benchmark::RegisterBenchmark(name, function)->ArgNames({"KB", "kept"})->Args({kilobytes, kept});
      }
    }
  }
  return 0;
}();

}  // namespace

BENCHMARK_MAIN();
