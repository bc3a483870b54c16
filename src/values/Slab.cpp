// The memory of slabs.

#include "values/Slab.h"

#include <array>

namespace tavik::detail {

namespace {

#ifdef TAVIK_KEEPS_NO_SLABS
constexpr std::size_t kMostKept = 0;
#else
constexpr std::size_t kMostKept = std::size_t{1} << 20;
#endif

// Released slabs that the thread uses again. Without them, an allocator may return the memory of many records to the
// system after every check.
struct Kept {
  struct Free {
    Free* next;
  };

  std::array<Free*, Slab::kMost / Slab::kStep + 1> lists;  // by size in steps
  std::size_t steps;                                       // the size of all
  bool ends;                                               // whether the thread ends
};

// This model needs no function of the dynamic loader, which the library would have to be linked with.
[[gnu::tls_model("initial-exec")]] constinit thread_local Kept kept = {};

Kept::Free* take(std::size_t steps) noexcept {
  Kept::Free* first = kept.lists[steps];
  if (first == nullptr) return nullptr;
  kept.lists[steps] = first->next;
  kept.steps -= steps;
  return first;
}

struct ReleaseAtEndOfThread {
  ~ReleaseAtEndOfThread() {
    kept.ends = true;
    for (std::size_t steps = 0; steps < kept.lists.size(); ++steps) {
      while (Kept::Free* slab = take(steps)) ::operator delete(slab);
    }
  }
};

}  // namespace

void* Slab::allocate(std::size_t steps) {
  if (Kept::Free* slab = take(steps)) return slab;
  const std::size_t size = steps * kStep;
  return ::operator new(size);
}

void Slab::release(void* memory, std::size_t steps) noexcept {
  if (kept.ends || (kept.steps + steps) * kStep > kMostKept) return ::operator delete(memory);
  [[gnu::tls_model("initial-exec")]] static thread_local const ReleaseAtEndOfThread atEnd;
  kept.lists[steps] = new (memory) Kept::Free{kept.lists[steps]};
  kept.steps += steps;
}

}  // namespace tavik::detail
