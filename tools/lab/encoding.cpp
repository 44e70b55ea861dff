#include <string>

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include "provider/openssl/engine.h"
#include "tools/lab/encode.h"
#include "tools/lab/error.h"
#include "tools/lab/pki.h"

namespace qx::lab {
namespace {

constexpr int kPkcs12Rounds = 2048;
constexpr int kMacSaltLength = 16;

template <class Write>
std::string pem(Write write, const char* what) {
  const auto memory = owned<BioPtr>(BIO_new(BIO_s_mem()), what);
  check(write(memory.get()), what);
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<size_t>(length)};
}

BioPtr memoryOf(const std::string& text) {
  return owned<BioPtr>(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), "memory");
}

Pkcs8Ptr privateKeyInfo(const EVP_PKEY* key) {
  return owned<Pkcs8Ptr>(EVP_PKEY2PKCS8(key), "private key");
}

X509StackPtr stackOf(const std::vector<X509*>& certificates) {
  auto stack = owned<X509StackPtr>(sk_X509_new_null(), "certificates");
  for (X509* certificate : certificates) {
    check(X509_add_cert(stack.get(), certificate, X509_ADD_FLAG_UP_REF), "certificates");
  }
  return stack;
}

}  // namespace

Bytes toDer(const X509* certificate) {
  return encode(i2d_X509, certificate, "certificate");
}

Bytes toDer(const X509_CRL* crl) {
  return encode(i2d_X509_CRL, crl, "CRL");
}

Bytes toDer(const EVP_PKEY* key) {
  return encode<PKCS8_PRIV_KEY_INFO>(
      i2d_PKCS8_PRIV_KEY_INFO, privateKeyInfo(key).get(), "private key");
}

std::string toPem(const X509* certificate) {
  return pem([&](BIO* out) { return PEM_write_bio_X509(out, certificate); }, "certificate");
}

std::string toPem(const X509_CRL* crl) {
  return pem([&](BIO* out) { return PEM_write_bio_X509_CRL(out, crl); }, "CRL");
}

std::string toPem(const EVP_PKEY* key) {
  const Pkcs8Ptr info = privateKeyInfo(key);
  return pem([&](BIO* out) { return PEM_write_bio_PKCS8_PRIV_KEY_INFO(out, info.get()); },
             "private key");
}

std::string toPem(const EVP_PKEY* key, const std::string& pin, int rounds) {
  const Pkcs8Ptr info = privateKeyInfo(key);
  OpensslOwner<X509_ALGOR, X509_ALGOR_free> scheme(PKCS5_pbe2_set_iv(
      EVP_aes_256_cbc(), rounds, nullptr, /*saltlen=*/0, nullptr, NID_hmacWithSHA256));
  if (scheme == nullptr) {
    throwError("PBES2");
  }
  const auto locked = owned<X509SigPtr>(
      PKCS8_set0_pbe(pin.data(), static_cast<int>(pin.size()), info.get(), scheme.get()),
      "locking a key");
  // NOLINTNEXTLINE(bugprone-unused-return-value): the locked key owns the scheme now.
  static_cast<void>(scheme.release());
  return pem([&](BIO* out) { return PEM_write_bio_PKCS8(out, locked.get()); }, "private key");
}

Bytes toPkcs12(EVP_PKEY* key,
               X509* certificate,
               const std::vector<X509*>& others,
               const std::string& password) {
  const X509StackPtr stack = stackOf(others);
  const auto packed = owned<Pkcs12Ptr>(PKCS12_create_ex(password.c_str(),
                                                        /*name=*/nullptr,
                                                        key,
                                                        certificate,
                                                        stack.get(),
                                                        NID_aes_256_cbc,
                                                        NID_aes_256_cbc,
                                                        kPkcs12Rounds,
                                                        /*mac_iter=*/-1,
                                                        /*keytype=*/0,
                                                        /*ctx=*/nullptr,
                                                        /*propq=*/nullptr),
                                       "PKCS#12");
  check(PKCS12_set_mac(packed.get(),
                       password.c_str(),
                       static_cast<int>(password.size()),
                       /*salt=*/nullptr,
                       kMacSaltLength,
                       kPkcs12Rounds,
                       EVP_sha256()),
        "PKCS#12");
  return encode<PKCS12>(i2d_PKCS12, packed.get(), "PKCS#12");
}

std::string serialOf(const X509* certificate) {
  const auto number = owned<BigNumPtr>(
      ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr), "serial number");
  char* hex = BN_bn2hex(number.get());
  const OpensslOwner<char, freeOpensslMemory> owner(hex);
  return hex == nullptr ? std::string() : std::string(hex);
}

std::string thumbprint(const X509* certificate) {
  unsigned char hash[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  check(X509_digest(certificate, EVP_sha1(), hash, &length), "thumbprint");
  std::string text;
  for (unsigned i = 0; i < length; ++i) {
    text += "0123456789abcdef"[hash[i] >> 4];
    text += "0123456789abcdef"[hash[i] & 15];
  }
  return text;
}

X509Ptr certificateFromPem(const std::string& pem) {
  const auto memory = memoryOf(pem);
  return owned<X509Ptr>(PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr), "certificate");
}

// libcrypto reads GOST keys once the engine is there.
EvpPkeyPtr keyFromPem(const std::string& pem) {
  if (!gostEngine()) {
    throwError("the GOST engine cannot be loaded");
  }
  const auto memory = memoryOf(pem);
  return owned<EvpPkeyPtr>(PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr),
                           "private key");
}

X509Ptr readCertificate(const Bytes& der) {
  const unsigned char* at = der.data();
  return owned<X509Ptr>(d2i_X509(nullptr, &at, static_cast<long>(der.size())), "certificate");
}

}  // namespace qx::lab
