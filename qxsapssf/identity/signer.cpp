#include "qxsapssf/identity/signer.h"

#include <new>
#include <string_view>
#include <utility>

#include "qxsapssf/identity/cert_id.h"
#include "qxsapssf/identity/certificate_walk.h"
#include "qxsapssf/identity/private_key.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/qx_algorithms.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

bool readIdentity(SigRcpSsfInformation& owner, const SelectionTrace& trace, Identity& identity) {
  if (trace.tellsProgress) {
    QX_TRACE(trace.function,
             "#info#: Searched userID (%s)\n",
             TraceText(owner.id, owner.idLength).c_str());
  }
  if (identity.read(viewOf(owner.id, owner.idLength))) {
    return true;
  }
  QX_TRACE(trace.function,
           "#error#: Invalid user's ID (%s)\n",
           TraceText(owner.id, owner.idLength).c_str());
  owner.result = SSF_RESULT_UNKNOWN;
  return false;
}

/// The hash that goes with the key decides, whatever hash the caller of the operation asked for.
bool chooseHash(const CERT_INFO& certificate,
                SigRcpSsfInformation& owner,
                const char* function,
                CMSG_SIGNER_ENCODE_INFO& slot) noexcept {
  const LPCSTR oid = CertAlgIdToOID(QXCryptGetProviderHashAlgId(
      slot.hCryptProv, certificate.SubjectPublicKeyInfo.Algorithm.pszObjId));
  if (oid == nullptr) {
    QX_TRACE(function, "#error#: %08x\n", GetLastError());
    ErrorHandleEx(kMainUnit, __LINE__, kBadSignatureAlgorithmMessage, nullptr);
    owner.result = SSF_RESULT_NOT_OK;
    return false;
  }
  // The platform only reads the OID; the published record has no const.
  slot.HashAlgorithm.pszObjId =
      const_cast<LPSTR>(oid);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  QX_TRACE(function, "#trace# Using hash alg = %s.\n", oid);
  return true;
}

Certificate findCertificate(const Store& store,
                            const Identity& identity,
                            SigRcpSsfInformation& owner,
                            const SelectionTrace& trace,
                            CMSG_SIGNER_ENCODE_INFO& slot) {
  CertificateWalk walk(store, identity, owner, trace.function);
  while (PCCERT_CONTEXT candidate = walk.next()) {
    if (unlockPrivateKey(candidate, owner, trace, slot.hCryptProv, slot.dwKeySpec) &&
        (!trace.needsHash || chooseHash(*candidate->pCertInfo, owner, trace.function, slot))) {
      slot.pCertInfo = candidate->pCertInfo;
      return walk.take();
    }
  }
  return {};
}

}  // namespace

bool hasIdentity(SigRcpSsfInformation& signer, const char* function) noexcept {
  const std::string_view id = viewOf(signer.id, signer.idLength);
  if (id.empty()) {
    QX_TRACE(function, "#error#: strSigRcpIdL <= 0\n");
  } else if (isBlank(id)) {
    QX_TRACE(function, "#error#: Empty strSigRcpId\n");
  } else {
    return true;
  }
  signer.result = SSF_RESULT_UNKNOWN;
  return false;
}

Store openKeyStore(SigRcpSsfInformation& owner, int number, const SelectionTrace& trace) {
  const std::string_view profile = viewOf(owner.profile, owner.profileLength);
  if (!profile.empty()) {
    trace.storeNamed(number, profile);
  }
  Store store = openProfileStore(profile, StoreMy);
  if (!store) {
    trace.storeInvalid();
    owner.result = SSF_RESULT_INVALID_PROFILE;
  }
  return store;
}

Certificate searchKeyStore(Store store,
                           SigRcpSsfInformation& owner,
                           int number,
                           const SelectionTrace& trace,
                           CMSG_SIGNER_ENCODE_INFO& slot,
                           CertificateList* certificates) {
  Identity identity;
  if (!readIdentity(owner, trace, identity)) {
    return {};
  }
  if (trace.tellsProgress) {
    QX_TRACE(trace.function, "#trace# Search Signer's certificate.\n");
  }
  Certificate found = findCertificate(store, identity, owner, trace, slot);
  if (found && certificates != nullptr) {
    Certificate duplicate(CertDuplicateCertificateContext(found.get()));
    if (!duplicate) {
      throw std::bad_alloc();  // a reference is missing for want of memory only
    }
    certificates->push_back(std::move(duplicate));
  }
  store.close();
  if (found) {
    owner.result = SSF_RESULT_OK;
  } else {
    trace.notFound(number);
  }
  return found;
}

Certificate selectSignerCertificate(SigRcpSsfInformation& signer,
                                    int number,
                                    const SelectionTrace& trace,
                                    CMSG_SIGNER_ENCODE_INFO& slot,
                                    CertificateList* certificates) {
  signer.result = SSF_RESULT_UNKNOWN;
  slot.cbSize = sizeof(slot);
  Store store = openKeyStore(signer, number, trace);
  if (!store) {
    return {};
  }
  return searchKeyStore(std::move(store), signer, number, trace, slot, certificates);
}

}  // namespace qx
