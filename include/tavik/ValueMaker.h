/// @file
/// Makes the values of a large object, such as a device with hundreds of attributes, faster than one by one.
#ifndef TAVIK_VALUE_MAKER_H
#define TAVIK_VALUE_MAKER_H

#include <tavik/Value.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace tavik {

namespace detail {
class SlabCutter;  // cuts blocks of memory
}  // namespace detail

/// Allocates texts in blocks. The texts of one maker share memory blocks of up to 16 KiB; keeping one keeps its block.
/// Not thread-safe; its values are independent of it.
class TAVIK_EXPORT ValueMaker {
 public:
  /// expectedSize: the approximate total size of the texts, in bytes.
  explicit ValueMaker(std::size_t expectedSize);
  ValueMaker(const ValueMaker&) = delete;
  ValueMaker& operator=(const ValueMaker&) = delete;
  ~ValueMaker();

  /// Same as `Value(text)`.
  Value string(std::string_view text);

  /// Same as storing the entries in order with `Dictionary::set`. Raises `std::invalid_argument` if a key is not a
  /// string.
  static Dictionary dictionary(std::vector<std::pair<Value, Value>> entries);

 private:
  std::unique_ptr<detail::SlabCutter> slabs_;
};

}  // namespace tavik

#endif
