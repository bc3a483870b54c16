#ifndef TAVIK_EXPORT_H
#define TAVIK_EXPORT_H

/* Marks what the shared libraries offer; everything else stays hidden. C11 and C++20. */
#define TAVIK_EXPORT __attribute__((visibility("default")))

#endif
