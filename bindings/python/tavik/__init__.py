"""Checks whether a manufactured device is configured as its product's rules require.

>>> kernel = Kernel(library, public_key)
>>> result = kernel.check({"ModelNumber": "MX101"}, rules)
>>> result.passed
False
>>> for record in result.failures:
...     print(record["rule"], "|", record["actual"], "|", record["expected"])
Model Number | MX101 | has prefix MD

Attributes, rules and sources are dictionaries of str, int, float, bool, bytes, datetime (with a time zone), list and dict;
a kernel tells all of these kinds apart. `Dictionary` holds one that is converted once. A host that checks many devices
prepares its rules once: `Kernel.prepare`.

What is wrong with a device is a record; what is wrong with a rule document is an `Error`; what a rule must not ask for is
a `Fault`. One kernel serves any number of threads, which check at the same time.
"""

from ._errors import ArgumentFault, DocumentError, Error, Fault, RangeFault, UntrustedError
from ._platform import Platform, StationPlatform
from ._tavik import (
    DerItem,
    Dictionary,
    Kernel,
    KeyPair,
    PreparedRules,
    Result,
    __version__ as __version__,
    decode_control_bits,
    decode_der,
    decode_provisioning_manifest,
    decode_root_manifest,
    decode_sys_cfg,
    evaluate,
    generate_key_pair,
    nand_size_check_description,
    nvram_white_list_description,
    read_json,
    read_property_list,
    read_property_list_file,
    sign,
    value_in_list_description,
    verify,
    write_json,
    write_property_list,
)

__all__ = [
    "ArgumentFault",
    "DerItem",
    "Dictionary",
    "DocumentError",
    "Error",
    "Fault",
    "Kernel",
    "KeyPair",
    "Platform",
    "PreparedRules",
    "RangeFault",
    "Result",
    "StationPlatform",
    "UntrustedError",
    "decode_control_bits",
    "decode_der",
    "decode_provisioning_manifest",
    "decode_root_manifest",
    "decode_sys_cfg",
    "evaluate",
    "generate_key_pair",
    "nand_size_check_description",
    "nvram_white_list_description",
    "read_json",
    "read_property_list",
    "read_property_list_file",
    "sign",
    "value_in_list_description",
    "verify",
    "write_json",
    "write_property_list",
]
