/// @file
/// The interpreter lock, for threads that may outlive the interpreter.
///
/// Up to version 3.13, an interpreter that shuts down unwinds the stack of every other thread that requests the lock (a
/// daemon thread). C++ code cannot survive that. So such a thread blocks until the process ends, which is also what
/// Python does from version 3.14 on. The thread that shuts down the interpreter holds the lock and continues; it may
/// release kernels and platforms too.
#ifndef TAVIK_PYTHON_INTERPRETER_LOCK_H
#define TAVIK_PYTHON_INTERPRETER_LOCK_H

#include <cxxabi.h>
#include <pybind11/pybind11.h>
#include <unistd.h>

namespace tavik::python {

namespace py = pybind11;

/// Calls a function that requests the lock, or that runs Python code, which releases it and requests it again. Must not
/// be used in an exception handler, because another foreign exception cannot be caught there.
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
  // After shutdown, another thread cannot request the lock from the interpreter.
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

/// Releases the lock, which must be held, during its lifetime.
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

/// Returns a new reference from Python, or raises Python's exception. Use it for every call that may run Python code.
/// `call` must not have objects with destructors: if the thread is unwound, they would run without the lock.
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
