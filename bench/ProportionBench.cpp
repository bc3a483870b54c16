// Peak memory and time per byte of input, for the worst inputs known. Time is measured for two sizes, the second an
// eighth of the first: if it is linear, the time per byte is the same.
//
//   ProportionBench [MEGABYTES [NAME]]     inputs of about this size (default 4) with NAME in their name
//
// An input is a row of kInputs; a job reads or writes it once. Memory is counted through operator new and delete.

#include <malloc.h>
#include <tavik/DeviceLine.h>
#include <tavik/Json.h>
#include <tavik/TavikKernel.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

std::size_t liveBytes = 0;
std::size_t mostBytes = 0;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  void* block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  liveBytes += malloc_usable_size(block);
  mostBytes = std::max(mostBytes, liveBytes);
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  liveBytes -= malloc_usable_size(block);
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace {

using tavik::Array;
using tavik::Data;
using tavik::Dictionary;
using tavik::PropertyListFormat;
using tavik::Value;
using namespace std::string_literals;

struct Job {
  std::size_t inputSize;
  std::function<void()> run;
};

struct Input {
  std::string_view name;
  Job (*make)(std::size_t size);  // of about this many bytes
};

std::string repeated(std::string_view text, std::size_t size) {
  std::string result;
  result.reserve(size + text.size());
  while (result.size() < size) result += text;
  return result;
}

// Joins one text for each number from 0.
template <class Text>
std::string numbered(std::size_t size, Text text) {
  std::string result;
  for (std::size_t number = 0; result.size() < size; ++number) result += text(std::to_string(number));
  return result;
}

Job reading(std::string document, bool isRead = true) {
  const std::size_t size = document.size();
  return {size, [document = std::move(document), isRead] {
            std::string error;
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(document.data());
            if (tavik::readPropertyList({bytes, document.size()}, error).has_value() != isRead) {
              std::fprintf(stderr, "not as expected: %s\n", error.c_str());
              std::abort();
            }
          }};
}
Job refused(std::string document) { return reading(std::move(document), false); }

Job readingJson(std::string text, bool isRead = true) {
  const std::size_t size = text.size();
  return {size, [text = std::move(text), isRead] {
            std::string error;
            if (tavik::readJson(text, error).has_value() != isRead) {
              std::fprintf(stderr, "not as expected: %s\n", error.c_str());
              std::abort();
            }
          }};
}
Job refusedJson(std::string text) { return readingJson(std::move(text), false); }

Job locatingJson(std::string text) {
  const std::size_t size = text.size();
  return {size, [text = std::move(text)] {
            std::string error;
            tavik::ValueLocations locations;
            if (!tavik::readJson(text, error, locations)) std::abort();
          }};
}

Job writingJson(const Value& value, tavik::JsonLayout layout = tavik::JsonLayout::kOneLine) {
  std::string error;
  return {tavik::writeJson(value, error, layout).value().size(), [value, layout] {
            std::string ignored;
            if (!tavik::writeJson(value, ignored, layout)) std::abort();
          }};
}

std::string written(const Value& value, PropertyListFormat format) {
  std::string error;
  const Data document = writePropertyList(value, format, error).value();
  return {document.bytes().begin(), document.bytes().end()};
}

// The input size of a writer is the size of its output.
Job writing(const Value& value, PropertyListFormat format) {
  return {written(value, format).size(), [value, format] {
            std::string error;
            if (!writePropertyList(value, format, error)) std::abort();
          }};
}

template <class Element>
Array arrayOf(std::size_t count, Element element) {
  Array array;
  for (std::size_t number = 0; number < count; ++number) array.append(element(number));
  return array;
}

Dictionary manyKeys(std::size_t count, std::string_view prefix) {
  Dictionary dictionary;
  for (std::size_t number = 0; number < count; ++number) {
    dictionary.set(std::string(prefix) + std::to_string(number), Value(true));
  }
  return dictionary;
}

// Many values of the maximum nesting depth.
std::string towers(std::size_t size, std::string_view open, std::string_view close, std::string_view between,
                   std::string_view core = "") {
  std::string tower;
  for (int depth = 1; depth < tavik::kPropertyListDepthLimit; ++depth) tower += open;
  tower += core;
  for (int depth = 1; depth < tavik::kPropertyListDepthLimit; ++depth) tower += close;
  return repeated(tower.append(between), size);
}

std::string bigEndian(std::uint64_t number) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

// Offsets and references take 8 bytes each; the first object is the root.
std::string binary(const std::vector<std::string>& objects, std::uint64_t claimedCount) {
  std::string document = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(document.size());
    document += object;
  }
  const std::size_t tableOffset = document.size();
  return document + table + "\0\0\0\0\0\0\x08\x08"s + bigEndian(claimedCount) + bigEndian(0) + bigEndian(tableOffset);
}

