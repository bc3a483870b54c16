/// @file
/// Decodes data in the Distinguished Encoding Rules (DER, ITU-T X.690). A decoder walks a region of consecutive
/// tag-length-value elements and returns pointers into the caller's buffer.
///
///     DERDecoder decoder;
///     uint32_t length = 0;                                     // 0: the length of the first element
///     uint32_t status = DERDecoderInitialize(&decoder, bytes, &length, size);
///
///     DERDecoder content;                                      // enter the SEQUENCE, then look for an OCTET STRING
///     if (status == kDERDecoderErrorNone) status = DERDecoderParseSequence(&decoder, 1, 1, 0, 16, 1, &content);
///     const uint8_t* data;
///     if (status == kDERDecoderErrorNone) status = DERDecoderGetDataWithTag(&content, 0, 4, 0, &data, &length, NULL);
///
/// The functions have C linkage and compile as C11 and C++. The following applies to all of them:
///
/// - **Top level only.** A decoder visits the elements of its region, not their contents. Use another decoder to enter
///   a constructed element. Every query starts at the beginning of the region.
/// - **No copies.** A decoder is a plain value that borrows its buffer. Returned pointers point into that buffer and
///   are valid as long as it is. Only DERDecoderGetAllData allocates memory.
/// - **Bytes are not trusted.** No byte outside the region is read, regardless of the lengths encoded in it.
/// - **Failures** are status codes. Outputs are written only on success unless a function says otherwise. An `out` or
///   `io` argument may be null unless a function says otherwise. Passing null where it is not allowed prints the failed
///   condition to standard error and aborts the process, in release builds too.
/// - **Threads.** There is no shared state. Many threads may read a region at once.
///
/// Differences from X.690:
///
/// | X.690 | here |
/// | --- | --- |
/// | 8.1.2.2: a tag number below 31 has one identifier octet | it may also be written in the long form |
/// | 8.1.2.4.2 c: the first group of a long tag number is not zero | leading zero groups are skipped |
/// | 8.1.2.4: tag numbers are unlimited | at most four significant groups: below 2^28 |
/// | 10.1: a length has the fewest octets that hold it | long forms and leading zero octets are accepted |
/// | 8.1.3.5: lengths are unlimited | at most four significant octets: below 2^32 |
/// | 8.1.3.5 c: a first length octet of 0xFF is forbidden | it announces 127 further octets |
/// | 8.1.3.6, 10.1: 0x80 is the indefinite form, forbidden in DER | it reads as length 0 |
/// | 8.3: an INTEGER is big-endian in two's complement | the two integer queries copy the bytes unchanged |
///
/// Contents are not validated: neither those of primitive types nor the order of a SET's members (10.3).
#ifndef TAVIK_DER_DECODER_H
#define TAVIK_DER_DECODER_H

#include <tavik/Export.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// @name Status codes
/// @{
/// Success.
#define kDERDecoderErrorNone UINT32_C(0)
/// The end of the region: no more items, or the requested item was not found.
#define kDERDecoderErrorEnd UINT32_C(1)
/// An element runs past the end of its region or buffer, or the content of an integer item has the wrong size.
#define kDERDecoderErrorBufferOverrun UINT32_C(2)
/// No byte is left for an identifier octet, or a tag number in the long form is truncated.
#define kDERDecoderErrorBadTag UINT32_C(3)
/// No byte is left for a length octet, or the long form announces more length octets than remain.
#define kDERDecoderErrorBadLength UINT32_C(4)
/// The items of a sequence are not the expected ones.
#define kDERDecoderErrorSequenceMismatch UINT32_C(5)
/// A tag number, a length or the size of a whole element needs more than 32 bits.
#define kDERDecoderErrorOverflow UINT32_C(6)
/// A required output argument is null, or memory for an item list could not be allocated.
#define kDERDecoderErrorInvalid UINT32_C(0xFFFFFFFF)
/// @}

/// A region of consecutive elements. Set by DERDecoderInitialize or DERDecoderParseSequence; needs no cleanup.
typedef struct DERDecoder {
  const uint8_t* buffer;  ///< first byte; not owned
  uint32_t length;        ///< bytes in the region; 0: no elements, and the buffer is not read
} DERDecoder;

/// One element.
typedef struct DERDecoderItem {
  const uint8_t* buffer;   ///< first byte of the encoding: the identifier octet
  uint32_t bufferLength;   ///< bytes in the whole encoding: identifier, length and content octets
  uint32_t tagClass;       ///< 0 universal, 1 application, 2 context-specific, 3 private
  uint32_t tag;            ///< tag number
  const uint8_t* data;     ///< first content byte
  uint32_t dataLength;     ///< bytes of content
  uint32_t isConstructed;  ///< 1 when the constructed bit is set, else 0
} DERDecoderItem;

/// All elements of a region, in order. Filled by DERDecoderGetAllData, released by DERDecoderFreeData.
typedef struct DERDecoderItemList {
  uint32_t index;         ///< number of items filled in
  uint32_t capacity;      ///< number of items allocated
  DERDecoderItem* items;  ///< owned by the list; null if it holds none
} DERDecoderItemList;

