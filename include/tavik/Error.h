#ifndef TAVIK_ERROR_H
#define TAVIK_ERROR_H

#include <tavik/Value.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace tavik {

/// Why a rule document could not be used: a domain, a code and a message. Immutable and thread-safe.
///
/// | code    | meaning                                                           |
/// | ------- | ----------------------------------------------------------------- |
/// | -100003 | the local rules are malformed, or lack the part number or region  |
/// | -100004 | the local rules name a rule set that they do not define           |
/// | -100005 | reserved                                                          |
/// | -100006 | a predicate expression of two or three words has a wrong operator |
/// | -100007 | a predicate expression has a wrong number of words                |
/// | -100008 | a check list was requested with local rules that are not trusted  |
class TAVIK_EXPORT Error {
 public:
  /// The domain of all errors.
  static constexpr std::string_view kDomain = "ZRT Tavik Error Domain";
  /// The key of the only entry in the user info: the message (a string).
  static constexpr std::string_view kLocalizedDescriptionKey = "LocalizedDescription";

  Error(std::int32_t code, std::string_view message);

  [[nodiscard]] std::string_view domain() const noexcept { return kDomain; }
  [[nodiscard]] std::int64_t code() const noexcept { return code_; }
  [[nodiscard]] const Dictionary& userInfo() const noexcept { return userInfo_; }
  /// The message; valid as long as this error.
  [[nodiscard]] std::string_view localizedDescription() const noexcept;

 private:
  std::int64_t code_;
  Dictionary userInfo_;
};

}  // namespace tavik

#endif
