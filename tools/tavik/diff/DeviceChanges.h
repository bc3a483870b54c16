/// @file
/// Checks devices with the old and the new rule documents and finds different results.
#ifndef TAVIK_TOOL_DIFF_DEVICE_CHANGES_H
#define TAVIK_TOOL_DIFF_DEVICE_CHANGES_H

#include <tavik/CheckOutcome.h>
#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavik::tool {

/// A rule's record; absent if the device does not get the rule, or gets no verdict at all.
struct RecordChange {
  std::string rule;
  std::optional<Value> before;
  std::optional<Value> after;
};

/// A device with a different result; borrows its outcomes.
struct DeviceChange {
  const Value& id;
  const CheckOutcome& before;
  const CheckOutcome& after;
  std::vector<RecordChange> records = {};

  [[nodiscard]] bool sameVerdict() const;
};

/// The number of devices for which a rule has a different result.
struct RecordTally {
  std::size_t nowFails = 0;
  std::size_t nowPasses = 0;
  std::size_t others = 0;  ///< other texts, or the rule is gained or lost
};

/// Checks one device after another and keeps the text that `render` returns for each one with a different result.
class DeviceChanges {
 public:
  using Render = std::function<void(std::string& out, const DeviceChange& change)>;

  DeviceChanges(std::shared_ptr<const PreparedRules> before, std::shared_ptr<const PreparedRules> after, Render render)
      : before_(std::move(before)), after_(std::move(after)), render_(std::move(render)) {}

  void check(const Value& id, const Dictionary& attributes, const Dictionary& sources);

  [[nodiscard]] std::size_t devices() const noexcept { return devices_; }
  [[nodiscard]] std::size_t changed() const noexcept { return changed_; }
  [[nodiscard]] const std::map<std::string, RecordTally>& rules() const noexcept { return rules_; }
  [[nodiscard]] const std::string& rendered() const noexcept { return rendered_; }

 private:
  std::shared_ptr<const PreparedRules> before_;
  std::shared_ptr<const PreparedRules> after_;
  Render render_;
  std::size_t devices_ = 0;
  std::size_t changed_ = 0;
  std::map<std::string, RecordTally> rules_;
  std::string rendered_;
};

}  // namespace tavik::tool

#endif
