#ifndef QX_TOOLS_QXSSF_MESSAGE_VIEW_H_
#define QX_TOOLS_QXSSF_MESSAGE_VIEW_H_

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/crypt_msg.h"

#include "tools/qxssf/library.h"

namespace qx::ssf {

/// MessageView reads what a message says of itself, with the functions of the provider that the library
/// itself uses. A message that cannot be decoded has no parameters.
class MessageView {
 public:
  /// The bytes are borrowed: they outlive this object.
  MessageView(const Library& library, std::span<const std::uint8_t> message);

  /// parameter is a parameter's record (CMSG_..._PARAM), which points into itself; empty when there is
  /// none.
  std::vector<std::uint8_t> parameter(DWORD type, DWORD index = 0) const;

  /// count is a parameter that is a number; 0 when there is none.
  DWORD count(DWORD type) const;

 private:
  decltype(&CryptMsgGetParam) read_;
  std::unique_ptr<void, decltype(&CryptMsgClose)> message_;
};

using StorePtr = std::shared_ptr<void>;

/// certificatesOf is a store with the certificates that a message brings along, as far as they can be read;
/// empty when there can be no store.
StorePtr certificatesOf(const Library& library, const MessageView& message);

}  // namespace qx::ssf

#endif
