// Values, data, and the blocks of memory that values share.

#include <tavik/Value.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::Bytes;
using detail::Container;
using detail::ValueAccess;

namespace detail {

namespace {

template <class Block>
Block* makeBlock(std::size_t capacity, std::size_t elementSize, std::size_t extraBytes) {
  if (capacity > (std::numeric_limits<std::size_t>::max() / 4 - extraBytes) / elementSize) throw std::bad_alloc();
  return new (::operator new(sizeof(Block) + capacity * elementSize + extraBytes)) Block(capacity);
}

}  // namespace

Bytes* Bytes::make(const void* bytes, std::size_t size) {
  if (size > std::numeric_limits<std::size_t>::max() / 2) throw std::bad_alloc();
  auto* block = new (::operator new(sizeof(Bytes) + size)) Bytes;
  block->size = size;
  std::memcpy(static_cast<void*>(block + 1), bytes, size);
  return block;
}

Elements* Elements::make(std::size_t capacity) { return makeBlock<Elements>(capacity, sizeof(Value), 0); }

Entries* Entries::make(std::size_t capacity) {
  if (capacity >= std::numeric_limits<std::uint32_t>::max() / 2) throw std::bad_alloc();
  auto* block = makeBlock<Entries>(capacity, sizeof(Entry), slotCount(capacity) * sizeof(std::uint32_t));
  std::ranges::fill(block->slots(), 0U);
  return block;
}

Value ValueAccess::string(std::string_view wellFormed) {
  Value value;
  if (wellFormed.size() <= Value::kLongestShort) {
    if (!wellFormed.empty()) std::memcpy(value.storage_, wellFormed.data(), wellFormed.size());
    value.storage_[15] = static_cast<unsigned char>(wellFormed.size());
    return value;
  }
  return {Value::kLongString, Bytes::make(wellFormed.data(), wellFormed.size())};
}

Container* ValueAccess::dropContents(Value& value) noexcept {
  Container* container = nullptr;
  switch (value.tag()) {
    case Value::kLongString:
      dropOwner(*value.contents<Bytes*>());
      break;
    case Value::kData:
      dropOwner(value.contents<Data>()->bytes_);
      break;
    case Value::kArray:
      container = value.contents<Array>()->elements_;
      break;
    case Value::kDictionary:
      container = value.contents<Dictionary>()->entries_;
      break;
    default:
      break;
  }
  return container != nullptr && container->dropOwner() ? container : nullptr;
}

namespace {

// The values of a container, keys included, as one run.
std::span<Value> valuesOf(Container* container) noexcept {
  if (container->isDictionary) {
    auto* entries = static_cast<Entries*>(container);
    return {&entries->begin()->key, 2 * entries->size};
  }
  auto* elements = static_cast<Elements*>(container);
  return {elements->begin(), elements->size};
}
static_assert(sizeof(Entry) == 2 * sizeof(Value) && offsetof(Entry, value) == sizeof(Value));

}  // namespace

void destroy(Container* last) noexcept {
  while (last != nullptr) {
    Container* container = std::exchange(last, last->nextDead);
    for (Value& value : valuesOf(container)) {
      if (Container* dead = ValueAccess::dropContents(value)) dead->nextDead = std::exchange(last, dead);
    }
    ::operator delete(container);
  }
}

}  // namespace detail

Data::Data(std::span<const std::uint8_t> bytes)
    : bytes_(bytes.empty() ? nullptr : Bytes::make(bytes.data(), bytes.size())) {}

Data::Data(const Data& other) noexcept : bytes_(other.bytes_) {
  if (bytes_ != nullptr) bytes_->addOwner();
}

Data& Data::operator=(Data other) noexcept {
  std::swap(bytes_, other.bytes_);
  return *this;
}

Data::~Data() { dropOwner(bytes_); }

std::span<const std::uint8_t> Data::bytes() const noexcept {
  if (bytes_ == nullptr) return {};
  return {bytes_->begin(), bytes_->size};
}

bool operator==(const Data& left, const Data& right) noexcept {
  return std::ranges::equal(left.bytes(), right.bytes());
}

Value::Value(std::string_view text)
    : Value(validUtf8Prefix(text) == text.size() ? ValueAccess::string(text)
                                                 : ValueAccess::string(replacingIllFormedUtf8(text))) {}

Value::Value(const char* text)
    : Value(text != nullptr ? std::string_view(text) : throw std::invalid_argument("a null pointer is no text")) {}

Kind Value::kind() const noexcept {
  switch (tag()) {
    case kInteger:
    case kReal:
      return Kind::kNumber;
    case kBoolean:
      return Kind::kBoolean;
    case kData:
      return Kind::kData;
    case kDate:
      return Kind::kDate;
    case kArray:
      return Kind::kArray;
    case kDictionary:
      return Kind::kDictionary;
    default:
      return Kind::kString;
  }
}

std::optional<std::string_view> Value::ifString() const noexcept {
  if (tag() <= kLongestShort) return std::string_view(reinterpret_cast<const char*>(storage_), tag());
  if (tag() == kLongString) return (*contents<Bytes*>())->text();
  return std::nullopt;
}

std::optional<std::int64_t> Value::ifInteger() const noexcept {
  return tag() == kInteger ? std::optional(*contents<std::int64_t>()) : std::nullopt;
}

std::optional<double> Value::ifReal() const noexcept {
  return tag() == kReal ? std::optional(*contents<double>()) : std::nullopt;
}

std::optional<bool> Value::ifBoolean() const noexcept {
  return tag() == kBoolean ? std::optional(*contents<bool>()) : std::nullopt;
}

std::optional<Date> Value::ifDate() const noexcept {
  return tag() == kDate ? std::optional(*contents<Date>()) : std::nullopt;
}

void Value::share() const noexcept {
  detail::Shared* contents = nullptr;
  if (tag() == kLongString) contents = *this->contents<Bytes*>();
  if (tag() == kData) contents = this->contents<Data>()->bytes_;
  if (tag() == kArray) contents = this->contents<Array>()->elements_;
  if (tag() == kDictionary) contents = this->contents<Dictionary>()->entries_;
  if (contents != nullptr) contents->addOwner();
}

void Value::release() noexcept {
  if (Container* dead = ValueAccess::dropContents(*this)) detail::destroy(dead);
}

}  // namespace tavik
