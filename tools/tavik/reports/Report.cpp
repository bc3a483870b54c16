#include "reports/Report.h"

namespace tavik::tool {

std::unique_ptr<ResultWriter> makeResultWriter(std::string_view format, const RuleContents& documents) {
  if (format == "junit") return makeJunitWriter(documents);
  if (format == "html") return makeHtmlWriter(documents);
  if (format == "plist") return makePlistWriter();
  if (format == "table") return makeTextWriter();
  return makeJsonWriter();
}

}  // namespace tavik::tool
