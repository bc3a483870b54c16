// Calls the C interface as directed by the input, with handles of every type, including null and wrong ones. Every call
// must return a status with matching handles and errors, and the values must equal C++ values after the same changes.

#include <tavik/tavik.h>

#include <array>
#include <cstdlib>

#include "CHandles.h"
#include "Choices.h"
#include "RuleDocumentMaker.h"

namespace {

using namespace tavik;

void require(bool condition, int line = __builtin_LINE()) {
  if (condition) return;
  std::cerr << "condition in line " << line << " is false" << std::endl;
  std::abort();
}

// Maximum size of a value. Nested shared values can be far larger than their memory.
constexpr std::size_t kMost = 500;

std::size_t sizeOf(const Value& value) {
  std::size_t size = 1;
  if (const Array* array = value.ifArray()) {
    for (const Value& element : *array) size += sizeOf(element);
  }
  if (const Dictionary* dictionary = value.ifDictionary()) {
    for (const auto [key, entry] : *dictionary) size += sizeOf(entry);
  }
  return size;
}

class Calls {
 public:
  explicit Calls(Choices choices) : choices_(choices) {}

  void run() {
    if (choices_.often(8)) makeDocuments();
    for (int rest = 100; rest > 0 && !choices_.done(); --rest) call();
    for (const Slot& slot : values_) {
      if (slot.model) require(exact::text(c::valueOf(slot.handle)) == exact::text(*slot.model));
      require(slot.model.has_value() == (slot.handle != nullptr));
    }
  }

 private:
  struct Slot {
    c::OwnedValue handle;
    std::optional<Value> model;
  };

  // Made from the input that also directs the calls.
  void makeDocuments() {
    const RuleDocuments documents = RuleDocumentMaker(choices_).documents();
    const std::optional<Dictionary> made[] = {documents.library, documents.rules, documents.devices.front(),
                                              documents.sources};
    for (std::size_t index = 0; index < std::size(made); ++index) {
      if (!made[index]) continue;
      values_[index].handle = c::handleOf(*made[index]);
      values_[index].model = *made[index];
    }
    makeKernel(values_[0].handle, values_[1].handle);
  }

  Slot& slot() { return values_[choices_.below(values_.size())]; }

  // A value, null, or a handle of another type.
  tavik_value* argument() {
    const std::size_t choice = choices_.below(16);
    if (choice == 0) return nullptr;
    if (choice == 1) return reinterpret_cast<tavik_value*>(static_cast<tavik_kernel*>(kernel_));
    if (choice == 2) return reinterpret_cast<tavik_value*>(static_cast<tavik_rules*>(rules_));
    return slot().handle;
  }

  void call() {
    const std::size_t choice = choices_.below(10);
    if (choice < 2) return make();
    if (choice < 4) return store();
    if (choice == 4) return take();
    if (choice == 5) return misread();
    if (choice == 6) return release();
    if (choice > 7) return give();
    const tavik_value* library = argument();
    makeKernel(library, argument());
  }

  void keep(Slot& to, tavik_status status, const Value& model) {
    require((status == TAVIK_OK) == (to.handle != nullptr));
    to.model = status == TAVIK_OK ? std::optional(model) : std::nullopt;
  }

