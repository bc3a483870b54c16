/// @file
/// The product's names for manifest items. The build generates the table, vsr_tag_names.c (docs/manifest-tags.md).
#ifndef TAVIK_MANIFEST_PARSER_TAG_NAMES_H
#define TAVIK_MANIFEST_PARSER_TAG_NAMES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kTagNameCount = 3009 };

/// Names by tag number; null for a tag without a name. The build rejects the name "Unknown" (in any case) and names
/// that begin with "Tag ", because these stand for missing names.
extern const char* const vsr_tag_names[kTagNameCount];

/// The name of `tag`; null if it has none.
const char* findTagName(uint32_t tag);

#ifdef __cplusplus
}
#endif

#endif
