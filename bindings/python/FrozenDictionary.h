/// @file
/// tavik.Dictionary: an immutable dictionary, converted once.
#ifndef TAVIK_PYTHON_FROZEN_DICTIONARY_H
#define TAVIK_PYTHON_FROZEN_DICTIONARY_H

#include <pybind11/pybind11.h>
#include <tavik/Value.h>

#include "Made.h"

namespace tavik::python {

struct FrozenDictionary {
  using MadeByInit = FrozenDictionary;

  Dictionary contents;
};

}  // namespace tavik::python

#endif
