// The extension module, which binds the C++ interface.

#include <pybind11/pybind11.h>
#include <tavik/TavikKernelVersion.h>
#include <tavik/Value.h>

#include "Conversion.h"
#include "Parts.h"

PYBIND11_MODULE(_tavik, module) {
  using namespace tavik;
  using namespace tavik::python;
  py::options options;
  options.disable_function_signatures();  // the docstrings begin with signatures for inspect.signature
  initializeConversion();
  const Value version(TavikKernelVersionNumber);
  module.attr("__version__") = toText(description(&version));
  module.attr("__name__") = "tavik";  // the public module of the classes
  defineFrozenDictionary(module);
  defineStationValidation(module);
  defineResult(module);
  defineKernel(module);
  defineDecoders(module);
  defineDocuments(module);
  module.attr("__name__") = "tavik._tavik";
}
