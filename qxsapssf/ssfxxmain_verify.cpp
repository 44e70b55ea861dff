#include "qxsapssf/ssfxxmain_verify.h"

#include <cstring>

#include "qxsapssf/frame.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

struct Outcome {
  bool isAttached = false;
  bool isAllVerified = true;
};

Verdict verifySigner(bool isCades,
                     const SignerInMessage& signer,
                     Certificate& certificate) noexcept {
  return isCades ? verifyCadesSigner(signer, certificate) : verifyPlainSigner(signer, certificate);
}

/// Every signer is looked at, whatever became of the earlier ones. One certificate is kept at a time.
SAPRETURN verifySigners(const VerifyArguments& arguments,
                        const SignedMessage& message,
                        Certificate& certificate,
                        bool& isAllVerified) noexcept {
  bool isPreviousVerified = true;
  for (DWORD index = 0; index < message.signerCount; ++index) {
    certificate.reset();
    QX_TRACE(kVerifyName, "#trace#: Check signer # %d\n", index);
    // Only the last signer may be good by what the message brings along.
    isAllVerified = isAllVerified && isPreviousVerified;
    const Verdict verdict = verifySigner(message.isCades,
                                         {.message = message.handle.get(),
                                          .index = index,
                                          .profile = arguments.profile,
                                          .signers = arguments.signers},
                                         certificate);
    if (verdict == Verdict::Unreadable) {
      return SSF_API_SIGNER_INFO_ERROR;
    }
    isPreviousVerified = verdict == Verdict::FullyVerified;
    isAllVerified = isAllVerified && verdict != Verdict::Failed;
  }
  return SSF_API_OK;
}

SAPRETURN verifyMessage(const VerifyArguments& arguments, Outcome& outcome) noexcept {
  Certificate lastCertificate;
  SignedMessage message;
  const SAPRETURN code = openSignedMessage(arguments, message);
  if (code != SSF_API_OK) {
    return code;
  }
  outcome.isAttached = message.isAttached;
  return verifySigners(arguments, message, lastCertificate, outcome.isAllVerified);
}

/// The content has been handed out already.
bool isContentAsGiven(const VerifyArguments& arguments) noexcept {
  return *arguments.outputLength == arguments.inputLength &&
         std::memcmp(*arguments.output,
                     arguments.input,
                     static_cast<std::size_t>(arguments.inputLength)) == 0;
}

SAPRETURN verify(const VerifyArguments& arguments) noexcept {
  Outcome outcome;
  const SAPRETURN code = verifyMessage(arguments, outcome);
  if (code != SSF_API_OK) {
    return code;
  }
  if (outcome.isAttached && arguments.inputLength != 0 && !isContentAsGiven(arguments)) {
    QX_TRACE(kVerifyName, "#error#: Input data is different from content data\n");
    return SSF_API_INVALID_INPUT;
  }
  return outcome.isAllVerified ? SSF_API_OK : SSF_API_SIGNER_ERROR;
}

bool hasPlaceForSigners(SigRcpSsfInformationListStruct* const* signers) noexcept {
  if (signers == nullptr) {
    QX_TRACE(kVerifyName, "#error#: No place for the signers\n");
  }
  return signers != nullptr;
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfVerify(SAP_B8* format,
                    SsfOctetlen formatLength,
                    void* /*ignored3*/,
                    SAP_B8* ostrSignedData,
                    SsfOctetlen ostrSignedDataL,
                    SAP_B8* ostrInputData,
                    SsfOctetlen ostrInputDataL,
                    SAP_B8* profile,
                    SsfOctetlen profileLength,
                    SAP_B8* /*ignoredPassword*/,
                    SsfOctetlen /*ignoredPasswordLength*/,
                    SigRcpSsfInformationListStruct** signerList,
                    SAP_B8** ostrOutputData,
                    SsfOctetlen* ostrOutputDataL) noexcept {
  return qx::runOperation(qx::kVerifyName, [&](qx::Frame& /*frame*/) -> SAPRETURN {
    if (!qx::clearOutputLength(qx::kVerifyName, ostrOutputData, ostrOutputDataL) ||
        !qx::hasPlaceForSigners(signerList)) {
      return SSF_API_INVALID_INPUT;
    }
    return qx::verify({.format = format,
                       .formatLength = formatLength,
                       .signedData = ostrSignedData,
                       .signedDataLength = ostrSignedDataL,
                       .input = ostrInputData,
                       .inputLength = ostrInputDataL,
                       .profile = qx::viewOf(profile, profileLength),
                       .signers = signerList,
                       .output = ostrOutputData,
                       .outputLength = ostrOutputDataL});
  });
}

// NOLINTEND(readability-non-const-parameter)
