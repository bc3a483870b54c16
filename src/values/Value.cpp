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
  if (capacity > Container::kMost) throw std::bad_alloc();
  return new (::operator new(sizeof(Block) + capacity * elementSize + extraBytes)) Block(capacity);
}

}  // namespace

Bytes* Bytes::make(std::size_t size) {
  if (size > std::numeric_limits<std::size_t>::max() / 2) throw std::bad_alloc();
  auto* block = new (::operator new(sizeof(Bytes) + size)) Bytes;
  block->size = size;
  return block;
}

Elements* Elements::make(std::size_t capacity) { return makeBlock<Elements>(capacity, sizeof(Value), 0); }

Entries* Entries::make(std::size_t capacity) {
  const std::size_t slots = capacity > kMost ? 0 : slotCount(capacity);
  auto* block = makeBlock<Entries>(capacity, sizeof(Entry), slots * sizeof(Slot));
  std::ranges::fill(block->slots(), Slot());
  return block;
}

namespace {

// The values of a container that may be shared: every one, or every second one if the others are short keys.
struct Values {
  explicit Values(Container* container) noexcept {
    if (!container->isDictionary) {
      auto* elements = static_cast<Elements*>(container);
      first = elements->begin();
      end = elements->end();
      return;
    }
    auto* entries = static_cast<Entries*>(container);
    step = entries->keysAreShort ? 2 : 1;
    first = &entries->begin()->key + (step - 1);
    end = &entries->end()->key + (step - 1);
  }

  Value* first;
  Value* end;
  std::ptrdiff_t step = 1;
};
static_assert(sizeof(Entry) == 2 * sizeof(Value) && offsetof(Entry, value) == sizeof(Value));

// Drops the values of a container without owners; calls `withDead` with each container that lost its last owner. In
// reverse order, because the records of a check are made in order: the thread uses the slab that it released last
// first.
template <class WithDead>
void dropValues(Container* container, SlabRelease& release, WithDead withDead) noexcept {
  const Values values(container);
  for (Value* value = values.end; value != values.first;) {
    value -= values.step;
    if (!ValueAccess::isShared(*value)) continue;
    if (Container* dead = ValueAccess::dropContents(*value, release)) withDead(dead);
  }
}

}  // namespace

// Destroys two levels at a time, because most containers in containers contain no others.
void destroy(Container* last) noexcept {
  SlabRelease release;
  const auto add = [&](Container* dead) { dead->nextDead = std::exchange(last, dead); };
  while (last != nullptr) {
    Container* container = std::exchange(last, last->nextDead);
    dropValues(container, release, [&](Container* dead) {
      dropValues(dead, release, add);
      dead->giveBack(release);
    });
    container->giveBack(release);
  }
}

}  // namespace detail

Value ValueAccess::copiedText(const Value& value, detail::SlabCutter& slabs) {
  const std::string_view text = *value.ifString();
  return detail::SlabCutter::takes(sizeof(Bytes) + text.size()) ? string(text, &slabs) : value;
}

Value ValueAccess::copiedWithEntries(const Value& value, detail::SlabCutter& slabs) {
  constexpr std::size_t kFew = 4;
  const Dictionary* const dictionary = value.ifDictionary();
  if (dictionary == nullptr || dictionary->size() > kFew) return copied(value, &slabs);
  detail::FixedDictionary copy(dictionary->size(), &slabs);
  for (const detail::Entry& entry : entriesOf(*dictionary)) {
    if (!isErased(entry.key)) copy.add(copied(entry.key, &slabs), copiedWithEntries(entry.value, slabs));
  }
  return std::move(copy).take();
}

Data::Data(std::span<const std::uint8_t> bytes) : bytes_(bytes.empty() ? nullptr : Bytes::make(bytes.size())) {
  if (bytes_ != nullptr) std::memcpy(static_cast<void*>(bytes_ + 1), bytes.data(), bytes.size());
}

Data::Data(const Data& other) noexcept : bytes_(other.bytes_) {
  if (bytes_ != nullptr) bytes_->addOwner();
}

Data& Data::operator=(Data other) noexcept {
  std::swap(bytes_, other.bytes_);
  return *this;
}

Data::~Data() {
  detail::SlabRelease release;
  detail::dropOwner(bytes_, release);
}

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
    : Value(text != nullptr ? std::string_view(text) : throw std::invalid_argument("the text is a null pointer")) {}

std::string_view Value::longText() const noexcept { return (*contents<Bytes*>())->text(); }

void Value::share() const noexcept {
  if (detail::Shared* contents = ValueAccess::contentsOf(*this)) contents->addOwner();
}

void Value::release() noexcept {
  detail::SlabRelease release;
  if (Container* dead = ValueAccess::dropContents(*this, release)) detail::destroy(dead);
}

}  // namespace tavik
