/* The DER decoder. All queries use one traversal of the top level of a region, _DERDecoderTraverseAllItems, with a
 * callback and its context. A callback returns kDERDecoderErrorEnd to continue; any other status ends the traversal.
 *
 * The traversal is inline, so that the compiler specializes it for each callback. This is about 25% faster than a
 * shared function. */
#include <tavik/DERDecoder.h>

#include "DERDecoder/Assertion.h"

#include <stdarg.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>

/* The names of internal operations are reserved by the language; the functions are static and not visible elsewhere.
 * NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp) */

/* Returns the next `count` bytes, or null if fewer are left. All header bytes are read through this function. */
static inline const uint8_t* take(const uint8_t* buffer, uint32_t bufferLength, uint32_t* consumed, uint32_t count) {
  if (count > bufferLength - *consumed) return NULL;
  const uint8_t* bytes = buffer + *consumed;
  *consumed += count;
  return bytes;
}

/* Identifier octets after the first (X.690, 8.1.2.4.2): groups of 7 bits, with the top bit set in all but the last. */
static inline uint32_t decodeHighTagNumber(const uint8_t* buffer, uint32_t bufferLength, uint32_t* consumed,
                                           uint32_t* outTag) {
  uint32_t tag = 0;
  const uint8_t* octet = NULL;
  do {
    octet = take(buffer, bufferLength, consumed, 1);
    if (octet == NULL) return kDERDecoderErrorBadTag;
    if (tag >> 21 != 0) return kDERDecoderErrorOverflow; /* four groups have been read, not counting leading zeros */
    tag = tag << 7 | (*octet & 0x7F);
  } while ((*octet & 0x80) != 0);
  *outTag = tag;
  return kDERDecoderErrorNone;
}

/* Identifier octets (X.690, 8.1.2). */
static inline uint32_t _DERDecodeTag(const uint8_t* buffer, uint32_t bufferLength, uint32_t* outTagClass,
                                     uint32_t* outTag, uint32_t* outIsConstructed, uint32_t* outConsumed) {
  ASSERT(buffer != NULL);
  ASSERT(outTagClass != NULL);
  ASSERT(outTag != NULL);
  ASSERT(outIsConstructed != NULL);
  ASSERT(outConsumed != NULL);
  uint32_t consumed = 0;
  const uint8_t* first = take(buffer, bufferLength, &consumed, 1);
  if (first == NULL) return kDERDecoderErrorBadTag;
  uint32_t tag = *first & 0x1F;
  if (tag == 0x1F) {
    const uint32_t status = decodeHighTagNumber(buffer, bufferLength, &consumed, &tag);
    if (status != kDERDecoderErrorNone) return status;
  }
  *outTagClass = *first >> 6;
  *outTag = tag;
  *outIsConstructed = *first >> 5 & 1;
  *outConsumed = consumed;
  return kDERDecoderErrorNone;
}

/* Length octets (X.690, 8.1.3). The indefinite form, 0x80, announces no octets and therefore reads as 0. */
static inline uint32_t _DERDecodeLength(const uint8_t* buffer, uint32_t bufferLength, uint32_t* outLength,
                                        uint32_t* outConsumed) {
  ASSERT(buffer != NULL);
  ASSERT(outLength != NULL);
  ASSERT(outConsumed != NULL);
  uint32_t consumed = 0;
  const uint8_t* first = take(buffer, bufferLength, &consumed, 1);
  if (first == NULL) return kDERDecoderErrorBadLength;
  uint32_t length = *first;
  if (length >= 0x80) {
    const uint32_t count = length & 0x7F;
    const uint8_t* octets = take(buffer, bufferLength, &consumed, count);
    if (octets == NULL) return kDERDecoderErrorBadLength;
    length = 0;
    for (uint32_t i = 0; i < count; ++i) {
      if (length >> 24 != 0)
        return kDERDecoderErrorOverflow; /* four octets have been read, not counting leading zeros */
      length = length << 8 | octets[i];
    }
  }
  *outLength = length;
  *outConsumed = consumed;
  return kDERDecoderErrorNone;
}

