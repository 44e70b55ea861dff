#include "qxsapssf/encoding.h"
#include "qxsapssf/frame.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/ssfxxmain_verify.h"

namespace qx {
namespace {

constexpr const char* kSearch = "CryptGetSignerCertificateCallback";

/// SignerSearch looks for the certificate with the issuer and the serial number of one signer.
class SignerSearch {
 public:
  SignerSearch(const SignerInMessage& signer, CERT_INFO& wanted) noexcept
      : signer_(&signer), wanted_(&wanted) {}

  /// False when the search must be given up.
  bool searchMessage(Certificate& found) const noexcept {
    DWORD count = 0;
    if (!readCount(CMSG_CERT_COUNT_PARAM, count)) {
      return false;
    }
    for (DWORD i = 0; i < count && !found; ++i) {
      OwnedBytes encoded;
      if (readParam(kSearch, signer_->message, CMSG_CERT_PARAM, i, SSF_API_DECODE_ERROR, encoded) !=
              SSF_API_OK ||
          !takeIfWanted(encoded.data(), static_cast<DWORD>(encoded.size()), found)) {
        return false;
      }
    }
    return true;
  }

  void searchStore(Certificate& found) const {
    const Store store = openProfileStore(signer_->profile, StoreAB);
    if (store) {
      found.reset(CertGetSubjectCertificateFromStore(store.get(), kEncoding, wanted_));
    }
  }

  /// A signature that brings no values along does not end the search.
  void searchCadesValues(Certificate& found) const noexcept {
    DWORD count = 0;
    if (!readCount(CMSG_SIGNER_COUNT_PARAM, count)) {
      return;
    }
    for (DWORD i = 0; i < count && !found; ++i) {
      CadesBlobs values;
      if (CadesMsgGetCertificateValues(signer_->message, i, values.put()) == FALSE) {
        reportFailedCall(kSearch);
        continue;
      }
      searchValues(values, found);
    }
  }

 private:
  bool readCount(DWORD param, DWORD& count) const noexcept {
    DWORD size = sizeof(count);
    if (CryptMsgGetParam(signer_->message, param, /*dwIndex=*/0, &count, &size) == FALSE) {
      reportFailedCall(kSearch);
      return false;
    }
    return true;
  }

  void searchValues(const CadesBlobs& values, Certificate& found) const noexcept {
    for (DWORD i = 0; values && i < values.get()->cBlob && !found; ++i) {
      const CRYPT_DATA_BLOB& blob = values.get()->pBlobs[i];
      Certificate certificate;
      if (takeIfWanted(blob.pbData, blob.cbData, certificate) && certificate) {
        found.reset(CertDuplicateCertificateContext(certificate.get()));
      }
    }
  }

  /// False when the bytes are no certificate.
  bool takeIfWanted(const BYTE* encoded, DWORD size, Certificate& found) const noexcept {
    Certificate certificate(CertCreateCertificateContext(kEncoding, encoded, size));
    if (!certificate) {
      reportFailedCall(kSearch);
      return false;
    }
    if (CertCompareCertificate(kEncoding, certificate.get()->pCertInfo, wanted_) != FALSE) {
      found = std::move(certificate);
    }
    return true;
  }

  const SignerInMessage* signer_;
  CERT_INFO* wanted_;
};

}  // namespace

Certificate findSignerCertificate(const SignerInMessage& signer, CERT_INFO& signerInfo) noexcept {
  return guarded(
      [&] {
        Certificate found;
        const SignerSearch search(signer, signerInfo);
        if (!search.searchMessage(found)) {
          return Certificate();
        }
        if (!found) {
          search.searchStore(found);
        }
        if (!found) {
          search.searchCadesValues(found);
        }
        return found;
      },
      [] { return Certificate(); });
}

}  // namespace qx
