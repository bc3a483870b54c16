#include "page/Texts.h"

#include <fmt/format.h>

#include <vector>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "page/Assets.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::station {

std::string pageTexts(const std::optional<std::string>& file) {
  const Value parsed = tool::parseJson("texts", contentOf(Asset::kTexts));
  const Dictionary& all = *parsed.ifDictionary();
  if (!file) return tool::toJson(parsed);
  std::vector<std::string_view> known;
  for (const auto [key, value] : all) known.push_back(key);
  Dictionary texts = all;
  const std::string name = tool::nameOf("--texts", *file);
  tool::Inputs inputs;
  for (const auto [key, value] : inputs.dictionary("--texts", *file)) {
    if (!texts.contains(key)) {
      throw tool::Unusable(fmt::format("{}: unknown key \"{}\"{}", name, tool::shortened(tool::visible(key), 40),
                                       tool::didYouMean(key, known)));
    }
    if (!value.ifString()) throw tool::Unusable(fmt::format("{}: \"{}\" must be a string", name, key));
    texts.set(key, value);
  }
  return tool::toJson(Value(texts));
}

}  // namespace tavik::station
