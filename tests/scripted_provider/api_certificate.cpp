// Stores and certificates.
#include <algorithm>
#include <cwchar>

#include "tests/scripted_provider/state.h"

using namespace qx::scripted;  // NOLINT(google-*): a file of exported functions

namespace {

std::string narrow(const wchar_t* text) {
  std::string result;
  for (; text != nullptr && *text != 0; ++text) {
    result += static_cast<char>(*text);
  }
  return result;
}

CertificateObject* certificateOf(PCCERT_CONTEXT context, const char* user) {
  return state().find<CertificateObject>(context, user);
}

bool matches(const ToyCertificate& certificate, DWORD findType, const void* parameter) {
  if (findType == CERT_FIND_ANY) {
    return true;
  }
  const auto* hash = static_cast<const CRYPT_HASH_BLOB*>(parameter);
  return std::ranges::equal(certificate.thumbprint, std::span(hash->pbData, hash->cbData));
}

std::string serialOf(const CERT_INFO& info) {
  return hex(std::span(info.SerialNumber.pbData, info.SerialNumber.cbData));
}

/// Names in X.500 form, attributes separated by ", ".
std::vector<std::string> splitName(const std::string& name) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t end = std::min(name.find(", ", at), name.size());
    parts.push_back(name.substr(at, end - at));
    at = end + 2;
  }
  return parts;
}

std::string withOid(const std::string& attribute) {
  static const std::map<std::string, std::string> oids = {{"CN", "2.5.4.3"},
                                                          {"C", "2.5.4.6"},
                                                          {"L", "2.5.4.7"},
                                                          {"S", "2.5.4.8"},
                                                          {"O", "2.5.4.10"},
                                                          {"OU", "2.5.4.11"}};
  const std::size_t equals = attribute.find('=');
  const auto oid = oids.find(attribute.substr(0, equals));
  return oid == oids.end() || equals == std::string::npos ? attribute
                                                          : oid->second + attribute.substr(equals);
}

std::string renderName(const std::string& name, DWORD type) {
  std::vector<std::string> parts = splitName(name);
  if ((type & CERT_NAME_STR_REVERSE_FLAG) != 0) {
    std::ranges::reverse(parts);
  }
  std::string text;
  for (const std::string& part : parts) {
    text +=
        (text.empty() ? "" : ", ") + ((type & 0xFF) == CERT_OID_NAME_STR ? withOid(part) : part);
  }
  return text;
}

}  // namespace

HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider,
                         DWORD dwEncodingType,
                         HCRYPTPROV_LEGACY hCryptProv,
                         DWORD dwFlags,
                         const void* pvPara) {
  const AllocationsPause pause;
  const auto* name = static_cast<const wchar_t*>(pvPara);
  Call call("CertOpenStore(%zu, 0x%x, %zu, 0x%x, %s)",
            reinterpret_cast<std::size_t>(lpszStoreProvider),
            dwEncodingType,
            static_cast<std::size_t>(hCryptProv),
            dwFlags,
            narrow(name).c_str());
  if (call.fails()) {
    return nullptr;
  }
  for (const ToyStore& store : provider().stores) {
    if (name != nullptr && store.name == name &&
        (dwFlags & CERT_SYSTEM_STORE_LOCATION_MASK) == store.location) {
      auto object = std::make_unique<StoreObject>();
      object->toy = store;
      StoreObject* raw = object.get();
      return call.handsOut(state().give(std::move(object), raw, "store"));
    }
  }
  call.fail(ERROR_FILE_NOT_FOUND);
  return nullptr;
}

BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
  const AllocationsPause pause;
  Call call("CertCloseStore(%s, 0x%x)", state().nameOf(hCertStore).c_str(), dwFlags);
  const bool fails = call.fails();
  state().takeBack(hCertStore, "CertCloseStore");
  return fails ? FALSE : TRUE;
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore,
                                          DWORD dwCertEncodingType,
                                          DWORD dwFindFlags,
                                          DWORD dwFindType,
                                          const void* pvFindPara,
                                          PCCERT_CONTEXT pPrevCertContext) {
  const AllocationsPause pause;
  const auto* hash = static_cast<const CRYPT_HASH_BLOB*>(pvFindPara);
  Call call("CertFindCertificateInStore(%s, 0x%x, %u, 0x%x, %s, %s)",
            state().nameOf(hCertStore).c_str(),
            dwCertEncodingType,
            dwFindFlags,
            dwFindType,
            hash == nullptr || dwFindType != CERT_FIND_SHA1_HASH
                ? "NULL"
                : hex(std::span(hash->pbData, hash->cbData)).c_str(),
            state().nameOf(pPrevCertContext).c_str());
  std::size_t index = 0;
  if (pPrevCertContext != nullptr) {
    const auto* previous = certificateOf(pPrevCertContext, "CertFindCertificateInStore");
    index = previous == nullptr ? 0 : previous->index + 1;
    state().takeBack(pPrevCertContext, "CertFindCertificateInStore");
  }
  auto* store = state().find<StoreObject>(hCertStore, "CertFindCertificateInStore");
  if (call.fails()) {
    return nullptr;
  }
  if (store == nullptr || (dwFindType != CERT_FIND_ANY && dwFindType != CERT_FIND_SHA1_HASH)) {
    call.fail(E_INVALIDARG);
    return nullptr;
  }
  for (; index < store->toy.certificates.size(); ++index) {
    if (matches(store->toy.certificates[index], dwFindType, pvFindPara)) {
      return call.handsOut(giveCertificate(store->toy.certificates[index], hCertStore, index));
    }
  }
  call.fail(CRYPT_E_NOT_FOUND);
  return nullptr;
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
  return CertFindCertificateInStore(
      hCertStore, X509_ASN_ENCODING, 0, CERT_FIND_ANY, nullptr, pPrevCertContext);
}

BOOL CertAddEncodedCertificateToStore(HCERTSTORE /*hCertStore*/,
                                      DWORD /*dwCertEncodingType*/,
                                      const BYTE* /*pbCertEncoded*/,
                                      DWORD /*cbCertEncoded*/,
                                      DWORD /*dwAddDisposition*/,
                                      PCCERT_CONTEXT* /*ppCertContext*/) {
  const AllocationsPause pause;
  Call call("CertAddEncodedCertificateToStore()");
  return call.fail(E_ACCESSDENIED);
}

BOOL CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
  const AllocationsPause pause;
  Call call("CertDeleteCertificateFromStore(%s)", state().nameOf(pCertContext).c_str());
  state().takeBack(pCertContext, "CertDeleteCertificateFromStore");
  return call.fail(E_ACCESSDENIED);
}

PCCERT_CONTEXT CertGetSubjectCertificateFromStore(HCERTSTORE hCertStore,
                                                  DWORD dwCertEncodingType,
                                                  PCERT_INFO pCertId) {
  const AllocationsPause pause;
  Call call("CertGetSubjectCertificateFromStore(%s, 0x%x, %s)",
            state().nameOf(hCertStore).c_str(),
            dwCertEncodingType,
            pCertId == nullptr ? "NULL" : textOf(pCertId->Issuer).c_str());
  call.tell("serial %s", pCertId == nullptr ? "NULL" : serialOf(*pCertId).c_str());
  auto* store = state().find<StoreObject>(hCertStore, "CertGetSubjectCertificateFromStore");
  if (call.fails()) {
    return nullptr;
  }
  for (std::size_t i = 0; store != nullptr && i < store->toy.certificates.size(); ++i) {
    const ToyCertificate& toy = store->toy.certificates[i];
    if (toy.issuer == textOf(pCertId->Issuer) &&
        std::ranges::equal(toy.serial,
                           std::span(pCertId->SerialNumber.pbData, pCertId->SerialNumber.cbData))) {
      return call.handsOut(giveCertificate(toy, hCertStore, i));
    }
  }
  call.fail(CRYPT_E_NOT_FOUND);
  return nullptr;
}

