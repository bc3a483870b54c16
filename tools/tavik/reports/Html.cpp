#include "reports/Html.h"

#include "text/Text.h"

namespace tavik::tool {

std::string inserted(std::string_view text) { return escapedMarkup(visible(text)); }

void Html::breakAfter(std::string_view word) {
  for (std::size_t at = 0; (at = text_.find(word, at)) != std::string::npos;) text_.insert(at += word.size(), "<wbr>");
}

}  // namespace tavik::tool
