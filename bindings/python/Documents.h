/// @file
/// Paths, and property-list files.
#ifndef TAVIK_PYTHON_DOCUMENTS_H
#define TAVIK_PYTHON_DOCUMENTS_H

#include <pybind11/pybind11.h>
#include <tavik/TrustPolicy.h>
#include <tavik/Value.h>

#include <string>

namespace tavik::python {

/// The path in a str, bytes or os.PathLike.
std::string pathOf(const pybind11::object& path);

/// Raises OSError if the file cannot be opened.
void requireOpenable(const std::string& path);

/// Reads a property-list file. Raises OSError if it cannot be opened, DocumentError if it is malformed.
Value readFile(const std::string& path);

/// The policy in the file `trust`, or one that trusts the keys in the file `publicKey`, or the default one; each may be
/// None. Raises ValueError for both, and DocumentError for a policy that cannot be used.
TrustPolicy trustPolicy(const pybind11::object& publicKey, const pybind11::object& trust);

}  // namespace tavik::python

#endif
