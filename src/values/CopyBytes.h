/// @file
/// Copying of a few bytes, for which a call costs more than the work.
#ifndef TAVIK_VALUES_COPY_BYTES_H
#define TAVIK_VALUES_COPY_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tavik {

/// The first and the last bytes of a run that has no gap between them.
template <class Word>
void copyEnds(char* to, const char* from, std::size_t size) noexcept {
  Word first;
  Word last;
  std::memcpy(&first, from, sizeof first);
  std::memcpy(&last, from + size - sizeof last, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(to + size - sizeof last, &last, sizeof last);
}

/// `std::memcpy`, quicker for short runs; the pointers may be null when there are no bytes.
inline void copyBytes(char* to, const char* from, std::size_t size) noexcept {
  if (size > 2 * sizeof(std::uint64_t)) {
    std::memcpy(to, from, size);
  } else if (size >= sizeof(std::uint64_t)) {
    copyEnds<std::uint64_t>(to, from, size);
  } else if (size >= sizeof(std::uint32_t)) {
    copyEnds<std::uint32_t>(to, from, size);
  } else if (size >= sizeof(std::uint16_t)) {
    copyEnds<std::uint16_t>(to, from, size);
  } else if (size == 1) {
    *to = *from;
  }
}

}  // namespace tavik

#endif
