/// @file
/// tavik.PreparedRules.
#ifndef TAVIK_PYTHON_PREPARED_H
#define TAVIK_PYTHON_PREPARED_H

#include <pybind11/pybind11.h>
#include <tavik/PreparedRules.h>

#include <memory>
#include <optional>
#include <string>

#include "HostPlatform.h"

namespace tavik::python {

struct Prepared {
  using MadeByInit = Prepared;

  std::shared_ptr<HostPlatform> platform;
  std::shared_ptr<const PreparedRules> rules;
};

template <class Type>
const Type* pointerTo(const std::optional<Type>& maybe) {
  return maybe ? &*maybe : nullptr;
}

/// The argument `sources` of a check; what: its name in messages.
std::optional<Dictionary> sourcesUnlessNone(py::handle object, const std::string& what);

/// check_many, verdicts and check_lines.
void defineManyDevices(py::module_& module, py::class_<Prepared>& prepared);

}  // namespace tavik::python

#endif
