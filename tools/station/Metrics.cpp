#include "Metrics.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "text/Text.h"

namespace tavik::station {

void MetricsText::begin(std::string_view name, std::string_view kind, std::string_view help) {
  name_ = name;
  fmt::format_to(std::back_inserter(text_), "# HELP {} {}\n# TYPE {} {}\n", name, help, name, kind);
}

void MetricsText::sample(std::string_view label, double value, std::string_view suffix) {
  const std::string labels = label.empty() ? "" : fmt::format("{{{}}}", label);
  fmt::format_to(std::back_inserter(text_), "{}{}{} {}\n", name_, suffix, labels, value);
}

std::string MetricsText::labelOf(std::string_view name, std::string_view value) {
  std::string escaped;
  for (const char character : tool::visible(value)) {
    if (character == '"' || character == '\\') escaped += '\\';
    escaped += character;
  }
  return fmt::format("{}=\"{}\"", name, escaped);
}

void Metrics::addRun(const Run& run) {
  const double seconds = static_cast<double>(run.microseconds) / 1e6;
  const std::lock_guard lock(mutex_);
  ++checks_[run.verdict];
  for (const std::string& rule : run.rules) {
    ++failures_[failures_.size() < kMostRules || failures_.contains(rule) ? rule : "(others)"];
  }
  const auto* const bound = std::ranges::lower_bound(kBounds, seconds);
  ++durations_[static_cast<std::size_t>(bound - kBounds.begin())];
  seconds_ += seconds;
}

void Metrics::addAnswer(int status) {
  const std::lock_guard lock(mutex_);
  ++answers_[status];
}

void Metrics::addStoreFailure() {
  const std::lock_guard lock(mutex_);
  ++storeFailures_;
}

void Metrics::write(MetricsText& text) const {
  const std::lock_guard lock(mutex_);
  text.begin("tavik_checks_total", "counter", "Check runs by verdict.");
  for (const auto& [verdict, count] : checks_)
    text.sample(MetricsText::labelOf("verdict", verdict), static_cast<double>(count));
  text.begin("tavik_check_duration_seconds", "histogram", "Time per check, without waiting for the disk.");
  std::uint64_t total = 0;
  for (std::size_t i = 0; i < kBounds.size(); ++i) {
    total += durations_[i];
    text.sample(MetricsText::labelOf("le", fmt::format("{}", kBounds[i])), static_cast<double>(total), "_bucket");
  }
  total += durations_.back();
  text.sample(R"(le="+Inf")", static_cast<double>(total), "_bucket");
  text.sample("", seconds_, "_sum");
  text.sample("", static_cast<double>(total), "_count");
  text.begin("tavik_rule_failures_total", "counter", "Runs that a rule failed or ended.");
  for (const auto& [rule, count] : failures_)
    text.sample(MetricsText::labelOf("rule", rule), static_cast<double>(count));
  text.begin("tavik_http_responses_total", "counter", "Answers by HTTP status.");
  for (const auto& [status, count] : answers_)
    text.sample(MetricsText::labelOf("status", std::to_string(status)), static_cast<double>(count));
  text.begin("tavik_store_failures_total", "counter", "Results that could not be stored.");
  text.sample("", static_cast<double>(storeFailures_));
}

}  // namespace tavik::station
