#ifndef TAVIK_PLATFORM_H
#define TAVIK_PLATFORM_H

#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// Rule documents and signed envelopes larger than this many bytes are rejected before they are read or validated.
inline constexpr std::size_t kLargestRuleDocument = std::size_t{64} << 20;

/// What a kernel needs from the machine it runs on: the signature check and the diagnostic log. libTavikPlatform has a
/// ready one, `StationPlatform`; a host with its own trust store or log derives from this class.
///
/// A kernel calls it on the threads of its callers, several at a time, so every operation must be safe from any thread.
class TAVIK_EXPORT Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  virtual ~Platform();

  /// Checks a signed rule document.
  ///
  /// signedDictionary: the document as read. publicKeyPath: PEM file that the kernel names, always
  /// "/usr/local/share/misc/TavikKernel-pub.pem"; a platform may be made to use another key.
  ///
  /// Returns the signed property list and leaves `errorDescription` absent when the signature holds; sets
  /// `errorDescription` to the reason when it does not. The kernel judges by `errorDescription` alone.
  virtual std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const = 0;

  /// Whether anybody reads the log. When false, no line is made at all. By default true.
  virtual bool logs() const;

  /// Takes one line of the diagnostic log, in UTF-8 and without its line end. The line may contain line feeds, and it
  /// quotes texts of the device as they are: a log that people or programs read should pass it through
  /// `visibleLogLine` (VisibleText.h). By default writes time, process name and the line, made visible that way, to
  /// standard error, each line in one write.
  virtual void log(std::string_view line) const;
};

}  // namespace tavik

#endif
