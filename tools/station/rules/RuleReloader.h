/// @file
/// Keeps the rule documents up to date with their files.
#ifndef TAVIK_STATION_RULES_RULE_RELOADER_H
#define TAVIK_STATION_RULES_RULE_RELOADER_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "rules/LoadedRules.h"

namespace tavik::station {

/// Looks at the files once per second. If one changed, all documents are read and validated again, and replace the old
/// ones between two runs. If one is rejected, the old ones remain in use. A file that is still being written is
/// rejected until it is complete.
class RuleReloader {
 public:
  struct Rejection {
    Milliseconds time;
    std::string reason;
  };
  struct Status {
    std::shared_ptr<const LoadedRules> rules;
    std::optional<Rejection> rejection;  ///< of the files as they are
    std::uint64_t rejections = 0;        ///< since the start
  };

  /// Reads the documents; throws `Failure` if one is rejected.
  explicit RuleReloader(RuleFiles files);

  /// Watches the files as long as the thread lives. changed: called after new documents were accepted or rejected.
  [[nodiscard]] std::jthread watch(std::function<void(const Status&)> changed);
  /// Reads the documents as soon as possible. Thread-safe.
  void reload();

  [[nodiscard]] Status status() const;
  [[nodiscard]] std::shared_ptr<const LoadedRules> rules() const { return status().rules; }
  [[nodiscard]] const RuleFiles& files() const noexcept { return files_; }

 private:
  using FileState = std::tuple<std::int64_t, std::int64_t, std::uint64_t, std::int64_t>;

  [[nodiscard]] std::vector<FileState> states() const;
  void run(const std::stop_token& stop, const std::function<void(const Status&)>& changed);
  bool tryToLoad();

  RuleFiles files_;
  std::vector<FileState> seen_;
  mutable std::mutex mutex_;
  std::condition_variable_any wake_;
  Status status_;
  bool reloads_ = false;
};

}  // namespace tavik::station

#endif
