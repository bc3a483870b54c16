/* The headers of the DER decoder and the manifest functions compile as C, and variable arguments are passed from C. */
#include <stdio.h>
#include <tavik/DERDecoder.h>
#include <tavik/ManifestParser.h>

/* INTEGER 5, OCTET STRING of 1 byte, SET { NULL } */
static const uint8_t kBytes[] = {0x02, 0x01, 0x05, 0x04, 0x01, 'a', 0x31, 0x02, 0x05, 0x00};
static const uint8_t kManifest[] = {0x30, 0x16, 0x30, 0x0B, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D,
                                    0x01, 0x01, 0x05, 0x31, 0x03, 0x81, 0x01, 'A',  0x04, 0x00, 0xA3, 0x00};

int main(void) {
  DERDecoder content = {kBytes, sizeof kBytes}, integer = {0}, set = {0}, items = {0};
  const uint32_t status = DERDecoderParseSequence(&content, 4,                    /* */
                                                  1, 0, 2, 0, &integer,           /* the whole encoding */
                                                  0, 0, 12, 0, (DERDecoder*)NULL, /* optional and missing */
                                                  1, 0, 4, 0, (DERDecoder*)NULL,  /* */
                                                  1, 0, 17, 1, &set);             /* the content */
  if (status != kDERDecoderErrorNone || integer.length != 3 || set.buffer != kBytes + 8 ||
      getManifestDecoder(kManifest, sizeof kManifest, &items, decodeRootManifest) != kDERDecoderErrorNone ||
      items.buffer != kManifest + 17) {
    fprintf(stderr, "status %u\n", (unsigned)status);
    return 1;
  }
  return 0;
}
