/// @file
/// Paths, and property-list files.
#ifndef TAVIK_PYTHON_DOCUMENTS_H
#define TAVIK_PYTHON_DOCUMENTS_H

#include <pybind11/pybind11.h>
#include <tavik/Value.h>

#include <string>

namespace tavik::python {

/// The path in a str, bytes or os.PathLike.
std::string pathOf(const pybind11::object& path);

/// Raises OSError if the file cannot be opened.
void requireOpenable(const std::string& path);

/// Reads a property-list file. Raises OSError if it cannot be opened, DocumentError if it is malformed.
Value readFile(const std::string& path);

}  // namespace tavik::python

#endif
