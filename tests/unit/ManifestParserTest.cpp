// Manifests: their structure, the names and values of items, and the table of tag names.

#include <gtest/gtest.h>
#include <tavik/ManifestParser.h>

#include <cctype>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "support/Cases.h"

namespace tavik {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// An element with a length of up to 65535 bytes.
Bytes element(Bytes identifier, const Bytes& content) {
  const auto high = static_cast<std::uint8_t>(content.size() >> 8);
  return joined({identifier, {0x82, high, static_cast<std::uint8_t>(content.size())}, content});
}

// A primitive, context-specific element with a long tag number.
Bytes item(std::uint32_t tag, const Bytes& content) {
  Bytes identifier = {0x9F};
  for (int shift = 21; shift > 0; shift -= 7) identifier.push_back(static_cast<std::uint8_t>(0x80 | tag >> shift));
  identifier.push_back(tag & 0x7F);
  return element(identifier, content);
}

const Bytes kRsaWithSha1 = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x05};
const Bytes kAlgorithm = element({0x30}, kRsaWithSha1);
const Bytes kText = element({0x04}, {1, 2, 3});
const Bytes kLast = element({0xA3}, {});

Bytes root(const Bytes& items) { return element({0x30}, joined({kAlgorithm, element({0x31}, items), kText, kLast})); }

Bytes provisioning(const Bytes& items) {
  return element({0x30},
                 joined({element({0x02}, {1}), kAlgorithm, element({0xA0}, {}), element({0x31}, items), kText, kLast}));
}

std::optional<Dictionary> rootItems(const Bytes& manifest) {
  return ManifestParser::rootDictFromData({{"RootManifestData", Data(manifest)}});
}

TEST(ManifestParserTest, ValuesOfItems) {
  for (const Case& c : casesIn("manifest-values.json")) {
    const Dictionary expected{{"Tag 5000", *c.entries.find("value")}};
    EXPECT_EQ(rootItems(root(item(5000, fromHex(c["content"])))), expected) << c["why"];
  }
  EXPECT_EQ(rootItems(root(item(5000, Bytes(100, '?')))), (Dictionary{{"Tag 5000", std::string(100, '?')}}));
  for (int byte = 0; byte < 128; ++byte) {
    const bool text = std::isalnum(byte) != 0 ||
                      std::string_view(" '()+,-./:=?").find(static_cast<char>(byte)) != std::string_view::npos;
    const auto items = rootItems(root(item(5000, {static_cast<std::uint8_t>(byte)})));
    EXPECT_EQ(items->find("Tag 5000")->isString(), text) << byte;
  }
}