// Arrays that contain the next one twice, and data that makes the document large enough for that expansion.
std::string doubled(std::size_t size, int levels) {
  std::vector<std::string> objects = {"\xA2" + bigEndian(1) + bigEndian(static_cast<std::uint64_t>(levels) + 2)};
  for (int level = 1; level <= levels; ++level) {
    const std::string next = bigEndian(static_cast<std::uint64_t>(level) + 1);
    objects.push_back("\xA2" + next + next);
  }
  objects.emplace_back("\x09");
  objects.push_back("\x4F\x13" + bigEndian(size) + std::string(size, 'x'));
  return binary(objects, objects.size());
}

using enum PropertyListFormat;

Job decoding(std::string bytes, std::function<void(const Data&)> decode) {
  const Data data(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
  return {bytes.size(), [data, decode = std::move(decode)] { decode(data); }};
}

void walkDER(const Data& data) {
  const DERDecoder decoder{data.bytes().data(), static_cast<std::uint32_t>(data.size())};
  std::uint32_t count = 0;
  if (DERDecoderGetCount(&decoder, &count) != kDERDecoderErrorNone) std::abort();
}

std::string derElement(std::string_view identifier, std::string_view content) {
  return std::string(identifier) + '\x84' + bigEndian(content.size()).substr(4) + std::string(content);
}

// Empty manifest items with different tags.
std::string tinyItems(std::size_t size) {
  const std::string items = numbered(size, [](const std::string& number) {
    const auto tag = static_cast<unsigned>(std::stoul(number)) + 0x4000;
    return std::string{'\x9F', static_cast<char>(0x80 | (tag >> 14 & 0x7F)),
                       static_cast<char>(0x80 | (tag >> 7 & 0x7F)), static_cast<char>(tag & 0x7F), '\0'};
  });
  const std::string algorithm = "\x30\x0B\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x01\x05";
  return derElement("\x30", algorithm + derElement("\x31", items) + "\x04\0\xA3\0"s);
}

void readManifest(const Data& data) {
  if (tavik::ManifestParser::rootDictFromData({{"RootManifestData", data}}).value().empty()) std::abort();
}

std::string littleEndian(std::initializer_list<std::size_t> words) {
  std::string bytes;
  for (const std::size_t word : words) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(word >> shift & 0xFF);
  }
  return bytes;
}

// Fields that all refer to the same quarter of the blob.
std::string overlappingFields(std::size_t size) {
  constexpr std::size_t kIndirect = 0x434E5442;
  const std::size_t count = size * 3 / 4 / 20;
  std::string blob = std::string(20, '\0') + littleEndian({count});
  for (std::size_t i = 0; i < count; ++i) blob += littleEndian({kIndirect, i, size / 4, 24 + 20 * count, 0});
  return blob + std::string(size / 4, 'x');
}

Value code(std::size_t number) { return Value("code" + std::to_string(number)); }
Value arrayWithCode(std::size_t number) { return Value(Array::of(code(number))); }

