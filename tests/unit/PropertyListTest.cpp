// The three property list readers, their error messages and locations, and the two writers.

#include <sys/stat.h>
#include <tavik/Json.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr PropertyListFormat kFormats[] = {PropertyListFormat::kXml, PropertyListFormat::kBinary};

// Reads from a block of exactly this size, so that AddressSanitizer detects reads past the end.
std::optional<Value> read(std::string_view document, std::string& error) {
  const auto block = std::make_unique<std::uint8_t[]>(document.size());
  std::copy(document.begin(), document.end(), block.get());
  return readPropertyList({block.get(), document.size()}, error);
}

Value readable(std::string_view document) {
  std::string error;
  const std::optional<Value> value = read(document, error);
  EXPECT_TRUE(value) << error << " in:\n" << document;
  EXPECT_THAT(error, IsEmpty());
  return value.value_or(Value("unreadable"));
}

std::string refusalOf(std::string_view document) {
  std::string error;
  const std::optional<Value> value = read(document, error);
  EXPECT_FALSE(value) << description(&*value);
  return error;
}

std::string written(const Value& value, PropertyListFormat format) {
  std::string error;
  const std::optional<Data> document = writePropertyList(value, format, error);
  EXPECT_TRUE(document) << error;
  return document ? std::string(document->bytes().begin(), document->bytes().end()) : "";
}

Value nested(int depth, Value value = "inside") {
  for (int index = 0; index < depth; ++index) value = Array::of(value);
  return value;
}

// The lowest `size` bytes of `number` in big-endian order.
std::string bigEndian(std::uint64_t number, int size) {
  std::string bytes;
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

// Entries of an XML dictionary with the keys 10, 11 and so on.
std::string manyEntries(int count) {
  std::string entries;
  for (int key = 10; key < 10 + count; ++key) entries += "<key>" + std::to_string(key) + "</key><true/>";
  return entries;
}

struct Layout {
  int offsetSize = 2;
  int referenceSize = 1;
  std::uint64_t top = 0;
};

// A binary property list of these objects.
std::string binary(const std::vector<std::string>& objects, const Layout& layout = {}) {
  std::string document = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(document.size(), layout.offsetSize);
    document += object;
  }
  const std::uint64_t tableOffset = document.size();
  return document + table + std::string(6, '\0') + static_cast<char>(layout.offsetSize) +
         static_cast<char>(layout.referenceSize) + bigEndian(objects.size(), 8) + bigEndian(layout.top, 8) +
         bigEndian(tableOffset, 8);
}

std::string textFromHex(std::string_view hex) {
  const std::vector<std::uint8_t> bytes = fromHex(hex);
  return {bytes.begin(), bytes.end()};
}

// The document of a case: objects, an optional layout, and optional "bytes" that replace others.
std::string binary(const Case& c) {
  std::vector<std::string> objects;
  if (const Array* listed = c.entries.findArray("objects")) {
    for (const Value& object : *listed) objects.push_back(textFromHex(*object.ifString()));
  } else {
    objects = {"\xA1\x01", "\x09"};  // at 8 and 10, the table at 11, the trailer at 15
  }
  Layout layout;
  if (const Array* sizes = c.entries.findArray("layout")) {
    layout = {integerValue(&sizes->at(0)), integerValue(&sizes->at(1)),
              static_cast<std::uint64_t>(integerValue(&sizes->at(2)))};
  }
  const std::string bytes = textFromHex(c["bytes"]);
  return binary(objects, layout)
      .replace(static_cast<std::size_t>(integerValue(c.entries.find("at"))), bytes.size(), bytes);
}

std::string documentOf(const Case& c) { return c.has("document") ? c["document"] : binary(c); }

void expectReadable(const std::string& file) {
  for (const Case& c : casesIn(file)) {
    const Value value = readable(documentOf(c));
    EXPECT_EQ(value, *c.entries.find("value")) << c["why"] << ": " << description(&value);
  }
}

void expectRefused(const std::string& file) {
  for (const Case& c : casesIn(file)) EXPECT_THAT(refusalOf(documentOf(c)), StartsWith(c["error"])) << c["why"];
}

TEST(XmlPropertyListTest, Reads) {
  expectReadable("xml-read.json");
  EXPECT_EQ(readable("<array><real>INF</real><real>-infinity</real><real>1e-400</real></array>"),
            Value(Array::of(HUGE_VAL, -HUGE_VAL, 0.0)));
  EXPECT_TRUE(std::isnan(readable("<real>nan</real>").ifReal().value()));
  EXPECT_EQ(readable(repeated("<array>", 512) + "<string>inside</string>" + repeated("</array>", 512)), nested(512));
}

