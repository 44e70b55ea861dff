#include "tests/provider/message/heap.h"

#include <gtest/gtest.h>

#include "tests/provider/message/signers.h"

namespace qx::test::heap_test {
namespace {

using lab::KeyKind;

constexpr std::size_t kLarge = std::size_t{32} << 20U;
// Certificates, signer infos, key and hash states: what does not grow with the content.
constexpr std::size_t kSmall = std::size_t{128} << 10U;

class LargeMessage : public ::testing::Test {
 protected:
  static MessageHandle opened(DWORD flags = 0) {
    return openEncoder(std::vector{&signer(KeyKind::Gost2012_256), &signer(KeyKind::EcP256)},
                       {.flags = flags});
  }

  static void give(const MessageHandle& message, der::Bytes bytes) {
    ASSERT_EQ(updateBorrowed(message, bytes), ERROR_SUCCESS);
  }

  /// Reads a parameter the way a caller does, into a buffer of the size that was said.
  static Octets read(const MessageHandle& message, DWORD type) {
    DWORD size = 0;
    EXPECT_TRUE(CryptMsgGetParam(message.get(), type, 0, nullptr, &size));
    Octets buffer(size);
    EXPECT_TRUE(CryptMsgGetParam(message.get(), type, 0, buffer.data(), &size));
    return buffer;
  }

  const Octets content_ = Octets(kLarge, 0x5A);
};

TEST_F(LargeMessage, IsSignedWithinItsOutput) {
  (void)sign({&signer(KeyKind::Gost2012_256), &signer(KeyKind::EcP256)}, octets("keys loaded"));
  const HeapWatch watch;
  const MessageHandle message = opened();
  give(message, content_);
  EXPECT_LT(watch.peak(), kSmall) << "nothing is copied before the caller's buffer";
  const Octets bytes = read(message, CMSG_CONTENT_PARAM);
  EXPECT_LT(watch.peak(), kLarge + kSmall);
  EXPECT_GT(bytes.size(), kLarge);
}

TEST_F(LargeMessage, IsSignedDetachedWithinNothing) {
  (void)sign({&signer(KeyKind::Gost2012_256), &signer(KeyKind::EcP256)}, octets("keys loaded"));
  const HeapWatch watch;
  const MessageHandle message = opened(CMSG_DETACHED_FLAG);
  give(message, content_);
  (void)read(message, CMSG_CONTENT_PARAM);
  EXPECT_LT(watch.peak(), kSmall);
}

TEST_F(LargeMessage, IsVerifiedWithinTheCallersOutput) {
  const MessageHandle made = opened();
  give(made, content_);
  const Octets bytes = read(made, CMSG_CONTENT_PARAM);
  const HeapWatch watch;
  const MessageHandle message = openDecoder();
  give(message, bytes);
  EXPECT_EQ(verify(message, 0, signer(KeyKind::Gost2012_256).context()), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 1, signer(KeyKind::EcP256).context()), ERROR_SUCCESS);
  EXPECT_LT(watch.peak(), kSmall);
  EXPECT_EQ(read(message, CMSG_CONTENT_PARAM).size(), kLarge);
  EXPECT_LT(watch.peak(), kLarge + kSmall);
}

TEST_F(LargeMessage, InSegmentsIsVerifiedWithinTheCallersOutput) {
  const Octets bytes = opensslSign({&signer(KeyKind::EcP256)}, content_, {"-nodetach", "-stream"});
  const HeapWatch watch;
  const MessageHandle message = openDecoder();
  give(message, bytes);
  EXPECT_EQ(verify(message, 0, signer(KeyKind::EcP256).context()), ERROR_SUCCESS);
  EXPECT_LT(watch.peak(), kSmall);
  EXPECT_EQ(read(message, CMSG_CONTENT_PARAM), content_);
}

TEST_F(LargeMessage, GetsASignerWithinItsOutput) {
  const MessageHandle made = opened();
  give(made, content_);
  const Octets bytes = read(made, CMSG_CONTENT_PARAM);
  (void)sign({&signer(KeyKind::Rsa2048)}, octets("key loaded"));
  const HeapWatch watch;
  const MessageHandle message = openDecoder();
  give(message, bytes);
  const CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::Rsa2048).encodeInfo();
  ASSERT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), ERROR_SUCCESS);
  EXPECT_LT(watch.peak(), kSmall);
  const Octets changed = read(message, CMSG_ENCODED_MESSAGE);
  EXPECT_LT(watch.peak(), kLarge + kSmall);
  EXPECT_GT(changed.size(), bytes.size());
}

