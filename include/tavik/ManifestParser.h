/// @file
/// Baseband firmware manifests: two DER-encoded documents (ITU-T X.690), a root manifest and a provisioning manifest,
/// whose item sets become dictionaries. No signature is verified here; the manifests are only decoded.
///
/// The plain functions have C linkage and this header compiles as C11; the class is for C++. Everything is safe from
/// any thread. Tag names are product data that the build turns into a table (docs/manifest-tags.md).
#ifndef TAVIK_MANIFEST_PARSER_H
#define TAVIK_MANIFEST_PARSER_H

#include <tavik/DERDecoder.h>
#include <tavik/Export.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the body of a manifest, the content of its outer SEQUENCE, and sets `out` over the content of its item SET.
/// Gives a status of the DER decoder. `out`, which may be null, is written as soon as the SET has been met, whatever
/// comes after it; over an empty SET it stays as it was, so clear it before the call.
typedef uint32_t (*TavikManifestBodyParser)(const DERDecoder* body, DERDecoder* out);

/// The root manifest's body: algorithm SEQUENCE, item SET, OCTET STRING, context-specific 3.
TAVIK_EXPORT uint32_t decodeRootManifest(const DERDecoder* body, DERDecoder* out);

/// The provisioning manifest's body: INTEGER, algorithm SEQUENCE, context-specific 0, item SET, OCTET STRING,
/// context-specific 3.
TAVIK_EXPORT uint32_t decodeProvisioningManifest(const DERDecoder* body, DERDecoder* out);

/// Opens a manifest of `length` bytes: checks its shape with `parser` (one of the two above) and that it names
/// sha1WithRSAEncryption, without parameters, as its signature algorithm. Bytes after the outer element are ignored.
///
/// Returns kDERDecoderErrorNone with `out` over the content of the item SET (cleared before the call, it has no
/// elements when the SET is empty), a status of the DER decoder for a wrong shape, or kDERDecoderErrorInvalid for
/// another algorithm. `buffer` must not be null and must outlive `out`.
TAVIK_EXPORT uint32_t getManifestDecoder(const uint8_t* buffer, uint32_t length, DERDecoder* out,
                                         TavikManifestBodyParser parser);

/// The name of a manifest item: the table's text for `tag`, "Unknown" where it has none. Never null; lives as long as
/// the library is loaded.
TAVIK_EXPORT const char* vsr_tag_to_str(uint32_t tag);

#ifdef __cplusplus
}

#include <tavik/Value.h>

#include <optional>
#include <string_view>

namespace tavik {

/// Turns manifests into dictionaries of item name -> value. A value is a string when its bytes are PrintableString
/// characters (ITU-T X.680) or there are none, else data. An item without a name is called "Tag 5000", with its number;
/// of two items of one name the later wins.
///
/// Bytes come from the device and are not trusted. A manifest that is absent, of the wrong shape or algorithm gives
/// absent; one whose item set is empty, or has a malformed member anywhere, an empty dictionary. Time and memory are
/// linear in the input. Nothing is raised but `std::bad_alloc`.
class TAVIK_EXPORT ManifestParser {
 public:
  ManifestParser() = delete;

  /// The manifest under "ProvisioningManifestData" (data) of `container`.
  static std::optional<Dictionary> provisioningDictFromData(const Dictionary& container);
  /// The manifest under "RootManifestData" (data) of `container`.
  static std::optional<Dictionary> rootDictFromData(const Dictionary& container);
  /// The manifest under `forKey` (data; any other kind counts as absent), its body read by `withParser`.
  static std::optional<Dictionary> dictFromData(const Dictionary& container, std::string_view forKey,
                                                TavikManifestBodyParser withParser);
};

}  // namespace tavik
#endif

#endif
