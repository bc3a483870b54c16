/// @file
/// Objects of the module's classes that Python made and nobody initialized.
#ifndef TAVIK_PYTHON_MADE_H
#define TAVIK_PYTHON_MADE_H

#include <pybind11/pybind11.h>

#include <string>
#include <utility>

namespace tavik::python {

namespace py = pybind11;

/// Refuses an object without a value: what `Kernel.__new__(Kernel)` gives, or a derived class that uses itself before
/// it calls `__init__` of its base. Specialize py::detail::type_caster with it for each class.
template <class Type>
class MadeCaster : public py::detail::type_caster_base<Type> {
 public:
  bool load(py::handle source, bool convert) { return this->template load_impl<MadeCaster>(source, convert); }

  void load_value(py::detail::value_and_holder&& held) {
    if (!held.holder_constructed()) {
      throw py::type_error(std::string(Py_TYPE(held.inst)->tp_name) + ": __init__() has not been called");
    }
    py::detail::type_caster_generic::load_value(std::move(held));
  }
};

}  // namespace tavik::python

#endif
