#ifndef QX_TOOLS_QXSSF_PAGE_PAGE_H_
#define QX_TOOLS_QXSSF_PAGE_PAGE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tools/qxssf/page/evidence.h"
#include "tools/qxssf/verify_report.h"

namespace qx::ssf {

/// What a page about a verification tells.
struct PageFacts {
  /// "en" or "ru".
  std::string language = "en";
  std::string message;
  /// Bytes.
  std::size_t size = 0;
  /// The file with the content of a detached signature; empty: the message holds it.
  std::string content;
  std::string format;
  /// The library, as it names itself.
  std::string library;
  /// When it was verified, UTC, "2026-11-15T17:03:41Z".
  std::string time;
  /// Empty when all is good.
  std::string fault;
  /// Whether chains were checked for revoked certificates.
  bool revocation = true;
  std::vector<SignerVerdict> verdicts;
  /// One for each verdict.
  std::vector<Evidence> evidence;
};

/// pageOf is a whole page for people, UTF-8: HTML that is well-formed XML, without scripts and without
/// anything that would have to be fetched.
std::string pageOf(const PageFacts& facts);

/// pageStyle is the one style sheet of a page; its SHA-256 in Base64 stands in the page's policy, so that no
/// other style counts.
const char* pageStyle();

}  // namespace qx::ssf

#endif