PCCERT_CONTEXT CertCreateCertificateContext(DWORD dwCertEncodingType,
                                            const BYTE* pbCertEncoded,
                                            DWORD cbCertEncoded) {
  const AllocationsPause pause;
  const std::string encoding(reinterpret_cast<const char*>(pbCertEncoded), cbCertEncoded);
  Call call("CertCreateCertificateContext(0x%x, %s)", dwCertEncodingType, encoding.c_str());
  if (call.fails()) {
    return nullptr;
  }
  const ToyCertificate* toy = knownCertificate(encoding);
  if (toy == nullptr) {
    call.fail(CRYPT_E_ASN1_BADTAG);
    return nullptr;
  }
  return call.handsOut(giveCertificate(*toy, nullptr, 0));
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext) {
  const AllocationsPause pause;
  Call call("CertDuplicateCertificateContext(%s)", state().nameOf(pCertContext).c_str());
  if (call.fails()) {
    return nullptr;
  }
  if (pCertContext != nullptr) {
    auto* object = certificateOf(pCertContext, "CertDuplicateCertificateContext");
    if (object != nullptr) {
      ++object->references;
    }
  }
  return pCertContext;
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  const AllocationsPause pause;
  Call call("CertFreeCertificateContext(%s)", state().nameOf(pCertContext).c_str());
  const bool fails = call.fails();
  state().takeBack(pCertContext, "CertFreeCertificateContext");
  return fails ? FALSE : TRUE;
}

BOOL CertCompareCertificate(DWORD dwCertEncodingType, PCERT_INFO pCertId1, PCERT_INFO pCertId2) {
  const AllocationsPause pause;
  Call call("CertCompareCertificate(0x%x, %s, %s)",
            dwCertEncodingType,
            textOf(pCertId1->Subject).c_str(),
            textOf(pCertId2->Issuer).c_str());
  call.tell("serials %s and %s", serialOf(*pCertId1).c_str(), serialOf(*pCertId2).c_str());
  if (call.fails()) {
    return FALSE;
  }
  return textOf(pCertId1->Issuer) == textOf(pCertId2->Issuer) &&
                 textOf(pCertId1->SerialNumber) == textOf(pCertId2->SerialNumber)
             ? TRUE
             : FALSE;
}

BOOL CertCompareCertificateName(DWORD dwCertEncodingType,
                                PCERT_NAME_BLOB pCertName1,
                                PCERT_NAME_BLOB pCertName2) {
  const AllocationsPause pause;
  Call call("CertCompareCertificateName(%s, %s)",
            textOf(*pCertName1).c_str(),
            textOf(*pCertName2).c_str());
  call.tell("0x%x", dwCertEncodingType);
  if (call.fails()) {
    return FALSE;
  }
  return textOf(*pCertName1) == textOf(*pCertName2) ? TRUE : FALSE;
}

BOOL CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB pInt1, PCRYPT_INTEGER_BLOB pInt2) {
  const AllocationsPause pause;
  Call call("CertCompareIntegerBlob(%s, %s)",
            hex(std::span(pInt1->pbData, pInt1->cbData)).c_str(),
            hex(std::span(pInt2->pbData, pInt2->cbData)).c_str());
  if (call.fails()) {
    return FALSE;
  }
  return textOf(*pInt1) == textOf(*pInt2) ? TRUE : FALSE;
}

DWORD CertNameToStrW(
    DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPWSTR psz, DWORD csz) {
  Call call("CertNameToStrW(0x%x, %s, 0x%x, %s)",
            dwCertEncodingType,
            textOf(*pName).c_str(),
            dwStrType,
            pass(psz));
  if (call.fails()) {
    if (psz != nullptr && csz > 0) {
      *psz = 0;
    }
    return 1;
  }
  const std::string text = renderName(textOf(*pName), dwStrType);
  const auto needed = static_cast<DWORD>(text.size() + 1);
  state().lastError = ERROR_SUCCESS;
  if (psz == nullptr || csz == 0) {
    call.tell("= %u", needed);
    return needed;
  }
  const DWORD written = std::min(needed, csz);
  call.tell("room %u", csz);
  call.tell("= %u", written);
  for (DWORD i = 0; i + 1 < written; ++i) {
    psz[i] = static_cast<unsigned char>(text[i]);
  }
  psz[written - 1] = 0;
  return written;
}

