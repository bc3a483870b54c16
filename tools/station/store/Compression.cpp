#include "store/Compression.h"

#include <new>

#include "store/Database.h"

namespace tavik::station {
namespace {

constexpr int kLevel = -1;  // with a sample, higher levels take twice the time and save a tenth
constexpr unsigned long long kLargestText = 128ULL << 20;  // results have at most 64 MiB

template <class Object>
Object* requireAllocated(Object* object) {
  return object == nullptr ? throw std::bad_alloc() : object;
}

/// Of the calling thread.
ZSTD_CCtx* context() {
  thread_local const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> kContext(requireAllocated(ZSTD_createCCtx()),
                                                                                   ZSTD_freeCCtx);
  return kContext.get();
}

}  // namespace

void Compressor::setSample(std::string_view sample) {
  sample_ = requireAllocated(ZSTD_createCDict(sample.data(), sample.size(), kLevel));
}

std::string Compressor::compressed(std::string_view text) const {
  std::string bytes(ZSTD_compressBound(text.size()), '\0');
  ZSTD_CCtx_setParameter(context(), ZSTD_c_checksumFlag, 1);
  ZSTD_CCtx_refCDict(context(), sample_);
  const std::size_t size = ZSTD_compress2(context(), bytes.data(), bytes.size(), text.data(), text.size());
  if (ZSTD_isError(size) != 0) throw std::bad_alloc();  // no other failure is possible
  bytes.resize(size);
  return bytes;
}

Decompressor::Decompressor(std::string_view sample)
    : sample_(requireAllocated(ZSTD_createDDict(sample.data(), sample.size())), ZSTD_freeDDict),
      context_(requireAllocated(ZSTD_createDCtx()), ZSTD_freeDCtx) {}

std::string Decompressor::text(std::string_view compressed) {
  const unsigned long long size = ZSTD_getFrameContentSize(compressed.data(), compressed.size());
  if (size <= kLargestText) {  // the values for errors are larger
    std::string text(size, '\0');
    const std::size_t found = ZSTD_decompress_usingDDict(context_.get(), text.data(), size, compressed.data(),
                                                         compressed.size(), sample_.get());
    if (found == size) return text;
  }
  throw StoreError("the database is damaged: a run cannot be read; restore a backup");
}

}  // namespace tavik::station
