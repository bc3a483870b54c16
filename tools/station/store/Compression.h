/// @file
/// Compresses texts that resemble a sample, such as the results of devices of one product, in the Zstandard format (RFC
/// 8878) with checksums. What was compressed with a sample can be read only with the same sample.
#ifndef TAVIK_STATION_STORE_COMPRESSION_H
#define TAVIK_STATION_STORE_COMPRESSION_H

#include <zstd.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace tavik::station {

/// Thread-safe, except for `setSample`, which one thread may call while others compress.
class Compressor {
 public:
  Compressor() = default;
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor() { ZSTD_freeCDict(sample_); }

  [[nodiscard]] bool hasSample() const noexcept { return sample_ != nullptr; }
  /// Copies the sample. Must be called only once.
  void setSample(std::string_view sample);
  /// Needs a sample.
  [[nodiscard]] std::string compressed(std::string_view text) const;

 private:
  std::atomic<ZSTD_CDict*> sample_ = nullptr;
};

/// For one thread at a time.
class Decompressor {
 public:
  /// Copies the sample.
  explicit Decompressor(std::string_view sample);

  /// Throws `StoreError` if the bytes are damaged.
  std::string text(std::string_view compressed);

 private:
  std::unique_ptr<ZSTD_DDict, decltype(&ZSTD_freeDDict)> sample_;
  std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> context_;
};

}  // namespace tavik::station

#endif
