// Stands in for libFuzzer where a target is built as a test: feeds it every file of the folders that are named.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesIn(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
  std::ranges::sort(files);
  return files;
}

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> contents{std::istreambuf_iterator<char>(file), {}};
  std::cout << path.filename().string() << std::endl;  // flushed, so that it shows what a crash came from
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int index = 1; index < argc; ++index) {
    for (const auto& path : filesIn(argv[index])) {
      replay(path);
      ++count;
    }
  }
  if (count == 0) std::cerr << "there is nothing to replay\n";
  return count == 0 ? 1 : 0;
}
