#ifndef QX_TOOLS_QXPROVIDER_LAB_SERVER_H_
#define QX_TOOLS_QXPROVIDER_LAB_SERVER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/report.h"
#include "tools/lab/services.h"
#include "tools/qxprovider/lab_people.h"

namespace qx::admin {

/// How a lab is served; the switches but `revoked` are about time stamps.
struct LabServing {
  std::string folder;
  /// 0 takes any port; nothing: the one that the lab's certificates name, else any.
  std::optional<std::uint16_t> port;
  /// People whose certificates are revoked from now on, beside those of the lab.
  std::vector<std::string> revoked;
  /// Conduct.
  unsigned delayMs = 0;
  bool stalls = false;
  bool chunked = false;
  bool redirects = false;
  bool oversize = false;
  /// What is answered.
  bool refuses = false;
  bool expired = false;
  lab::TimeStampOptions stamps;
};

/// LabServer answers for a folder that `lab create` made, as long as it lives. Throws ToolError
/// (Input) when the folder is no such one or a name is nobody's, std::runtime_error when the port
/// cannot be had.
class LabServer {
 public:
  /// Borrowed.
  explicit LabServer(const LabServing& serving);

  /// describe says where what answers; the address comes first.
  void describe(tools::Report& report) const;

 private:
  void offerAuthority(const LabAuthority& authority);
  void offerIssuer(const std::string& issuer,
                   const lab::Authority& authority,
                   const std::vector<lab::RevokedEntry>& revoked,
                   std::shared_ptr<const lab::OcspResponder> responder);
  void offerStamps(const LabPerson& person);

  const LabServing* serving_;
  lab::Services services_;
};

}  // namespace qx::admin

#endif
