#ifndef QX_TESTS_QXSAPSSF_ADDSIGN_CALL_H_
#define QX_TESTS_QXSAPSSF_ADDSIGN_CALL_H_

#include <algorithm>

#include "tests/qxsapssf/operation.h"

namespace qx::test {

using scripted::ToyMessage;

/// A call of SsfAddSign: change what a test is about, then run.
struct AddSignCall {
  std::string format = "PKCS7";
  int includeCertificate = 0;
  std::string signedData;
  std::string input;
  SigRcpSsfInformation* signer = nullptr;
  Output output;

  SAPRETURN run() {
    freeOutput(output);
    return SsfAddSign(bytesOf(format),
                      lengthOf(format),
                      nullptr,
                      nullptr,
                      includeCertificate,
                      bytesOf(signedData),
                      lengthOf(signedData),
                      input.empty() ? nullptr : bytesOf(input),
                      lengthOf(input),
                      signer,
                      output.data(),
                      output.length());
  }

  bool hasNoOutput() const { return output.bytes() == nullptr && output.size() == 0; }
};

/// A test of SsfAddSign with an attached message of one signer, to which another one is added.
class AddSignTest : public OperationTest {
 protected:
  void SetUp() override {
    OperationTest::SetUp();
    toy.content = "content";
    toy.signers.emplace_back();
    toy.signers.back().serial = {9};
    call.signedData = provider().addMessage(toy);
    setSigner("CN=Ivan Petrov");
  }

  void setSigner(const std::string& id,
                 const std::string& profile = "",
                 const std::string& password = "") {
    call.signer = &records.add(id, profile, password);
  }

  void makeDetached() {
    toy.content.clear();
    toy.isDetached = true;
    call.signedData = provider().addMessage(toy);
    call.input = "content";
  }

  void expectFailure(SAPRETURN code) { test::expectFailure(call, code); }

  /// The lines of the operation from this one to its end.
  static std::vector<std::string> linesFrom(std::string_view first) {
    const std::vector<std::string> lines = linesOf("SsfAddSign");
    return {std::ranges::find(lines, first), lines.end()};
  }

  /// The lines between the opening and the end banner.
  static std::vector<std::string> linesAfterOpening() {
    std::vector<std::string> lines = linesFrom("#info#: accept isCades='0' \n");
    return lines.size() < 2 ? lines : std::vector(lines.begin() + 1, lines.end());
  }

  ToyMessage toy;
  Records records;
  AddSignCall call;
};

inline constexpr const char* kReopening = "#trace#: trying to add signature to message.\n";

}  // namespace qx::test

#endif
