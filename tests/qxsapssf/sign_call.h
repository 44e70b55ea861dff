#ifndef QX_TESTS_QXSAPSSF_SIGN_CALL_H_
#define QX_TESTS_QXSAPSSF_SIGN_CALL_H_

#include "tests/qxsapssf/operation.h"

namespace qx::test {

/// A call of SsfSign: change what a test is about, then run.
struct SignCall {
  std::string format = "PKCS7";
  std::string hashName = "SHA1";
  int includeCertificates = 0;
  int detached = 0;
  std::string input = "data to sign";
  Records signers;
  Output output;

  SAPRETURN run() {
    freeOutput(output);
    return SsfSign(bytesOf(format),
                   lengthOf(format),
                   bytesOf(hashName),
                   lengthOf(hashName),
                   includeCertificates,
                   detached,
                   bytesOf(input),
                   lengthOf(input),
                   signers.list,
                   output.data(),
                   output.length());
  }
};

}  // namespace qx::test

#endif
