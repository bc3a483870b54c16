// A predicate expression. The input consists of the expression as text, and the attribute, expected value and
// references as property lists, separated by form feeds. Only the two kinds of faults may be raised, and every record
// must be complete.

#include <tavik/StationPlatform.h>
#include <tavik/TavikKernel.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace tavik;

std::vector<std::string> partsOf(std::string_view text) {
  std::vector<std::string> parts;
  while (parts.size() < 4) {
    const std::size_t end = std::min(text.find('\f'), text.size());
    parts.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

std::optional<Value> valueOf(const std::string& part) {
  std::string error;
  return readPropertyList({reinterpret_cast<const std::uint8_t*>(part.data()), part.size()}, error);
}

void checkRecord(const Dictionary& record) {
  const Value* result = record.find("result");
  if (result == nullptr || !result->ifBoolean() || !record.contains("actual") || !record.contains("expected")) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const PredicateKernel kernel(std::make_shared<StationPlatform>("", StationPlatform::Log::kNone));
  const auto parts = partsOf({reinterpret_cast<const char*>(data), size});
  const auto attribute = valueOf(parts[1]);
  const auto value = valueOf(parts[2]);
  const auto references = valueOf(parts[3]);
  std::optional<Error> error;
  const auto tree = AbstractTreeNode::parsePredicateString(parts[0], kernel, error);
  if (tree == nullptr) {
    if (!error) std::abort();
    return 0;
  }
  try {
    checkRecord(*tree->process(attribute ? &*attribute : nullptr, value ? &*value : nullptr,
                               references ? references->ifDictionary() : nullptr));
  } catch (const std::out_of_range&) {
  } catch (const std::invalid_argument&) {
  }
  return 0;
}
