/// @file
/// Documents in files: the example station's, in property lists and JSON.
#ifndef TAVIK_TESTS_EXAMPLE_DOCUMENTS_H
#define TAVIK_TESTS_EXAMPLE_DOCUMENTS_H

#include <gtest/gtest.h>
#include <tavik/PropertyList.h>

#include <filesystem>
#include <string>

#include "Json.h"

namespace tavik {

inline const std::filesystem::path kExample = TAVIK_EXAMPLE;

inline Dictionary documentAt(const std::filesystem::path& path) {
  std::string error;
  const auto value = readPropertyListFile(path, error);
  EXPECT_TRUE(value) << path << ": " << error;
  return *value.value_or(Dictionary()).ifDictionary();
}

inline Dictionary jsonOf(std::string text) {
  std::string error;
  const auto value = tool::JsonReader().read(text, error);
  EXPECT_TRUE(value) << error;
  return *value.value_or(Dictionary()).ifDictionary();
}

inline std::string bytesOf(const Dictionary& library) {
  std::string error;
  const Data bytes = writePropertyList(Value(library), PropertyListFormat::kBinary, error).value_or(Data());
  return {bytes.bytes().begin(), bytes.bytes().end()};
}

}  // namespace tavik

#endif
