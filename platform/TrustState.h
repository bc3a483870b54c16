/// @file
/// The state file of a trust policy: the highest revisions that a station accepted.
#ifndef TAVIK_PLATFORM_TRUST_STATE_H
#define TAVIK_PLATFORM_TRUST_STATE_H

#include <tavik/Provenance.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavik {

/// Why a document is rejected.
struct Refusal {
  std::string why;
  bool stationIsToBlame = false;
};

/// A revision that the station accepted.
struct AcceptedRevision {
  DocumentRole role;
  std::string product;
  std::int64_t revision;
  Date date;
};
using AcceptedRevisions = std::vector<AcceptedRevision>;

/// The content of a state file.
std::optional<AcceptedRevisions> readAccepted(std::string_view text, std::string& error);

class TrustState {
 public:
  explicit TrustState(std::string path) : path_(std::move(path)) {}

  /// Whether the statement's revision is at least the one remembered; sets `refusal` if not. With `remember`, a higher
  /// revision is on disk when this returns true. Sets `warning` if the system clock is earlier than the newest
  /// acceptance. Safe for several threads and processes.
  bool accepts(const Statement& statement, bool remember, Refusal& refusal, std::string& warning) const;

 private:
  bool acceptsUnderLock(const Statement& statement, int lock, Refusal& refusal, std::string& warning) const;
  [[nodiscard]] std::optional<AcceptedRevisions> read(std::string& error) const;
  bool write(const AcceptedRevisions& accepted, std::string& error) const;

  std::string path_;
};

}  // namespace tavik

#endif
