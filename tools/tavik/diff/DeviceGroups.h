/// @file
/// Devices with a different result, grouped by what changed.
#ifndef TAVIK_TOOL_DIFF_DEVICE_GROUPS_H
#define TAVIK_TOOL_DIFF_DEVICE_GROUPS_H

#include <tavik/CheckOutcome.h>
#include <tavik/Value.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tavik::tool {

/// A rule's record; absent if the device does not get the rule, or gets no verdict at all.
struct RecordChange {
  std::string rule;
  std::optional<Value> before;
  std::optional<Value> after;
};

/// How the result of a device changes, the most important first.
enum class ResultChange : std::uint8_t {
  kNoLongerPasses,
  kNowPasses,
  kOtherReason,  ///< it does not pass with either version, for different reasons
  kTexts,        ///< the verdict is the same
};
inline constexpr std::size_t kResultChanges = 4;

/// A device with a different result; borrows its outcomes.
struct DeviceChange {
  const Value& id;
  const CheckOutcome& before;
  const CheckOutcome& after;
  std::vector<RecordChange> records = {};

  [[nodiscard]] ResultChange category() const;
};

/// "2 devices no longer pass"; `noun`: whether to write "devices".
std::string countText(ResultChange category, std::size_t count, bool noun);

/// Devices for which the same rules change in the same way. All texts are visible.
struct DeviceGroup {
  struct Record {
    std::string title;  ///< the rule, or what is sent to the station
    std::string before;
    std::string after;
  };

  ResultChange category;
  std::string verdicts;         ///< "passed -> FAILED"
  std::vector<Record> records;  ///< those of the first device
  std::size_t recordsLeftOut = 0;
  bool sameTexts = true;  ///< whether all devices have the same records
  std::size_t devices = 0;
  std::vector<std::string> names = {};  ///< of the first devices

  /// "2 devices no longer pass: passed -> FAILED"
  [[nodiscard]] std::string title() const;
  /// "unit-1, unit-2 and 412 more"
  [[nodiscard]] std::string devicesText() const;
};

/// Keeps at most `limit` groups of each category, and as many devices and rules of each group; the rest are counted.
class DeviceGroups {
 public:
  /// `limit`: 0 for none.
  explicit DeviceGroups(std::size_t limit) : limit_(limit == 0 ? static_cast<std::size_t>(-1) : limit) {}

  void add(const DeviceChange& change);

  /// The most important category first, and in a category the groups with the most devices.
  [[nodiscard]] std::vector<DeviceGroup> all() const;
  /// The number of devices in groups that are not kept.
  [[nodiscard]] std::size_t leftOut() const noexcept { return leftOut_; }

 private:
  std::size_t limit_;
  std::array<std::vector<DeviceGroup>, kResultChanges> groups_;
  std::array<std::unordered_map<std::string, std::size_t>, kResultChanges> places_;  // by what changed
  std::size_t leftOut_ = 0;
};

}  // namespace tavik::tool

#endif
