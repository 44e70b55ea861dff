#include "tests/support/provider_folder.h"

#include <sys/stat.h>

#include <cstdlib>
#include <stdexcept>

#include <openssl/sha.h>

namespace qx::test {
namespace {

constexpr const char* kVariables[] = {
    "QXPROVIDER_USER_DIR", "QXPROVIDER_MACHINE_DIR", "QXPROVIDER_CONF"};

std::string hex(const unsigned char* bytes, std::size_t count) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4U];
    text += kDigits[bytes[i] & 15U];
  }
  return text;
}

}  // namespace

ProviderFolder::ProviderFolder() {
  for (const char* variable : kVariables) {
    const char* before = getenv(variable);
    before_.emplace_back(before == nullptr ? std::nullopt : std::optional<std::string>(before));
  }
  setenv("QXPROVIDER_USER_DIR", folder_.path().c_str(), 1);
  setenv("QXPROVIDER_MACHINE_DIR", folder_.file("machine").c_str(), 1);
  setenv("QXPROVIDER_CONF", folder_.file("provider.conf").c_str(), 1);
}

ProviderFolder::~ProviderFolder() {
  for (std::size_t i = 0; i < before_.size(); ++i) {
    if (before_[i]) {
      setenv(kVariables[i], before_[i]->c_str(), 1);
    } else {
      unsetenv(kVariables[i]);
    }
  }
}

std::string ProviderFolder::addCertificate(const std::string& store,
                                           const X509* certificate,
                                           const std::string& name) const {
  const std::string file = name.empty() ? lab::thumbprint(certificate) + ".pem" : name;
  return folder_.write("stores/" + store + "/" + file, lab::toPem(certificate));
}

std::string ProviderFolder::addCrl(const std::string& store,
                                   const X509_CRL* crl,
                                   const std::string& name) const {
  return folder_.write("stores/" + store + "/" + name, lab::toPem(crl));
}

std::string ProviderFolder::addKey(EVP_PKEY* key, const std::string& pin) const {
  const std::string pem = pin.empty() ? lab::toPem(key) : lab::toPem(key, pin, kRounds);
  const std::string path = folder_.write("keys/" + keyFileName(key), pem);
  chmod(path.c_str(), S_IRUSR | S_IWUSR);
  return path;
}

std::string keyFileName(EVP_PKEY* key) {
  X509_PUBKEY* made = nullptr;
  if (X509_PUBKEY_set(&made, key) != 1) {
    throw std::runtime_error("a key without public part");
  }
  const X509PubkeyPtr spki(made);
  const unsigned char* bits = nullptr;
  int length = 0;
  X509_PUBKEY_get0_param(nullptr, &bits, &length, nullptr, spki.get());
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(bits, static_cast<std::size_t>(length), digest);
  return hex(digest, sizeof digest) + ".pem";
}

}  // namespace qx::test
