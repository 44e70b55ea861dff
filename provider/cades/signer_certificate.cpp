#include "provider/cades/signer_certificate.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "provider/cades/ess.h"
#include "provider/cades/material.h"
#include "provider/cades/named_signer.h"
#include "provider/key/key_context.h"
#include "provider/store/compare.h"
#include "provider/store/folder_store.h"

namespace qx {
namespace {

constexpr std::string_view kMyStore = "My";

template <class IsWanted>
CertificatePtr findIn(Location location, std::string_view store, const IsWanted& isWanted) {
  const auto content = snapshot(location, store);
  if (!content) {
    return nullptr;
  }
  const auto& certificates = (*content)->certificates();
  const auto found = std::ranges::find_if(
      certificates, [&](const StoredCertificate& stored) { return isWanted(*stored.data); });
  return found == certificates.end() ? nullptr : found->data;
}

template <class IsWanted>
Result<CertificatePtr> findInStores(const IsWanted& isWanted) {
  for (const Location location : {Location::CurrentUser, Location::LocalMachine}) {
    Result<std::vector<std::string>> names = storeNames(location);
    if (!names) {
      continue;  // no home, for instance
    }
    if (const auto my = std::ranges::find(*names, kMyStore); my != names->end()) {
      std::rotate(names->begin(), my, my + 1);
    }
    for (const std::string& name : *names) {
      if (CertificatePtr found = findIn(location, name, isWanted); found != nullptr) {
        return found;
      }
    }
  }
  return fail(CRYPT_E_SIGNER_NOT_FOUND);
}

// Of two certificates with one issuer and serial number, which a hostile issuer can make, the key tells.
bool isOf(const CertificateData& certificate, const CERT_INFO& info) {
  const CRYPT_BIT_BLOB& key = info.SubjectPublicKeyInfo.PublicKey;
  const der::Bytes bits(key.pbData, key.cbData);
  return sameIssuerAndSerial(certificate.info(), info) &&
         (bits.empty() || std::ranges::equal(certificate.publicKeyBits(), bits));
}

}  // namespace

Result<CertificatePtr> signerCertificate(const CMSG_SIGNER_ENCODE_INFO& record,
                                         std::span<const CertificatePtr> given) {
  if (record.pCertInfo == nullptr) {
    return fail(E_INVALIDARG);
  }
  const CERT_INFO& info = *record.pCertInfo;
  const auto found = std::ranges::find_if(
      given, [&info](const CertificatePtr& candidate) { return isOf(*candidate, info); });
  if (found != given.end()) {
    return *found;
  }
  const auto* context = fromHandle<KeyContext>(record.hCryptProv);
  if (context != nullptr && context->certificate() != nullptr &&
      isOf(*context->certificate(), info)) {
    return context->certificate();
  }
  return findInStores([&](const CertificateData& candidate) { return isOf(candidate, info); });
}

Result<CertificatePtr> signerCertificate(const SignedData& message, const SignerInfo& signer) {
  Result<CertificatePtr> inside = findNamedSigner(signer, certificatesOf(message.certificates()));
  if (inside || inside.error() != CRYPT_E_SIGNER_NOT_FOUND) {
    return inside;
  }
  const Result<std::vector<CertificateRef>> refs = signerCertificateRefs(signer.signedAttributes());
  if (!refs) {
    return refs.failure();
  }
  return findInStores(
      [&](const CertificateData& candidate) { return isNamedSigner(candidate, signer, *refs); });
}

}  // namespace qx
