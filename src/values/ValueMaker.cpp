// Values whose texts are allocated in blocks.

#include <tavik/ValueMaker.h>

#include <stdexcept>

#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;

ValueMaker::ValueMaker(std::size_t expectedSize) : slabs_(std::make_unique<detail::SlabCutter>(expectedSize)) {}

ValueMaker::~ValueMaker() = default;

Value ValueMaker::string(std::string_view text) {
  Value made = ValueAccess::string(text, slabs_.get());
  if (ValueAccess::isShortAscii(made) || validUtf8Prefix(text) == text.size()) return made;
  return {text};
}

Dictionary ValueMaker::dictionary(std::vector<std::pair<Value, Value>> entries) {
  if (entries.empty()) return {};
  detail::FixedDictionary made(entries.size());
  for (std::pair<Value, Value>& entry : entries) {
    if (!entry.first.isString()) throw std::invalid_argument("the key of an entry is not a string");
    made.add(std::move(entry.first), std::move(entry.second));
  }
  const bool isRepeated = made.makeIndex().has_value();
  Dictionary all = std::move(made).take();
  if (!isRepeated) return all;
  Dictionary distinct;
  for (const detail::Entry& entry : detail::entriesOf(all)) ValueAccess::set(distinct, entry.key, entry.value);
  return distinct;
}

}  // namespace tavik
