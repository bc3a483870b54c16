/// @file
/// Random rule documents, devices and sources; a seed gives the same ones on every machine.
#ifndef TAVIK_TESTS_RANDOM_DOCUMENTS_H
#define TAVIK_TESTS_RANDOM_DOCUMENTS_H

#include <cstdint>
#include <random>
#include <vector>

#include "RuleDocumentMaker.h"

namespace tavik {

inline RuleDocuments randomDocuments(std::mt19937_64& random) {
  std::vector<std::uint8_t> bytes(200 + random() % 1500);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return RuleDocumentMaker(Choices(bytes)).documents();
}

}  // namespace tavik

#endif
