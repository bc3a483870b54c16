// Decodes manifests into dictionaries.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <tavik/ManifestParser.h>

#include "ManifestParser/TagNames.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;

namespace {

// The characters of the ASN.1 type PrintableString (ITU-T X.680, 41.4).
constexpr std::array<bool, 256> kPrintableString = [] {
  std::array<bool, 256> flags{};
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 '()+,-./:=?")) {
    flags[static_cast<unsigned char>(c)] = true;
  }
  return flags;
}();

Value itemName(const DERDecoderItem& item) {
  if (const char* name = findTagName(item.tag)) return ValueAccess::string(name);
  return ValueAccess::string("Tag " + std::to_string(item.tag));
}

Value itemValue(const DERDecoderItem& item) {
  const std::span content(item.data, item.dataLength);
  if (!std::ranges::all_of(content, [](std::uint8_t byte) { return kPrintableString[byte]; })) return Data(content);
  return ValueAccess::string({reinterpret_cast<const char*>(content.data()), content.size()});
}

// The members of an item set; none if one of them is malformed.
class ItemList {
 public:
  explicit ItemList(const DERDecoder& set) {
    std::uint32_t count = 0;
    const std::uint32_t status = DERDecoderGetAllData(&set, &list_, &count);
    if (status == kDERDecoderErrorInvalid) throw std::bad_alloc();
    if (status != kDERDecoderErrorNone) DERDecoderFreeData(&list_);
  }
  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;
  ~ItemList() { DERDecoderFreeData(&list_); }

  [[nodiscard]] std::span<const DERDecoderItem> items() const noexcept {
    if (list_.items == nullptr) return {};
    return {list_.items, list_.index};
  }

 private:
  DERDecoderItemList list_{};
};

// A manifest ends with its outer element, whose size has 32 bits; later bytes are ignored.
std::uint32_t manifestLength(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size(), std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

std::optional<Dictionary> ManifestParser::provisioningDictFromData(const Dictionary& container) {
  return dictFromData(container, "ProvisioningManifestData", decodeProvisioningManifest);
}

std::optional<Dictionary> ManifestParser::rootDictFromData(const Dictionary& container) {
  return dictFromData(container, "RootManifestData", decodeRootManifest);
}

std::optional<Dictionary> ManifestParser::dictFromData(const Dictionary& container, std::string_view forKey,
                                                       TavikManifestBodyParser withParser) {
  const Data* manifest = container.findData(forKey);
  if (manifest == nullptr || manifest->empty()) return std::nullopt;
  const std::span bytes = manifest->bytes();
  DERDecoder set{};  // unchanged if the item set is empty
  if (getManifestDecoder(bytes.data(), manifestLength(bytes), &set, withParser) != kDERDecoderErrorNone) {
    return std::nullopt;
  }
  Dictionary dictionary;
  const ItemList list(set);
  dictionary.reserve(list.items().size());
  for (const DERDecoderItem& item : list.items()) ValueAccess::set(dictionary, itemName(item), itemValue(item));
  return dictionary;
}

}  // namespace tavik
