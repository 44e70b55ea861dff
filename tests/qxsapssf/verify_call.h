#ifndef QX_TESTS_QXSAPSSF_VERIFY_CALL_H_
#define QX_TESTS_QXSAPSSF_VERIFY_CALL_H_

#include <utility>

#include "tests/qxsapssf/operation.h"

namespace qx::test {

using scripted::ToyMessage;
using scripted::ToySigner;

/// A call of SsfVerify: change what a test is about, then run.
struct VerifyCall {
  std::string format = "PKCS7";
  std::string signedData;
  std::string input;
  std::string profile;
  Records signers;
  Output output;

  SAPRETURN run() {
    freeOutput(output);
    std::string password = "ignored";
    return SsfVerify(bytesOf(format),
                     lengthOf(format),
                     nullptr,
                     bytesOf(signedData),
                     lengthOf(signedData),
                     input.empty() ? nullptr : bytesOf(input),
                     lengthOf(input),
                     bytesOf(profile),
                     lengthOf(profile),
                     bytesOf(password),
                     lengthOf(password),
                     &signers.list,
                     output.data(),
                     output.length());
  }

  std::vector<std::string> ids() const {
    std::vector<std::string> ids;
    for (const SigRcpSsfInformation* record : signers.all()) {
      ids.push_back(idOf(*record));
    }
    return ids;
  }
};

/// A test of SsfVerify with an attached message of one signer, whose certificate it carries.
class VerifyTest : public OperationTest {
 protected:
  void SetUp() override {
    OperationTest::SetUp();
    certificate.signatureOid = "1.2.643.2.2.3";
    toy = {.content = "content",
           .signers = {ToySigner::of(certificate)},
           .certificates = {certificate}};
  }

  /// Verifies the message as it is now.
  SAPRETURN verify() {
    call.signedData = provider().addMessage(toy);
    return call.run();
  }

  /// Another signer with a certificate of his own, in the message too.
  ToySigner& addSigner(BYTE number) {
    ToyCertificate other = certificate;
    other.subject = "CN=Signer " + std::to_string(number);
    other.serial = {number};
    toy.certificates.push_back(other);
    toy.signers.push_back(ToySigner::of(other));
    return toy.signers.back();
  }

  /// What the operation told, between the opening and the end banner.
  static std::vector<std::string> linesAfterOpening() {
    std::vector<std::string> lines = linesOf("SsfVerify");
    const auto opened = std::ranges::find_if(
        lines, [](const std::string& line) { return line.starts_with("#info#: accept isCades="); });
    return {opened + 1, lines.end()};
  }

  VerifyCall call;
  ToyCertificate certificate;
  ToyMessage toy;
};

inline constexpr const char* kIvan = "CN=Ivan Petrov, O=Bank, C=RU";
inline constexpr const char* kUnknownSigner =
    "issuer-name/Noserialnumber:CN=CA, OU=SSF-TEST, O=SAP-AG, C=DE/No-2";

}  // namespace qx::test

#endif
