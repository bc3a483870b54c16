/// @file
/// Trust policies: which keys a station trusts, how many must have signed, and which documents it accepts.
///
/// A policy is a JSON file (Json.h):
///
///     {"keys": [{"name": "rule office", "file": "office.pem"}, {"name": "line lead", "file": "lead.pem"}],
///      "threshold": 2,
///      "product": "Heron line",
///      "require_statement": true,
///      "state": "trust-state.json"}
///
/// Only "keys" is required. Paths are relative to the policy file.
///
/// **The state file** remembers the highest revision that the station accepted for each role and product, and when. It
/// is created when the first statement is accepted. It is replaced atomically and is on disk before the document is
/// accepted; processes on one station may share it. A state file that is damaged, a symbolic link, writable by group or
/// others, or owned by a user other than root and the user of the process is rejected, and so is its folder if group or
/// others can write to it and it is not sticky. A lock file beside it, with ".lock" appended to its name, serializes
/// processes.
#ifndef TAVIK_TRUST_POLICY_H
#define TAVIK_TRUST_POLICY_H

#include <tavik/Export.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

struct TAVIK_EXPORT TrustPolicy {
  struct Key {
    std::string name;  ///< for messages and results
    std::string file;  ///< PEM file of one public key; read for each validation
  };

  /// At most 16, distinct in name and key. If there are none, every key in `publicKeyFile` counts.
  std::vector<Key> keys;
  /// PEM file of 1 to 16 public keys, used if `keys` is empty; absent: the file that the kernel names.
  std::optional<std::string> publicKeyFile = std::nullopt;
  std::size_t threshold = 1;  ///< the required number of keys with a valid signature
  /// The product that a statement must name; absent: any.
  std::optional<std::string> product = std::nullopt;
  /// Whether documents without a statement are rejected.
  bool requireStatement = false;
  /// The state file; absent: older revisions are accepted.
  std::optional<std::string> state = std::nullopt;
  /// Whether accepted revisions are stored in the state file. Set to false in programs that check no devices.
  bool remember = true;
  /// The time at which expiry is judged; absent: the system clock.
  std::optional<Date> time = std::nullopt;

  /// Reads a policy file and its key files. Absent with `error` set to a message that names the file and the entry: for
  /// malformed JSON, a missing or unknown key, a value of the wrong kind, a threshold of 0 or more than the number of
  /// keys, the same name or key twice, and a key file that cannot be used.
  static std::optional<TrustPolicy> read(const std::string& path, std::string& error);
};

}  // namespace tavik

#endif
