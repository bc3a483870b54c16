"""Checks whether a manufactured device is configured as its product's rules require.

>>> kernel = Kernel(library, public_key)
>>> result = kernel.run({"ModelNumber": "MX101"}, rules)
>>> result.verdict
'failed'
>>> for record in result.failures:
...     print(record["rule"], "|", record["actual"], "|", record["expected"])
Model Number | MX101 | has prefix MD

Attributes, rules and sources are dictionaries of str, int, float, bool, bytes, datetime (with a time zone), list and
dict; a kernel distinguishes all of these kinds. Use `Dictionary` to convert a value once and pass it many times. Use
`Kernel.prepare` to check many devices with the same rules.

`run` returns a `Result` for every verdict: "passed", "failed", or "none" with a reason. `check` raises an exception if
the run ended early: an `Error` in a rule document, or a `Fault`. Any number of threads can use one kernel.
"""

from ._errors import ArgumentFault, DocumentError, Error, Fault, RangeFault, UntrustedError
from ._platform import Platform, StationPlatform
from ._reason import Reason
from ._tavik import __version__ as __version__
from ._tavik import (
    DerItem, Dictionary, Kernel, KeyPair, PreparedRules, Result, add_signature, decode_control_bits, decode_der,
    decode_provisioning_manifest, decode_root_manifest, decode_sys_cfg, evaluate, generate_key_pair,
    nand_size_check_description, nvram_white_list_description, read_json, read_property_list, read_property_list_file,
    sign, value_in_list_description, verify, visible_text, write_json, write_property_list,
)

__all__ = [
    "ArgumentFault", "DerItem", "Dictionary", "DocumentError", "Error", "Fault", "Kernel", "KeyPair", "Platform",
    "PreparedRules", "RangeFault", "Reason", "Result", "StationPlatform", "UntrustedError", "add_signature", "decode_control_bits",
    "decode_der", "decode_provisioning_manifest", "decode_root_manifest", "decode_sys_cfg", "evaluate",
    "generate_key_pair", "nand_size_check_description", "nvram_white_list_description", "read_json",
    "read_property_list", "read_property_list_file", "sign", "value_in_list_description", "verify", "visible_text",
    "write_json", "write_property_list",
]
