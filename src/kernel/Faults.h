/// @file
/// The two exceptions that are faults.
#ifndef TAVIK_KERNEL_FAULTS_H
#define TAVIK_KERNEL_FAULTS_H

#include <tavik/CheckOutcome.h>

#include <optional>
#include <stdexcept>

namespace tavik {

/// Calls `work` and returns the fault that ended it, if any. Other exceptions pass through.
template <class Work>
std::optional<Fault> faultOf(Work work) {
  try {
    work();
  } catch (const std::out_of_range& fault) {
    return Fault{Fault::Category::kRange, fault.what()};
  } catch (const std::invalid_argument& fault) {
    return Fault{Fault::Category::kInvalidArgument, fault.what()};
  }
  return std::nullopt;
}

}  // namespace tavik

#endif
