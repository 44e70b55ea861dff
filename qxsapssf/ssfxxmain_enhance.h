#ifndef QX_QXSAPSSF_SSFXXMAIN_ENHANCE_H_
#define QX_QXSAPSSF_SSFXXMAIN_ENHANCE_H_

#include "platform/cades.h"

#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// TspService is a time-stamp server in the form that the CAdES functions take.
class TspService {
 public:
  /// setAddress takes an address; an empty one is an address too. SSF_API_OK; SSF_API_ENCODE_ERROR when
  /// it is too long or cannot be converted; SSF_API_NO_MEMORY.
  SAPRETURN setAddress(const char* address) noexcept;

  /// The record, which lives as long as this object stays in its place.
  CADES_TSP_SERVICE* record() noexcept { return &record_; }

 private:
  OwnedBytes wideAddress_;
  CADES_TSP_SERVICE record_{};
};

/// cadesSignPara asks for the type of signature that this library makes. NULL: the server that the
/// CAdES library is configured with.
CADES_SIGN_PARA cadesSignPara(CADES_TSP_SERVICE* service) noexcept;

/// Enhancement is the outcome of one attempt. A failed call may leave no last error, so that 0 is no
/// proof of success.
struct Enhancement {
  bool succeeded;
  DWORD lastError;
};

/// The index that means all signatures of a message.
inline constexpr int kEverySignature = -1;

/// EnhancePKCS7 extends signatures of an encoded message with time stamps and validation data. `tspUrl`
/// NULL: the configured server. The message is replaced when the attempt succeeds and stays as it is
/// when not; nothing is traced.
Enhancement EnhancePKCS7(OwnedBytes& message, const char* tspUrl, int signerIndex) noexcept;

/// enhanceMessage extends every signature, by the configured server or else by the first of the listed
/// ones that succeeds. SSF_API_OK or SSF_API_ENCODE_ERROR; the message stays as it is on failure.
SAPRETURN enhanceMessage(const char* function, OwnedBytes& message) noexcept;

}  // namespace qx

#endif