TEST(XmlPropertyListTest, RejectsWithLocation) {
  expectRefused("xml-refused.json");
  const std::pair<std::string, std::string_view> cases[] = {
      {"<string><![CDATA[a\0]]></string>"s, "line 1, column 19: control characters"},
      {"<string>a\n\xE9</string>", "line 2, column 1: invalid UTF-8"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><string>\xE9</string>",
       "line 1, column 21: the encoding \"ISO-8859-1\" is not supported"},
      {"\xFF\xFE<\0"s, "line 1, column 1: the document is UTF-16"},
      {"<dict><key>a</key><true/><key>b</key><true/>" + manyEntries(20) + "<key>b</key><true/></dict>",
       "line 1, column 445: the key \"b\" is given twice, first at line 1, column 26"},
      {repeated("<array>", 513), "line 1, column 3585: nested more than 512 levels deep"},
      {repeated("<dict><key>a</key>", 10000), "line 1, column 9217: nested more than 512 levels deep"},
  };
  for (const auto& [document, error] : cases) EXPECT_THAT(refusalOf(document), StartsWith(error));
}

TEST(TextPropertyListTest, Reads) {
  expectReadable("text-read.json");
  EXPECT_EQ(readable(std::string(512, '(') + "inside" + std::string(512, ')')), nested(512));
}

TEST(TextPropertyListTest, RejectsWithLocation) {
  expectRefused("text-refused.json");
  EXPECT_THAT(refusalOf("\"a\0\""s), StartsWith("line 1, column 3: unescaped control character"));
  EXPECT_THAT(refusalOf("(a, \"\xC0\x80\")"), StartsWith("line 1, column 6: invalid UTF-8"));
  EXPECT_THAT(refusalOf(std::string(10000, '(')), StartsWith("line 1, column 513: nested more than 512 levels deep"));
}

TEST(BinaryPropertyListTest, Reads) { expectReadable("binary-read.json"); }

TEST(BinaryPropertyListTest, RejectsWithLocation) {
  expectRefused("binary-refused.json");
  EXPECT_THAT(refusalOf("bplist"), StartsWith("byte 6: the document is too short"));
}

TEST(BinaryPropertyListTest, RejectsDepthOfSharedObjects) {
  const auto chain = [](int length) {
    std::vector<std::string> objects;
    for (int index = 1; index <= length; ++index)
      objects.push_back("\xA1" + bigEndian(static_cast<std::uint64_t>(index), 2));
    objects.emplace_back("\x56inside");
    return objects;
  };
  EXPECT_EQ(readable(binary(chain(512), {2, 2, 0})), nested(512));
  EXPECT_THAT(refusalOf(binary(chain(513), {2, 2, 0})), StartsWith("byte 1544: nested more than 512 levels deep"));
  EXPECT_THAT(refusalOf(binary(chain(10000), {3, 2, 0})), HasSubstr("more than 512 levels deep"));

  // The second element contains the first one, which is read at a lower depth.
  const auto shared = [](std::uint64_t length) {
    std::vector<std::string> objects = {"\xA2" + bigEndian(2, 2) + bigEndian(1, 2), "\xA1" + bigEndian(2, 2)};
    while (objects.size() < length + 2) objects.push_back("\xA1" + bigEndian(objects.size() + 1, 2));
    objects.emplace_back("\x56inside");
    return binary(objects, {2, 2, 0});
  };
  EXPECT_EQ(readable(shared(510)), Value(Array::of(nested(510), nested(511))));
  EXPECT_THAT(refusalOf(shared(511)), StartsWith("byte 13: nested more than 512 levels deep"));
}

TEST(BinaryPropertyListTest, RejectsDocumentsThatExpandTooMuch) {
  std::vector<std::string> bomb;
  for (char level = 1; level <= 30; ++level) bomb.push_back("\xA2"s + level + level);
  bomb.emplace_back("\x09");
  EXPECT_THAT(refusalOf(binary(bomb)), HasSubstr("the object is far larger than the document"));
}

// Compares the encoded bytes too, because equality ignores the order of keys, the kind of numbers and the sign of
// zeros.
void expectRoundTrip(const Value& value) {
  for (const JsonLayout layout : {JsonLayout::kOneLine, JsonLayout::kIndented}) {
    std::string error;
    const std::string text = writeJson(value, error, layout).value_or(error);
    const std::optional<Value> back = readJson(text, error);
    ASSERT_TRUE(back) << error << " in:\n" << text;
    EXPECT_EQ(written(*back, PropertyListFormat::kBinary), written(value, PropertyListFormat::kBinary)) << text;
  }
  for (const PropertyListFormat format : kFormats) {
    const std::string document = written(value, format);
    const Value back = readable(document);
    EXPECT_EQ(back, value) << document;
    EXPECT_EQ(written(back, PropertyListFormat::kBinary), written(value, PropertyListFormat::kBinary))
        << description(&value);
  }
}