/* Decodes the identifier and length octets at `buffer` into `item`, whose lengths may exceed the buffer. */
static inline uint32_t decodeHeader(const uint8_t* buffer, uint32_t bufferLength, DERDecoderItem* item,
                                    uint32_t* outHeaderLength) {
  uint32_t nconsumed = 0;
  uint32_t status = _DERDecodeTag(buffer, bufferLength, &item->tagClass, &item->tag, &item->isConstructed, &nconsumed);
  if (status != kDERDecoderErrorNone) return status;
  ASSERT(nconsumed > 0);
  const uint32_t identifierLength = nconsumed;
  status = _DERDecodeLength(buffer + identifierLength, bufferLength - identifierLength, &item->dataLength, &nconsumed);
  if (status != kDERDecoderErrorNone) return status;
  ASSERT(nconsumed > 0);
  item->buffer = buffer;
  *outHeaderLength = identifierLength + nconsumed;
  return kDERDecoderErrorNone;
}

/* Decodes the element at the start of `buffer`, which must contain all of it. */
static inline uint32_t decodeItem(const uint8_t* buffer, uint32_t bufferLength, DERDecoderItem* item) {
  uint32_t headerLength = 0;
  const uint32_t status = decodeHeader(buffer, bufferLength, item, &headerLength);
  if (status != kDERDecoderErrorNone) return status;
  if (bufferLength - headerLength < item->dataLength) return kDERDecoderErrorBufferOverrun;
  item->data = buffer + headerLength;
  item->bufferLength = headerLength + item->dataLength;
  return kDERDecoderErrorNone;
}

typedef uint32_t (*TraversalCallback)(const DERDecoderItem* item, void* context);

/* Returns kDERDecoderErrorEnd after the last element, or the status of the malformed element or callback that ended the
 * traversal. */
static inline uint32_t _DERDecoderTraverseAllItems(const DERDecoder* decoder, TraversalCallback callback,
                                                   void* context) {
  ASSERT(decoder != NULL);
  const uint8_t* position = decoder->buffer;
  uint32_t remaining = decoder->length;
  while (remaining > 0) {
    DERDecoderItem item = {0};
    uint32_t status = decodeItem(position, remaining, &item);
    if (status != kDERDecoderErrorNone) return status;
    status = callback(&item, context);
    if (status != kDERDecoderErrorEnd) return status;
    position += item.bufferLength;
    remaining -= item.bufferLength;
  }
  return kDERDecoderErrorEnd;
}

typedef struct {
  uint32_t position;
  uint32_t startPosition;
  uint32_t tagClass;
  uint32_t tag;
  uint32_t isConstructed;
  DERDecoderItem foundItem;
} WithTagContext;

static WithTagContext withTag(uint32_t tagClass, uint32_t tag, uint32_t isConstructed, const uint32_t* startPosition) {
  return (WithTagContext){.startPosition = startPosition != NULL ? *startPosition : 0,
                          .tagClass = tagClass,
                          .tag = tag,
                          .isConstructed = isConstructed};
}

static uint32_t _DERDecoderGetDataWithTagCallback(const DERDecoderItem* item, void* context) {
  WithTagContext* wanted = context;
  if (item->tagClass != wanted->tagClass || item->tag != wanted->tag || item->isConstructed != wanted->isConstructed ||
      wanted->position < wanted->startPosition) {
    ++wanted->position;
    return kDERDecoderErrorEnd;
  }
  wanted->foundItem = *item;
  return kDERDecoderErrorNone;
}

static uint32_t _DERDecoderGetAllDataCallback(const DERDecoderItem* item, void* context) {
  DERDecoderItemList* list = context;
  if (list == NULL || list->items == NULL) return kDERDecoderErrorInvalid;
  list->items[list->index] = *item;
  ++list->index;
  return list->index < list->capacity ? kDERDecoderErrorEnd : kDERDecoderErrorNone;
}