/// Sets `decoder` to the first `*ioBufferLength` bytes of a buffer of `bufferSize` bytes. If `*ioBufferLength` is 0,
/// the region is the first element in the buffer, header and content. Its content is not validated. On success
/// `*ioBufferLength` is the length of the region.
///
/// Returns kDERDecoderErrorBufferOverrun if that length exceeds `bufferSize`. If `*ioBufferLength` is 0, it can also
/// return kDERDecoderErrorBadTag (also for an empty buffer), kDERDecoderErrorBadLength or kDERDecoderErrorOverflow.
/// `decoder`, `buffer` and `ioBufferLength` must not be null.
TAVIK_EXPORT uint32_t DERDecoderInitialize(DERDecoder* decoder, const uint8_t* buffer, uint32_t* ioBufferLength,
                                           uint32_t bufferSize);

/// Finds the first item with this class, tag number and form (`isConstructed` 0 or 1) at position `*ioIndex` or later,
/// and returns its content and, in `*ioIndex`, its position. A null `ioIndex` means 0. Positions count all items of the
/// region from 0, so `++*ioIndex` continues the search.
///
/// Returns kDERDecoderErrorEnd if there is none, or the error of the first malformed element before it. Elements after
/// it are not read. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetDataWithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                               uint32_t isConstructed, const uint8_t** outData, uint32_t* outDataLength,
                                               uint32_t* ioIndex);

/// Lists all items of the region. The list need not be initialized; items it already holds are not released. `decoder`
/// must not be null.
///
/// Returns:
///
/// - kDERDecoderErrorNone on success.
/// - kDERDecoderErrorEnd for an empty region; the list is empty and the count is 0.
/// - kDERDecoderErrorInvalid if `outItems` or `ioCount` is null, or if memory could not be allocated. In the latter
///   case the count is written and the list is empty; it may be released.
/// - The error of a malformed element; list and count are unchanged.
TAVIK_EXPORT uint32_t DERDecoderGetAllData(const DERDecoder* decoder, DERDecoderItemList* outItems, uint32_t* ioCount);

/// Counts the items of the region. Returns kDERDecoderErrorNone, also for an empty region, or the error of a malformed
/// element. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetCount(const DERDecoder* decoder, uint32_t* outCount);

/// Releases the items of a list and clears it, so releasing it again is harmless. Does nothing for null.
TAVIK_EXPORT void DERDecoderFreeData(DERDecoderItemList* items);

/// Same as DERDecoderGetDataWithTag, but returns the whole encoding of the item instead of its content.
TAVIK_EXPORT uint32_t DERDecoderGetEncodingWithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                                   uint32_t isConstructed, const uint8_t** outData,
                                                   uint32_t* outDataLength, uint32_t* ioIndex);

/// Returns the item at position `index`, counted from 0. `*outIsConstructed` is always 0; use DERDecoderGetEncodingAt
/// to get the form of the item.
///
/// Returns kDERDecoderErrorEnd if the region has fewer items, or the error of a malformed element up to that position.
/// `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetDataAt(const DERDecoder* decoder, uint32_t* outTagClass, uint32_t* outTag,
                                          uint32_t* outIsConstructed, const uint8_t** outData, uint32_t* outDataLength,
                                          uint32_t index);

/// Returns the item at position `index`, counted from 0, with its form, content and whole encoding. Status codes and
/// requirements are those of DERDecoderGetDataAt.
TAVIK_EXPORT uint32_t DERDecoderGetEncodingAt(const DERDecoder* decoder, uint32_t index, uint32_t* outTagClass,
                                              uint32_t* outTag, uint32_t* outIsConstructed, const uint8_t** outData,
                                              uint32_t* outDataLength, const uint8_t** outEncoding,
                                              uint32_t* outEncodingLength);

/// Copies the content of the first primitive item with this class and tag number into `*outValue`, in the machine's
/// byte order: 01 00 00 00 is 1 on a little-endian machine. A DER INTEGER is encoded differently.
///
/// Returns kDERDecoderErrorBufferOverrun if the content is not exactly 4 bytes long, otherwise the status of
/// DERDecoderGetDataWithTag. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetInteger32WithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                                    uint32_t* outValue);

/// The same for content of exactly 8 bytes.
TAVIK_EXPORT uint32_t DERDecoderGetInteger64WithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                                    uint64_t* outValue);

/// Matches the items of the region, in order, against `specCount` expected items. Each expected item takes five
/// arguments:
///
/// | argument | type | meaning |
/// | --- | --- | --- |
/// | required | int | 1: the item is required; 0: it is optional |
/// | tagClass, tag, isConstructed | int | class, tag number and form of the item |
/// | outDecoder | DERDecoder pointer | null, or set when the item is found |
///
/// An out decoder is set to the content of a constructed item, or to the whole encoding of a primitive item, when the
/// item is found, even if the parse fails later. A constructed item without content leaves it unchanged: clear it
/// before the call. It must not be `decoder` itself. Pass null as `(DERDecoder*)NULL`, because variadic arguments are
/// not converted. `decoder` must not be null.
///
/// Returns:
///
/// - kDERDecoderErrorNone if every expected item was found or is optional, and no item is left over.
/// - kDERDecoderErrorSequenceMismatch if a required item is missing or an item is left over.
/// - kDERDecoderErrorEnd if the last expected item is optional and the region ends before it, even if all other items
///   matched.
/// - The error of a malformed element.
TAVIK_EXPORT uint32_t DERDecoderParseSequence(const DERDecoder* decoder, int specCount, ...);

#ifdef __cplusplus
}
#endif

#endif
