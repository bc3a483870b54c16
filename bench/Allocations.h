/// @file
/// Counts the memory allocations of a benchmark and its libraries by replacing operator new.
#ifndef TAVIK_BENCH_ALLOCATIONS_H
#define TAVIK_BENCH_ALLOCATIONS_H

#include <cstdint>

namespace tavik::bench {

/// The number of allocations by the calling thread.
std::uint64_t allocations() noexcept;

}  // namespace tavik::bench

#endif
