#include "lint/Document.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "text/Text.h"

namespace tavik::tool::lint {

std::string_view nameOf(Document::Role role) {
  constexpr std::string_view kNames[] = {"library", "rules", "baseline"};
  return kNames[static_cast<std::size_t>(role)];
}

std::string Place::path() const {
  std::vector<const Place*> way;
  for (const Place* place = this; place->parent_ != nullptr; place = place->parent_) way.push_back(place);
  std::string path;
  for (auto place = way.rbegin(); place != way.rend(); ++place) {
    if ((*place)->parent_->value_->ifArray() != nullptr) {
      path += fmt::format("[{}]", (*place)->index_);
    } else {
      if (!path.empty()) path += '.';
      path += (*place)->key_;
    }
  }
  return path;
}

std::string_view Place::name() const noexcept {
  const Place* place = this;
  while (place->key_.empty() && place->parent_ != nullptr) place = place->parent_;
  return place->key_;
}

std::string shown(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  if (text.size() <= kLongest) return fmt::format("\"{}\"", text);
  std::size_t end = kLongest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return fmt::format("\"{}…\"", text.substr(0, end));
}

std::string shown(const Value& value) {
  constexpr std::size_t kMostBytes = 16;
  if (const auto text = value.ifString()) return shown(*text);
  if (const Array* array = value.ifArray()) return fmt::format("an array of {}", array->size());
  if (const Dictionary* dictionary = value.ifDictionary()) return fmt::format("a dictionary of {}", dictionary->size());
  if (const Data* data = value.ifData(); data != nullptr && data->size() > kMostBytes) {
    return fmt::format("{} bytes", data->size());
  }
  if (const auto truth = value.ifBoolean()) return *truth ? "true" : "false";
  return description(&value);
}

}  // namespace tavik::tool::lint
