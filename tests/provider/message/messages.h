#ifndef QX_TESTS_PROVIDER_MESSAGE_MESSAGES_H_
#define QX_TESTS_PROVIDER_MESSAGE_MESSAGES_H_

#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/crypt_msg.h"
#include "platform/errors.h"

#include "provider/der/tag.h"

namespace qx::test {

using Octets = std::vector<std::uint8_t>;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

/// writable shows something to a published record, whose pointers could write but do not.
template <class T>
T* writable(const T* object) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): see above
  return const_cast<T*>(object);
}

Octets octets(std::string_view text);

Octets copyOf(der::Bytes bytes);
std::string text(der::Bytes bytes);

/// blob shows bytes to the platform, which takes them without const but does not write to them.
CRYPT_DATA_BLOB blob(const Octets& bytes);

/// MessageHandle owns a handle, and the bytes that were given to it: a message borrows them.
class MessageHandle {
 public:
  explicit MessageHandle(HCRYPTMSG handle) : handle_(handle) {}

  ~MessageHandle() { CryptMsgClose(handle_); }

  MessageHandle(MessageHandle&& other) noexcept
      : handle_(std::exchange(other.handle_, nullptr)), given_(std::move(other.given_)) {}

  MessageHandle& operator=(MessageHandle&&) = delete;
  MessageHandle(const MessageHandle&) = delete;
  MessageHandle& operator=(const MessageHandle&) = delete;

  HCRYPTMSG get() const { return handle_; }

  explicit operator bool() const { return handle_ != nullptr; }

  /// keep holds a copy of the bytes for as long as the message lives.
  der::Bytes keep(der::Bytes bytes) const {
    return given_.emplace_back(bytes.begin(), bytes.end());
  }

 private:
  HCRYPTMSG handle_;
  mutable std::deque<Octets> given_;
};

/// What a call left: ERROR_SUCCESS, or the last error of a call that failed.
template <class Call>
DWORD errorOf(const Call& call) {
  SetLastError(0xDEAD);
  if (call() != FALSE) {
    EXPECT_EQ(GetLastError(), 0xDEADU) << "success leaves the last error alone";
    return ERROR_SUCCESS;
  }
  return GetLastError();
}

/// update gives a message bytes that the handle keeps alive.
DWORD update(const MessageHandle& message, der::Bytes bytes, bool final = true);

/// updateBorrowed gives it the bytes themselves.
DWORD updateBorrowed(const MessageHandle& message, der::Bytes bytes, bool final = true);
DWORD control(const MessageHandle& message, DWORD type, const void* para);

/// A parameter, read by the two-pass protocol, which is checked on the way.
struct Param {
  DWORD error = ERROR_SUCCESS;
  Octets bytes;
};

Param readParam(const MessageHandle& message, DWORD type, DWORD index = 0);
DWORD paramError(const MessageHandle& message, DWORD type, DWORD index = 0);
Octets bytesParam(const MessageHandle& message, DWORD type, DWORD index = 0);
DWORD numberParam(const MessageHandle& message, DWORD type);
std::string textParam(const MessageHandle& message, DWORD type);

/// A record that came in one piece; it lives as long as this.
template <class Record>
class RecordParam {
 public:
  RecordParam(const MessageHandle& message, DWORD type, DWORD index = 0)
      : bytes_(bytesParam(message, type, index)) {}

  const Record* operator->() const { return reinterpret_cast<const Record*>(bytes_.data()); }

  const Record& operator*() const { return *operator->(); }

 private:
  Octets bytes_;
};

MessageHandle openDecoder(DWORD flags = 0, DWORD type = 0);

/// decode opens an attached message; the test fails when it cannot.
MessageHandle decode(der::Bytes bytes);

/// decodeDetached opens a detached message and gives it its content in one piece.
MessageHandle decodeDetached(der::Bytes bytes, der::Bytes content);

/// decodeError tells why a message cannot be decoded, or ERROR_SUCCESS.
DWORD decodeError(der::Bytes bytes, DWORD type = 0);

std::string hex(const CRYPT_DATA_BLOB& value);

}  // namespace qx::test

#endif
