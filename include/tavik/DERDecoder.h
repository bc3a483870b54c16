/// @file
/// Reads data encoded with the Distinguished Encoding Rules (DER, ITU-T X.690): walks a region of consecutive
/// tag-length-value elements and hands out pointers into the caller's buffer.
///
///     DERDecoder decoder;
///     uint32_t length = 0;                                     // 0: as long as the first element says
///     uint32_t status = DERDecoderInitialize(&decoder, bytes, &length, size);
///
///     DERDecoder content;                                      // enter the SEQUENCE, then look for an OCTET STRING
///     if (status == kDERDecoderErrorNone) status = DERDecoderParseSequence(&decoder, 1, 1, 0, 16, 1, &content);
///     const uint8_t* data;
///     if (status == kDERDecoderErrorNone) status = DERDecoderGetDataWithTag(&content, 0, 4, 0, &data, &length, NULL);
///
/// What holds for all functions of this header, which have C linkage and compile as C11 and as C++:
///
/// - **Top level only.** A walk goes over the elements of its region and enters none; a constructed element is entered
///   with a decoder of its own. Every query walks from the start of the region.
/// - **Nothing is copied.** A decoder is a plain value that borrows its buffer. What is handed out points into that
///   buffer and is valid as long as the buffer is. Memory is allocated by DERDecoderGetAllData alone.
/// - **Bytes are not trusted.** No byte outside the region is read, whatever the lengths inside it say.
/// - **Failures** are status codes. An output is written on success only, except where a function says so. Any `out` or
///   `io` argument may be null unless a function says that it must not. A null pointer where none may be is a fault of
///   the caller: the condition's text goes to standard error and the process aborts, in release builds too.
/// - **Threads.** There is no shared state. A region may be read by many threads at once.
///
/// Where the decoder departs from X.690:
///
/// | X.690 | here |
/// | --- | --- |
/// | 8.1.2.2: a tag number below 31 has one identifier octet | it may also be written in the long form |
/// | 8.1.2.4.2 c: the first group of a long tag number is not zero | leading zero groups are passed over |
/// | 8.1.2.4: tag numbers have no limit | at most four significant groups: below 2^28 |
/// | 10.1: a length has the fewest octets that hold it | long forms and leading zero octets are accepted |
/// | 8.1.3.5: lengths have no limit | at most four significant octets: below 2^32 |
/// | 8.1.3.5 c: a first length octet of 0xFF is forbidden | it announces 127 further octets |
/// | 8.1.3.6, 10.1: 0x80 is the indefinite form, forbidden in DER | it reads as length 0 |
/// | 8.3: an INTEGER is big-endian in two's complement | the two integer queries copy bytes as they stand |
///
/// Contents are not looked at: neither those of primitive types nor the order of a SET's members (10.3).
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
/// The walk reached the end of the region: there are no more items, or the one asked for is not there.
#define kDERDecoderErrorEnd UINT32_C(1)
/// An element runs past the end of its region or buffer, or the content of an integer item has the wrong size.
#define kDERDecoderErrorBufferOverrun UINT32_C(2)
/// No byte is left for an identifier octet, or a tag number in the long form is cut off.
#define kDERDecoderErrorBadTag UINT32_C(3)
/// No byte is left for a length octet, or the long form announces more length octets than remain.
#define kDERDecoderErrorBadLength UINT32_C(4)
/// The items of a sequence are not those that were expected.
#define kDERDecoderErrorSequenceMismatch UINT32_C(5)
/// A tag number, a length or the size of a whole element needs more than 32 bits.
#define kDERDecoderErrorOverflow UINT32_C(6)
/// A required output argument is missing, or there is no memory for an item list.
#define kDERDecoderErrorInvalid UINT32_C(0xFFFFFFFF)
/// @}

/// A region of consecutive elements. Set by DERDecoderInitialize or by a sequence parse; needs no release.
typedef struct DERDecoder {
  const uint8_t* buffer;  ///< first byte; not owned
  uint32_t length;        ///< bytes in the region; 0: no elements, and the buffer is not looked at
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
  uint32_t capacity;      ///< number of items there is room for
  DERDecoderItem* items;  ///< owned by the list; null when it holds none
} DERDecoderItemList;

/// Sets `decoder` over the first `*ioBufferLength` bytes of a buffer of `bufferSize` bytes; with `*ioBufferLength` 0
/// over its first element, header and content, as long as its length octets say. On success `*ioBufferLength` is the
/// length of the region.
///
/// Returns kDERDecoderErrorBufferOverrun when that length exceeds `bufferSize`; with a length of 0 also
/// kDERDecoderErrorBadTag (also for an empty buffer), kDERDecoderErrorBadLength, kDERDecoderErrorOverflow. The content
/// is not looked at. `decoder`, `buffer` and `ioBufferLength` must not be null.
TAVIK_EXPORT uint32_t DERDecoderInitialize(DERDecoder* decoder, const uint8_t* buffer, uint32_t* ioBufferLength,
                                           uint32_t bufferSize);

