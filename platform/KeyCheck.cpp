#include "KeyCheck.h"

#include <openssl/bn.h>

#include <array>

namespace tavik {
namespace {

using Number = std::unique_ptr<BIGNUM, ReleasedBy<BN_free>>;

void require(bool done) {
  if (!done) throw std::bad_alloc();  // OpenSSL's arithmetic fails only if memory is exhausted
}

Number numberFrom(const char* hexadecimal) {
  BIGNUM* number = nullptr;
  require(BN_hex2bn(&number, hexadecimal) != 0);
  return Number(number);
}

/// OpenSSL accepts any 32 bytes as an Ed25519 public key (RFC 8032, section 5.1). They are the coordinate y, low byte
/// first, and in the top bit the sign of x, of a point with x^2 = u/v, where u = y^2 - 1 and v = d y^2 + 1 modulo 2^255
/// - 19.
///
/// Under a point whose order divides 8, a constant is a valid signature of at least every eighth message. There are
/// eight such points: those with x = 0 (u = 0), those with y = 0, and those whose double has y = 0 (u + v y^2 = 0).
std::string whyUnsoundEd25519(const EVP_PKEY& key) {
  std::array<unsigned char, 32> bytes{};
  std::size_t size = bytes.size();
  require(EVP_PKEY_get_raw_public_key(&key, bytes.data(), &size) == 1);
  bytes.back() &= 0x7FU;

  const std::unique_ptr<BN_CTX, ReleasedBy<BN_CTX_free>> workspace(made(BN_CTX_new()));
  const Number prime = numberFrom("7fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffed");
  const auto compute = [&](auto operation, const Number& left, const Number& right) {
    Number result(made(BN_new()));
    require(operation(result.get(), left.get(), right.get(), prime.get(), workspace.get()) == 1);
    return result;
  };
  const Number one = numberFrom("1");
  const Number d = numberFrom("52036cee2b6ffe738cc740797779e89800700a4d4141d8ab75eb4dca135978a3");
  const Number y(made(BN_lebin2bn(bytes.data(), static_cast<int>(size), nullptr)));
  const Number ySquared = compute(BN_mod_mul, y, y);
  const Number u = compute(BN_mod_sub, ySquared, one);
  const Number v = compute(BN_mod_add, compute(BN_mod_mul, d, ySquared), one);
  const Number ofDouble = compute(BN_mod_add, u, compute(BN_mod_mul, v, ySquared));
  if (BN_is_zero(compute(BN_mod_mul, compute(BN_mod_mul, u, y), ofDouble).get()) == 1) {
    return "is not safe: its Ed25519 point has small order, so anyone can forge signatures";
  }
  const int symbol = BN_kronecker(compute(BN_mod_mul, u, v).get(), prime.get(), workspace.get());
  require(symbol >= -1);
  return symbol == 1 ? "" : "is not a valid key: its Ed25519 point is not on the curve";
}

}  // namespace

std::string whyUnsound(EVP_PKEY& key) {
  if (EVP_PKEY_is_a(&key, "ED25519") == 1) return whyUnsoundEd25519(key);
  const PkeyContextHandle context(made(EVP_PKEY_CTX_new_from_pkey(nullptr, &key, nullptr)));
  return EVP_PKEY_public_check(context.get()) == 1 ? "" : "is not a valid key: " + openSslReason();
}

}  // namespace tavik