PCRYPT_ATTRIBUTE CertFindAttribute(LPCSTR pszObjId, DWORD cAttr, CRYPT_ATTRIBUTE rgAttr[]) {
  const AllocationsPause pause;
  Call call("CertFindAttribute(%s, %u)", pszObjId, cAttr);
  if (call.fails()) {
    return nullptr;
  }
  for (DWORD i = 0; i < cAttr; ++i) {
    if (std::string_view(rgAttr[i].pszObjId) == pszObjId) {
      return &rgAttr[i];
    }
  }
  return nullptr;
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext,
                                       DWORD dwPropId,
                                       void* pvData,
                                       DWORD* pcbData) {
  const AllocationsPause pause;
  Call call("CertGetCertificateContextProperty(%s, %u, %s)",
            state().nameOf(pCertContext).c_str(),
            dwPropId,
            pass(pvData));
  auto* object = certificateOf(pCertContext, "CertGetCertificateContextProperty");
  if (call.fails()) {
    return FALSE;
  }
  if (object == nullptr || dwPropId != CERT_SHA1_HASH_PROP_ID) {
    return call.fail(CRYPT_E_NOT_FOUND);
  }
  return call.give(object->toy.thumbprint, pvData, pcbData);
}

BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext,
                                       DWORD dwPropId,
                                       DWORD /*dwFlags*/,
                                       const void* /*pvData*/) {
  const AllocationsPause pause;
  Call call(
      "CertSetCertificateContextProperty(%s, %u)", state().nameOf(pCertContext).c_str(), dwPropId);
  return call.fail(E_ACCESSDENIED);
}

BOOL CertGetCertificateChain(HCERTCHAINENGINE hChainEngine,
                             PCCERT_CONTEXT pCertContext,
                             LPFILETIME pTime,
                             HCERTSTORE hAdditionalStore,
                             PCERT_CHAIN_PARA pChainPara,
                             DWORD dwFlags,
                             LPVOID pvReserved,
                             PCCERT_CHAIN_CONTEXT* ppChainContext) {
  const AllocationsPause pause;
  Call call("CertGetCertificateChain(%s, %s, %s, %s, cbSize %u usages %u, 0x%x, %s)",
            hChainEngine == nullptr ? "default" : "engine",
            state().nameOf(pCertContext).c_str(),
            pTime == nullptr ? "now" : "then",
            state().nameOf(hAdditionalStore).c_str(),
            pChainPara->cbSize,
            pChainPara->RequestedUsage.Usage.cUsageIdentifier,
            dwFlags,
            pvReserved == nullptr ? "NULL" : "reserved");
  auto* certificate = certificateOf(pCertContext, "CertGetCertificateChain");
  *ppChainContext = nullptr;
  if (call.fails()) {
    return FALSE;
  }
  auto object = std::make_unique<ChainObject>();
  object->context.cbSize = sizeof(object->context);
  object->context.TrustStatus.dwErrorStatus =
      certificate == nullptr ? 0 : certificate->toy.trustError;
  object->context.TrustStatus.dwInfoStatus = CERT_TRUST_HAS_PREFERRED_ISSUER;
  const CERT_CHAIN_CONTEXT* context = &object->context;
  state().give(std::move(object), context, "chain");
  *ppChainContext = call.handsOut(context);
  return TRUE;
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext) {
  const AllocationsPause pause;
  const Call call("CertFreeCertificateChain(%s)", state().nameOf(pChainContext).c_str());
  state().takeBack(pChainContext, "CertFreeCertificateChain");
}