static uint32_t _DERDecoderGetCountCallback(const DERDecoderItem* item, void* context) {
  (void)item;
  uint32_t* count = context;
  ++*count;
  return kDERDecoderErrorEnd;
}

typedef struct {
  uint32_t position;
  uint32_t index;
  DERDecoderItem foundItem;
} AtContext;

static uint32_t _DERDecoderGetEncodingAtCallback(const DERDecoderItem* item, void* context) {
  AtContext* wanted = context;
  if (wanted->position != wanted->index) {
    ++wanted->position;
    return kDERDecoderErrorEnd;
  }
  wanted->foundItem = *item;
  return kDERDecoderErrorNone;
}

/* Omits the form by design: callers of DERDecoderGetDataAt rely on a constructed output of 0. */
static uint32_t _DERDecoderGetDataAtCallback(const DERDecoderItem* item, void* context) {
  AtContext* wanted = context;
  const uint32_t status = _DERDecoderGetEncodingAtCallback(item, context);
  if (status == kDERDecoderErrorNone) wanted->foundItem.isConstructed = 0;
  return status;
}

static void store(uint32_t* out, uint32_t value) {
  if (out != NULL) *out = value;
}

static void storePointer(const uint8_t** out, const uint8_t* value) {
  if (out != NULL) *out = value;
}

uint32_t DERDecoderInitialize(DERDecoder* decoder, const uint8_t* buffer, uint32_t* ioBufferLength,
                              uint32_t bufferSize) {
  ASSERT(decoder != NULL);
  ASSERT(buffer != NULL);
  ASSERT(ioBufferLength != NULL);
  uint32_t length = *ioBufferLength;
  if (length == 0) {
    DERDecoderItem item = {0};
    uint32_t headerLength = 0;
    const uint32_t status = decodeHeader(buffer, bufferSize, &item, &headerLength);
    if (status != kDERDecoderErrorNone) return status;
    if (item.dataLength > UINT32_MAX - headerLength) return kDERDecoderErrorOverflow;
    length = headerLength + item.dataLength;
  }
  if (length > bufferSize) return kDERDecoderErrorBufferOverrun;
  decoder->buffer = buffer;
  decoder->length = length;
  *ioBufferLength = length;
  return kDERDecoderErrorNone;
}

uint32_t DERDecoderGetDataWithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag, uint32_t isConstructed,
                                  const uint8_t** outData, uint32_t* outDataLength, uint32_t* ioIndex) {
  ASSERT(decoder != NULL);
  WithTagContext callbackData = withTag(tagClass, tag, isConstructed, ioIndex);
  const uint32_t status = _DERDecoderTraverseAllItems(decoder, _DERDecoderGetDataWithTagCallback, &callbackData);
  if (status != kDERDecoderErrorNone) return status;
  ASSERT(callbackData.foundItem.data != NULL);
  storePointer(outData, callbackData.foundItem.data);
  store(outDataLength, callbackData.foundItem.dataLength);
  store(ioIndex, callbackData.position);
  return kDERDecoderErrorNone;
}

uint32_t DERDecoderGetAllData(const DERDecoder* decoder, DERDecoderItemList* outItems, uint32_t* ioCount) {
  ASSERT(decoder != NULL);
  if (outItems == NULL || ioCount == NULL) return kDERDecoderErrorInvalid;
  uint32_t count = 0;
  const uint32_t status = DERDecoderGetCount(decoder, &count);
  if (status != kDERDecoderErrorNone) return status;
  *ioCount = count;
  *outItems = (DERDecoderItemList){.capacity = count};
  if (count == 0) return kDERDecoderErrorEnd;
  outItems->items = calloc(count, sizeof *outItems->items); /* the callback reports a failure */
  return _DERDecoderTraverseAllItems(decoder, _DERDecoderGetAllDataCallback, outItems);
}

