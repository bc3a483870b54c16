// Arrays.

#include <tavik/Value.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "values/DictionaryKey.h"
#include "values/SharedContents.h"

namespace tavik {

using detail::Container;
using detail::makeWritable;

Array::Array(const Array& other) noexcept : elements_(other.elements_) {
  if (elements_ != nullptr) elements_->addOwner();
}

Array& Array::operator=(Array other) noexcept {
  std::swap(elements_, other.elements_);
  return *this;
}

Array::~Array() { dropOwner(static_cast<Container*>(elements_)); }

std::size_t Array::size() const noexcept { return elements_ == nullptr ? 0 : elements_->size; }

const Value* Array::begin() const noexcept { return elements_ == nullptr ? nullptr : elements_->begin(); }

const Value* Array::end() const noexcept { return elements_ == nullptr ? nullptr : elements_->end(); }

const Value& Array::at(std::size_t index) const {
  if (index >= size()) {
    throw std::out_of_range("index " + std::to_string(index) + " is out of range for an array of size " +
                            std::to_string(size()));
  }
  return begin()[index];
}

bool Array::contains(const Value& value) const {
  if (!value.isString()) return std::find(begin(), end(), value) != end();
  const detail::Sought text(value);
  return std::ranges::any_of(*this, [&](const Value& element) { return text.is(element); });
}

void Array::append(Value value) {
  constexpr std::size_t kFirstRoom = 4;
  makeWritable(elements_, elements_ == nullptr ? kFirstRoom : size() + 1);
  std::construct_at(elements_->end(), std::move(value));
  ++elements_->size;
}

void Array::set(std::size_t index, Value value) {
  static_cast<void>(at(index));
  makeWritable(elements_, size());
  elements_->begin()[index] = std::move(value);
}

void Array::reserve(std::size_t count) {
  if (count != 0) makeWritable(elements_, std::max(count, size()));
}

}  // namespace tavik
