// Replaces libFuzzer in targets built as tests: runs the target on every file in the given folders.

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
  std::cout << path.filename().string() << std::endl;  // flushed, so that the output shows the file of a crash
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
