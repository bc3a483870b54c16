/// @file
/// An object with several owners on several threads.
#ifndef TAVIK_KERNEL_SHARED_BY_THREADS_H
#define TAVIK_KERNEL_SHARED_BY_THREADS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

namespace tavik {

/// Gives out shared pointers to one object. Threads rarely use the same reference count, which they would contend for.
template <class Object>
class SharedByThreads {
 public:
  explicit SharedByThreads(const std::shared_ptr<const Object>& object) {
    for (auto& pointer : pointers_) pointer = {std::make_shared<const Counted>(Counted{object}), object.get()};
  }

  /// The calling thread's pointer.
  [[nodiscard]] const std::shared_ptr<const Object>& get() const noexcept { return pointers_[place()]; }

 private:
  static constexpr std::size_t kPlaces = 16;
  static constexpr std::size_t kCacheLine = 64;

  struct alignas(kCacheLine) Counted {
    std::shared_ptr<const Object> object;
  };

  static std::size_t place() noexcept {
    static std::atomic<std::size_t> threads = 0;
    // This model needs no function of the dynamic loader, which the library would have to be linked with.
    [[gnu::tls_model("initial-exec")]] static thread_local std::size_t thread = 0;
    if (thread == 0) thread = threads.fetch_add(1, std::memory_order_relaxed) + 1;
    return thread % kPlaces;
  }

  std::array<std::shared_ptr<const Object>, kPlaces> pointers_;
};

}  // namespace tavik

#endif
