/* Assertions that are active in every build. A failed assertion prints its condition and aborts the process. */
#ifndef TAVIK_DER_DECODER_ASSERTION_H
#define TAVIK_DER_DECODER_ASSERTION_H

#include <stdio.h>
#include <stdlib.h>

static inline _Noreturn void assertionFailed(const char* function, const char* condition) {
  fprintf(stderr, "%s: assertion failed: %s\n", function, condition);
  abort();
}

#define ASSERT(condition) ((condition) ? (void)0 : assertionFailed(__func__, #condition))

#endif
