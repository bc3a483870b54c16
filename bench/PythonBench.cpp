// The C++ side of python_bench.py: a library with the same checks, loaded into the same process. Functions have C
// linkage.

#include <Python.h>
#include <tavik/Export.h>
#include <tavik/PreparedRules.h>
#include <tavik/PropertyList.h>
#include <tavik/ZRTTavikKernel.h>

#include <ctime>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "Workload.h"

namespace tavik::bench {
namespace {

// Accepts every document, like the platform of python_bench.py.
class Trusting : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary& document, const std::string&,
                                                                 std::optional<std::string>&) const override {
    return Value(document);
  }
  bool logs() const override { return false; }
};

struct Scene {
  Scene(const std::string& folder, std::size_t ruleCount)
      : device(Workload::of(ruleCount).device()), localRules(Workload::of(ruleCount).localRules()) {
    write(folder + "/device.plist", device);
    write(folder + "/rules.plist", localRules);
    write(folder + "/library.plist", Workload::of(ruleCount).ruleLibrary());
    kernel = ZRTTavikKernel::init(folder + "/library.plist", std::make_shared<Trusting>());
    prepared = kernel->prepare(&localRules);
  }

  static void write(const std::string& path, const Dictionary& document) {
    std::string error;
    const Data file = writePropertyList(Value(document), PropertyListFormat::kBinary, error).value();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.bytes().data()), static_cast<std::streamsize>(file.size()));
  }

  Dictionary device;
  Dictionary localRules;
  std::unique_ptr<const ZRTTavikKernel> kernel;
  std::unique_ptr<const PreparedRules> prepared;
};

double processorSeconds() {
  std::timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

template <class Check>
double secondsOf(int count, Check check) {
  const double start = processorSeconds();
  for (int i = 0; i < count; ++i) {
    if (!check()) return 0;
  }
  return processorSeconds() - start;
}

// The number of values in an object. Visits all keys and values and converts nothing.
long countValues(PyObject* object) {
  long count = 1;
  if (PyDict_Check(object)) {
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    for (Py_ssize_t position = 0; PyDict_Next(object, &position, &key, &value) != 0;) {
      count += countValues(key) + countValues(value);
    }
  } else if (PyList_Check(object)) {
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(object); ++i) count += countValues(PyList_GET_ITEM(object, i));
  }
  return count;
}

}  // namespace
}  // namespace tavik::bench

using tavik::bench::Scene;

/// Creates the workload and writes its documents to `folder`.
extern "C" TAVIK_EXPORT Scene* makeScene(const char* folder, int ruleCount) {
  return new Scene(folder, static_cast<std::size_t>(ruleCount));
}

extern "C" TAVIK_EXPORT void freeScene(const Scene* scene) { delete scene; }

/// The processor time of this many checks in seconds.
extern "C" TAVIK_EXPORT double secondsOfChecks(const Scene* scene, int count) {
  std::optional<tavik::Error> error;
  return tavik::bench::secondsOf(
      count, [&] { return scene->kernel->check(scene->device, &scene->localRules, nullptr, error).has_value(); });
}

extern "C" TAVIK_EXPORT double secondsOfPreparedChecks(const Scene* scene, int count) {
  std::optional<tavik::Error> error;
  return tavik::bench::secondsOf(
      count, [&] { return scene->prepared->check(scene->device, nullptr, nullptr, error).has_value(); });
}

/// The processor time, in seconds, of so many passes over an object. Needs the interpreter lock.
extern "C" TAVIK_EXPORT double secondsOfPasses(PyObject* object, int count) {
  return tavik::bench::secondsOf(count, [&] { return tavik::bench::countValues(object) > 0; });
}
