#include "bench/ssf_side.h"

namespace qx::bench {
namespace {

// The interface takes input through pointers to non-const bytes and does not write to them.
SAP_B8* bytes(const std::string& text) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): see above
  return const_cast<SAP_B8*>(reinterpret_cast<const SAP_B8*>(text.data()));
}

SsfOctetlen length(const std::string& text) {
  return static_cast<SsfOctetlen>(text.size());
}

const std::string kCipher = "GOST28147";

class SignerList {
 public:
  SignerList() = default;

  SignerList(const std::string& identity, const std::string& pin) { add(identity, pin); }

  void add(const std::string& identity, const std::string& pin) {
    SigRcpSsfInformation* record = nullptr;
    SsfNEWSigRcpSsfInfo(bytes(identity),
                        length(identity),
                        nullptr,
                        0,
                        nullptr,
                        0,
                        bytes(pin),
                        length(pin),
                        0,
                        &record);
    SsfINSSigRcpSsfInfo(record, &list_);
  }

  ~SignerList() { SsfDELSigRcpSsfInfoList(&list_); }

  SignerList(const SignerList&) = delete;
  SignerList& operator=(const SignerList&) = delete;
  SignerList(SignerList&&) = delete;
  SignerList& operator=(SignerList&&) = delete;

  SigRcpSsfInformationListStruct** get() { return &list_; }

  SigRcpSsfInformation* first() { return list_->info; }

 private:
  SigRcpSsfInformationListStruct* list_ = nullptr;
};

}  // namespace

SAPRETURN ssfDigest(const std::string& content,
                    const std::string& hash,
                    bool detached,
                    SsfString& out) {
  return SsfDigest(bytes(kPlain),
                   length(kPlain),
                   detached ? 1 : 0,
                   bytes(content),
                   length(content),
                   bytes(hash),
                   length(hash),
                   out.data(),
                   out.length());
}

SAPRETURN ssfSign(const std::string& content,
                  const std::string& identity,
                  const std::string& pin,
                  bool detached,
                  SsfString& out,
                  const std::string& format) {
  SignerList signers(identity, pin);
  return SsfSign(bytes(format),
                 length(format),
                 nullptr,
                 0,
                 1,
                 detached ? 1 : 0,
                 bytes(content),
                 length(content),
                 *signers.get(),
                 out.data(),
                 out.length());
}

SAPRETURN ssfVerify(const std::string& message,
                    const std::string& content,
                    SsfString& out,
                    const std::string& format) {
  SignerList signers;
  return SsfVerify(bytes(format),
                   length(format),
                   nullptr,
                   bytes(message),
                   length(message),
                   bytes(content),
                   length(content),
                   nullptr,
                   0,
                   nullptr,
                   0,
                   signers.get(),
                   out.data(),
                   out.length());
}

SAPRETURN ssfAddSign(const std::string& message,
                     const std::string& identity,
                     const std::string& pin,
                     SsfString& out) {
  SignerList signers(identity, pin);
  return SsfAddSign(bytes(kPlain),
                    length(kPlain),
                    nullptr,
                    nullptr,
                    1,
                    bytes(message),
                    length(message),
                    nullptr,
                    0,
                    signers.first(),
                    out.data(),
                    out.length());
}

SAPRETURN ssfEnvelope(const std::string& content,
                      const std::vector<std::string>& identities,
                      SsfString& out) {
  SignerList recipients;
  for (const std::string& identity : identities) {
    recipients.add(identity, "");
  }
  return SsfEnvelope(bytes(kPlain),
                     length(kPlain),
                     bytes(kCipher),
                     length(kCipher),
                     bytes(content),
                     length(content),
                     nullptr,
                     0,
                     nullptr,
                     0,
                     *recipients.get(),
                     out.data(),
                     out.length());
}

SAPRETURN ssfDevelope(const std::string& message,
                      const std::string& identity,
                      const std::string& pin,
                      SsfString& out) {
  SignerList recipients(identity, pin);
  return SsfDevelope(bytes(kPlain),
                     length(kPlain),
                     bytes(message),
                     length(message),
                     recipients.first(),
                     out.data(),
                     out.length());
}

}  // namespace qx::bench
