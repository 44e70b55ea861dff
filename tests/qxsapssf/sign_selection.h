#ifndef QX_TESTS_QXSAPSSF_SIGN_SELECTION_H_
#define QX_TESTS_QXSAPSSF_SIGN_SELECTION_H_

#include <algorithm>
#include <string>
#include <vector>

#include "tests/qxsapssf/sign_call.h"

namespace qx::test {

// Trace lines of the lookup.
inline constexpr const char* kFound =
    "#trace# One of Signer's certificate found. Trying to acquire private key.\n";
inline constexpr const char* kExplicit = "#trace# Explicit pin code? IsPinExplicit = 1.\n";
inline constexpr const char* kUsable = "#trace# Private Key successfully acquired.\n";
inline constexpr const char* kHash = "#trace# Using hash alg = 1.2.643.7.1.1.2.2.\n";
inline constexpr const char* kNotFound =
    "#error# Signer's (0) Certificate with supplied pin code NOT FOUND.\n";
inline constexpr const char* kSearch = "#trace# Search Signer's certificate.\n";

/// The lookup of one signer of SsfSign.
class SignerSelectionTest : public OperationTest {
 protected:
  /// Signs with the one signer of the list.
  SAPRETURN sign() {
    const SAPRETURN code = call.run();
    record = call.signers.list->info;
    return code;
  }

  SAPRETURN signWith(const std::string& id,
                     const std::string& profile = "",
                     const std::string& password = "") {
    call.signers.add(id, profile, password);
    return sign();
  }

  /// What was traced about the one signer.
  static std::vector<std::string> selection() {
    std::vector<std::string> lines = linesOf("SsfSign");
    const auto first = std::ranges::find(lines, "#trace# Check Signer # = 0.\n");
    const auto last = std::ranges::find_if(lines, [](const std::string& line) {
      return line.find("trying to sign") != std::string::npos ||
             line.find("certificates not found") != std::string::npos;
    });
    return {first + 1, last};
  }

  /// The stores that were opened, as the flags and the name of each call.
  static std::vector<std::string> storesOpened() {
    std::vector<std::string> opened;
    for (const std::string& line : provider().calls("CertOpenStore(10, 0x0, 0, ")) {
      opened.push_back(line.substr(26));
    }
    return opened;
  }

  SignCall call;
  const SigRcpSsfInformation* record = nullptr;
};

}  // namespace qx::test

#endif
