#include "tests/provider/message/messages.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::test {

Octets copyOf(der::Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

Octets octets(std::string_view text) {
  return {text.begin(), text.end()};
}

std::string text(der::Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

CRYPT_DATA_BLOB blob(const Octets& bytes) {
  return {.cbData = static_cast<DWORD>(bytes.size()), .pbData = writable(bytes.data())};
}

DWORD update(const MessageHandle& message, der::Bytes bytes, bool final) {
  return updateBorrowed(message, message.keep(bytes), final);
}

DWORD updateBorrowed(const MessageHandle& message, der::Bytes bytes, bool final) {
  return errorOf([&] {
    return CryptMsgUpdate(
        message.get(), bytes.data(), static_cast<DWORD>(bytes.size()), final ? TRUE : FALSE);
  });
}

DWORD control(const MessageHandle& message, DWORD type, const void* para) {
  return errorOf([&] { return CryptMsgControl(message.get(), 0, type, para); });
}

namespace {

DWORD getParam(
    const MessageHandle& message, DWORD type, DWORD index, std::uint8_t* data, DWORD* size) {
  return errorOf([&] { return CryptMsgGetParam(message.get(), type, index, data, size); });
}

void expectRefusalOfLess(const MessageHandle& message, DWORD type, DWORD index, DWORD size) {
  Octets buffer(size, 0xEE);
  DWORD less = size - 1;
  EXPECT_EQ(getParam(message, type, index, buffer.data(), &less), ERROR_MORE_DATA);
  EXPECT_EQ(less, size);
  EXPECT_EQ(buffer, Octets(size, 0xEE)) << "nothing is written into a buffer that is too small";
}

}  // namespace

Param readParam(const MessageHandle& message, DWORD type, DWORD index) {
  DWORD size = 0;
  const DWORD error = getParam(message, type, index, nullptr, &size);
  if (error != ERROR_SUCCESS) {
    return {.error = error, .bytes = {}};
  }
  if (size > 0) {
    expectRefusalOfLess(message, type, index, size);
  }
  constexpr DWORD kMore = 10;
  Octets bytes(std::size_t{size} + kMore, 0xEE);
  DWORD written = size + kMore;
  EXPECT_EQ(getParam(message, type, index, bytes.data(), &written), ERROR_SUCCESS);
  EXPECT_EQ(written, size) << "the size that was really used";
  EXPECT_EQ(Octets(bytes.begin() + size, bytes.end()), Octets(kMore, 0xEE));
  bytes.resize(size);
  return {.error = ERROR_SUCCESS, .bytes = std::move(bytes)};
}

DWORD paramError(const MessageHandle& message, DWORD type, DWORD index) {
  return readParam(message, type, index).error;
}

Octets bytesParam(const MessageHandle& message, DWORD type, DWORD index) {
  Param param = readParam(message, type, index);
  EXPECT_EQ(param.error, ERROR_SUCCESS) << "parameter " << type;
  return std::move(param.bytes);
}

DWORD numberParam(const MessageHandle& message, DWORD type) {
  const Octets bytes = bytesParam(message, type);
  DWORD number = 0xFFFFFFFF;
  EXPECT_EQ(bytes.size(), sizeof number);
  if (bytes.size() == sizeof number) {
    std::memcpy(&number, bytes.data(), sizeof number);
  }
  return number;
}

std::string textParam(const MessageHandle& message, DWORD type) {
  const Octets bytes = bytesParam(message, type);
  EXPECT_FALSE(bytes.empty());
  EXPECT_TRUE(bytes.empty() || bytes.back() == 0) << "the NUL counts";
  return bytes.empty() ? std::string() : std::string(bytes.begin(), bytes.end() - 1);
}

MessageHandle openDecoder(DWORD flags, DWORD type) {
  MessageHandle message(CryptMsgOpenToDecode(kEncoding, flags, type, 0, nullptr, nullptr));
  EXPECT_TRUE(message);
  return message;
}

MessageHandle decode(der::Bytes bytes) {
  MessageHandle message = openDecoder();
  EXPECT_EQ(update(message, bytes), ERROR_SUCCESS);
  return message;
}

MessageHandle decodeDetached(der::Bytes bytes, der::Bytes content) {
  MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  EXPECT_EQ(update(message, bytes), ERROR_SUCCESS);
  EXPECT_EQ(update(message, content), ERROR_SUCCESS);
  return message;
}

DWORD decodeError(der::Bytes bytes, DWORD type) {
  const MessageHandle message = openDecoder(0, type);
  return update(message, bytes);
}

std::string hex(const CRYPT_DATA_BLOB& value) {
  return toHex({value.pbData, value.cbData});
}

}  // namespace qx::test
