/// @file
/// The interpreter lock, for threads that the interpreter may leave behind.
///
/// Up to version 3.13, an interpreter that comes to its end unwinds the stack of every other thread that asks for the
/// lock: one that Python calls a daemon. C++ does not survive that. Such a thread stays where it is until the process
/// has ended, as it does from version 3.14 on. The thread that ends the interpreter has the lock and goes on: what it
/// lets go of last are kernels and platforms too.
#ifndef TAVIK_PYTHON_INTERPRETER_LOCK_H
#define TAVIK_PYTHON_INTERPRETER_LOCK_H

#include <cxxabi.h>
#include <pybind11/pybind11.h>
#include <unistd.h>

namespace tavik::python {

namespace py = pybind11;

/// Calls what asks for the lock, or runs Python, which lets go of it and asks again. Not for a handler of an exception:
/// no second one can be caught there that is not C++'s.
template <class Call>
auto orStay(Call call) {
  try {
    return call();
  } catch (abi::__forced_unwind&) {
    for (;;) pause();
  }
}

/// Holds the lock.
class Locked {
 public:
  Locked() : state_(orStay(take)) {}
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
  ~Locked() { PyGILState_Release(state_); }

 private:
  // An interpreter at its end has nothing left that another thread could ask for the lock.
  static PyGILState_STATE take() {
    while (Py_IsInitialized() == 0 && !isHeldHere()) pause();
    return PyGILState_Ensure();
  }
  static bool isHeldHere() {
    PyThreadState* const own = PyGILState_GetThisThreadState();
    return own != nullptr && own == py::detail::get_thread_state_unchecked();
  }

  PyGILState_STATE state_;
};

/// Lets go of the lock, which is held, for as long.
class Unlocked {
 public:
  Unlocked() : thread_(PyEval_SaveThread()) {}
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;
  ~Unlocked() {
    orStay([this] { PyEval_RestoreThread(thread_); });
  }

 private:
  PyThreadState* thread_;
};

/// Gets a new reference from Python, or raises what Python raised. Whatever may run Python's code goes this way, with
/// nothing in `call` that has a destructor: unwound, it would let go of objects without the lock.
template <class Call>
py::object fromPython(Call call) {
  PyObject* const result = orStay(call);
  if (result == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(result);
}

template <class... Arguments>
py::object callPython(const py::object& function, const Arguments&... arguments) {
  return fromPython([&] { return PyObject_CallFunctionObjArgs(function.ptr(), arguments.ptr()..., nullptr); });
}

inline py::object attributeOf(py::handle object, const char* name) {
  return fromPython([&] { return PyObject_GetAttrString(object.ptr(), name); });
}

inline py::object imported(const char* module, const char* name) {
  return attributeOf(fromPython([&] { return PyImport_ImportModule(module); }), name);
}

}  // namespace tavik::python

#endif
