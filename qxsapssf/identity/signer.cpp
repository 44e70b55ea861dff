#include "qxsapssf/identity/signer.h"

#include <string_view>
#include <utility>

#include "qxsapssf/identity/certificate_walk.h"
#include "qxsapssf/identity/private_key.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/qx_algorithms.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

Store openSignerStore(SigRcpSsfInformation& signer, int number, const SelectionTrace& trace) {
  const std::string_view profile = viewOf(signer.profile, signer.profileLength);
  if (!profile.empty()) {
    trace.storeNamed(number, profile);
  }
  Store store = openProfileStore(profile, StoreMy);
  if (!store) {
    trace.storeInvalid();
    signer.result = SSF_RESULT_INVALID_PROFILE;
  }
  return store;
}

bool readIdentity(SigRcpSsfInformation& signer, const char* function, Identity& identity) {
  QX_TRACE(
      function, "#info#: Searched userID (%s)\n", TraceText(signer.id, signer.idLength).c_str());
  if (identity.read(viewOf(signer.id, signer.idLength))) {
    return true;
  }
  QX_TRACE(
      function, "#error#: Invalid user's ID (%s)\n", TraceText(signer.id, signer.idLength).c_str());
  signer.result = SSF_RESULT_UNKNOWN;
  return false;
}

/// The hash that goes with the key decides, whatever hash the caller of the operation asked for.
bool chooseHash(const CERT_INFO& certificate,
                SigRcpSsfInformation& signer,
                const char* function,
                CMSG_SIGNER_ENCODE_INFO& slot) noexcept {
  const LPCSTR oid = CertAlgIdToOID(QXCryptGetProviderHashAlgId(
      slot.hCryptProv, certificate.SubjectPublicKeyInfo.Algorithm.pszObjId));
  if (oid == nullptr) {
    QX_TRACE(function, "#error#: %08x\n", GetLastError());
    ErrorHandleEx(kMainUnit, __LINE__, kBadSignatureAlgorithmMessage, nullptr);
    signer.result = SSF_RESULT_NOT_OK;
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
                            SigRcpSsfInformation& signer,
                            const SelectionTrace& trace,
                            CMSG_SIGNER_ENCODE_INFO& slot) {
  CertificateWalk walk(store, identity, signer, trace.function);
  while (PCCERT_CONTEXT candidate = walk.next()) {
    if (unlockPrivateKey(candidate, signer, trace, slot.hCryptProv, slot.dwKeySpec) &&
        chooseHash(*candidate->pCertInfo, signer, trace.function, slot)) {
      slot.pCertInfo = candidate->pCertInfo;
      return walk.take();
    }
  }
  return {};
}

}  // namespace

bool hasIdentity(SigRcpSsfInformation& signer, const char* function) noexcept {
  signer.result = SSF_RESULT_UNKNOWN;
  const std::string_view id = viewOf(signer.id, signer.idLength);
  if (id.empty()) {
    QX_TRACE(function, "#error#: strSigRcpIdL <= 0\n");
    return false;
  }
  if (id.find_first_not_of(' ') == std::string_view::npos) {
    QX_TRACE(function, "#error#: Empty strSigRcpId\n");
    return false;
  }
  return true;
}

Certificate selectSignerCertificate(SigRcpSsfInformation& signer,
                                    int number,
                                    const SelectionTrace& trace,
                                    CMSG_SIGNER_ENCODE_INFO& slot,
                                    CertificateList* certificates) {
  slot.cbSize = sizeof(slot);
  Store store = openSignerStore(signer, number, trace);
  if (!store) {
    return {};
  }
  Identity identity;
  if (!readIdentity(signer, trace.function, identity)) {
    return {};
  }
  QX_TRACE(trace.function, "#trace# Search Signer's certificate.\n");
  Certificate found = findCertificate(store, identity, signer, trace, slot);
  if (found && certificates != nullptr) {
    Certificate duplicate(CertDuplicateCertificateContext(found.get()));
    certificates->push_back(std::move(duplicate));
  }
  store.close();
  if (found) {
    signer.result = SSF_RESULT_OK;
  } else {
    trace.notFound(number);
  }
  return found;
}

}  // namespace qx
