/// @file
/// The parts of the module: each function adds what its file is about.
#ifndef TAVIK_PYTHON_PARTS_H
#define TAVIK_PYTHON_PARTS_H

#include <pybind11/pybind11.h>

namespace tavik::python {

void defineFrozenDictionary(pybind11::module_& module);   ///< Dictionary
void defineStationValidation(pybind11::module_& module);  ///< what StationPlatform (tavik/_platform.py) stands on
void defineResult(pybind11::module_& module);             ///< Result
void defineKernel(pybind11::module_& module);             ///< Kernel, PreparedRules; one expression, the descriptions
void defineDecoders(pybind11::module_& module);           ///< the decoders of device data
void defineDocuments(pybind11::module_& module);          ///< property lists, signatures and keys

}  // namespace tavik::python

#endif
