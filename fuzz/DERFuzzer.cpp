#include "DERExamination.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tavik::der::examine({data, size});
  return 0;
}