// A list; the attribute has the same elements in reverse order.
template <Value (*kElement)(std::size_t)>
Job longLists(std::size_t size) {
  const std::size_t count = size / 2 / 10;
  const Value list(arrayOf(count, kElement));
  const Value attribute(arrayOf(count, [&](std::size_t number) { return kElement(count - 1 - number); }));
  return {written(list, kBinary).size() * 2, [list, attribute] {
            if (!booleanValue(tavik::ZRTTavikKernel::valueInList(&attribute, &list).find("result"))) std::abort();
          }};
}

class Trusting : public tavik::Platform {
  std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary& document, const std::string& /*key*/,
                                                                 std::optional<std::string>& /*error*/) const override {
    return document;
  }
  bool logs() const override { return false; }
};

std::unique_ptr<const tavik::ZRTTavikKernel> kernelOf(const Dictionary& library) {
  tavik::Reason reason;
  auto kernel = tavik::ZRTTavikKernel::init(library, std::make_shared<Trusting>(), reason);
  if (kernel == nullptr) std::abort();
  return kernel;
}

// A batch line with a large attribute that is in the records of several rules, and the result.
Job checkingLine(std::string_view attribute) {
  const Dictionary library{
      {"version", "1"},
      {"List", Dictionary{{"attribute", "A"}, {"predicate", "valueInList"}, {"value", Array::of("x")}}},
      {"Text", Dictionary{{"attribute", "A"}, {"predicate", "hasPrefix"}, {"value", "x"}}},
      {"Number", Dictionary{{"attribute", "A"}, {"predicate", "equal"}, {"value", Value(1)}}}};
  const Dictionary entries{{"List", Dictionary()}, {"Text", Dictionary()}, {"Number", Dictionary()}};
  const Dictionary local{{"version", "1"}, {"GenericRules", entries}};
  const std::shared_ptr<const tavik::PreparedRules> rules = kernelOf(library)->prepare(&local);
  const std::string line = R"({"attributes":{"A":)" + std::string(attribute) + "}}";
  return {line.size(), [rules, line] {
            const tavik::LineResult result = tavik::checkLine(*rules, line, 1);
            std::string out;
            if (!tavik::appendJsonLine(out, result)) std::abort();
          }};
}

// A check of many rules with different attributes.
Job checking(std::size_t size) {
  Dictionary device;
  Dictionary library{{"version", "1"}};
  Dictionary entries;
  for (std::size_t number = 0; number < size / 100; ++number) {
    const std::string name = std::to_string(number);
    device.set(name, Value(5));
    library.set("rule " + name, Dictionary{{"attribute", name}, {"predicate", "equal"}, {"value", Value(5)}});
    entries.set("rule " + name, Dictionary());
  }
  const Dictionary local{{"version", "1"}, {"GenericRules", entries}};
  const std::shared_ptr<const tavik::ZRTTavikKernel> kernel = kernelOf(library);
  return {written(library, kBinary).size() + written(device, kBinary).size() + written(local, kBinary).size(),
          [kernel, device, local] {
            std::optional<tavik::Error> error;
            if (kernel->check(device, &local, nullptr, error).value().size() != device.size() + 3) std::abort();
          }};
}

