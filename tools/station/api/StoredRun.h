/// @file
/// Check runs between the kernel and the database.
#ifndef TAVIK_STATION_API_STORED_RUN_H
#define TAVIK_STATION_API_STORED_RUN_H

#include <tavik/DeviceLine.h>

#include <string>
#include <string_view>

#include "rules/LoadedRules.h"
#include "store/Run.h"

namespace tavik::station {

/// Gives a device without "id" its serial number as "id". body: the JSON text that it was read from, as line 1.
void identify(DeviceLine& device, std::string_view body);

/// A run to be stored. body: the JSON text of the device, which `result` was read from. answer: its `answerText`.
Run runOf(const LineResult& result, std::string body, const std::string& answer, const Product& product);

/// The object of `check`, with "id" first; it ends with "}". Throws `Unusable` if JSON cannot represent it.
std::string answerText(const LineResult& result);

/// What GET /v1/runs/N answers, on one line.
std::string detailsText(const Run& run);

/// The HTML report of a run, made with the documents that it used.
std::string reportPage(const Run& run);

}  // namespace tavik::station

#endif