uint32_t DERDecoderGetCount(const DERDecoder* decoder, uint32_t* outCount) {
  uint32_t count = 0;
  const uint32_t status = _DERDecoderTraverseAllItems(decoder, _DERDecoderGetCountCallback, &count);
  if (status != kDERDecoderErrorEnd) return status;
  store(outCount, count);
  return kDERDecoderErrorNone;
}

void DERDecoderFreeData(DERDecoderItemList* items) {
  if (items == NULL) return;
  free(items->items);
  items->items = NULL;
}

uint32_t DERDecoderGetEncodingWithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag,
                                      uint32_t isConstructed, const uint8_t** outData, uint32_t* outDataLength,
                                      uint32_t* ioIndex) {
  ASSERT(decoder != NULL);
  WithTagContext callbackData = withTag(tagClass, tag, isConstructed, ioIndex);
  const uint32_t status = _DERDecoderTraverseAllItems(decoder, _DERDecoderGetDataWithTagCallback, &callbackData);
  if (status != kDERDecoderErrorNone) return status;
  ASSERT(callbackData.foundItem.buffer != NULL);
  storePointer(outData, callbackData.foundItem.buffer);
  store(outDataLength, callbackData.foundItem.bufferLength);
  store(ioIndex, callbackData.position);
  return kDERDecoderErrorNone;
}

uint32_t DERDecoderGetDataAt(const DERDecoder* decoder, uint32_t* outTagClass, uint32_t* outTag,
                             uint32_t* outIsConstructed, const uint8_t** outData, uint32_t* outDataLength,
                             uint32_t index) {
  ASSERT(decoder != NULL);
  AtContext callbackData = {.index = index};
  const uint32_t status = _DERDecoderTraverseAllItems(decoder, _DERDecoderGetDataAtCallback, &callbackData);
  if (status != kDERDecoderErrorNone) return status;
  ASSERT(callbackData.foundItem.data != NULL);
  store(outTagClass, callbackData.foundItem.tagClass);
  store(outTag, callbackData.foundItem.tag);
  store(outIsConstructed, callbackData.foundItem.isConstructed);
  storePointer(outData, callbackData.foundItem.data);
  store(outDataLength, callbackData.foundItem.dataLength);
  return kDERDecoderErrorNone;
}

uint32_t DERDecoderGetEncodingAt(const DERDecoder* decoder, uint32_t index, uint32_t* outTagClass, uint32_t* outTag,
                                 uint32_t* outIsConstructed, const uint8_t** outData, uint32_t* outDataLength,
                                 const uint8_t** outEncoding, uint32_t* outEncodingLength) {
  ASSERT(decoder != NULL);
  AtContext callbackData = {.index = index};
  const uint32_t status = _DERDecoderTraverseAllItems(decoder, _DERDecoderGetEncodingAtCallback, &callbackData);
  if (status != kDERDecoderErrorNone) return status;
  ASSERT(callbackData.foundItem.buffer != NULL);
  store(outTagClass, callbackData.foundItem.tagClass);
  store(outTag, callbackData.foundItem.tag);
  store(outIsConstructed, callbackData.foundItem.isConstructed);
  storePointer(outData, callbackData.foundItem.data);
  store(outDataLength, callbackData.foundItem.dataLength);
  storePointer(outEncoding, callbackData.foundItem.buffer);
  store(outEncodingLength, callbackData.foundItem.bufferLength);
  return kDERDecoderErrorNone;
}