const Input kInputs[] = {
    {"DER, empty elements", [](std::size_t size) { return decoding(repeated("\x04\0"s, size), walkDER); }},
    {"manifest, tiny items", [](std::size_t size) { return decoding(tinyItems(size), readManifest); }},
    {"SysCfg, fields that overlap",
     [](std::size_t size) {
       return decoding(overlappingFields(size), [](const Data& blob) {
         if (tavik::SystemConfig::sysCfgFromData(&blob).empty()) std::abort();
       });
     }},
    {"control bits",
     [](std::size_t size) {
       return decoding(repeated("x", size), [](const Data& block) {
         if (tavik::SystemConfig::controlBitsFromData(&block).empty()) std::abort();
       });
     }},
    {"valueInList, two long lists", longLists<code>},
    {"valueInList, two long lists of arrays", longLists<arrayWithCode>},
    {"check, many rules", checking},
    {"batch line, tiny values", [](std::size_t size) { return checkingLine("[" + repeated("1,", size) + "1]"); }},
    {"batch line, empty objects", [](std::size_t size) { return checkingLine("[" + repeated("{},", size) + "1]"); }},
    {"batch line, tiny entries",
     [](std::size_t size) {
       return checkingLine("{" + numbered(size, [](auto n) { return "\"" + n + "\":1,"; }) + "\"\":1}");
     }},
    {"batch line, control characters",
     [](std::size_t size) { return checkingLine("\"" + repeated("\\u0001", size) + "\""); }},
    {"batch line, data",
     [](std::size_t size) { return checkingLine("{\"$data\":\"" + repeated("AAAA", size) + "\"}"); }},

    {"XML, tiny values", [](std::size_t size) { return reading("<array>" + repeated("<true/>", size) + "</array>"); }},
    {"XML, empty dictionaries",
     [](std::size_t size) { return reading("<array>" + repeated("<dict/>", size) + "</array>"); }},
    {"XML, dictionaries of one entry",
     [](std::size_t size) { return reading("<array>" + repeated("<dict><key/><true/></dict>", size) + "</array>"); }},
    {"XML, tiny entries",
     [](std::size_t size) {
       return reading("<dict>" + numbered(size, [](auto n) { return "<key>" + n + "</key><true/>"; }) + "</dict>");
     }},
    {"XML, keys alike",
     [](std::size_t size) {
       const std::string same(100, 'k');
       return reading("<dict>" + numbered(size, [&](auto n) { return "<key>" + same + n + same + "</key><true/>"; }) +
                      "</dict>");
     }},
    {"XML, long keys",
     [](std::size_t size) {
       const std::string half(size / 2, 'k');
       return reading("<dict><key>" + half + "1</key><true/><key>" + half + "2</key><true/></dict>");
     }},
    {"XML, one string", [](std::size_t size) { return reading("<string>" + repeated("x", size) + "</string>"); }},
    {"XML, strings of 16 characters",
     [](std::size_t size) {
       return reading("<array>" + repeated("<string>0123456789ABCDEF</string>", size) + "</array>");
     }},
    {"XML, string beyond ASCII",
     [](std::size_t size) { return reading("<string>" + repeated("\xC3\xA9", size) + "</string>"); }},
    {"XML, references", [](std::size_t size) { return reading("<string>" + repeated("&#65;", size) + "</string>"); }},
    {"XML, references that do not end",
     [](std::size_t size) { return refused("<string>" + repeated("&", size) + "</string>"); }},
    {"XML, one CDATA section",
     [](std::size_t size) { return reading("<string><![CDATA[" + repeated("x", size) + "]]></string>"); }},
    {"XML, empty CDATA sections",
     [](std::size_t size) { return reading("<string>" + repeated("<![CDATA[]]>", size) + "</string>"); }},
    {"XML, one comment", [](std::size_t size) { return reading("<array><!--" + repeated("x", size) + "--></array>"); }},
    {"XML, empty comments",
     [](std::size_t size) { return reading("<array>" + repeated("<!---->", size) + "</array>"); }},
    {"XML, white space", [](std::size_t size) { return reading("<array>" + repeated(" ", size) + "</array>"); }},
    {"XML, attributes", [](std::size_t size) { return reading("<array" + repeated(" a=''", size) + "></array>"); }},
    {"XML, data", [](std::size_t size) { return reading("<data>" + repeated("AAAA", size) + "</data>"); }},
    {"XML, nested 512 deep",
     [](std::size_t size) { return reading("<array>" + towers(size, "<array>", "</array>", "") + "</array>"); }},
    {"XML, refused at its end",
     [](std::size_t size) { return refused("<array>" + repeated("\n<true/>", size) + "</arrays>"); }},
    {"binary, tiny values",
     [](std::size_t size) {
       return reading(
           written(arrayOf(size / 9, [](std::size_t n) { return Value(static_cast<std::int64_t>(n)); }), kBinary));
     }},
    {"binary, one value shared",
     [](std::size_t size) { return reading(written(arrayOf(size, [](auto) { return Value(true); }), kBinary)); }},
    {"binary, empty dictionaries",
     [](std::size_t size) { return reading(written(arrayOf(size / 7, [](auto) { return Dictionary(); }), kBinary)); }},
    {"binary, tiny entries", [](std::size_t size) { return reading(written(manyKeys(size / 15, ""), kBinary)); }},
    {"binary, keys alike",
     [](std::size_t size) { return reading(written(manyKeys(size / 115, std::string(100, 'k')), kBinary)); }},
    {"binary, one string", [](std::size_t size) { return reading(written(repeated("x", size), kBinary)); }},
    {"binary, string beyond ASCII",
     [](std::size_t size) { return reading(written(repeated("\xE2\x82\xAC", size), kBinary)); }},
    {"binary, arrays that double, 8-byte offsets", [](std::size_t size) { return reading(doubled(size, 20)); }},
    {"binary, arrays that double too often", [](std::size_t size) { return refused(doubled(size, 60)); }},
    {"binary, 2^60 objects claimed",
     [](std::size_t size) { return refused(binary({repeated("\x09", size)}, std::uint64_t{1} << 60)); }},
    {"text, tiny values", [](std::size_t size) { return reading("(" + repeated("a,", size) + ")"); }},
    {"text, tiny entries",
     [](std::size_t size) { return reading("{" + numbered(size, [](auto n) { return n + "=a;"; }) + "}"); }},
    {"text, escapes", [](std::size_t size) { return reading("\"" + repeated("\\n", size) + "\""); }},
    {"text, comments", [](std::size_t size) { return reading(repeated("/**/", size) + "a"); }},
    {"text, nested 512 deep", [](std::size_t size) { return reading("(" + towers(size, "(", ")", ",") + ")"); }},
    {"JSON, tiny values", [](std::size_t size) { return readingJson("[" + repeated("1,", size) + "1]"); }},
    {"JSON, empty objects", [](std::size_t size) { return readingJson("[" + repeated("{},", size) + "1]"); }},
    {"JSON, objects of one entry",
     [](std::size_t size) { return readingJson("[" + repeated("{\"\":1},", size) + "1]"); }},
    {"JSON, tiny entries",
     [](std::size_t size) {
       return readingJson("{" + numbered(size, [](auto n) { return "\"" + n + "\":1,"; }) + "\"\":1}");
     }},
    {"JSON, keys alike",
     [](std::size_t size) {
       const std::string same(100, 'k');
       return readingJson("{" + numbered(size, [&](auto n) { return "\"" + same + n + same + "\":1,"; }) + "\"\":1}");
     }},
    {"JSON, one key again and again",
     [](std::size_t size) { return refusedJson("{" + repeated("\"a\":1,", size) + "\"a\":1}"); }},
    {"JSON, strings of 16 characters",
     [](std::size_t size) { return readingJson("[" + repeated("\"0123456789ABCDEF\",", size) + "1]"); }},
    {"JSON, string beyond ASCII",
     [](std::size_t size) { return readingJson("\"" + repeated("\xC3\xA9", size) + "\""); }},
    {"JSON, escapes", [](std::size_t size) { return readingJson("\"" + repeated("\\u00e9", size) + "\""); }},
    {"JSON, data", [](std::size_t size) { return readingJson("{\"$data\":\"" + repeated("AAAA", size) + "\"}"); }},
    {"JSON, empty data",
     [](std::size_t size) { return readingJson("[" + repeated("{\"$data\":\"\"},", size) + "1]"); }},
    {"JSON, a number of many digits", [](std::size_t size) { return readingJson("0." + std::string(size, '1')); }},
    {"JSON, an integer of many digits", [](std::size_t size) { return refusedJson(std::string(size, '1')); }},
    {"JSON, white space", [](std::size_t size) { return readingJson(repeated(" ", size) + "1"); }},
    {"JSON, nested 512 deep", [](std::size_t size) { return readingJson("[" + towers(size, "[", "]", ",") + "1]"); }},
    {"JSON, \"$dictionary\" nested 512 deep",
     [](std::size_t size) {
       return readingJson("[" + towers(size, "{\"$dictionary\":{\"\":", "}}", ",", "1") + "1]");
     }},
    {"JSON, \"$dictionary\" that never ends",
     [](std::size_t size) { return refusedJson(repeated("{\"$dictionary\":{\"a\":{},\"b\":", size)); }},
    {"JSON, refused at its end", [](std::size_t size) { return refusedJson("[" + repeated("\n1,", size) + "]"); }},
    {"JSON with locations, tiny values",
     [](std::size_t size) { return locatingJson("[" + repeated("1,", size) + "1]"); }},
    {"JSON written, empty arrays",
     [](std::size_t size) { return writingJson(arrayOf(size / 4, [](auto) { return Array(); })); }},
    {"JSON written, control characters", [](std::size_t size) { return writingJson(repeated("\x01", size / 6)); }},
    {"JSON written, data", [](std::size_t size) { return writingJson(Data(std::vector<std::uint8_t>(size / 4 * 3))); }},
    {"XML written, empty arrays",
     [](std::size_t size) { return writing(arrayOf(size / 10, [](auto) { return Array(); }), kXml); }},
    {"XML written, control characters", [](std::size_t size) { return writing(repeated("\x01", size / 4), kXml); }},
    {"XML written, data",
     [](std::size_t size) { return writing(Data(std::vector<std::uint8_t>(size / 4 * 3)), kXml); }},
    {"binary written, tiny entries", [](std::size_t size) { return writing(manyKeys(size / 15, ""), kBinary); }},
    {"binary written, one string", [](std::size_t size) { return writing(repeated("x", size), kBinary); }},
    {"binary written, string beyond ASCII",
     [](std::size_t size) { return writing(repeated("\xE2\x82\xAC", size), kBinary); }},
    {"binary written, empty arrays",
     [](std::size_t size) { return writing(arrayOf(size / 7, [](auto) { return Array(); }), kBinary); }},
    {"binary written, one value shared",
     [](std::size_t size) { return writing(arrayOf(size, [](auto) { return Value(true); }), kBinary); }},
};

double peakPerByte(const Job& job) {
  const std::size_t before = liveBytes;
  mostBytes = liveBytes;
  job.run();
  return static_cast<double>(mostBytes - before) / static_cast<double>(job.inputSize);
}

// Processor time; the best of three, to reduce noise.
double nanosecondsPerByte(const Job& job) {
  double best = 1e300;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const std::clock_t start = std::clock();
    job.run();
    best = std::min(best, static_cast<double>(std::clock() - start) * 1e9 / CLOCKS_PER_SEC);
  }
  return best / static_cast<double>(job.inputSize);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t size = (argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 4) << 20;
  const std::string_view wanted = argc > 2 ? argv[2] : "";
  std::printf("%-44s %11s %9s %9s %9s\n", "input", "bytes", "peak/byte", "ns/byte", "1/8: ns");
  for (const Input& input : kInputs) {
    if (input.name.find(wanted) == std::string_view::npos) continue;
    const double smallTime = nanosecondsPerByte(input.make(size / 8));
    const Job job = input.make(size);
    std::printf("%-44s %11zu %9.2f %9.2f %9.2f\n", input.name.data(), job.inputSize, peakPerByte(job),
                nanosecondsPerByte(job), smallTime);
  }
}
