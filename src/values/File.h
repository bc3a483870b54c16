// Reading of files that are not trusted.
#ifndef TAVIK_VALUES_FILE_H
#define TAVIK_VALUES_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

struct SizeLimit {
  std::size_t bytes;
  std::string_view exceeded;  // the reason given for a larger file
};

// Reads a regular file into `bytes`. Returns the reason for a failure, or empty text.
std::string readFile(const std::string& path, const SizeLimit& limit, std::vector<std::uint8_t>& bytes);

}  // namespace tavik

#endif
