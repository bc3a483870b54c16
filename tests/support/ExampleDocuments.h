/// @file
/// Documents in files: the example station's, in property lists and JSON.
#ifndef TAVIK_TESTS_EXAMPLE_DOCUMENTS_H
#define TAVIK_TESTS_EXAMPLE_DOCUMENTS_H

#include <gtest/gtest.h>
#include <tavik/Json.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tavik {

inline const std::filesystem::path kExample = TAVIK_EXAMPLE;

inline Dictionary documentAt(const std::filesystem::path& path) {
  std::string error;
  const auto value = readPropertyListFile(path, error);
  EXPECT_TRUE(value) << path << ": " << error;
  return *value.value_or(Dictionary()).ifDictionary();
}

inline Dictionary jsonOf(const std::string& text) {
  std::string error;
  const auto value = readJson(text, error);
  EXPECT_TRUE(value) << error;
  return *value.value_or(Dictionary()).ifDictionary();
}

inline Dictionary jsonAt(const std::filesystem::path& path) {
  std::ifstream file(path);
  return jsonOf({std::istreambuf_iterator<char>(file), {}});
}

struct ExampleDevice {
  Dictionary attributes;
  Dictionary sources;
};

/// Those with a folder of their own, then those off the line.
inline std::vector<ExampleDevice> exampleDevices() {
  std::vector<ExampleDevice> devices;
  for (const char* name : {"device-good", "device-wrong", "device-unknown-region", "device-incomplete"}) {
    const auto folder = kExample / name;
    const auto plist = folder / "attributes.plist";
    devices.push_back({exists(plist) ? documentAt(plist) : jsonAt(folder / "attributes.json"),
                       {{"sfc", jsonAt(folder / "sfc.json")}, {"gui", jsonAt(folder / "gui.json")}}});
  }
  std::ifstream lines(kExample / "devices.jsonl");
  for (std::string line; std::getline(lines, line);) {
    const Dictionary entry = jsonOf(line);
    devices.push_back({*entry.findDictionary("attributes"), *entry.findDictionary("sources")});
  }
  EXPECT_EQ(devices.size(), 304U);
  return devices;
}

inline std::string bytesOf(const Dictionary& library) {
  std::string error;
  const Data bytes = writePropertyList(Value(library), PropertyListFormat::kBinary, error).value_or(Data());
  return {bytes.bytes().begin(), bytes.bytes().end()};
}

}  // namespace tavik

#endif
