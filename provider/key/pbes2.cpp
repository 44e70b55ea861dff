#include "provider/key/pbes2.h"

#include <array>
#include <limits>

#include <openssl/evp.h>
#include <openssl/obj_mac.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/openssl/encoded.h"
#include "provider/openssl/library_context.h"
#include "provider/openssl/random.h"

namespace qx {
namespace {

constexpr std::string_view kPbes2 = "1.2.840.113549.1.5.13";
constexpr std::string_view kPbkdf2 = "1.2.840.113549.1.5.12";
constexpr std::string_view kScrypt = "1.3.6.1.4.1.11591.4.11";
constexpr std::uint64_t kMaxScryptWork = 1U << 23U;
constexpr std::size_t kSaltLength = 16;

/// PBKDF2-params: salt, iterationCount, ...
Result<void> checkPbkdf2(der::Reader reader) {
  const auto salt = reader.next(der::kOctetString);
  const auto rounds = reader.next(der::kInteger);
  if (!salt || !rounds) {
    return fail(NTE_BAD_KEYSET);
  }
  const auto count = der::readUnsigned(*rounds);
  return count && *count > 0 && *count <= kMaxKdfRounds ? Result<void>() : fail(NTE_BAD_KEYSET);
}

/// scrypt-params: salt, N, r, p, ...
Result<void> checkScrypt(der::Reader reader) {
  if (!reader.next(der::kOctetString)) {
    return fail(NTE_BAD_KEYSET);
  }
  std::uint64_t work = 1;
  for (int i = 0; i < 3; ++i) {
    const auto integer = reader.next(der::kInteger);
    const auto factor = integer ? der::readUnsigned(*integer) : integer.failure();
    if (!factor || *factor == 0 || *factor > kMaxScryptWork / work) {
      return fail(NTE_BAD_KEYSET);
    }
    work *= *factor;
  }
  return {};
}

Result<void> checkKdf(const der::AlgorithmIdentifier& kdf) {
  const auto parameters = der::readWhole(kdf.parameters, der::kSequence);
  if (!parameters) {
    return fail(NTE_BAD_KEYSET);
  }
  const der::Reader reader(parameters->content);
  if (kdf.oid == kPbkdf2) {
    return checkPbkdf2(reader);
  }
  return kdf.oid == kScrypt ? checkScrypt(reader) : fail(NTE_BAD_KEYSET);
}

/// The work that a file asks for is looked at before any of it is done.
Result<void> checkEncryption(std::span<const std::uint8_t> der) {
  const auto outer = der::readWhole(der, der::kSequence);
  if (!outer) {
    return fail(NTE_BAD_KEYSET);
  }
  der::Reader members(outer->content);
  const auto scheme = der::readAlgorithm(members);
  if (!scheme || scheme->oid != kPbes2) {
    return fail(NTE_BAD_KEYSET);
  }
  const auto parameters = der::readWhole(scheme->parameters, der::kSequence);
  if (!parameters) {
    return fail(NTE_BAD_KEYSET);
  }
  der::Reader pbes2(parameters->content);
  const auto kdf = der::readAlgorithm(pbes2);
  return kdf ? checkKdf(*kdf) : fail(NTE_BAD_KEYSET);
}

bool isTooLong(std::string_view pin) {
  return pin.size() > static_cast<std::size_t>(std::numeric_limits<int>::max());
}

}  // namespace

Result<std::vector<std::uint8_t>> encryptPkcs8(PKCS8_PRIV_KEY_INFO* key,
                                               std::string_view pin,
                                               unsigned rounds) {
  if (isTooLong(pin) || rounds == 0 || rounds > kMaxKdfRounds) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  std::array<unsigned char, kSaltLength> salt{};
  if (const auto done = fillRandom(salt); !done) {
    return done.failure();
  }
  X509AlgorPtr scheme(PKCS5_pbe2_set_iv_ex(EVP_aes_256_cbc(),
                                           static_cast<int>(rounds),
                                           salt.data(),
                                           static_cast<int>(salt.size()),
                                           /*aiv=*/nullptr,
                                           NID_hmacWithSHA256,
                                           libraryContext()));
  if (scheme == nullptr) {
    return fail(NTE_FAIL);
  }
  const X509SigPtr encrypted(PKCS8_set0_pbe_ex(
      pin.data(), static_cast<int>(pin.size()), key, scheme.get(), libraryContext(), nullptr));
  if (encrypted == nullptr) {
    return fail(NTE_FAIL);
  }
  [[maybe_unused]] const X509_ALGOR* takenOver = scheme.release();  // by `encrypted`
  std::vector<std::uint8_t> der = encodedBy<X509_SIG>(i2d_X509_SIG, encrypted.get());
  return der.empty() ? Result<std::vector<std::uint8_t>>(fail(NTE_FAIL)) : std::move(der);
}

Result<Pkcs8Ptr> decryptPkcs8(std::span<const std::uint8_t> der, std::string_view pin) {
  if (const auto good = checkEncryption(der); !good) {
    return good.failure();
  }
  const unsigned char* position = der.data();
  const X509SigPtr encrypted(d2i_X509_SIG(nullptr, &position, static_cast<long>(der.size())));
  if (encrypted == nullptr) {
    return fail(NTE_BAD_KEYSET);
  }
  if (isTooLong(pin)) {
    return fail(SCARD_W_WRONG_CHV);
  }
  Pkcs8Ptr key(PKCS8_decrypt_ex(
      encrypted.get(), pin.data(), static_cast<int>(pin.size()), libraryContext(), nullptr));
  if (key == nullptr) {
    return fail(SCARD_W_WRONG_CHV);
  }
  return key;
}

}  // namespace qx
