/* The outer structure of manifests, down to their item sets. */
#include <stddef.h>
#include <string.h>

#include <tavik/ManifestParser.h>

#include "DERDecoder/Assertion.h"

/* Tag classes and universal tag numbers (ITU-T X.680, 8.4). */
enum { kUniversal = 0, kContextSpecific = 2 };
enum { kInteger = 2, kOctetString = 4, kSequence = 16, kSet = 17 };
enum { kPrimitive = 0, kConstructed = 1 };
enum { kRequired = 1 };

/* sha1WithRSAEncryption, 1.2.840.113549.1.1.5 (RFC 8017), as an OBJECT IDENTIFIER element. */
static const uint8_t kRsaWithSha1[] = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x05};

static DERDecoder* const kNoDecoder = NULL;

uint32_t decodeRootManifest(const DERDecoder* body, DERDecoder* out) {
  return DERDecoderParseSequence(body, 4,                                                     /* in this order: */
                                 kRequired, kUniversal, kSequence, kConstructed, kNoDecoder,  /* algorithm */
                                 kRequired, kUniversal, kSet, kConstructed, out,              /* items */
                                 kRequired, kUniversal, kOctetString, kPrimitive, kNoDecoder, /* not interpreted */
                                 kRequired, kContextSpecific, 3, kConstructed, kNoDecoder);   /* not interpreted */
}

uint32_t decodeProvisioningManifest(const DERDecoder* body, DERDecoder* out) {
  return DERDecoderParseSequence(body, 6,                                                     /* in this order: */
                                 kRequired, kUniversal, kInteger, kPrimitive, kNoDecoder,     /* not interpreted */
                                 kRequired, kUniversal, kSequence, kConstructed, kNoDecoder,  /* algorithm */
                                 kRequired, kContextSpecific, 0, kConstructed, kNoDecoder,    /* not interpreted */
                                 kRequired, kUniversal, kSet, kConstructed, out,              /* items */
                                 kRequired, kUniversal, kOctetString, kPrimitive, kNoDecoder, /* not interpreted */
                                 kRequired, kContextSpecific, 3, kConstructed, kNoDecoder);   /* not interpreted */
}

/* Sets `body` to the content of the SEQUENCE at the start of the buffer. */
static uint32_t openBody(const uint8_t* buffer, uint32_t length, DERDecoder* body) {
  DERDecoder manifest = {0};
  uint32_t manifestLength = 0; /* the length of the element */
  const uint32_t status = DERDecoderInitialize(&manifest, buffer, &manifestLength, length);
  if (status != kDERDecoderErrorNone) return status;
  return DERDecoderParseSequence(&manifest, 1, kRequired, kUniversal, kSequence, kConstructed, body);
}

uint32_t getManifestDecoder(const uint8_t* buffer, uint32_t length, DERDecoder* out, TavikManifestBodyParser parser) {
  DERDecoder body = {0};
  uint32_t status = openBody(buffer, length, &body);
  if (status != kDERDecoderErrorNone) return status;
  status = parser(&body, out);
  if (status != kDERDecoderErrorNone) return status;
  const uint8_t* algorithm = NULL;
  uint32_t algorithmLength = 0;
  status = DERDecoderGetDataWithTag(&body, kUniversal, kSequence, kConstructed, &algorithm, &algorithmLength, NULL);
  ASSERT(status == kDERDecoderErrorNone);
  if (algorithmLength != sizeof kRsaWithSha1 || memcmp(algorithm, kRsaWithSha1, sizeof kRsaWithSha1) != 0) {
    return kDERDecoderErrorInvalid;
  }
  return kDERDecoderErrorNone;
}
