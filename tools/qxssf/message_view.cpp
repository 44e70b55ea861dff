#include "tools/qxssf/message_view.h"

#include <algorithm>
#include <cstring>

#include "platform/cert_store.h"

namespace qx::ssf {
namespace {

// More than that need not be looked at, whatever a message says.
constexpr DWORD kMaxCertificates = 10'000;

}  // namespace

MessageView::MessageView(const Library& library, std::span<const std::uint8_t> message)
    : read_(QX_SSF_FUNCTION(library, CryptMsgGetParam)),
      message_(QX_SSF_FUNCTION(library, CryptMsgOpenToDecode)(kEncoding,
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

StorePtr certificatesOf(const Library& library, const MessageView& message) {
  const StorePtr store(
      QX_SSF_FUNCTION(library, CertOpenStore)(CERT_STORE_PROV_MEMORY,
                                              /*dwEncodingType=*/0,
                                              /*hCryptProv=*/0,
                                              /*dwFlags=*/0,
                                              /*pvPara=*/nullptr),
      [close = QX_SSF_FUNCTION(library, CertCloseStore)](void* handle) { close(handle, 0); });
  auto* const add = QX_SSF_FUNCTION(library, CertAddEncodedCertificateToStore);
  const DWORD count = std::min(message.count(CMSG_CERT_COUNT_PARAM), kMaxCertificates);
  for (DWORD i = 0; store != nullptr && i < count; ++i) {
    const std::vector<std::uint8_t> der = message.parameter(CMSG_CERT_PARAM, i);
    // What cannot be added does not help to build a chain.
    static_cast<void>(add(store.get(),
                          kEncoding,
                          der.data(),
                          static_cast<DWORD>(der.size()),
                          CERT_STORE_ADD_USE_EXISTING,
                          nullptr) == FALSE);
  }
  return store;
}

}  // namespace qx::ssf
