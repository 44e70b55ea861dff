#include <thread>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"

namespace qx::test::api_test {
namespace {

using lab::KeyKind;

DWORD encodeError(DWORD encoding,
                  DWORD type,
                  const void* info,
                  const char* innerType = nullptr,
                  CMSG_STREAM_INFO* stream = nullptr) {
  SetLastError(0);
  HCRYPTMSG message = CryptMsgOpenToEncode(encoding, 0, type, info, writable(innerType), stream);
  if (message != nullptr) {
    CryptMsgClose(message);
    return ERROR_SUCCESS;
  }
  return GetLastError();
}

TEST(MessageApi, WantsTheMessageEncoding) {
  EXPECT_EQ(encodeError(X509_ASN_ENCODING, CMSG_DATA, nullptr), E_INVALIDARG);
  EXPECT_EQ(encodeError(0, 0, nullptr), E_INVALIDARG) << "checked before the type";
  EXPECT_EQ(encodeError(PKCS_7_ASN_ENCODING, CMSG_DATA, nullptr), ERROR_SUCCESS);
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToDecode(X509_ASN_ENCODING, 0, 0, 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(MessageApi, RefusesTypesThatItDoesNotMake) {
  const CMSG_SIGNED_ENCODE_INFO info{};
  for (const DWORD type :
       {DWORD{0}, CMSG_SIGNED_AND_ENVELOPED, CMSG_ENCRYPTED, DWORD{7}, DWORD{1000}}) {
    EXPECT_EQ(encodeError(kEncoding, type, &info), CRYPT_E_INVALID_MSG_TYPE) << type;
  }
}

TEST(MessageApi, DoesNotStream) {
  CMSG_STREAM_INFO stream{};
  EXPECT_EQ(encodeError(kEncoding, CMSG_DATA, nullptr, nullptr, &stream), E_NOTIMPL);
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToDecode(kEncoding, 0, 0, 0, nullptr, &stream), nullptr);
  EXPECT_EQ(GetLastError(), E_NOTIMPL);
}

TEST(MessageApi, RefusesAContentTypeThatIsNoOid) {
  CMSG_HASHED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.HashAlgorithm.pszObjId = writable("1.3.14.3.2.26");
  EXPECT_EQ(encodeError(kEncoding, CMSG_HASHED, &info, "data"), CRYPT_E_OID_FORMAT);
  EXPECT_EQ(encodeError(kEncoding, CMSG_HASHED, &info, "1.2.840.113549.1.7.1"), ERROR_SUCCESS);
}

TEST(MessageApi, RefusesARecipientRecordForDecoding) {
  CERT_INFO recipient{};
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToDecode(kEncoding, 0, 0, 0, &recipient, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(MessageApi, ClosesNothingWithSuccess) {
  EXPECT_EQ(errorOf([] { return CryptMsgClose(nullptr); }), ERROR_SUCCESS);
}

TEST(MessageApi, KnowsADuplicateByItsOwnClose) {
  HCRYPTMSG message = CryptMsgOpenToEncode(kEncoding, 0, CMSG_DATA, nullptr, nullptr, nullptr);
  SetLastError(0xDEAD);
  EXPECT_EQ(CryptMsgDuplicate(message), message);
  EXPECT_EQ(GetLastError(), 0xDEADU);
  EXPECT_TRUE(CryptMsgClose(message));
  const MessageHandle still(message);
  EXPECT_EQ(update(still, octets("abc")), ERROR_SUCCESS);
}

TEST(MessageApi, RefusesHandlesThatAreNoMessages) {
  std::uint64_t other[16] = {};
  const MessageHandle none(nullptr);
  DWORD size = 0;
  for (HCRYPTMSG handle : {static_cast<HCRYPTMSG>(nullptr), static_cast<HCRYPTMSG>(other)}) {
    EXPECT_EQ(errorOf([&] { return CryptMsgUpdate(handle, nullptr, 0, TRUE); }),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(errorOf([&] { return CryptMsgGetParam(handle, 1, 0, nullptr, &size); }),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(errorOf([&] { return CryptMsgControl(handle, 0, 1, nullptr); }),
              ERROR_INVALID_HANDLE);
    SetLastError(0);
    EXPECT_EQ(CryptMsgDuplicate(handle), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(errorOf([&] { return CryptMsgClose(other); }), ERROR_INVALID_HANDLE);
}

TEST(MessageApi, RefusesMissingPointers) {
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_DATA, nullptr, nullptr, nullptr));
  EXPECT_EQ(errorOf([&] { return CryptMsgUpdate(message.get(), nullptr, 1, TRUE); }), E_INVALIDARG);
  EXPECT_EQ(errorOf([&] { return CryptMsgGetParam(message.get(), 2, 0, nullptr, nullptr); }),
            E_INVALIDARG);
  EXPECT_EQ(update(message, {}), ERROR_SUCCESS) << "still usable";
}

TEST(MessageApi, RefusesControlsOnAMessageThatIsMade) {
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_DATA, nullptr, nullptr, nullptr));
  for (const DWORD type : {CMSG_CTRL_VERIFY_SIGNATURE, CMSG_CTRL_ADD_CERT, DWORD{1000}}) {
    EXPECT_EQ(control(message, type, nullptr), E_INVALIDARG);
  }
  ASSERT_EQ(update(message, {}), ERROR_SUCCESS);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_HASH, nullptr), E_INVALIDARG);
}

TEST(MessageApi, RefusesMoreThanASizeCanTell) {
  const Octets some(16);
  const auto tooMuch = [&some](HCRYPTMSG message) {
    // Refused by its number alone: the bytes are not looked at.
    return errorOf([&] { return CryptMsgUpdate(message, some.data(), 0x80000000U, TRUE); });
  };
  const MessageHandle encoder(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_DATA, nullptr, nullptr, nullptr));
  EXPECT_EQ(tooMuch(encoder.get()), E_INVALIDARG);
  EXPECT_EQ(tooMuch(openDecoder().get()), CRYPT_E_ASN1_LARGE);
}

TEST(DecodeApi, TellsTheTypeBeforeTheMessage) {
  EXPECT_EQ(numberParam(openDecoder(), CMSG_TYPE_PARAM), 0U);
  EXPECT_EQ(numberParam(openDecoder(0, 1000), CMSG_TYPE_PARAM), 1000U);
  for (DWORD type = 2; type <= CMSG_CMS_SIGNER_INFO_PARAM; ++type) {
    EXPECT_EQ(paramError(openDecoder(), type), CRYPT_E_INVALID_MSG_TYPE) << type;
    EXPECT_EQ(paramError(openDecoder(0, CMSG_SIGNED), type), CRYPT_E_INVALID_MSG_TYPE) << type;
  }
}

TEST(DecodeApi, TakesTheMessageInOnePiece) {
  const Octets data = fromHex("301206092a864886f70d010701a0050403616263");
  const MessageHandle message = openDecoder();
  EXPECT_EQ(update(message, data, /*final=*/false), CRYPT_E_MSG_ERROR);
  EXPECT_EQ(update(message, data), ERROR_SUCCESS) << "still usable";
  EXPECT_EQ(update(message, data), CRYPT_E_MSG_ERROR);
  const MessageHandle detached = openDecoder(CMSG_DETACHED_FLAG);
  EXPECT_EQ(update(detached, data, /*final=*/false), CRYPT_E_MSG_ERROR);
}

TEST(DecodeApi, DoesNotTryAgainAfterAFailure) {
  const MessageHandle message = openDecoder();
  EXPECT_EQ(update(message, octets("garbage")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(update(message, fromHex("301206092a864886f70d010701a0050403616263")),
            CRYPT_E_MSG_ERROR);
  EXPECT_EQ(paramError(message, CMSG_CONTENT_PARAM), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(DecodeApi, WantsTheFormThatItWasOpenedFor) {
  const Octets signedWhole = sign({&signer(KeyKind::EcP256)}, octets("abc"));
  EXPECT_EQ(decodeError(signedWhole, CMSG_SIGNED), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(signedWhole, CMSG_HASHED), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(signedWhole, CMSG_DATA), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(signedWhole, 1000), CRYPT_E_INVALID_MSG_TYPE);

  const MessageHandle made = openEncoder({&signer(KeyKind::EcP256)});
  ASSERT_EQ(update(made, octets("abc")), ERROR_SUCCESS);
  const Octets bare = bytesParam(made, CMSG_BARE_CONTENT_PARAM);
  EXPECT_EQ(decodeError(bare), CRYPT_E_ASN1_BADTAG);
  const MessageHandle typed = openDecoder(0, CMSG_SIGNED);
  ASSERT_EQ(update(typed, bare), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(typed, CMSG_TYPE_PARAM), CMSG_SIGNED);
  EXPECT_EQ(bytesParam(typed, CMSG_ENCODED_MESSAGE), bytesParam(made, CMSG_CONTENT_PARAM));
}

TEST(DecodeApi, RefusesTypesThatItDoesNotKnow) {
  EXPECT_EQ(decodeError(fromHex("300706022a03a0010500")), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(decodeError(fromHex("3008 06022a03 a002 0500")), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(decodeError(fromHex("300f 0609 2a864886f70d010706 a002 0500")),
            CRYPT_E_INVALID_MSG_TYPE);
}

TEST(DecodeApi, RefusesGarbage) {
  EXPECT_EQ(decodeError({}), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(decodeError(octets("-----BEGIN PKCS7-----")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(Octets(1000, 0)), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(Octets(1000, 0xFF)), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(fromHex("3084ffffffff")), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(decodeError(fromHex("30847fffffff06092a864886f70d010702")), CRYPT_E_ASN1_EOD);
}

TEST(DecodeApi, RefusesNestingWithoutEnd) {
  Octets nested;
  for (int i = 0; i < 10'000; ++i) {
    nested.insert(nested.end(), {0x30, 0x80});
  }
  EXPECT_EQ(decodeError(nested), CRYPT_E_ASN1_LARGE);
  Octets strings = fromHex("3080 06092a864886f70d010701 a080");
  for (int i = 0; i < 10'000; ++i) {
    strings.insert(strings.end(), {0x24, 0x80});
  }
  EXPECT_EQ(decodeError(strings), CRYPT_E_ASN1_LARGE);
}

TEST(DecodeApi, TellsUnknownControlsFromThoseThatDoNotFit) {
  const MessageHandle empty = openDecoder();
  EXPECT_EQ(control(empty, CMSG_CTRL_VERIFY_SIGNATURE, nullptr), CRYPT_E_INVALID_MSG_TYPE);
  for (const DWORD type : {DWORD{0}, DWORD{3}, DWORD{4}, DWORD{22}, DWORD{1000}}) {
    EXPECT_EQ(control(empty, type, nullptr), CRYPT_E_CONTROL_TYPE) << type;
  }
  const Octets bytes = sign({&signer(KeyKind::EcP256)}, octets("abc"));
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_HASH, nullptr), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(control(message, CMSG_CTRL_DECRYPT, nullptr), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, nullptr), E_INVALIDARG);
}

TEST(DecodeApi, RefusesContentInsideAMessageThatIsCalledDetached) {
  const Octets bytes = sign({&signer(KeyKind::EcP256)}, octets("abc"));
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  EXPECT_EQ(update(message, bytes), CRYPT_E_MSG_ERROR);
}

// Distinct handles in several threads at once; keys and certificates are shared.
TEST(MessageApi, WorksInSeveralThreads) {
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets content(10'000, 'x');
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::vector<DWORD> errors(4, 0xFFFFFFFF);
  for (DWORD& error : errors) {
    threads.emplace_back([&one, &content, &error] {
      const Octets bytes = sign({&one}, content);
      error = verify(decode(bytes), 0, one.context());
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(errors, std::vector<DWORD>(4, ERROR_SUCCESS));
}

}  // namespace
}  // namespace qx::test::api_test
