#ifndef QX_BENCH_BARE_SIGNATURES_H_
#define QX_BENCH_BARE_SIGNATURES_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <openssl/x509.h>

namespace qx::bench {

/// BareSignatures are the signatures that a CAdES-X Long message carries outside of its certificates:
/// the signer's, those of its time stamps, and those of its CRLs and OCSP answers. Everything is parsed
/// beforehand, and nothing but the signatures is verified: neither chains nor references.
class BareSignatures {
 public:
  /// `root` signed the CRLs. Throws std::runtime_error for a message that has not all of them.
  BareSignatures(const std::string& message, X509* root);

  /// The same of its two time stamps alone.
  bool verifyStamps() const;

  /// Verifies each of them with libcrypto, one by one.
  bool verify() const;

  std::size_t count() const { return each_.size(); }

 private:
  std::vector<std::function<bool()>> each_;
};

}  // namespace qx::bench

#endif
