/// @file
/// Shared by tests of the kernel: documents written as text, a test platform, and records as lines of text.
#ifndef TAVIK_TESTS_TEST_SUPPORT_H
#define TAVIK_TESTS_TEST_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavik/TavikKernel.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline Data dataOf(std::string_view text) { return Data(bytesOf(text)); }

/// Parses a property list.
inline Value parsed(std::string_view text) {
  std::string error;
  auto value = readPropertyList(bytesOf(text), error);
  EXPECT_TRUE(value) << error << " in:\n" << text;
  return value.value_or(Value());
}

inline Dictionary parsedDictionary(std::string_view text) { return *parsed(text).ifDictionary(); }

/// Trusts every document except those with an "untrusted" entry, whose text is the reason. A document with a "nothing"
/// entry is accepted without content. Records the log.
class TestPlatform : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override {
    EXPECT_EQ(publicKeyPath, "/usr/local/share/misc/TavikKernel-pub.pem");
    if (signedDictionary.contains("nothing")) return std::nullopt;
    if (const auto reason = signedDictionary.findString("untrusted")) errorDescription = std::string(*reason);
    return Value(signedDictionary);
  }
  bool logs() const override { return keepsLog; }
  void log(std::string_view line) const override { lines.emplace_back(line); }

  bool keepsLog = true;
  mutable std::vector<std::string> lines;
};

/// A temporary folder, removed by the destructor.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = testing::TempDir() + "/tavik-XXXXXX";
    path_ = std::string(mkdtemp(name.data())) + "/";
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return path_ + name; }
  std::string write(const std::string& name, std::string_view content) const {  // NOLINT(modernize-use-nodiscard)
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }
  /// The text without the folder's path.
  [[nodiscard]] std::string removedFrom(std::string text) const {
    for (std::size_t at = 0; (at = text.find(path_)) != std::string::npos;) text.erase(at, path_.size());
    return text;
  }

 private:
  std::string path_;
};

/// A temporary file, removed by the destructor.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string_view content) : path_(folder_.write("file", content)) {}
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  TemporaryFolder folder_;
  std::string path_;
};

/// A kernel for a rule library written as text; null if it cannot be created.
inline std::unique_ptr<ZRTTavikKernel> kernelWith(std::string_view library, std::shared_ptr<TestPlatform> platform) {
  Reason why;
  return ZRTTavikKernel::init(bytesOf(library), std::move(platform), why);
}

/// "RULE: pass, ACTUAL, EXPECTED", followed by the record's other entries.
inline std::string lineOf(const Dictionary& record) {
  std::string line = description(record.find("rule")) + ": " +
                     (record.find("result")->ifBoolean().value() ? "pass, " : "FAIL, ") +
                     description(record.find("actual")) + ", " + description(record.find("expected"));
  for (const auto [key, value] : record) {
    if (key != "rule" && key != "result" && key != "actual" && key != "expected") {
      line += ", " + std::string(key) + " " + description(&value);
    }
  }
  return line;
}

inline std::vector<std::string> linesOf(const std::optional<Array>& records) {
  std::vector<std::string> lines;
  if (!records) return {"absent"};
  for (const Value& record : *records) lines.push_back(lineOf(*record.ifDictionary()));
  return lines;
}

}  // namespace tavik

#endif