/* Copies the content of the first such primitive item, which must have `size` bytes. */
static uint32_t copyPrimitive(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag, void* outValue,
                              uint32_t size) {
  const uint8_t* data = NULL;
  uint32_t dataLength = 0;
  const uint32_t status = DERDecoderGetDataWithTag(decoder, tagClass, tag, 0, &data, &dataLength, NULL);
  if (status != kDERDecoderErrorNone) return status;
  if (dataLength != size) return kDERDecoderErrorBufferOverrun;
  if (outValue != NULL) memcpy(outValue, data, size); /* NOLINT(clang-analyzer-security.*): there is no memcpy_s */
  return kDERDecoderErrorNone;
}

uint32_t DERDecoderGetInteger32WithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag, uint32_t* outValue) {
  ASSERT(decoder != NULL);
  return copyPrimitive(decoder, tagClass, tag, outValue, sizeof *outValue);
}

uint32_t DERDecoderGetInteger64WithTag(const DERDecoder* decoder, uint32_t tagClass, uint32_t tag, uint64_t* outValue) {
  ASSERT(decoder != NULL);
  return copyPrimitive(decoder, tagClass, tag, outValue, sizeof *outValue);
}

typedef struct {
  bool required;
  uint32_t tagClass;
  uint32_t tag;
  uint32_t isConstructed;
  DERDecoder* outDecoder;
} ExpectedItem;

static ExpectedItem takeExpected(va_list* arguments) {
  ExpectedItem expected;
  expected.required = va_arg(*arguments, int) != 0;
  expected.tagClass = (uint32_t)va_arg(*arguments, int);
  expected.tag = (uint32_t)va_arg(*arguments, int);
  expected.isConstructed = (uint32_t)va_arg(*arguments, int);
  expected.outDecoder = va_arg(*arguments, DERDecoder*);
  return expected;
}

static bool matches(const DERDecoderItem* item, const ExpectedItem* expected) {
  return item->tagClass == expected->tagClass && item->tag == expected->tag &&
         item->isConstructed == expected->isConstructed;
}

/* For DERDecoderInitialize, a length of 0 means "the first element in the buffer". With an empty buffer it fails and
 * leaves the decoder unchanged. */
static void openItem(const DERDecoderItem* item, DERDecoder* outDecoder) {
  if (outDecoder == NULL) return;
  uint32_t length = item->isConstructed ? item->dataLength : item->bufferLength;
  (void)DERDecoderInitialize(outDecoder, item->isConstructed ? item->data : item->buffer, &length, length);
}

/* Matches the expected items in order; `*matched` counts the matched items. */
static uint32_t matchExpected(const DERDecoder* decoder, int specCount, va_list* arguments, uint32_t* matched) {
  for (int i = 0; i < specCount; ++i) {
    const ExpectedItem expected = takeExpected(arguments);
    DERDecoderItem item = {0};
    const uint32_t status = DERDecoderGetEncodingAt(decoder, *matched, &item.tagClass, &item.tag, &item.isConstructed,
                                                    &item.data, &item.dataLength, &item.buffer, &item.bufferLength);
    if (status != kDERDecoderErrorNone && status != kDERDecoderErrorEnd) return status;
    if (status == kDERDecoderErrorNone && matches(&item, &expected)) {
      ++*matched;
      openItem(&item, expected.outDecoder);
      continue;
    }
    if (expected.required) return kDERDecoderErrorSequenceMismatch;
    if (status == kDERDecoderErrorEnd && i == specCount - 1) return kDERDecoderErrorEnd;
  }
  return kDERDecoderErrorNone;
}

uint32_t DERDecoderParseSequence(const DERDecoder* decoder, int specCount, ...) {
  va_list arguments;
  va_start(arguments, specCount);
  uint32_t matched = 0;
  uint32_t status = matchExpected(decoder, specCount, &arguments, &matched);
  va_end(arguments);
  if (status != kDERDecoderErrorNone) return status;
  uint32_t count = 0;
  status = DERDecoderGetCount(decoder, &count);
  if (status != kDERDecoderErrorNone) return status;
  return matched < count ? kDERDecoderErrorSequenceMismatch : kDERDecoderErrorNone;
}

/* NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp) */