TEST(PropertyListTest, RoundTrips) {
  using Real = std::numeric_limits<double>;
  Array all;
  for (const double number :
       {0.0, -0.0, 1.0, 0.1, -1e300, Real::denorm_min(), Real::max(), Real::infinity(), -Real::infinity()}) {
    all.append(Value(number));
  }
  for (int shift = 0; shift < 64; ++shift) {
    const auto power = static_cast<std::int64_t>(std::uint64_t{1} << shift);
    for (const std::int64_t number :
         {power, static_cast<std::int64_t>(static_cast<std::uint64_t>(power) - 1), -(power / 2) - 1}) {
      all.append(Value(number));
    }
  }
  for (const double seconds : {0.0, 0.1, -0.1, 1e-300, -1e-300, -63113904000.0, 252423993599.99997, 1234567890.0625}) {
    all.append(Date::sinceReference(seconds));
  }
  for (std::size_t length = 0; length < 100; ++length) {
    all.append(std::string(length, 'x'));
    all.append(Data(std::vector<std::uint8_t>(length, static_cast<std::uint8_t>(length))));
  }
  for (const std::string_view text :
       {"\0"sv, "\r\n"sv, "\x1F\x7F"sv, " a "sv, "<&>]]>\"'"sv, "\xC3\xA9"sv, "\xEF\xBF\xBD\xEF\xBF\xBE\xEF\xBF\xBF"sv,
        "\xED\x9F\xBF\xEE\x80\x80"sv, "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"sv}) {
    all.append(text);
    all.append(Dictionary{{text, text}});
  }
  all.append(Value(true));
  all.append(Value(false));
  all.append(Array());
  all.append(Dictionary{{"z", Dictionary{{"", Array()}}}, {"a", Value(1)}});
  for (const Value& value : all) expectRoundTrip(value);
  expectRoundTrip(all);

  for (const PropertyListFormat format : kFormats) {
    EXPECT_TRUE(std::isnan(readable(written(Value(-Real::quiet_NaN()), format)).ifReal().value()));
  }
}

TEST(PropertyListTest, XmlLayout) {
  Dictionary value{{"Name", "a<b\x01\xEF\xBF\xBF"},
                   {"List", Array::of(1, 1.0, true)},
                   {"Empty", Array()},
                   {"Data", Data(std::vector<std::uint8_t>(60))}};
  EXPECT_EQ(written(value, PropertyListFormat::kXml),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist "
            "version=\"1.0\">\n<dict>\n\t<key>Name</key>\n\t<string>a&lt;b&#1;&#65535;</string>\n"
            "\t<key>List</key>\n\t<array>\n\t\t<integer>1</integer>\n\t\t<real>1</real>\n\t\t<true/>\n\t</array>\n"
            "\t<key>Empty</key>\n\t<array/>\n\t<key>Data</key>\n\t<data>\n\t" +
                std::string(76, 'A') + "\n\tAAAA\n\t</data>\n</dict>\n</plist>\n");
}

TEST(PropertyListTest, BinaryStoresEqualScalarsOnce) {
  // 8 header, 1 + 6 array, 5 distinct scalars, a table of 6, 32 trailer: 1 is neither true nor 1.0, and 0.0 is not
  // -0.0.
  const Value value = Array::of("ab", "ab", 1, 1, true, 1.0, 0.0, -0.0, -0.0);
  EXPECT_EQ(written(value, PropertyListFormat::kBinary).size(), 8U + (1 + 9) + (3 + 2 + 1 + 9 + 9 + 9) + 7 + 32);

  // Contents that are not stored inline. A string does not equal data.
  const std::string text(20, 'x');
  const Data data(std::vector<std::uint8_t>(20, 'x'));
  const Value outside = Array::of(text, std::string(20, 'x'), data, Data(std::vector<std::uint8_t>(20, 'x')));
  EXPECT_EQ(written(outside, PropertyListFormat::kBinary).size(), 8U + (1 + 4) + 2 * (3 + 20) + 3 + 32);
  expectRoundTrip(outside);

  // If all elements shared one object, the document would expand too much to be read back.
  Array often;
  for (int count = 0; count < 200000; ++count) often.append(std::string(300, 'x'));
  const std::string document = written(often, PropertyListFormat::kBinary);
  EXPECT_LT(document.size(), 2000000U);
  EXPECT_EQ(readable(document), Value(often));
}

