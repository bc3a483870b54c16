#include "KeyFile.h"

#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <tavik/StationPlatform.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace tavik {
namespace {

/// One PEM block: the label of its BEGIN line, and its contents.
struct Block {
  std::string label;
  WipedBytes der;

  [[nodiscard]] bool isPrivateKey() const { return label.ends_with("PRIVATE KEY"); }
};

/// Whether a person may take the line for the first or last line of a block.
bool resemblesBoundary(std::string line) {
  std::ranges::transform(line, line.begin(),
                         [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  constexpr std::string_view kMarks[] = {"---BEGIN", "--- BEGIN", "BEGIN PUBLIC KEY",
                                         "---END",   "--- END",   "END PUBLIC KEY"};
  return std::ranges::any_of(kMarks, [&](std::string_view mark) { return line.find(mark) != std::string::npos; });
}

/// False with `error` set if a line only resembles the first or last line of a block: OpenSSL would skip it.
bool checkBoundaries(std::string_view text, std::string& error) {
  std::string_view expected = "-----BEGIN ";
  std::string_view next = "-----END ";
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    const std::string_view line = text.substr(0, text.find_last_not_of(" \t\r\n", end - 1) + 1);
    text.remove_prefix(end);
    if (!resemblesBoundary(std::string(line))) continue;
    if (!line.starts_with(expected) || !line.ends_with("-----")) {
      error = "line " + std::to_string(number) + " looks like part of a key, but is not \"" + std::string(expected) +
              "...-----\" alone on its line";
      return false;
    }
    std::swap(expected, next);
  }
  return true;
}

/// The next block; absent at the end of the text and at a damaged block.
std::optional<Block> takeBlock(BIO* text) {
  char* label = nullptr;
  char* header = nullptr;
  unsigned char* der = nullptr;
  long size = 0;
  if (PEM_read_bio(text, &label, &header, &der, &size) != 1) return std::nullopt;
  const auto length = static_cast<std::size_t>(size);
  const auto wipe = [length](unsigned char* bytes) { OPENSSL_clear_free(bytes, length); };
  const std::unique_ptr<unsigned char, decltype(wipe)> derOwner(der, wipe);
  const TextHandle headerOwner(header);
  const TextHandle labelOwner(label);
  return Block{label, WipedBytes(std::span(der, length))};
}

std::string keyNumber(std::size_t index) { return "key " + std::to_string(index + 1) + " "; }

/// The blocks of a file, at least one.
std::optional<std::vector<Block>> blocksIn(const WipedBytes& file, std::string& error) {
  const std::span<const unsigned char> bytes = file.span();
  if (!checkBoundaries({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, error)) return std::nullopt;
  const BioHandle text(made(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()))));
  std::vector<Block> blocks;
  while (std::optional<Block> block = takeBlock(text.get())) blocks.push_back(std::move(*block));
  if (ERR_GET_REASON(ERR_peek_last_error()) != PEM_R_NO_START_LINE) {
    error = keyNumber(blocks.size()) + "is damaged: " + openSslReason();
    return std::nullopt;
  }
  if (blocks.empty()) {
    error = "contains no key: no line begins with -----BEGIN";
    return std::nullopt;
  }
  return blocks;
}

/// The key that OpenSSL's `decode` reads from all of `der`; null if it cannot.
PkeyHandle decodeWith(decltype(d2i_PUBKEY)* decode, std::span<const unsigned char> der) {
  const unsigned char* position = der.data();
  PkeyHandle key(decode(nullptr, &position, static_cast<long>(der.size())));
  return position == der.data() + der.size() ? std::move(key) : nullptr;
}

PkeyHandle publicKeyFrom(std::span<const unsigned char> der) {
  const bool isEd25519 = der.size() == kEd25519Info.size() + kEd25519KeySize &&
                         std::ranges::equal(der.first(kEd25519Info.size()), kEd25519Info);
  if (!isEd25519) return decodeWith(d2i_PUBKEY, der);
  return PkeyHandle(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, &der[kEd25519Info.size()], kEd25519KeySize));
}

/// key: null if it cannot be decoded.
std::optional<SignatureKey> admitted(PkeyHandle key, std::string& error) {
  if (key != nullptr) return SignatureKey::admit(std::move(key), error);
  error = "is damaged, or of a kind that OpenSSL does not support";
  return std::nullopt;
}

