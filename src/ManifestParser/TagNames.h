/// @file
/// The product's names for manifest items. The table itself, vsr_tag_names.c, is made by the build
/// (docs/manifest-tags.md).
#ifndef TAVIK_MANIFEST_PARSER_TAG_NAMES_H
#define TAVIK_MANIFEST_PARSER_TAG_NAMES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kTagNameCount = 3009 };

/// By tag number; null where a tag has no name. No name is "Unknown" in any case, nor begins with "Tag ": the build
/// refuses such a table, so that neither is ever mistaken for what stands in for a missing name.
extern const char* const vsr_tag_names[kTagNameCount];

/// The name of `tag`; null when it has none.
const char* findTagName(uint32_t tag);

#ifdef __cplusplus
}
#endif

#endif
