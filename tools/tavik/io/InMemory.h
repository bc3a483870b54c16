/// @file
/// Memory that runs out over an input, as a failure that names the input.
#ifndef TAVIK_TOOL_IO_IN_MEMORY_H
#define TAVIK_TOOL_IO_IN_MEMORY_H

#include <new>
#include <string>

#include "ExitStatus.h"

namespace tavik::tool {

/// What `work` gives; says that memory ran out over `name`.
template <class Work>
auto inMemory(const std::string& name, Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    throw Unusable(name + ": out of memory");
  }
}

}  // namespace tavik::tool

#endif