TEST(PropertyListTest, DoesNotWriteWhatCannotBeReadBack) {
  for (const PropertyListFormat format : kFormats) {
    std::string error;
    EXPECT_TRUE(writePropertyList(nested(512), format, error));
    EXPECT_THAT(error, IsEmpty());
    EXPECT_FALSE(writePropertyList(nested(513), format, error));
    EXPECT_TRUE(writePropertyList(nested(511, Dictionary()), format, error));
    EXPECT_FALSE(writePropertyList(nested(512, Dictionary()), format, error));
    EXPECT_FALSE(writePropertyList(nested(512, Array()), format, error));
    EXPECT_FALSE(writePropertyList(nested(100000), format, error));
    EXPECT_THAT(error, HasSubstr("more than 512 levels deep"));
    EXPECT_FALSE(writePropertyList(Dictionary{{"Rules", Array::of("a", Date::sinceReference(1e12))}}, format, error));
    EXPECT_THAT(error, StartsWith("Rules[1]: the date"));
    EXPECT_FALSE(writePropertyList(Date::sinceReference(std::nan("")), format, error));
  }
}

TEST(PropertyListTest, RejectsEveryShorterPrefix) {
  const Value value = Dictionary{{"Model", "MD\xC3\xA9"},
                                 {"List", Array::of(1.5, 70000, Data{1, 2, 3, 4}, Date::sinceReference(0.5), true)}};
  const std::string documents[] = {written(value, PropertyListFormat::kXml),
                                   written(value, PropertyListFormat::kBinary), description(&value)};
  for (const std::string& document : documents) {
    const std::size_t end = document.find_last_not_of('\n');
    std::size_t length = document.starts_with("bplist") ? 6 : 0;  // a shorter prefix is an unquoted string
    for (; length <= end; ++length) EXPECT_THAT(refusalOf(document.substr(0, length)), HasSubstr(": ")) << length;
  }
  const std::string json =
      R"({"a\u00e9": [-1.5e-3, true, {"$data": "AQ=="}, "\ud83d\ude00"], "b": {"$dictionary": {}}})";
  std::string error;
  EXPECT_TRUE(readJson(json, error)) << error;
  for (std::size_t length = 0; length < json.size(); ++length) {
    const std::vector<char> prefix(json.data(), json.data() + length);  // a block of exactly this size
    EXPECT_FALSE(readJson({prefix.data(), length}, error));
    EXPECT_THAT(error, StartsWith("line 1, column ")) << length;
  }
}

TEST(PropertyListTest, Files) {
  namespace fs = std::filesystem;
  const TemporaryFolder folder;
  const auto openFiles = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto openBefore = openFiles();
  const auto refusal = [&](const std::string& path) {
    std::string error;
    EXPECT_FALSE(readPropertyListFile(path, error));
    return error;
  };
  const std::string file = folder.write("a.plist", "{ a = 1; }");
  std::string error;
  EXPECT_EQ(readPropertyListFile(file, error), Dictionary({{"a", "1"}}));
  folder.write("a.plist", "{ a = 1 }");
  EXPECT_THAT(refusal(file), StartsWith("line 1, column 9: "));
  EXPECT_EQ(refusal(folder.path("missing")), "the file cannot be opened: No such file or directory");
  EXPECT_EQ(refusal(folder.path("")), "this is a directory, not a file");
  EXPECT_EQ(refusal(file + "\0x"s), "the path contains a NUL character");
  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(refusal(pipe), HasSubstr("not a regular file"));  // without waiting for a writer
  fs::resize_file(file, (std::uintmax_t{1} << 30) + 1);
  EXPECT_EQ(refusal(file), "the file is larger than 1 GiB");
  EXPECT_EQ(openFiles(), openBefore);
}

TEST(DateTextTest, BothDirectionsAreExact) {
  for (const Case& c : casesIn("dates.json")) {  // without "seconds": not a date
    const Value* seconds = c.entries.find("seconds");
    const std::optional<Date> date = dateFromIsoText(c["text"]);
    EXPECT_EQ(date.has_value(), seconds != nullptr) << c["text"];
    if (!date || seconds == nullptr) continue;
    EXPECT_EQ(date, Date::sinceReference(doubleValue(seconds)));
    EXPECT_EQ(dateToIsoText(*date), c["shortest"]);
  }
  EXPECT_EQ(dateFromIsoText("2001-01-01T00:00:00." + std::string(100000, '0') + "1Z"), Date::sinceReference(0));
  for (const double seconds : {252423993600.0, -63113904000.1, std::nan("")})
    EXPECT_FALSE(dateToIsoText(Date::sinceReference(seconds)));
}

}  // namespace
}  // namespace tavik
