// Policy files.

#include <tavik/Json.h>
#include <tavik/TrustPolicy.h>

#include <filesystem>
#include <utility>

#include "Entries.h"
#include "OpenSsl.h"
#include "TrustedKeys.h"

namespace tavik {
namespace {

constexpr std::string_view kOwner = "the policy";

std::string beside(const std::filesystem::path& policy, std::string_view file) {
  return (policy.parent_path() / file).string();
}

std::optional<TrustPolicy::Key> keyFrom(const Value& value, std::size_t index, std::string& error) {
  const std::string owner = "\"keys\"[" + std::to_string(index) + "]";
  if (!checkKind(value, Kind::kDictionary, owner, error)) return std::nullopt;
  const Dictionary& key = *value.ifDictionary();
  if (!checkKeys(key, {"name", "file"}, owner, error)) return std::nullopt;
  const Value* name = entry(key, "name", Kind::kString, owner, error);
  const Value* file = name != nullptr ? entry(key, "file", Kind::kString, owner, error) : nullptr;
  if (file == nullptr) return std::nullopt;
  if (!name->ifString()->empty() && !file->ifString()->empty()) {
    return TrustPolicy::Key{std::string(*name->ifString()), std::string(*file->ifString())};
  }
  error = std::string(name->ifString()->empty() ? "\"name\"" : "\"file\"") + " of " + owner + " is empty";
  return std::nullopt;
}

bool readKeys(const Dictionary& content, TrustPolicy& policy, std::string& error) {
  const Value* keys = entry(content, "keys", Kind::kArray, kOwner, error);
  if (keys == nullptr) return false;
  for (const Value& value : *keys->ifArray()) {
    std::optional<TrustPolicy::Key> key = keyFrom(value, policy.keys.size(), error);
    if (!key) return false;
    policy.keys.push_back(std::move(*key));
  }
  if (policy.keys.empty()) error = "\"keys\" is empty";
  return !policy.keys.empty();
}

bool readThreshold(const Dictionary& content, TrustPolicy& policy, std::string& error) {
  const Value* threshold = nullptr;
  if (!optionalEntry(content, "threshold", Kind::kNumber, kOwner, threshold, error)) return false;
  if (threshold == nullptr) return true;
  if (threshold->ifInteger().value_or(-1) < 0) {
    error = "\"threshold\" is not a positive integer";
    return false;
  }
  policy.threshold = static_cast<std::size_t>(*threshold->ifInteger());
  return true;
}

bool readText(const Dictionary& content, std::string_view key, std::optional<std::string>& text, std::string& error) {
  const Value* value = nullptr;
  if (!optionalEntry(content, key, Kind::kString, kOwner, value, error)) return false;
  if (value == nullptr) return true;
  text = *value->ifString();
  const bool hasNul = text->find('\0') != std::string::npos;
  if (hasNul || text->empty()) error = quoted(key) + (hasNul ? " contains a NUL character" : " is empty");
  return !hasNul && !text->empty();
}

bool readContent(const Dictionary& content, TrustPolicy& policy, std::string& error) {
  const Value* required = nullptr;
  if (!checkKeys(content, {"keys", "threshold", "product", "require_statement", "state"}, kOwner, error) ||
      !readKeys(content, policy, error) || !readThreshold(content, policy, error) ||
      !readText(content, "product", policy.product, error) ||
      !optionalEntry(content, "require_statement", Kind::kBoolean, kOwner, required, error) ||
      !readText(content, "state", policy.state, error)) {
    return false;
  }
  policy.requireStatement = required != nullptr && *required->ifBoolean();
  return true;
}

std::optional<TrustPolicy> readPolicy(const std::string& path, std::string& error) {
  const std::optional<WipedBytes> file = readSmallFile(path, "trust policy", error);
  if (!file) return std::nullopt;
  const std::optional<Value> content = readJson(file->text(), error);
  if (!content || !checkKind(*content, Kind::kDictionary, kOwner, error)) return std::nullopt;
  TrustPolicy policy;
  if (!readContent(*content->ifDictionary(), policy, error)) return std::nullopt;
  for (TrustPolicy::Key& key : policy.keys) key.file = beside(path, key.file);
  if (policy.state) policy.state = beside(path, *policy.state);
  const std::optional<KeyFiles> files = readKeyFiles(policy, error);
  if (!files || !trustedKeys(policy, *files, error)) return std::nullopt;
  return policy;
}

}  // namespace

std::optional<TrustPolicy> TrustPolicy::read(const std::string& path, std::string& error) {
  const ErrorQueueScope errors;
  std::optional<TrustPolicy> policy = readPolicy(path, error);
  if (!policy) error.insert(0, "trust policy \"" + path + "\": ");
  return policy;
}

}  // namespace tavik
