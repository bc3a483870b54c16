/// @file
/// What the service counts since it started.
#ifndef TAVIK_STATION_METRICS_H
#define TAVIK_STATION_METRICS_H

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "store/Run.h"

namespace tavik::station {

/// Writes metrics in the text format of Prometheus.
class MetricsText {
 public:
  /// Begins a metric; its samples follow. kind: "counter", "gauge" or "histogram".
  void begin(std::string_view name, std::string_view kind, std::string_view help);
  /// label: `rule="Color"`, made by `labelOf`; may be empty.
  void sample(std::string_view label, double value, std::string_view suffix = "");
  [[nodiscard]] const std::string& text() const noexcept { return text_; }

  /// The value of a label is escaped.
  static std::string labelOf(std::string_view name, std::string_view value);

 private:
  std::string text_;
  std::string name_;
};

/// Thread-safe.
class Metrics {
 public:
  void addRun(const Run& run);
  void addAnswer(int status);
  void addStoreFailure();
  void write(MetricsText& text) const;

 private:
  static constexpr std::array<double, 12> kBounds = {0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005,
                                                     0.01,   0.025,   0.05,   0.1,   0.5,    2.5};  // seconds
  static constexpr std::size_t kMostRules = 1000;

  mutable std::mutex mutex_;
  std::map<std::string, std::uint64_t> checks_ = {{"failed", 0}, {"none", 0}, {"passed", 0}};
  std::map<std::string, std::uint64_t> failures_;
  std::map<int, std::uint64_t> answers_;
  std::array<std::uint64_t, kBounds.size() + 1> durations_ = {};
  double seconds_ = 0;
  std::uint64_t storeFailures_ = 0;
};

}  // namespace tavik::station

#endif
