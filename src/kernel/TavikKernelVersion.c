/* The version of the build. Keep the string, the number and the project's version in CMakeLists.txt in sync. */

#include <tavik/TavikKernelVersion.h>

const char TavikKernelVersionString[] = "@(#)PROGRAM:TavikKernel  PROJECT:KWMX-3.19\n";
const double TavikKernelVersionNumber = 3.19;
