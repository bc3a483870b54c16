/// @file
/// A cache of documents whose signatures were found valid.
#ifndef TAVIK_PLATFORM_VALIDATION_CACHE_H
#define TAVIK_PLATFORM_VALIDATION_CACHE_H

#include <tavik/Provenance.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>

#include "Envelope.h"
#include "TrustedKeys.h"

namespace tavik {

/// A document whose signatures are valid.
struct SignedContent {
  Value document;
  DocumentProvenance provenance;
};

/// Keeps the most recently used results, limited in number and bytes. Only valid documents are kept, each with
/// everything that decided the result: payload, signatures and the bytes of the key files. Thread-safe.
class ValidationCache {
 public:
  static constexpr std::size_t kMostVerdicts = 8;
  /// Payloads, signatures and key files together.
  static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

  /// The content of an envelope that was found valid with exactly these key files; absent if that is not known.
  std::optional<SignedContent> find(const Envelope& envelope, const KeyFiles& keyFiles);
  void keep(const Envelope& envelope, const KeyFiles& keyFiles, const SignedContent& content);

 private:
  struct Verdict {
    Envelope envelope;
    KeyFiles keyFiles;
    SignedContent content;
    std::size_t bytes;
  };

  std::mutex mutex_;
  std::list<Verdict> verdicts_;  // most recently used first
  std::size_t bytes_ = 0;
};

}  // namespace tavik

#endif