std::optional<SignatureKey> publicKeyOf(const Block& block, std::string& error) {
  if (block.label == "PUBLIC KEY") return admitted(publicKeyFrom(block.der.span()), error);
  if (block.isPrivateKey()) {
    error = R"(is a private key; put its public key here ("openssl pkey -pubout") and keep the private key elsewhere)";
  } else if (block.label == "CERTIFICATE") {
    error = R"(is a certificate; put its public key here ("openssl x509 -pubkey -noout"))";
  } else {
    error = "is a \"" + block.label + R"(" block, not a "PUBLIC KEY" block)";
  }
  return std::nullopt;
}

std::optional<std::vector<SignatureKey>> publicKeysIn(const WipedBytes& file, std::string& error) {
  const std::optional<std::vector<Block>> blocks = blocksIn(file, error);
  if (!blocks) return std::nullopt;
  if (blocks->size() > kMostPublicKeys) {
    error = "contains " + std::to_string(blocks->size()) + " keys; at most " + std::to_string(kMostPublicKeys) +
            " are allowed";
    return std::nullopt;
  }
  std::vector<SignatureKey> keys;
  for (const Block& block : *blocks) {
    std::optional<SignatureKey> key = publicKeyOf(block, error);
    if (!key) {
      error.insert(0, keyNumber(keys.size()));
      return std::nullopt;
    }
    keys.push_back(std::move(*key));
  }
  return keys;
}

std::optional<SignatureKey> privateKeyOf(const Block& block, std::string& error) {
  if (block.label == "PRIVATE KEY") {
    std::optional<SignatureKey> key = admitted(decodeWith(d2i_AutoPrivateKey, block.der.span()), error);
    if (!key) error.insert(0, "the private key ");
    return key;
  }
  error = "the private key is " +
          std::string(block.label == "ENCRYPTED PRIVATE KEY" ? "encrypted" : "not in PKCS #8 form") +
          R"(; convert it with "openssl pkcs8 -topk8 -nocrypt")";
  return std::nullopt;
}

std::optional<SignatureKey> privateKeyIn(const std::string& path, std::string& error) {
  const std::optional<WipedBytes> file = readSmallFile(path, "key file", error);
  if (!file) return std::nullopt;
  const std::optional<std::vector<Block>> blocks = blocksIn(*file, error);
  if (!blocks) return std::nullopt;
  const auto first = std::ranges::find_if(*blocks, &Block::isPrivateKey);
  if (first == blocks->end()) {
    error = "contains a \"" + blocks->front().label + "\" block, not a private key; signing requires a private key";
    return std::nullopt;
  }
  if (std::any_of(first + 1, blocks->end(), std::mem_fn(&Block::isPrivateKey))) {
    error = "contains several private keys; keep only the one to sign with";
    return std::nullopt;
  }
  return privateKeyOf(*first, error);
}

std::string publicKeyFile(const std::string& path) { return "public key file \"" + path + "\": "; }
std::string privateKeyFile(const std::string& path) { return "private key file \"" + path + "\": "; }

}  // namespace

std::optional<WipedBytes> readPublicKeyFile(const std::string& path, std::string& error) {
  std::optional<WipedBytes> file = readSmallFile(path, "key file", error);
  if (!file) error.insert(0, publicKeyFile(path));
  return file;
}

std::optional<std::vector<SignatureKey>> publicKeysIn(const WipedBytes& file, const std::string& path,
                                                      std::string& error) {
  std::optional<std::vector<SignatureKey>> keys = publicKeysIn(file, error);
  if (!keys) error.insert(0, publicKeyFile(path));
  return keys;
}

std::optional<SignatureKey> readPrivateKey(const std::string& path, std::string& error) {
  std::optional<SignatureKey> key = privateKeyIn(path, error);
  if (!key) error.insert(0, privateKeyFile(path));
  return key;
}

std::optional<std::string> keyFileWarning(const std::string& path, KeyFileUse use) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const bool isPrivate = use == KeyFileUse::kSigning;
  const bool isWritable = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  const bool isReadable = isPrivate && (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
  if (!isWritable && !isReadable) return std::nullopt;
  const std::string name = use == KeyFileUse::kTrustPolicy ? "trust policy \"" + path + "\": "
                           : isPrivate                     ? privateKeyFile(path)
                                                           : publicKeyFile(path);
  return name + "other users can " + (isWritable ? "write" : "read") + " it; run \"chmod " +
         (isPrivate ? "600" : "go-w") + "\" on it";
}

}  // namespace tavik
