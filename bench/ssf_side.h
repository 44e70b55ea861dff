#ifndef QX_BENCH_SSF_SIDE_H_
#define QX_BENCH_SSF_SIDE_H_

#include <string>
#include <vector>

#include "qxsapssf/ssf.h"

namespace qx::bench {

/// SsfString is a byte string that the library handed out; freed as the interface says.
class SsfString {
 public:
  SsfString() = default;

  ~SsfString() { SsfDELSsfOctetstring(&data_, &length_); }

  SsfString(const SsfString&) = delete;
  SsfString& operator=(const SsfString&) = delete;
  SsfString(SsfString&&) = delete;
  SsfString& operator=(SsfString&&) = delete;

  SAP_B8** data() { return &data_; }

  SsfOctetlen* length() { return &length_; }

  std::string text() const {
    return {reinterpret_cast<const char*>(data_), static_cast<std::size_t>(length_)};
  }

 private:
  SAP_B8* data_ = nullptr;
  SsfOctetlen length_ = 0;
};

/// The formats of messages.
inline const std::string kPlain = "PKCS7";
inline const std::string kCades = "CADES";

/// Each of these makes one SSF call, of format PKCS7 where no other is given, and returns its code; a
/// code other than 0 makes the benchmark fail.
SAPRETURN ssfDigest(const std::string& content,
                    const std::string& hash,
                    bool detached,
                    SsfString& out);
SAPRETURN ssfSign(const std::string& content,
                  const std::string& identity,
                  const std::string& pin,
                  bool detached,
                  SsfString& out,
                  const std::string& format = kPlain);
SAPRETURN ssfVerify(const std::string& message,
                    const std::string& content,
                    SsfString& out,
                    const std::string& format = kPlain);
SAPRETURN ssfAddSign(const std::string& message,
                     const std::string& identity,
                     const std::string& pin,
                     SsfString& out);
SAPRETURN ssfEnvelope(const std::string& content,
                      const std::vector<std::string>& identities,
                      SsfString& out);
SAPRETURN ssfDevelope(const std::string& message,
                      const std::string& identity,
                      const std::string& pin,
                      SsfString& out);

}  // namespace qx::bench

#endif
