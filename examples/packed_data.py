"""Encoders for packed device data (SysCfg blobs, control-bit blocks, modem manifests) and for lines of devices."""

import base64
import hashlib
import json
import struct

# ---- DER and modem manifests -----------------------------------------------------------------------------------------

UNIVERSAL, CONTEXT = 0, 2
PRIMITIVE, CONSTRUCTED = 0, 1
INTEGER, OCTET_STRING, SEQUENCE, SET = 2, 4, 16, 17
RSA_WITH_SHA1 = bytes.fromhex("06092a864886f70d010105")  # the object identifier 1.2.840.113549.1.1.5


def element(tag_class, form, tag, content):
    """One DER element: identifier, length, content."""
    return identifier(tag_class << 6 | form << 5, tag) + der_length(len(content)) + content


def identifier(first, tag):
    if tag < 31:
        return bytes([first | tag])
    groups = [tag & 0x7F]
    while tag := tag >> 7:
        groups.append(0x80 | tag & 0x7F)
    return bytes([first | 31, *reversed(groups)])


def der_length(length):
    if length < 128:
        return bytes([length])
    octets = length.to_bytes((length.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(octets)]) + octets


def item_set(items):
    """The SET of a manifest's items. `items`: tag number -> content."""
    members = (element(CONTEXT, PRIMITIVE, tag, content) for tag, content in items.items())
    return element(UNIVERSAL, CONSTRUCTED, SET, b"".join(members))


def signature(items):
    """A substitute for the modem maker's signature, which checks do not verify."""
    return element(UNIVERSAL, PRIMITIVE, OCTET_STRING, hashlib.sha512(item_set(items)).digest())


ALGORITHM = element(UNIVERSAL, CONSTRUCTED, SEQUENCE, RSA_WITH_SHA1)
CERTIFICATES = element(CONTEXT, CONSTRUCTED, 3, b"")


def root_manifest(items):
    body = ALGORITHM + item_set(items) + signature(items) + CERTIFICATES
    return element(UNIVERSAL, CONSTRUCTED, SEQUENCE, body)


def provisioning_manifest(items):
    version = element(UNIVERSAL, PRIMITIVE, INTEGER, b"\x01")
    issuer = element(CONTEXT, CONSTRUCTED, 0, b"")
    body = version + ALGORITHM + issuer + item_set(items) + signature(items) + CERTIFICATES
    return element(UNIVERSAL, CONSTRUCTED, SEQUENCE, body)


# ---- SysCfg blob and control bits ---------------------------------------------------------------------------------

SYSCFG_HEADER_SIZE, SYSCFG_ENTRY_SIZE, INLINE_SIZE = 24, 20, 16


def tag_word(tag):
    """A stored tag of four characters: a little-endian word, so its bytes are in reverse order."""
    return struct.pack("<I", int.from_bytes(tag.encode("ascii"), "big"))


def syscfg(magic, fields):
    """A SysCfg blob. `magic`: four bytes; `fields`: tag -> text or bytes. A value of more than 16 bytes follows the entries."""
    entries, behind = b"", b""
    values_begin = SYSCFG_HEADER_SIZE + SYSCFG_ENTRY_SIZE * len(fields)
    for tag, field in fields.items():
        value = field.encode("ascii") if isinstance(field, str) else field
        if len(value) <= INLINE_SIZE:
            entries += tag_word(tag) + value.ljust(INLINE_SIZE, b"\0")
        else:
            entries += tag_word("CNTB") + tag_word(tag) + struct.pack("<III", len(value), values_begin + len(behind), 0)
            behind += value
    size = values_begin + len(behind)
    return struct.pack("<4sIIIII", magic, size, size, 1, 0, len(fields)) + entries + behind


PASS, INCOMPLETE, FAIL, UNTESTED = range(4)
CONTROL_BITS_HEADER_SIZE, CONTROL_BIT_COUNT = 64, 254
TESTED_AT = 1794790800  # 2026-11-16 01:00:00 UTC


def control_bits(states, count=CONTROL_BIT_COUNT):
    """A block of `count` control-bit records. `states`: number -> state; all others are untested."""
    records = (control_bit(states[bit], bit) if bit in states else b"\xff" * 32 for bit in range(count))
    return bytes(CONTROL_BITS_HEADER_SIZE) + b"".join(records)


def control_bit(state, bit):
    failures = 1 if state == FAIL else 0
    # The counters are stored inverted, so that those of an erased block are 0.
    status = state | (failures ^ 0xFF) << 2 | (failures ^ 0x3FF) << 10 | (1 ^ 0xFFF) << 20
    return struct.pack("<II24s", status, TESTED_AT + 600 * bit, b"station-4.2.0")


# ---- Values and files ---------------------------------------------------------------------------------------------


def digest(*parts):
    return hashlib.sha256("/".join(map(str, parts)).encode()).digest()


def as_json(value, **options):
    return json.dumps(value, default=lambda data: {"$data": base64.b64encode(data).decode()}, **options) + "\n"


def device_lines(devices):
    """The devices as JSON lines."""
    return "".join(as_json(device, separators=(",", ":")) for device in devices).encode()
