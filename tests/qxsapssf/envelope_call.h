#ifndef QX_TESTS_QXSAPSSF_ENVELOPE_CALL_H_
#define QX_TESTS_QXSAPSSF_ENVELOPE_CALL_H_

#include "tests/qxsapssf/operation.h"

namespace qx::test {

/// A call of SsfEnvelope: change what a test is about, then run.
struct EnvelopeCall {
  std::string format = "PKCS7";
  std::string cipher = "GOST28147";
  std::string input = "content";
  std::string profile;
  Records recipients;
  Output output;

  SAPRETURN run() {
    freeOutput(output);
    std::string password = "ignored";
    return SsfEnvelope(bytesOf(format),
                       lengthOf(format),
                       bytesOf(cipher),
                       lengthOf(cipher),
                       bytesOf(input),
                       lengthOf(input),
                       bytesOf(profile),
                       lengthOf(profile),
                       bytesOf(password),
                       lengthOf(password),
                       recipients.list,
                       output.data(),
                       output.length());
  }

  bool hasNoOutput() const { return output.isUntouched() && output.size() == 0; }
};

/// A test of SsfEnvelope. Its recipients' certificates stand in the address book.
class EnvelopeTest : public OperationTest {
 protected:
  void expectFailure(SAPRETURN code) { test::expectFailure(call, code); }

  /// The lines between the banners.
  static std::vector<std::string> lines() {
    std::vector<std::string> lines = linesOf("SsfEnvelope");
    return lines.size() < 2 ? lines : std::vector(lines.begin() + 1, lines.end() - 1);
  }

  /// A certificate in the address book, without private key.
  static void addCertificate(BYTE number) {
    provider().addCertificate({.subject = "CN=Recipient " + std::to_string(number),
                               .serial = {number},
                               .thumbprint = scripted::Bytes(20, number),
                               .hasKey = false},
                              L"Addressbook");
  }

  /// A recipient who has one.
  void addRecipient(BYTE number) {
    addCertificate(number);
    call.recipients.add("CN=Recipient " + std::to_string(number));
  }

  EnvelopeCall call;
};

inline constexpr const char* kSomeNotFound = "#error#: Some certificates not found\n";

}  // namespace qx::test

#endif
