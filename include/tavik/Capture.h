/// @file
/// Captured check runs: one JSON file with everything that determined a result, and the result.
///
///     {"capture": {"kernel": "3.19", "time": {"$date": "..."}, "validated": {"$date": "..."},
///                  "library": {...}, "rules": {...}, "attributes": {...}, "sources": {...},
///                  "station": {...}, "result": {...}},
///      "sha256": "..."}
///
/// "library" and "rules" are the documents as the kernel received them; "rules" is missing if there were none.
/// "station" is the initial station dictionary. "sha256" is the digest of the value of "capture" as one line of JSON,
/// as `writeJson` writes it. It detects damage and careless changes. It is not a signature: only the signatures in the
/// documents are evidence of who released them.
///
/// To repeat the run, create a kernel from `library` and prepare `rules`, with a platform that verifies both again.
#ifndef TAVIK_CAPTURE_H
#define TAVIK_CAPTURE_H

#include <tavik/CheckOutcome.h>
#include <tavik/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

struct TAVIK_EXPORT Capture {
  std::string kernel;                    ///< the version of the kernel
  Date time = Date::sinceEpoch(0);       ///< of the run
  Date validated = Date::sinceEpoch(0);  ///< when the documents were accepted, by which their expiry was judged
  Dictionary library;
  std::optional<Dictionary> rules;
  Dictionary attributes;
  Dictionary sources;
  Dictionary station;
  Dictionary result;  ///< what the file says; compare it with the result of a new run

  /// A run that has just ended.
  static Capture of(const CheckOutcome& outcome, Dictionary attributes, Dictionary sources, Dictionary station = {});

  /// The text of the file; absent with `error` set if a value is nested too deeply for JSON.
  [[nodiscard]] std::optional<std::string> write(std::string& error) const;
  /// Absent with `error` set if the text is malformed, has missing or unknown entries, or does not match its digest.
  static std::optional<Capture> read(std::string_view text, std::string& error);
};

/// `CheckOutcome::dictionary`, and "provenance" (`Provenance::dictionary`) unless it is absent.
TAVIK_EXPORT Dictionary resultDictionary(const CheckOutcome& outcome);

}  // namespace tavik

#endif
