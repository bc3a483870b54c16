// The decoders of device data.

#include <tavik/DERDecoder.h>
#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>

#include <limits>

#include "Conversion.h"
#include "Made.h"
#include "Parts.h"
#include "Raise.h"

namespace tavik::python {
namespace {

constexpr const char* kDecodeSysCfg = R"(decode_sys_cfg(data)
--

Decodes a SysCfg blob: tag -> str if the bytes are text, otherwise bytes. Decoding stops at a truncated entry.

>>> decode_sys_cfg(b"")
{})";

constexpr const char* kDecodeControlBits = R"(decode_control_bits(data)
--

Decodes a control-bit block: one dictionary per record.

>>> decode_control_bits(bytes(8192))[5]["Test State"]
'Pass')";

constexpr const char* kDecodeRootManifest = R"(decode_root_manifest(data)
--

Decodes the root manifest of baseband firmware: item name -> value; None if the bytes are not a root manifest.

>>> decode_root_manifest(b"not a manifest")

The signature is not verified.)";

constexpr const char* kDecodeProvisioningManifest = R"(decode_provisioning_manifest(data)
--

The same for the provisioning manifest.

>>> decode_provisioning_manifest(b"not a manifest"))";

constexpr const char* kDecodeDer = R"(decode_der(data)
--

Lists the top-level elements of DER-encoded bytes. Decode the content of a constructed element in the same way.

>>> (sequence,) = decode_der(bytes.fromhex("3006 0201 05 0401 ff"))
>>> [(item.tag, item.content) for item in decode_der(sequence.content)]
[(2, b'\x05'), (4, b'\xff')]

Raises DocumentError for malformed bytes.)";

constexpr const char* kDerItem = R"(One element of DER-encoded bytes.

tag_class: 0 universal, 1 application, 2 context-specific, 3 private. tag: the tag number. is_constructed: whether the
content consists of elements. content: the content bytes. encoding: the header and the content bytes.

>>> decode_der(b"\x02\x01\x05")[0]
DerItem(tag_class=0, tag=2, is_constructed=False, content=b'\x05'))";

struct DerItem {
  using MadeByInit = DerItem;

  std::uint32_t tagClass;
  std::uint32_t tag;
  bool isConstructed;
  py::object content;
  py::object encoding;

  [[nodiscard]] py::str repr() const {
    return py::str("DerItem(tag_class={}, tag={}, is_constructed={}, content={!r})")
        .format(tagClass, tag, isConstructed, content);
  }
};

class ItemList {
 public:
  ItemList() = default;
  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;
  ~ItemList() { DERDecoderFreeData(&list_); }

  [[nodiscard]] DERDecoderItemList& list() { return list_; }

 private:
  DERDecoderItemList list_{};
};

const char* reasonFor(std::uint32_t status) {
  switch (status) {
    case kDERDecoderErrorBufferOverrun:
      return "an element extends past the end of the data";
    case kDERDecoderErrorBadTag:
      return "the tag of an element is truncated";
    case kDERDecoderErrorBadLength:
      return "the length of an element is truncated";
    default:
      return "the tag or length of an element needs more than 32 bits";
  }
}

py::object bytesOf(const std::uint8_t* first, std::uint32_t length) { return toPython(Value(Data({first, length}))); }

py::list decodeDer(py::handle object) {
  const Data data = toData(object, "data");
  if (data.size() > std::numeric_limits<std::uint32_t>::max()) throw py::value_error("data: larger than 4 GiB");
  const DERDecoder region{data.bytes().data(), static_cast<std::uint32_t>(data.size())};
  ItemList items;
  std::uint32_t count = 0;
  const std::uint32_t status = DERDecoderGetAllData(&region, &items.list(), &count);
  if (status == kDERDecoderErrorInvalid) throw std::bad_alloc();
  if (status != kDERDecoderErrorNone && status != kDERDecoderErrorEnd) raiseDocumentError(reasonFor(status));
  py::list made;
  for (std::uint32_t i = 0; i < items.list().index; ++i) {
    const DERDecoderItem& item = items.list().items[i];
    made.append(DerItem{item.tagClass, item.tag, item.isConstructed != 0, bytesOf(item.data, item.dataLength),
                        bytesOf(item.buffer, item.bufferLength)});
  }
  return made;
}

py::dict decodeSysCfg(py::handle object) {
  const Data data = toData(object, "data");
  return toPython(SystemConfig::sysCfgFromData(&data));
}

py::list decodeControlBits(py::handle object) {
  const Data data = toData(object, "data");
  return toPython(SystemConfig::controlBitsFromData(&data));
}

py::object manifestObject(const std::optional<Dictionary>& manifest) {
  return manifest ? py::object(toPython(*manifest)) : py::none();
}

py::object decodeRoot(py::handle object) {
  return manifestObject(ManifestParser::rootDictFromData({{"RootManifestData", toData(object, "data")}}));
}

py::object decodeProvisioning(py::handle object) {
  return manifestObject(
      ManifestParser::provisioningDictFromData({{"ProvisioningManifestData", toData(object, "data")}}));
}

}  // namespace

void defineDecoders(py::module_& module) {
  const auto data = py::arg("data");
  module.def("decode_sys_cfg", decodeSysCfg, data, kDecodeSysCfg);
  module.def("decode_control_bits", decodeControlBits, data, kDecodeControlBits);
  module.def("decode_root_manifest", decodeRoot, data, kDecodeRootManifest);
  module.def("decode_provisioning_manifest", decodeProvisioning, data, kDecodeProvisioningManifest);
  py::class_<DerItem>(module, "DerItem", kDerItem)
      .def_readonly("tag_class", &DerItem::tagClass)
      .def_readonly("tag", &DerItem::tag)
      .def_readonly("is_constructed", &DerItem::isConstructed)
      .def_readonly("content", &DerItem::content)
      .def_readonly("encoding", &DerItem::encoding)
      .def("__repr__", &DerItem::repr);
  module.def("decode_der", decodeDer, data, kDecodeDer);
}

}  // namespace tavik::python
