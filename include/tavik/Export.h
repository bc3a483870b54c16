#ifndef TAVIK_EXPORT_H
#define TAVIK_EXPORT_H

/* Marks the exported symbols of the shared libraries; all others are hidden. C11 and C++20. */
#define TAVIK_EXPORT __attribute__((visibility("default")))

#endif
