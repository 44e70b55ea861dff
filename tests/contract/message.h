#ifndef QX_TESTS_CONTRACT_MESSAGE_H_
#define QX_TESTS_CONTRACT_MESSAGE_H_

#include <string>
#include <vector>

#include "platform/crypt_msg.h"
#include "platform/crypt_prov.h"
#include "platform/oid_info.h"

#include "tests/contract/contract.h"

namespace qx::test {

/// The signer's certificate, his key, and the records that a signed message is opened with.
class SignerRecords {
 public:
  SignerRecords() : store_(storeOfSigner()), certificate_(storedSigner(store_)) {
    BOOL callerFrees = FALSE;
    HCRYPTPROV key = 0;
    EXPECT_TRUE(CryptAcquireCertificatePrivateKey(
        certificate_.get(), CRYPT_ACQUIRE_SILENT_FLAG, nullptr, &key, &spec_, &callerFrees));
    EXPECT_TRUE(callerFrees);
    key_.reset(key);
    signer_.cbSize = sizeof signer_;
    signer_.pCertInfo = certificate_.get()->pCertInfo;
    signer_.hCryptProv = key;
    signer_.dwKeySpec = AT_SIGNATURE;
    signer_.HashAlgorithm.pszObjId = hash_;
    encoded_ = {certificate_.get()->cbCertEncoded, certificate_.get()->pbCertEncoded};
    signed_.cbSize = sizeof signed_;
    signed_.cSigners = 1;
    signed_.rgSigners = &signer_;
    signed_.cCertEncoded = 1;
    signed_.rgCertEncoded = &encoded_;
  }

  CMSG_SIGNER_ENCODE_INFO& signer() { return signer_; }

  CMSG_SIGNED_ENCODE_INFO& info() { return signed_; }

  PCCERT_CONTEXT certificate() const { return certificate_.get(); }

  HCRYPTPROV key() const { return key_.get(); }

 private:
  Store store_;
  Certificate certificate_;
  Provider key_;
  DWORD spec_ = 0;
  char hash_[sizeof szOID_NIST_sha256] = szOID_NIST_sha256;
  CERT_BLOB encoded_{};
  CMSG_SIGNER_ENCODE_INFO signer_{};
  CMSG_SIGNED_ENCODE_INFO signed_{};
};

inline Message openSigned(SignerRecords& records, DWORD flags = 0) {
  return Message(
      CryptMsgOpenToEncode(kBoth, flags, CMSG_SIGNED, &records.info(), nullptr, nullptr));
}

inline Message openDecoder(DWORD flags = 0, DWORD type = 0) {
  return Message(CryptMsgOpenToDecode(kBoth, flags, type, 0, nullptr, nullptr));
}

/// The bytes are borrowed by the message.
inline BOOL update(const Message& message, const std::vector<BYTE>& bytes, BOOL last = TRUE) {
  return CryptMsgUpdate(message.get(), bytes.data(), sizeOf(bytes), last);
}

inline std::vector<BYTE> paramOf(const Message& message, DWORD type, DWORD index = 0) {
  return readTwice([&](BYTE* data, DWORD* size) {
    return CryptMsgGetParam(message.get(), type, index, data, size);
  });
}

inline DWORD numberOf(const Message& message, DWORD type) {
  const std::vector<BYTE> bytes = paramOf(message, type);
  DWORD number = 0;
  EXPECT_EQ(bytes.size(), sizeof number);
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

/// Asks for a parameter that is refused.
inline BOOL ask(const Message& message, DWORD type, DWORD index = 0) {
  DWORD size = 0;
  return CryptMsgGetParam(message.get(), type, index, nullptr, &size);
}

inline const std::vector<BYTE> kContent = {'a', ' ', 'd', 'o', 'c', 'u', 'm', 'e', 'n', 't'};

/// A message of the signer over kContent.
inline std::vector<BYTE> signedMessage(DWORD flags = 0) {
  SignerRecords records;
  const Message message = openSigned(records, flags);
  EXPECT_TRUE(update(message, kContent));
  return paramOf(message, CMSG_CONTENT_PARAM);
}

}  // namespace qx::test

#endif
