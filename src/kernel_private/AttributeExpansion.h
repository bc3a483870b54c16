/// @file
/// Attributes that pack several fields, which rules read as attributes of their own.
#ifndef TAVIK_KERNEL_PRIVATE_ATTRIBUTE_EXPANSION_H
#define TAVIK_KERNEL_PRIVATE_ATTRIBUTE_EXPANSION_H

#include <tavik/Value.h>

namespace tavik {

/// Whether some of the attributes are packed.
bool hasPackedAttributes(const Dictionary& attributes);

/// Adds the fields of the packed attributes.
void expandAttributes(Dictionary& attributes);

}  // namespace tavik

#endif
