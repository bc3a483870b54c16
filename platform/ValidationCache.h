/// @file
/// A cache of documents whose signatures were found valid.
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

/// Keeps the most recently used results, limited in number and bytes. Only valid documents are kept, each with
/// everything that decided the result: payload, signatures and the bytes of the key file. Thread-safe.
class ValidationCache {
 public:
  static constexpr std::size_t kMostVerdicts = 8;
  /// Payloads, signatures and key files together.
  static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

  /// The document in an envelope that was found valid with this exact key file; absent if that is not known.
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
  std::list<Verdict> verdicts_;  // most recently used first
  std::size_t bytes_ = 0;
};

}  // namespace tavik

#endif
