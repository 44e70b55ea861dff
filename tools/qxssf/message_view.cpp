#include "tools/qxssf/message_view.h"

#include <cstring>

namespace qx::ssf {

MessageView::MessageView(const Library& library, std::span<const std::uint8_t> message)
    : read_(QX_SSF_FUNCTION(library, CryptMsgGetParam)),
      message_(
          QX_SSF_FUNCTION(library, CryptMsgOpenToDecode)(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                         /*dwFlags=*/0,
                                                         /*dwMsgType=*/0,
                                                         /*hCryptProv=*/0,
                                                         /*pRecipientInfo=*/nullptr,
                                                         /*pStreamInfo=*/nullptr),
          QX_SSF_FUNCTION(library, CryptMsgClose)) {
  if (message_ != nullptr &&
      QX_SSF_FUNCTION(library, CryptMsgUpdate)(message_.get(),
                                               message.data(),
                                               static_cast<DWORD>(message.size()),
                                               /*fFinal=*/TRUE) == FALSE) {
    message_.reset();
  }
}

std::vector<std::uint8_t> MessageView::parameter(DWORD type, DWORD index) const {
  DWORD length = 0;
  if (message_ == nullptr ||
      read_(message_.get(), type, index, /*pvData=*/nullptr, &length) == FALSE) {
    return {};
  }
  std::vector<std::uint8_t> record(length);
  if (read_(message_.get(), type, index, record.data(), &length) == FALSE) {
    return {};
  }
  record.resize(length);
  return record;
}

DWORD MessageView::count(DWORD type) const {
  const std::vector<std::uint8_t> record = parameter(type);
  DWORD number = 0;
  if (record.size() == sizeof number) {
    std::memcpy(&number, record.data(), sizeof number);
  }
  return number;
}

}  // namespace qx::ssf
