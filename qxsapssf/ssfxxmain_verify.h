#ifndef QX_QXSAPSSF_SSFXXMAIN_VERIFY_H_
#define QX_QXSAPSSF_SSFXXMAIN_VERIFY_H_

// The steps of SsfVerify.

#include <cstdint>
#include <string_view>

#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"

namespace qx {

inline constexpr const char* kVerifyName = "SsfVerify";

struct VerifyArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  const SAP_B8* signedData;
  SsfOctetlen signedDataLength;
  const SAP_B8* input;
  SsfOctetlen inputLength;
  std::string_view profile;
  SigRcpSsfInformationListStruct** signers;
  SAP_B8** output;
  SsfOctetlen* outputLength;
};

/// SignedMessage is a message that has been read and waits for its signers to be verified.
struct SignedMessage {
  Message handle;
  bool isCades = false;
  bool isAttached = false;
  DWORD signerCount = 0;
};

/// SignerInMessage is one signer under verification.
struct SignerInMessage {
  HCRYPTMSG message;
  DWORD index;
  std::string_view profile;
  SigRcpSsfInformationListStruct** signers;
};

/// What became of one signer.
enum class Verdict : std::uint8_t {
  /// Signature and certificate are good.
  FullyVerified,
  /// The certificate is good only by what the message brings along. Counts for the last signer only.
  VerifiedAsCades,
  Failed,
  /// Nothing could be read, and not even that could be told to the caller.
  Unreadable,
};

/// openSignedMessage decodes the message, hands its content out and counts its signers. From the moment
/// the content has been given out it stays with the caller, whatever is answered.
SAPRETURN openSignedMessage(const VerifyArguments& arguments, SignedMessage& message) noexcept;

/// verifyCadesSigner leaves everything to the CAdES library. `certificate` receives the signer's.
Verdict verifyCadesSigner(const SignerInMessage& signer, Certificate& certificate) noexcept;

/// verifyPlainSigner checks the signature, then the chain of the signer's certificate, and if that is
/// not good, the signer as a CAdES one. `certificate` receives the signer's.
Verdict verifyPlainSigner(const SignerInMessage& signer, Certificate& certificate) noexcept;

/// findSignerCertificate searches the certificate of a signer in the message, then in the store of the
/// profile, then among the certificate values of all signers. Empty when there is none, and when the
/// search had to be given up.
Certificate findSignerCertificate(const SignerInMessage& signer, CERT_INFO& signerInfo) noexcept;

}  // namespace qx

#endif
