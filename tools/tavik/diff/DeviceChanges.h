/// @file
/// Checks devices with the old and the new rule documents and finds different results.
#ifndef TAVIK_TOOL_DIFF_DEVICE_CHANGES_H
#define TAVIK_TOOL_DIFF_DEVICE_CHANGES_H

#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "diff/DeviceGroups.h"

namespace tavik::tool {

/// The number of devices for which a rule has a different result.
struct RecordTally {
  std::size_t nowFails = 0;
  std::size_t nowPasses = 0;
  std::size_t others = 0;  ///< other texts, or the rule is gained or lost
};

/// Checks one device after another and groups those with a different result.
class DeviceChanges {
 public:
  using Render = std::function<void(std::string& out, const DeviceChange& change)>;

  /// `limit`: of what is listed, 0 for none. `render`: appends a device to `rendered`, in place of grouping it; may be
  /// empty.
  DeviceChanges(std::shared_ptr<const PreparedRules> before, std::shared_ptr<const PreparedRules> after,
                std::size_t limit, Render render)
      : before_(std::move(before)),
        after_(std::move(after)),
        limit_(limit),
        render_(std::move(render)),
        groups_(limit) {}

  /// Checks a device with both. `sources`: empty if there are none.
  void check(const Value& id, const Dictionary& attributes, const Dictionary& sources);

  [[nodiscard]] std::size_t devices() const noexcept { return devices_; }
  [[nodiscard]] std::size_t changed() const noexcept { return changed_; }
  [[nodiscard]] std::size_t count(ResultChange category) const noexcept {
    return counts_[static_cast<std::size_t>(category)];
  }
  /// Whether the verdict of some device changes.
  [[nodiscard]] bool changesVerdicts() const noexcept { return count(ResultChange::kTexts) != changed_; }
  /// "2 of 300 devices have a different result: 1 no longer passes, 1 has different texts"
  [[nodiscard]] std::string summary() const;
  [[nodiscard]] const std::map<std::string, RecordTally>& rules() const noexcept { return rules_; }
  [[nodiscard]] const DeviceGroups& groups() const noexcept { return groups_; }
  [[nodiscard]] const std::string& rendered() const noexcept { return rendered_; }

 private:
  std::shared_ptr<const PreparedRules> before_;
  std::shared_ptr<const PreparedRules> after_;
  std::size_t limit_;
  Render render_;
  std::size_t devices_ = 0;
  std::size_t changed_ = 0;
  std::array<std::size_t, kResultChanges> counts_{};
  std::map<std::string, RecordTally> rules_;
  DeviceGroups groups_;
  std::string rendered_;
};

}  // namespace tavik::tool

#endif
