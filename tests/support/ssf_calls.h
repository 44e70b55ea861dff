#ifndef QX_TESTS_SUPPORT_SSF_CALLS_H_
#define QX_TESTS_SUPPORT_SSF_CALLS_H_

#include <string>
#include <vector>

#include "qxsapssf/ssf.h"

namespace qx::test {

/// A signer or recipient record with its byte strings as strings.
struct SsfRecord {
  std::string id;
  std::string profile;
  std::string password;
  SAPRETURN result = 0;
};

/// What an SSF call gave. Every buffer and record of the library is freed when this is made.
struct SsfOutcome {
  SAPRETURN code = 0;
  std::string output;
  std::vector<SsfRecord> records;
};

struct SsfSignOptions {
  std::string format = "PKCS7";
  bool certificates = true;
  bool detached = false;
};

/// Each makes one SSF call.
SsfOutcome ssfSign(const std::string& content,
                   const std::vector<SsfRecord>& signers,
                   const SsfSignOptions& options = {});
SsfOutcome ssfVerify(const std::string& message,
                     const std::string& content = {},
                     const std::string& profile = {},
                     const std::string& format = "PKCS7");
SsfOutcome ssfDigest(const std::string& content, const std::string& hash, bool detached);
/// `content` is given for a detached message.
SsfOutcome ssfAddSign(const std::string& message,
                      const std::string& content,
                      const SsfRecord& signer,
                      const SsfSignOptions& options = {});
/// The recipients' certificates come from the store that `profile` names, "Addressbook" when empty.
SsfOutcome ssfEnvelope(const std::string& content,
                       const std::vector<SsfRecord>& recipients,
                       const std::string& profile = {});
SsfOutcome ssfDevelope(const std::string& message, const SsfRecord& recipient);
SsfOutcome ssfEncode(const std::string& content);
SsfOutcome ssfDecode(const std::string& content);
SsfOutcome ssfProperty(const std::string& name);
SsfOutcome ssfVersion();
/// ssfPrint renders the records as one list.
SsfOutcome ssfPrint(const std::vector<SsfRecord>& records);

}  // namespace qx::test

#endif
