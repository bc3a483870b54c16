/// @file
/// Documents that were found to be truly signed, so that the same need not be found again.
#ifndef TAVIK_PLATFORM_VALIDATION_CACHE_H
#define TAVIK_PLATFORM_VALIDATION_CACHE_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "Envelope.h"

namespace tavik {

/// Keeps the verdicts used last: a few, and of not too many bytes. Only good verdicts are kept, and each is about all
/// that decided it: payload, signatures and the bytes of the key file. Safe from any thread.
class ValidationCache {
 public:
  static constexpr std::size_t kMostVerdicts = 8;
  /// Payloads, signatures and key files together.
  static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

  /// The document in an envelope that was found good under this very key file; absent when that is not known.
  std::optional<Value> find(const Envelope& envelope, std::span<const std::uint8_t> keyFile);
  void keep(const Envelope& envelope, std::span<const std::uint8_t> keyFile, const Value& document);

 private:
  struct Verdict {
    Envelope envelope;
    std::vector<std::uint8_t> keyFile;
    Value document;
    std::size_t bytes;
  };

  std::mutex mutex_;
  std::list<Verdict> verdicts_;  // used last first
  std::size_t bytes_ = 0;
};

}  // namespace tavik

#endif
