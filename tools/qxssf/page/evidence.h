#ifndef QX_TOOLS_QXSSF_PAGE_EVIDENCE_H_
#define QX_TOOLS_QXSSF_PAGE_EVIDENCE_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/qxssf/library.h"
#include "tools/qxssf/page/stamps.h"

namespace qx::ssf {

/// One certificate of a chain.
struct ChainLink {
  std::string subject;
  /// As in CertificateView.
  std::string thumbprint;
  std::string notBefore;
  std::string notAfter;
  /// What is wrong with it where it stands, now; empty: nothing.
  std::vector<std::string> faults;
};

/// What there is to be seen of a signer beside the verdict on him.
struct Evidence {
  /// His certificate first, the root last. Empty when there is no certificate.
  std::vector<ChainLink> chain;
  /// In the order of the message.
  std::vector<Stamp> stamps;
};

/// evidenceOf reads what belongs to each record that SsfVerify appended. The certificates that the message
/// brings along help to build the chain of a signer with time stamps, as they do when he is verified.
std::vector<Evidence> evidenceOf(const Library& library,
                                 std::span<const std::uint8_t> message,
                                 const Records& records);

}  // namespace qx::ssf

#endif