/// Finds the first item, at position `*ioIndex` or later (0 when `ioIndex` is null), of this class, tag number and form
/// (`isConstructed` 0 or 1), and gives its content and, in `*ioIndex`, its position. Positions count all items of the
/// region from 0, so that a search goes on after `++*ioIndex`.
///
/// Returns kDERDecoderErrorEnd when there is none, or what is wrong with the first malformed element before it;
/// elements after it are not looked at. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetDataWithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                               uint32_t isConstructed, const uint8_t** outData, uint32_t* outDataLength,
                                               uint32_t* ioIndex);

/// Lists all items of the region. The list needs no preparation; what it held before is not released.
///
/// Returns kDERDecoderErrorNone; kDERDecoderErrorEnd for an empty region, which gives a list without items and the
/// count 0; what is wrong with a malformed element, with list and count untouched; kDERDecoderErrorInvalid when
/// `outItems` or `ioCount` is null, or when there is no memory for the items: then the count is written, the list holds
/// no items and may be released. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetAllData(const DERDecoder* decoder, DERDecoderItemList* outItems, uint32_t* ioCount);

/// Counts the items of the region. Returns kDERDecoderErrorNone, for an empty region too, or what is wrong with a
/// malformed element. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetCount(const DERDecoder* decoder, uint32_t* outCount);

/// Releases the items of a list and forgets them, so that a list may be released again. Null releases nothing.
TAVIK_EXPORT void DERDecoderFreeData(DERDecoderItemList* items);

/// As DERDecoderGetDataWithTag, but gives the whole encoding of the item in place of its content.
TAVIK_EXPORT uint32_t DERDecoderGetEncodingWithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                                   uint32_t isConstructed, const uint8_t** outData,
                                                   uint32_t* outDataLength, uint32_t* ioIndex);

/// Gives the item at position `index`, counted from 0. `*outIsConstructed` is always 0, whatever the form of the item:
/// DERDecoderGetEncodingAt tells it.
///
/// Returns kDERDecoderErrorEnd when the region has fewer items, or what is wrong with a malformed element up to that
/// position. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetDataAt(const DERDecoder* decoder, uint32_t* outTagClass, uint32_t* outTag,
                                          uint32_t* outIsConstructed, const uint8_t** outData, uint32_t* outDataLength,
                                          uint32_t index);

/// Gives the item at position `index`, counted from 0, with its form, its content and its whole encoding. Returns and
/// requires the same as DERDecoderGetDataAt.
TAVIK_EXPORT uint32_t DERDecoderGetEncodingAt(const DERDecoder* decoder, uint32_t index, uint32_t* outTagClass,
                                              uint32_t* outTag, uint32_t* outIsConstructed, const uint8_t** outData,
                                              uint32_t* outDataLength, const uint8_t** outEncoding,
                                              uint32_t* outEncodingLength);

/// Copies the content of the first primitive item of this class and tag number into `*outValue`, byte by byte in the
/// machine's order: 01 00 00 00 is 1 on a little-endian machine. This is no DER INTEGER.
///
/// Returns kDERDecoderErrorBufferOverrun when the content is not exactly 4 bytes long, else what
/// DERDecoderGetDataWithTag returns. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderGetInteger32WithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                                    uint32_t* outValue);

/// The same for a content of exactly 8 bytes.
TAVIK_EXPORT uint32_t DERDecoderGetInteger64WithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                                    uint64_t* outValue);

/// Holds the items of the region, in order, against `specCount` expected ones, of five arguments each:
///
/// | argument | type | meaning |
/// | --- | --- | --- |
/// | required | int | 1: the item must be there; 0: it may be missing |
/// | tagClass, tag, isConstructed | int | what the item must be |
/// | outDecoder | DERDecoder pointer | null, or set when the item is met |
///
/// An out decoder is set over the content of a constructed item and over the whole encoding of a primitive one, as soon
/// as the item is met, even if the parse fails later. Over a constructed item without content it stays as it was: clear
/// it before the call. It must not be `decoder` itself. Write none as `(DERDecoder*)NULL`: the compiler cannot convert
/// what stands for the dots.
///
/// Returns kDERDecoderErrorNone when every expected item is there or optional and no item is left over;
/// kDERDecoderErrorSequenceMismatch when a required item is missing or an item is left over; kDERDecoderErrorEnd when
/// the last expected item is optional and the region ends before it, whatever else matched; what is wrong with a
/// malformed element. `decoder` must not be null.
TAVIK_EXPORT uint32_t DERDecoderParseSequence(const DERDecoder* decoder, int specCount, ...);

#ifdef __cplusplus
}
#endif

#endif