TEST(ManifestParserTest, NamesOfItems) {
  struct Case {
    const char* why;
    Bytes items;
    Dictionary expected;
  };
  const Case cases[] = {
      {"tag 0 has no name", element({0x80}, {'A'}), {{"Tag 0", "A"}}},
      {"the first number after the table", item(3009, {'A'}), {{"Tag 3009", "A"}}},
      {"the greatest number", item(0xFFFFFFF, {'A'}), {{"Tag 268435455", "A"}}},
      {"the later of two items wins, regardless of class and form",
       joined({element({0x80}, {'A'}), item(4000, {'B'}), element({0xE0}, {'C'})}),
       {{"Tag 0", "C"}, {"Tag 4000", "B"}}},
      {"constructed items are not decoded",
       element({0xA0}, element({0x80}, {'A'})),
       {{"Tag 0", Data{0x80, 0x82, 0, 1, 'A'}}}},
      {"no items", {}, {}},
      {"no items if one is malformed", joined({item(4000, {'B'}), {0x80, 0x05}}), {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(rootItems(root(c.items)), c.expected);
    EXPECT_EQ(ManifestParser::provisioningDictFromData({{"ProvisioningManifestData", Data(provisioning(c.items))}}),
              c.expected);
  }
}

std::map<std::uint32_t, std::string> tagNamesIn(const char* path) {
  std::map<std::uint32_t, std::string> names;
  std::ifstream table(path);
  std::uint32_t tag = 0;
  for (std::string name; table >> tag && table.get() == '\t' && std::getline(table, name);) names[tag] = name;
  return names;
}

TEST(ManifestParserTest, NamesFromTheTable) {
  const auto names = tagNamesIn(TAVIK_TAG_NAMES);
  Bytes items;
  Dictionary expected;
  for (std::uint32_t tag = 0; tag < 3012; ++tag) {
    const auto named = names.find(tag);
    EXPECT_EQ(vsr_tag_to_str(tag), named == names.end() ? "Unknown" : named->second) << tag;
    expected.set(named == names.end() ? "Tag " + std::to_string(tag) : named->second, "A");
    const Bytes one = item(tag, {'A'});
    items.insert(items.end(), one.begin(), one.end());
  }
  EXPECT_EQ(rootItems(root(items)), expected);
  EXPECT_STREQ(vsr_tag_to_str(0xFFFFFFFF), "Unknown");
}

TEST(ManifestParserTest, RejectsOtherStructures) {
  const Bytes set = element({0x31}, item(4000, {'B'}));
  const auto body = [](std::initializer_list<Bytes> parts) { return element({0x30}, joined(parts)); };
  const auto algorithm = [&](const Bytes& content) { return body({element({0x30}, content), set, kText, kLast}); };
  struct Case {
    const char* why;
    Bytes manifest;
    std::uint32_t status;
  };
  const Case cases[] = {
      {"valid", root({}), kDERDecoderErrorNone},
      {"bytes after the manifest", joined({root({}), {0xFF}}), kDERDecoderErrorNone},
      {"content cut off", {0x30, 0x05, 0x30, 0x00}, kDERDecoderErrorBufferOverrun},
      {"no length", {0x30}, kDERDecoderErrorBadLength},
      {"a SET as the outer element", {0x31, 0x00}, kDERDecoderErrorSequenceMismatch},
      {"an empty SEQUENCE", {0x30, 0x00}, kDERDecoderErrorSequenceMismatch},
      {"a fifth element", body({kAlgorithm, set, kText, kLast, kLast}), kDERDecoderErrorSequenceMismatch},
      {"no fourth element", body({kAlgorithm, set, kText}), kDERDecoderErrorSequenceMismatch},
      {"the other manifest", provisioning({}), kDERDecoderErrorSequenceMismatch},
      {"a constructed OCTET STRING", body({kAlgorithm, set, element({0x24}, {}), kLast}),
       kDERDecoderErrorSequenceMismatch},
      {"a malformed element", body({kAlgorithm, set, kText, {0xA3, 0x01}}), kDERDecoderErrorBufferOverrun},
      {"an algorithm with parameters", algorithm(joined({kRsaWithSha1, {0x05, 0x00}})), kDERDecoderErrorInvalid},
      {"another algorithm", algorithm({0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x0B}),
       kDERDecoderErrorInvalid},
      {"no algorithm", algorithm({}), kDERDecoderErrorInvalid},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    DERDecoder items{};
    const auto length = static_cast<std::uint32_t>(c.manifest.size());
    EXPECT_EQ(getManifestDecoder(c.manifest.data(), length, &items, decodeRootManifest), c.status);
    EXPECT_EQ(rootItems(c.manifest).has_value(), c.status == kDERDecoderErrorNone);
  }
  DERDecoder items{};
  EXPECT_EQ(getManifestDecoder(kText.data(), 0, &items, decodeRootManifest), kDERDecoderErrorBadTag);
}

TEST(ManifestParserTest, ReadsOnlyDataUnderItsKey) {
  const Value manifest = Data(root({}));
  EXPECT_FALSE(ManifestParser::rootDictFromData({}));
  EXPECT_FALSE(ManifestParser::rootDictFromData({{"ProvisioningManifestData", manifest}}));
  EXPECT_FALSE(ManifestParser::rootDictFromData({{"RootManifestData", Data()}}));
  EXPECT_FALSE(ManifestParser::rootDictFromData({{"RootManifestData", "text"}}));
  EXPECT_TRUE(ManifestParser::dictFromData({{"Another", manifest}}, "Another", decodeRootManifest));
}

}  // namespace
}  // namespace tavik
