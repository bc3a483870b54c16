/// @file
/// The check of many devices by several threads.
#ifndef TAVIK_PYTHON_CHECK_MANY_H
#define TAVIK_PYTHON_CHECK_MANY_H

#include <tavik/CheckOutcome.h>
#include <tavik/PreparedRules.h>

#include <optional>
#include <vector>

namespace tavik::python {

struct Device {
  Dictionary attributes;
  std::optional<Dictionary> sources;
};

/// One outcome per device, in their order. Called without the interpreter lock, which is taken now and then to see
/// whether a signal came (Ctrl-C): then all threads end, and what Python's handler raised is raised. An exception of a
/// platform ends the run in the same way.
std::vector<CheckOutcome> checkMany(const PreparedRules& rules, const std::vector<Device>& devices,
                                    std::size_t threads);

}  // namespace tavik::python

#endif
