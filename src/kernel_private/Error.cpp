// The error object.

#include <tavik/Error.h>

namespace tavik {

Error::Error(std::int32_t code, std::string_view message)
    : code_(code), userInfo_{{kLocalizedDescriptionKey, message}} {}

std::string_view Error::localizedDescription() const noexcept {
  return userInfo_.findString(kLocalizedDescriptionKey).value_or(std::string_view{});
}

}  // namespace tavik
