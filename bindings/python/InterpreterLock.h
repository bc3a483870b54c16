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

#include <atomic>
#include <thread>

namespace tavik::python {

namespace py = pybind11;

/// Calls what asks for the lock, or runs Python, which lets go of it and asks again.
template <class Call>
auto orStay(Call call) {
  try {
    return call();
  } catch (abi::__forced_unwind&) {
    for (;;) pause();
  }
}

/// The thread that ends the interpreter, none before it begins to.
inline std::atomic<std::thread::id> endingThread;

/// To be called once, before anything else here.
inline void noteEndOfInterpreter() {
  py::module_::import("atexit").attr("register")(
      py::cpp_function([] { endingThread.store(std::this_thread::get_id()); }));
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
    while (Py_IsInitialized() == 0 && endingThread.load() != std::this_thread::get_id()) pause();
    return PyGILState_Ensure();
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

/// Calls Python.
template <class... Arguments>
py::object callPython(const py::object& function, const Arguments&... arguments) {
  PyObject* const result =
      orStay([&] { return PyObject_CallFunctionObjArgs(function.ptr(), arguments.ptr()..., nullptr); });
  if (result == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(result);
}

}  // namespace tavik::python

#endif
