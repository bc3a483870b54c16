#ifndef TAVIK_KERNEL_VERSION_H
#define TAVIK_KERNEL_VERSION_H

#include <tavik/Export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Identifies the build: "@(#)PROGRAM:TavikKernel  PROJECT:KWMX-3.19\n", zero-terminated. what(1) finds it in a file by
 * its first four characters. */
TAVIK_EXPORT extern const char TavikKernelVersionString[];

/** The library version, 3.19: the number in the string above and in the first record of every check run. */
TAVIK_EXPORT extern const double TavikKernelVersionNumber;

#ifdef __cplusplus
}
#endif

#endif
