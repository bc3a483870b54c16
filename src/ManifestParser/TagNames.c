#include "ManifestParser/TagNames.h"

#include <stddef.h>

#include <tavik/ManifestParser.h>

const char* findTagName(uint32_t tag) { return tag < kTagNameCount ? vsr_tag_names[tag] : NULL; }

const char* vsr_tag_to_str(uint32_t tag) {
  const char* name = findTagName(tag);
  return name != NULL ? name : "Unknown";
}
