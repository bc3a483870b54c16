#include "reports/Report.h"

namespace tavik::tool {

std::unique_ptr<ResultWriter> makeResultWriter(std::string_view format, const TrustedContents& documents) {
  if (format == "junit") return makeJunitWriter();
  if (format == "html") return makeHtmlWriter(documents);
  if (format == "plist") return makePlistWriter();
  if (format == "table") return makeTextWriter();
  return makeJsonWriter();
}

std::size_t versionRecords(const CheckOutcome& outcome) {
  return outcome.records && outcome.records->size() > kVersionRecords ? kVersionRecords : 0;
}

}  // namespace tavik::tool
