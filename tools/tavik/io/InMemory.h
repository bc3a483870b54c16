/// @file
/// Reports exhausted memory as a failure that names the input.
#ifndef TAVIK_TOOL_IO_IN_MEMORY_H
#define TAVIK_TOOL_IO_IN_MEMORY_H

#include <new>
#include <string>

#include "ExitStatus.h"

namespace tavik::tool {

/// Returns the result of `work`; if memory runs out, the failure names `name`.
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
