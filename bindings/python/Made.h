/// @file
/// Detects objects of the module's classes that were created but not initialized.
#ifndef TAVIK_PYTHON_MADE_H
#define TAVIK_PYTHON_MADE_H

#include <pybind11/pybind11.h>

#include <string>
#include <type_traits>
#include <utility>

namespace tavik::python {

namespace py = pybind11;

/// Rejects an object without a value: the result of `Kernel.__new__(Kernel)`, or of a derived class used before it
/// calls `__init__` of its base class. Applies to every class with a member type `MadeByInit`; for a class of the
/// library, specialize py::detail::type_caster with it.
template <class Type>
class MadeCaster : public py::detail::type_caster_base<Type> {
 public:
  bool load(py::handle source, bool convert) { return this->template load_impl<MadeCaster>(source, convert); }

  void load_value(py::detail::value_and_holder&& held) {
    if (!held.holder_constructed()) {
      throw py::type_error(std::string(Py_TYPE(held.inst)->tp_name) +
                           ": __init__() has not been called; call super().__init__() first");
    }
    py::detail::type_caster_generic::load_value(std::move(held));
  }
};

}  // namespace tavik::python

template <class Type>
class pybind11::detail::type_caster<Type, std::void_t<typename Type::MadeByInit>>
    : public tavik::python::MadeCaster<Type> {};

#endif
