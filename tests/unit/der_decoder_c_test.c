/* The DER decoder and the manifest functions as a C program sees them. */
#include <stdio.h>
#include <string.h>
#include <tavik/DERDecoder.h>
#include <tavik/ManifestParser.h>

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      return 1;                                                       \
    }                                                                 \
  } while (0)

/* SEQUENCE { INTEGER 5, OCTET STRING of 4 bytes, OCTET STRING of 8 bytes, SET { NULL } }, then a byte that is not part
 * of it. */
static const uint8_t kBytes[] = {0x30, 0x17, 0x02, 0x01, 0x05, 0x04, 0x04, 'a', 'b',  'c',  'd',  0x44, 0x08,
                                 '1',  '2',  '3',  '4',  '5',  '6',  '7',  '8', 0x31, 0x02, 0x05, 0x00, 0xFF};

static int parse(void) {
  DERDecoder decoder = {0}, content = {0}, integer = {0}, set = {0};
  DERDecoderItemList items;
  uint32_t length = 0, count = 0, number = 0;
  CHECK(DERDecoderInitialize(&decoder, kBytes, &length, sizeof kBytes) == kDERDecoderErrorNone);
  CHECK(DERDecoderParseSequence(&decoder, 1, 1, 0, 16, 1, &content) == kDERDecoderErrorNone);
  CHECK(DERDecoderParseSequence(&content, 5,                    /* */
                                1, 0, 2, 0, &integer,           /* a primitive item: its whole encoding */
                                0, 0, 12, 0, (DERDecoder*)NULL, /* optional and not there */
                                1, 0, 4, 0, (DERDecoder*)NULL,  /* */
                                1, 1, 4, 0, (DERDecoder*)NULL,  /* */
                                1, 0, 17, 1, &set) == kDERDecoderErrorNone);
  CHECK(integer.buffer == kBytes + 2 && integer.length == 3 && set.buffer == kBytes + 23 && set.length == 2);
  CHECK(DERDecoderGetInteger32WithTag(&content, 0, 4, &number) == kDERDecoderErrorNone);
  CHECK(memcmp(&number, "abcd", 4) == 0);
  CHECK(DERDecoderGetAllData(&content, &items, &count) == kDERDecoderErrorNone);
  CHECK(count == 4 && items.items[2].tagClass == 1 && items.items[3].isConstructed == 1);
  DERDecoderFreeData(&items);
  CHECK(items.items == NULL);
  return 0;
}

static int manifests(void) {
  static const uint8_t root[] = {0x30, 0x16, 0x30, 0x0B, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D,
                                 0x01, 0x01, 0x05, 0x31, 0x03, 0x81, 0x01, 'A',  0x04, 0x00, 0xA3, 0x00};
  DERDecoder items = {0};
  CHECK(getManifestDecoder(root, sizeof root, &items, decodeRootManifest) == kDERDecoderErrorNone);
  CHECK(items.buffer == root + 17 && items.length == 3);
  CHECK(getManifestDecoder(root, sizeof root, &items, decodeProvisioningManifest) == kDERDecoderErrorSequenceMismatch);
  CHECK(strcmp(vsr_tag_to_str(0), "Unknown") == 0);
  return 0;
}

int main(void) { return parse() || manifests(); }
