#ifndef QX_TESTS_QXSAPSSF_DEVELOPE_CALL_H_
#define QX_TESTS_QXSAPSSF_DEVELOPE_CALL_H_

#include "tests/qxsapssf/operation.h"

namespace qx::test {

using scripted::ToyMessage;

/// A call of SsfDevelope: change what a test is about, then run.
struct DevelopeCall {
  std::string format = "PKCS7";
  std::string envelopedData;
  SigRcpSsfInformation* recipient = nullptr;
  Output output;

  SAPRETURN run() {
    freeOutput(output);
    return SsfDevelope(bytesOf(format),
                       lengthOf(format),
                       bytesOf(envelopedData),
                       lengthOf(envelopedData),
                       recipient,
                       output.data(),
                       output.length());
  }

  bool hasNoOutput() const { return output.bytes() == nullptr && output.size() == 0; }
};

/// A test of SsfDevelope with a message for two recipients, of whom the second one opens it.
class DevelopeTest : public OperationTest {
 protected:
  void SetUp() override {
    OperationTest::SetUp();
    toy.type = CMSG_ENVELOPED;
    toy.content = "content";
    toy.recipients = {{.serial = {9}}, {.serial = {1}}};
    call.envelopedData = provider().addMessage(toy);
    setRecipient("CN=Ivan Petrov");
  }

  void setRecipient(const std::string& id,
                    const std::string& profile = "",
                    const std::string& password = "") {
    call.recipient = &records.add(id, profile, password);
  }

  SAPRETURN developeAs(const std::string& id,
                       const std::string& profile = "",
                       const std::string& password = "") {
    setRecipient(id, profile, password);
    return call.run();
  }

  void expectFailure(SAPRETURN code) { test::expectFailure(call, code); }

  ToyMessage toy;
  Records records;
  DevelopeCall call;
};

}  // namespace qx::test

#endif
