/// @file
/// Decodes baseband firmware manifests into dictionaries. There are two of them, the root manifest and the provisioning
/// manifest, both DER-encoded (ITU-T X.690). Their signatures are not verified.
///
/// The functions have C linkage and compile as C11; the class is for C++. Everything is thread-safe. Item names come
/// from a table that the build generates from product data (docs/manifest-tags.md).
#ifndef TAVIK_MANIFEST_PARSER_H
#define TAVIK_MANIFEST_PARSER_H

#include <tavik/DERDecoder.h>
#include <tavik/Export.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the body of a manifest (the content of its outer SEQUENCE) and sets `out` to the content of its item SET.
/// Returns a status code of DERDecoder.h. `out` may be null. It is written when the SET is found, even if an error
/// follows, and is left unchanged for an empty SET: clear it before the call.
typedef uint32_t (*TavikManifestBodyParser)(const DERDecoder* body, DERDecoder* out);

/// The root manifest's body: algorithm SEQUENCE, item SET, OCTET STRING, context-specific 3.
TAVIK_EXPORT uint32_t decodeRootManifest(const DERDecoder* body, DERDecoder* out);

/// The provisioning manifest's body: INTEGER, algorithm SEQUENCE, context-specific 0, item SET, OCTET STRING,
/// context-specific 3.
TAVIK_EXPORT uint32_t decodeProvisioningManifest(const DERDecoder* body, DERDecoder* out);

/// Opens a manifest of `length` bytes. Checks its structure with `parser` (one of the two above), and that its
/// signature algorithm is sha1WithRSAEncryption without parameters. Bytes after the outer element are ignored.
///
/// Returns kDERDecoderErrorNone with `out` set to the content of the item SET, another status code of DERDecoder.h for
/// a wrong structure, or kDERDecoderErrorInvalid for another algorithm. Clear `out` before the call: it is left
/// unchanged if the SET is empty. `buffer` must not be null and must outlive `out`.
TAVIK_EXPORT uint32_t getManifestDecoder(const uint8_t* buffer, uint32_t length, DERDecoder* out,
                                         TavikManifestBodyParser parser);

/// The name of the manifest item with this tag number, or "Unknown" if the table has none. Never null; valid as long as
/// the library is loaded.
TAVIK_EXPORT const char* vsr_tag_to_str(uint32_t tag);

#ifdef __cplusplus
}

#include <tavik/Value.h>

#include <optional>
#include <string_view>

namespace tavik {

/// Decodes manifests into dictionaries of item name -> value. A value is a string if all its bytes are PrintableString
/// characters (ITU-T X.680) or it is empty, and data otherwise. An item without a name gets its tag number, such as
/// "Tag 5000". If two items have the same name, the later one wins.
///
/// The bytes are not trusted. Returns absent if the manifest is missing or has the wrong structure or algorithm, and an
/// empty dictionary if its item set is empty or has a malformed member. Time and memory are linear in the input. Raises
/// only `std::bad_alloc`.
class TAVIK_EXPORT ManifestParser {
 public:
  ManifestParser() = delete;

  /// Decodes the manifest under "ProvisioningManifestData" (data) in `container`.
  static std::optional<Dictionary> provisioningDictFromData(const Dictionary& container);
  /// Decodes the manifest under "RootManifestData" (data) in `container`.
  static std::optional<Dictionary> rootDictFromData(const Dictionary& container);
  /// Decodes the manifest under `forKey` (data; any other kind counts as missing); `withParser` reads its body.
  static std::optional<Dictionary> dictFromData(const Dictionary& container, std::string_view forKey,
                                                TavikManifestBodyParser withParser);
};

}  // namespace tavik
#endif

#endif