  void make() {
    Slot& to = slot();
    const auto text = choices_.text(20);
    const std::size_t kind = choices_.below(7);
    const Data data(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    const Value integer(kind == 1 ? choices_.number<std::int64_t>() : 0);
    const Value real(kind == 2 ? choices_.number<double>() : 0.0);
    const Value values[] = {Value(text), integer, real, Value(true), Value(data), Value(Array()), Value(Dictionary())};
    tavik_value** const out = to.handle.out();
    const tavik_status status = kind == 0   ? tavik_value_new_string(text.data(), text.size(), out)
                                : kind == 3 ? tavik_value_new_boolean(7, out)
                                            : TAVIK_OK;
    if (kind != 0 && kind != 3) to.handle = c::handleOf(values[kind]);
    keep(to, status, values[kind]);
  }

  void store() {
    Slot& into = slot();
    const Slot& from = slot();
    const auto key = choices_.text(6);
    if (into.model && from.model && sizeOf(*into.model) + sizeOf(*from.model) > kMost) return;
    const std::size_t index = choices_.below(8);
    const bool stores = choices_.often(8);
    if (stores || choices_.often(4)) {
      if ((stores ? tavik_dictionary_set(into.handle, key.data(), key.size(), from.handle)
                  : tavik_dictionary_erase(into.handle, key.data(), key.size())) != TAVIK_OK) {
        return;
      }
      Dictionary changed = *into.model->ifDictionary();
      stores ? changed.set(key, *from.model) : require(changed.erase(key));
      into.model = changed;
    } else {
      const bool appends = choices_.often(8);
      if ((appends ? tavik_array_append(into.handle, from.handle) : tavik_array_set(into.handle, index, from.handle)) !=
          TAVIK_OK) {
        return;
      }
      Array changed = *into.model->ifArray();
      appends ? changed.append(*from.model) : changed.set(index, *from.model);
      into.model = changed;
    }
  }

  void take() {
    const Slot& from = slot();
    Slot to;
    const auto key = choices_.text(6);
    const std::size_t index = choices_.below(8);
    if (choices_.often(4)) {
      keep(to, tavik_value_copy(from.handle, to.handle.out()), from.model.value_or(Value()));
    } else if (choices_.often(8)) {
      const tavik_status status = tavik_dictionary_get(from.handle, key.data(), key.size(), to.handle.out());
      keep(to, status, status == TAVIK_OK ? *from.model->ifDictionary()->find(key) : Value());
    } else {
      const tavik_status status = tavik_array_get(from.handle, index, to.handle.out());
      keep(to, status, status == TAVIK_OK ? from.model->ifArray()->at(index) : Value());
    }
    slot() = std::move(to);
  }

  // Reads a value as any kind, often a wrong one.
  void misread() {
    const tavik_value* value = argument();
    const char* text = nullptr;
    const std::uint8_t* bytes = nullptr;
    std::size_t length = 0;
    std::int64_t integer = 0;
    double real = 0;
    std::int32_t truth = 0;
    const std::string key(choices_.text(6));
    const tavik_status statuses[] = {
        tavik_value_get_kind(value, &truth),
        tavik_value_get_string(value, &text, &length),
        tavik_value_get_integer(value, &integer),
        tavik_value_get_real(value, &real),
        tavik_value_get_boolean(value, &truth),
        tavik_value_get_data(value, &bytes, &length),
        tavik_value_get_date(value, &real),
        tavik_value_get_count(value, &length),
        tavik_value_equal(value, argument(), &truth),
        tavik_dictionary_get_string(value, key.c_str(), &text, &length),
        tavik_dictionary_get_integer(value, key.c_str(), &integer),
        tavik_dictionary_get_data(value, key.c_str(), &bytes, &length),
    };
    for (const tavik_status status : statuses) require(status >= TAVIK_OK && status < TAVIK_INTERNAL);
  }

  void release() {
    Slot& released = slot();
    released.handle = c::OwnedValue();
    released.model.reset();
    auto* none = reinterpret_cast<tavik_value*>(static_cast<tavik_kernel*>(kernel_));
    require(tavik_value_release(&none) == (kernel_ == nullptr ? TAVIK_OK : TAVIK_BAD_HANDLE));
  }

  // Makes a kernel from a value, and rules.
  void makeKernel(const tavik_value* library, const tavik_value* localRules) {
    host_.lines.clear();
    c::OwnedKernel kernel;  // separate: the arguments may be the previous handles, in place of a value
    c::OwnedRules rules;
    static_cast<void>(tavik_kernel_new_from_document(library, platform_, kernel.out(), nullptr));
    const tavik_status status = tavik_kernel_prepare(kernel, localRules, rules.out(), nullptr);
    require((status == TAVIK_OK) == (rules != nullptr));
    kernel_ = std::move(kernel);
    rules_ = std::move(rules);
  }

  // Calls functions that return a value or an error.
  void give() {
    Slot to;
    c::OwnedError error;
    const std::string expression(choices_.text(40));
    const tavik_status status = giving(expression, to.handle.out(), error.out());
    require(status >= TAVIK_OK && status < TAVIK_INTERNAL && status != TAVIK_NO_MEMORY);
    require((status == TAVIK_OK) == (error == nullptr));
    require(status != TAVIK_OK || to.handle != nullptr);
    require(to.handle == nullptr || status <= TAVIK_ERROR);
    if (to.handle != nullptr) to.model = c::valueOf(to.handle);
    if (!to.model || sizeOf(*to.model) <= kMost) slot() = std::move(to);
  }

  tavik_status giving(const std::string& text, tavik_value** out, tavik_error** error) {
    tavik_value* const first = argument();
    tavik_value* const second = argument();
    tavik_value* const third = argument();
    Slot& station = slot();
    switch (choices_.below(8)) {
      case 0:
        return tavik_property_list_read(text.data(), text.size(), out, error);
      case 1:
        return tavik_property_list_write(first, choices_.byte(), out, error);
      case 2:
      case 3: {
        const tavik_status status = choices_.often(8)
                                        ? tavik_kernel_check(kernel_, first, second, third, station.handle, out, error)
                                        : tavik_rules_check(rules_, first, second, station.handle, out, error);
        if (station.handle != nullptr) station.model = c::valueOf(station.handle);
        return status;
      }
      case 4:
        return tavik_kernel_sfc_check_list(kernel_, first, second, out, error);
      case 5:
        return tavik_kernel_domain_list(kernel_, first, second, out, error);
      case 6:
        return tavik_nand_size_check_description(first, second, out, error);
      default:
        return tavik_evaluate(text.c_str(), first, second, third, platform_, out, error);
    }
  }

  Choices choices_;
  c::CallbackHost host_;
  c::OwnedPlatform platform_ = host_.platform();
  c::OwnedKernel kernel_;
  c::OwnedRules rules_;
  std::array<Slot, 6> values_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Calls(Choices({data, size})).run();
  return 0;
}
