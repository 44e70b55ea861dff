#include <gtest/gtest.h>

#include "tests/provider/message/envelopes.h"
#include "tests/provider/message/heap.h"

namespace qx::test::envelope_heap_test {
namespace {

using lab::KeyKind;

DWORD lastErrorUnless(bool done) {
  return done ? ERROR_SUCCESS : GetLastError();
}

TEST(OutOfMemory, IsToldByEnveloping) {
  const Signer& one = signer(KeyKind::Rsa2048);
  PCERT_INFO infos[] = {&one.info()};
  CMSG_ENVELOPED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.ContentEncryptionAlgorithm.pszObjId = writable(kGost28147);
  info.cRecipients = 1;
  info.rgpRecipients = infos;
  const Octets content = octets("content");
  expectEveryFailureToBeTold([&] {
    HCRYPTMSG message = CryptMsgOpenToEncode(kEncoding, 0, CMSG_ENVELOPED, &info, nullptr, nullptr);
    if (message == nullptr) {
      return GetLastError();
    }
    std::uint8_t out[4096];
    DWORD size = sizeof out;
    const DWORD error = lastErrorUnless(
        CryptMsgUpdate(message, content.data(), static_cast<DWORD>(content.size()), TRUE) !=
            FALSE &&
        CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, out, &size) != FALSE);
    CryptMsgClose(message);
    return error;
  });
}

TEST(OutOfMemory, IsToldByDeveloping) {
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets bytes = envelope({&one}, octets("content"));
  CMSG_CTRL_DECRYPT_PARA para{};
  para.cbSize = sizeof para;
  para.hCryptProv = one.provider();
  expectEveryFailureToBeTold([&] {
    HCRYPTMSG message = CryptMsgOpenToDecode(kEncoding, 0, 0, 0, nullptr, nullptr);
    if (message == nullptr) {
      return GetLastError();
    }
    alignas(8) std::uint8_t out[4096];
    DWORD infoSize = sizeof out;
    DWORD size = sizeof out;
    const DWORD error = lastErrorUnless(
        CryptMsgUpdate(message, bytes.data(), static_cast<DWORD>(bytes.size()), TRUE) != FALSE &&
        CryptMsgGetParam(message, CMSG_RECIPIENT_INFO_PARAM, 0, out, &infoSize) != FALSE &&
        CryptMsgControl(message, 0, CMSG_CTRL_DECRYPT, &para) != FALSE &&
        CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, out, &size) != FALSE);
    CryptMsgClose(message);
    return error;
  });
}

}  // namespace
}  // namespace qx::test::envelope_heap_test