DWORD lastErrorUnless(bool done) {
  return done ? ERROR_SUCCESS : GetLastError();
}

TEST(OutOfMemory, IsToldBySigning) {
  Signer& one = signer(KeyKind::EcP256);
  const CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  CERT_BLOB certificate = blob(one.der());
  CMSG_SIGNED_ENCODE_INFO record{};
  record.cbSize = sizeof record;
  record.cSigners = 1;
  record.rgSigners = writable(&info);
  record.cCertEncoded = 1;
  record.rgCertEncoded = &certificate;
  const Octets content = octets("content");
  expectEveryFailureToBeTold([&] {
    HCRYPTMSG message = CryptMsgOpenToEncode(
        kEncoding, CMSG_AUTHENTICATED_ATTRIBUTES_FLAG, CMSG_SIGNED, &record, nullptr, nullptr);
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

TEST(OutOfMemory, IsToldByDecodingVerifyingAndChanging) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes =
      sign({&one}, octets("content"), {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  const CMSG_SIGNER_ENCODE_INFO second = signer(KeyKind::EcP256, 1).encodeInfo();
  const CRYPT_DATA_BLOB certificate = blob(signer(KeyKind::EcP256, 1).der());
  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  para.cbSize = sizeof para;
  para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
  para.pvSigner = writable(one.context());
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
        CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, out, &infoSize) != FALSE &&
        CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para) != FALSE &&
        CryptMsgControl(message, 0, CMSG_CTRL_ADD_SIGNER, &second) != FALSE &&
        CryptMsgControl(message, 0, CMSG_CTRL_ADD_CERT, &certificate) != FALSE &&
        CryptMsgGetParam(message, CMSG_ENCODED_MESSAGE, 0, out, &size) != FALSE);
    CryptMsgClose(message);
    return error;
  });
}

// Whichever allocation fails, a control that failed has changed nothing, and works when it is repeated.
void expectNothingOfAFailure(DWORD type, const void* para) {
  const Octets bytes = sign({&signer(KeyKind::EcP256)}, octets("content"));
  bool happened = true;
  std::size_t failures = 0;
  for (std::size_t n = 1; happened; ++n) {
    const MessageHandle message = decode(bytes);
    DWORD error = ERROR_SUCCESS;
    {
      const HeapFailure failure(n);
      error = lastErrorUnless(CryptMsgControl(message.get(), 0, type, para) != FALSE);
      happened = failure.hasHappened();
    }
    if (!happened) {
      EXPECT_EQ(error, ERROR_SUCCESS);
      break;
    }
    ++failures;
    EXPECT_EQ(error, E_OUTOFMEMORY) << "allocation " << n;
    EXPECT_EQ(numberParam(message, CMSG_SIGNER_COUNT_PARAM), 1U) << "allocation " << n;
    EXPECT_EQ(numberParam(message, CMSG_CERT_COUNT_PARAM), 1U) << "allocation " << n;
    EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), bytes) << "allocation " << n;
    EXPECT_EQ(control(message, type, para), ERROR_SUCCESS) << "allocation " << n;
    EXPECT_NE(bytesParam(message, CMSG_ENCODED_MESSAGE), bytes) << "allocation " << n;
  }
  EXPECT_GT(failures, 1U);
}

TEST(OutOfMemory, LeavesTheMessageAsItWasWhenASignerIsAdded) {
  const CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::Gost2012_256).encodeInfo();
  const MessageHandle message = decode(sign({&signer(KeyKind::EcP256)}, octets("key loaded")));
  ASSERT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), ERROR_SUCCESS);
  expectNothingOfAFailure(CMSG_CTRL_ADD_SIGNER, &info);
}

TEST(OutOfMemory, LeavesTheMessageAsItWasWhenACertificateIsAdded) {
  const CRYPT_DATA_BLOB certificate = blob(signer(KeyKind::Gost2012_256).der());
  expectNothingOfAFailure(CMSG_CTRL_ADD_CERT, &certificate);
}

TEST(OutOfMemory, LeavesTheMessageAsItWasWhenAnAttributeIsAdded) {
  const Octets attribute = {0x30, 0x0A, 0x06, 0x03, 0x2A, 3, 4, 0x31, 0x03, 0x02, 0x01, 0x04};
  const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{
      .cbSize = sizeof para, .dwSignerIndex = 0, .blob = blob(attribute)};
  expectNothingOfAFailure(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para);
}

}  // namespace
}  // namespace qx::test::heap_test
