#ifndef TAVIK_PLATFORM_HANDLE_H
#define TAVIK_PLATFORM_HANDLE_H

#include <tavik/Platform.h>
#include <tavik/tavik.h>

#include <memory>

namespace tavik {

/// A platform made in C++ as a handle of the C interface, for hosts in both languages. The handle is the caller's, as
/// rules 2 to 5 of tavik.h say.
TAVIK_EXPORT tavik_status makePlatformHandle(std::shared_ptr<const Platform> platform,
                                             tavik_platform** handle) noexcept;

}  // namespace tavik

#endif
