/// @file
/// Counts the requests for memory of the whole process, the libraries' included: linked into a benchmark, it replaces
/// operator new.
#ifndef TAVIK_BENCH_ALLOCATIONS_H
#define TAVIK_BENCH_ALLOCATIONS_H

#include <cstdint>

namespace tavik::bench {

/// So far, by the calling thread.
std::uint64_t allocations() noexcept;

}  // namespace tavik::bench

#endif
