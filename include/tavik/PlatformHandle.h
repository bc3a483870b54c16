#ifndef TAVIK_PLATFORM_HANDLE_H
#define TAVIK_PLATFORM_HANDLE_H

#include <tavik/Platform.h>
#include <tavik/tavik.h>

#include <memory>

namespace tavik {

/// Wraps a C++ platform in a handle of the C interface, for hosts that use both languages. The caller owns the handle;
/// see rules 2 to 5 in tavik.h.
TAVIK_EXPORT tavik_status makePlatformHandle(std::shared_ptr<const Platform> platform,
                                             tavik_platform** handle) noexcept;

/// Makes an error of the C interface for a status, with a message. Returns the status, or TAVIK_NO_MEMORY. `error` may
/// be null.
TAVIK_EXPORT tavik_status makeErrorHandle(tavik_status status, const char* message, tavik_error** error) noexcept;

}  // namespace tavik

#endif
