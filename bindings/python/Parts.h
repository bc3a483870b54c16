/// @file
/// The parts of the module. Each function adds the definitions of its file.
#ifndef TAVIK_PYTHON_PARTS_H
#define TAVIK_PYTHON_PARTS_H

#include <pybind11/pybind11.h>

namespace tavik::python {

void defineFrozenDictionary(pybind11::module_& module);   ///< Dictionary
void defineStationValidation(pybind11::module_& module);  ///< for StationPlatform (tavik/_platform.py)
void defineResult(pybind11::module_& module);             ///< Result
void defineKernel(pybind11::module_& module);             ///< Kernel, PreparedRules, evaluate, the descriptions
void defineDecoders(pybind11::module_& module);           ///< the decoders of device data
void defineDocuments(pybind11::module_& module);          ///< property lists, signatures and keys

}  // namespace tavik::python

#endif
