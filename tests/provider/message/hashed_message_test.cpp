#include <gtest/gtest.h>

#include "provider/hash/hash.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/messages.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test::hashed_message_test {
namespace {

constexpr const char* kSha1 = "1.3.14.3.2.26";
constexpr const char* kMd2 = "1.2.840.113549.2.2";
constexpr const char* kMd5 = "1.2.840.113549.2.5";
constexpr const char* kGost94 = "1.2.643.2.2.9";

MessageHandle openHashed(const char* oid, DWORD flags = 0, const char* innerType = nullptr) {
  CMSG_HASHED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.HashAlgorithm.pszObjId = writable(oid);
  return MessageHandle(
      CryptMsgOpenToEncode(kEncoding, flags, CMSG_HASHED, &info, writable(innerType), nullptr));
}

Octets hashed(const char* oid, der::Bytes content, DWORD flags = 0) {
  const MessageHandle message = openHashed(oid, flags);
  EXPECT_EQ(update(message, content), ERROR_SUCCESS);
  return bytesParam(message, CMSG_CONTENT_PARAM);
}

DWORD verifyHash(const MessageHandle& message) {
  return control(message, CMSG_CTRL_VERIFY_HASH, nullptr);
}

TEST(HashedMessage, HoldsContentAndHash) {
  const Octets message = hashed(kSha1, octets("abc"));
  EXPECT_EQ(toHex(message),
            "3047"
            "06092a864886f70d010705"
            "a03a"
            "3038"
            "020100"
            "300906052b0e03021a0500"
            "3012"
            "06092a864886f70d010701"
            "a005"
            "0403616263"
            "0414"
            "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(HashedMessage, LeavesOutDetachedAndEmptyContent) {
  const std::string head =
      "300b06092a864886f70d010701"
      "0414";
  EXPECT_NE(toHex(hashed(kSha1, octets("abc"), CMSG_DETACHED_FLAG))
                .find(head + "a9993e364706816aba3e25717850c26c9cd0d89d"),
            std::string::npos);
  EXPECT_NE(toHex(hashed(kSha1, {})).find(head + "da39a3ee5e6b4b0d3255bfef95601890afd80709"),
            std::string::npos);
}

TEST(HashedMessage, HasASkeletonBeforeItsContent) {
  const MessageHandle message = openHashed(kSha1);
  EXPECT_EQ(toHex(bytesParam(message, CMSG_BARE_CONTENT_PARAM)),
            "3014"
            "020100"
            "300906052b0e03021a0500"
            "30020600"
            "0400");
  EXPECT_EQ(toHex(bytesParam(message, CMSG_CONTENT_PARAM)),
            "3023"
            "06092a864886f70d010705"
            "a016"
            "3014"
            "020100"
            "300906052b0e03021a0500"
            "30020600"
            "0400");
}

TEST(HashedMessage, IsAcceptedByTheOpensslCommand) {
  const TempDir files;
  const std::string content = files.write("content", "What is hashed here.");
  for (const char* oid : {kSha1, kMd5, kGost94, "2.16.840.1.101.3.4.2.1"}) {
    const std::string message =
        files.write("message", text(hashed(oid, octets("What is hashed here."))));
    const CommandResult attached = run({"openssl",
                                        "cms",
                                        "-digest_verify",
                                        "-engine",
                                        "gost",
                                        "-binary",
                                        "-inform",
                                        "DER",
                                        "-in",
                                        message});
    EXPECT_EQ(attached.exitCode, 0) << oid << attached.err;
    EXPECT_EQ(attached.out, "What is hashed here.");

    const std::string detached = files.write(
        "detached", text(hashed(oid, octets("What is hashed here."), CMSG_DETACHED_FLAG)));
    const CommandResult beside = run({"openssl",
                                      "cms",
                                      "-digest_verify",
                                      "-engine",
                                      "gost",
                                      "-binary",
                                      "-inform",
                                      "DER",
                                      "-in",
                                      detached,
                                      "-content",
                                      content});
    EXPECT_EQ(beside.exitCode, 0) << oid << beside.err;
    const std::string other = files.write("other", "What is hashed then.");
    EXPECT_NE(run({"openssl",
                   "cms",
                   "-digest_verify",
                   "-engine",
                   "gost",
                   "-binary",
                   "-inform",
                   "DER",
                   "-in",
                   detached,
                   "-content",
                   other})
                  .exitCode,
              0);
  }
}

TEST(HashedMessage, OfTheOpensslCommandIsAccepted) {
  const TempDir files;
  const std::string content = files.write("content", "From elsewhere.");
  for (const char* digest : {"sha1", "md5", "sha384"}) {
    ASSERT_EQ(run({"openssl",
                   "cms",
                   "-digest_create",
                   "-binary",
                   "-md",
                   digest,
                   "-nodetach",
                   "-in",
                   content,
                   "-outform",
                   "DER",
                   "-out",
                   files.file("message")})
                  .exitCode,
              0);
    const Octets bytes = octets(readFile(files.file("message")));
    const MessageHandle message = decode(bytes);
    EXPECT_EQ(verifyHash(message), ERROR_SUCCESS) << digest;
    EXPECT_EQ(text(bytesParam(message, CMSG_CONTENT_PARAM)), "From elsewhere.");
  }
}

TEST(HashedMessage, TellsWhatItHolds) {
  const Octets bytes = hashed(kMd2, octets("abc"));
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(numberParam(message, CMSG_TYPE_PARAM), CMSG_HASHED);
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_HASHED_DATA_V0);
  EXPECT_EQ(textParam(message, CMSG_INNER_CONTENT_TYPE_PARAM), "1.2.840.113549.1.7.1");
  EXPECT_EQ(text(bytesParam(message, CMSG_CONTENT_PARAM)), "abc");
  EXPECT_EQ(toHex(bytesParam(message, CMSG_HASH_DATA_PARAM)), "da853b0d3f88d99b30283a69e6ded6bb");
  EXPECT_EQ(bytesParam(message, CMSG_COMPUTED_HASH_PARAM),
            bytesParam(message, CMSG_HASH_DATA_PARAM));
  const RecordParam<CRYPT_ALGORITHM_IDENTIFIER> algorithm(message, CMSG_HASH_ALGORITHM_PARAM);
  EXPECT_STREQ(algorithm->pszObjId, kMd2);
  EXPECT_EQ(hex(algorithm->Parameters), "0500");
  EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), bytes);
  EXPECT_EQ(paramError(message, CMSG_SIGNER_COUNT_PARAM), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(HashedMessage, IsWrappedAgainWhenItCameBare) {
  const MessageHandle made = openHashed(kSha1);
  ASSERT_EQ(update(made, octets("abc")), ERROR_SUCCESS);
  const Octets bare = bytesParam(made, CMSG_BARE_CONTENT_PARAM);
  const MessageHandle message = openDecoder(0, CMSG_HASHED);
  ASSERT_EQ(update(message, bare), ERROR_SUCCESS);
  EXPECT_EQ(verifyHash(message), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), bytesParam(made, CMSG_CONTENT_PARAM));
}

TEST(HashedMessage, HasNoSignaturesToVerify) {
  const MessageHandle message = decode(hashed(kSha1, octets("abc")));
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, nullptr), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(HashedMessage, DoesNotVerifyOverOtherContent) {
  Octets bytes = hashed(kSha1, octets("abc"));
  const auto at = text(bytes).find("abc");
  bytes[at] ^= 1;
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(verifyHash(message), CRYPT_E_HASH_VALUE) << "decoding alone checks nothing";
  EXPECT_NE(bytesParam(message, CMSG_COMPUTED_HASH_PARAM),
            bytesParam(message, CMSG_HASH_DATA_PARAM));
}

TEST(HashedMessage, VerifiesDetachedContentInAnyNumberOfParts) {
  const Octets bytes = hashed(kGost94, octets("abcdef"), CMSG_DETACHED_FLAG);
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  for (const char* part : {"ab", "", "cde"}) {
    Octets passing = octets(part);
    ASSERT_EQ(updateBorrowed(message, passing, /*final=*/false), ERROR_SUCCESS);
    std::ranges::fill(passing, 0xFF);  // a part is hashed as it comes
  }
  ASSERT_EQ(update(message, octets("f")), ERROR_SUCCESS);
  EXPECT_EQ(verifyHash(message), ERROR_SUCCESS);
  EXPECT_EQ(update(message, octets("g")), CRYPT_E_MSG_ERROR);
  EXPECT_TRUE(bytesParam(message, CMSG_CONTENT_PARAM).empty());
}

TEST(HashedMessage, IsSpoiltByAVerificationBeforeItsContent) {
  const Octets bytes = hashed(kSha1, octets("abc"), CMSG_DETACHED_FLAG);
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  EXPECT_EQ(verifyHash(message), CRYPT_E_HASH_VALUE);
  EXPECT_EQ(update(message, octets("abc")), NTE_BAD_HASH_STATE);
}

TEST(HashedMessage, EndsItsContentWhenTheHashIsRead) {
  const MessageHandle message = openHashed(kSha1, CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, octets("abc"), /*final=*/false), ERROR_SUCCESS);
  EXPECT_EQ(toHex(bytesParam(message, CMSG_COMPUTED_HASH_PARAM)),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(update(message, octets("def")), NTE_BAD_HASH_STATE);
}

TEST(HashedMessage, TellsItsHashWhileItIsMade) {
  const MessageHandle message = openHashed(kSha1);
  ASSERT_EQ(update(message, octets("abc")), ERROR_SUCCESS);
  EXPECT_EQ(toHex(bytesParam(message, CMSG_COMPUTED_HASH_PARAM)),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_HASHED_DATA_V0);
  for (const DWORD type : {CMSG_TYPE_PARAM, CMSG_HASH_DATA_PARAM, CMSG_ENCODED_SIGNER}) {
    EXPECT_EQ(paramError(message, type), CRYPT_E_INVALID_MSG_TYPE) << type;
  }
}

TEST(HashedMessage, HashesOtherContentWithoutItsHeader) {
  // PKCS #7: one element of its own type, hashed without tag and length.
  const Octets element = fromHex("3003020105");
  const MessageHandle message = openHashed(kSha1, 0, "1.2.3.4");
  ASSERT_EQ(update(message, element), ERROR_SUCCESS);
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  const MessageHandle decoded = decode(bytes);
  EXPECT_EQ(toHex(bytesParam(decoded, CMSG_HASH_DATA_PARAM)),
            toHex(hashOf(HashAlgorithm::Sha1, fromHex("020105")).bytes()));
  EXPECT_EQ(verifyHash(decoded), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), element) << "the whole element";
  EXPECT_EQ(textParam(decoded, CMSG_INNER_CONTENT_TYPE_PARAM), "1.2.3.4");
}

TEST(HashedMessage, WrapsOtherContentWhenItIsToldTo) {
  const Octets content = octets("not an element");
  const MessageHandle message = openHashed(kSha1, CMSG_CMS_ENCAPSULATED_CONTENT_FLAG, "1.2.3.4");
  ASSERT_EQ(update(message, content), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_HASHED_DATA_V2);
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  const MessageHandle decoded = decode(bytes);
  EXPECT_EQ(verifyHash(decoded), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), content);
  EXPECT_EQ(numberParam(decoded, CMSG_VERSION_PARAM), CMSG_HASHED_DATA_V2);
}

TEST(HashedMessage, RefusesOtherContentThatIsNoElement) {
  for (const char* content : {"30030201", "30030201050500", "0000"}) {
    const MessageHandle message = openHashed(kSha1, 0, "1.2.3.4");
    EXPECT_NE(update(message, fromHex(content)), ERROR_SUCCESS) << content;
    EXPECT_EQ(paramError(message, CMSG_CONTENT_PARAM), CRYPT_E_MSG_ERROR);
    EXPECT_EQ(update(message, fromHex("0500")), CRYPT_E_MSG_ERROR);
  }
}

TEST(HashedMessage, RefusesRecordsThatCannotBeUsed) {
  CMSG_HASHED_ENCODE_INFO info{};
  const auto error = [&info] {
    SetLastError(0);
    EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_HASHED, &info, nullptr, nullptr), nullptr);
    return GetLastError();
  };
  EXPECT_EQ(error(), E_INVALIDARG) << "cbSize 0";
  info.cbSize = sizeof info;
  EXPECT_EQ(error(), CRYPT_E_UNKNOWN_ALGO) << "no OID";
  info.HashAlgorithm.pszObjId = writable("1.2.3");
  EXPECT_EQ(error(), CRYPT_E_UNKNOWN_ALGO);
  info.HashAlgorithm.pszObjId = writable(kSha1);
  const Octets junk = fromHex("0501");
  info.HashAlgorithm.Parameters = blob(junk);
  EXPECT_EQ(error(), E_INVALIDARG);
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_HASHED, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(HashedMessage, WritesTheHashThatASignatureAlgorithmNames) {
  const Octets bytes = hashed("1.2.840.113549.1.1.5", octets("abc"));
  const MessageHandle message = decode(bytes);
  const RecordParam<CRYPT_ALGORITHM_IDENTIFIER> algorithm(message, CMSG_HASH_ALGORITHM_PARAM);
  EXPECT_STREQ(algorithm->pszObjId, kSha1);
}

// Every single bit: either the message is refused, or the hash does not match.
TEST(HashedMessage, NeverVerifiesWithABitFlipped) {
  const Octets good = hashed(kSha1, octets("abc"));
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    Octets bad = good;
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const MessageHandle message = openDecoder();
    if (update(message, bad) == ERROR_SUCCESS) {
      EXPECT_NE(verifyHash(message), ERROR_SUCCESS) << "bit " << bit << " of " << toHex(good);
    }
  }
}

TEST(HashedMessage, NeverDecodesWhenItIsCut) {
  const Octets good = hashed(kSha1, octets("abc"));
  for (std::size_t length = 0; length < good.size(); ++length) {
    EXPECT_EQ(decodeError(der::Bytes(good).first(length)), CRYPT_E_ASN1_EOD) << length;
  }
}

TEST(HashedMessage, TakesNoDetachedContentForAHashThatWeDoNotKnow) {
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message,
                   fromHex("303c 06092a864886f70d010705 a02f 302d 020100 3006 06022a03 0500"
                           "300b 06092a864886f70d010701"
                           "0413 00112233445566778899aabbccddeeff001122")),
            ERROR_SUCCESS);
  EXPECT_EQ(update(message, octets("abc")), CRYPT_E_UNKNOWN_ALGO);
}

TEST(HashedMessage, WithAHashThatWeDoNotKnowIsDecodedButNotVerified) {
  const Octets bytes = fromHex(
      "3043 06092a864886f70d010705 a036 3034 020100 3006 06022a03 0500"
      "3012 06092a864886f70d010701 a005 0403616263"
      "0413 00112233445566778899aabbccddeeff001122");
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(text(bytesParam(message, CMSG_CONTENT_PARAM)), "abc");
  EXPECT_EQ(verifyHash(message), CRYPT_E_UNKNOWN_ALGO);
  EXPECT_EQ(paramError(message, CMSG_COMPUTED_HASH_PARAM), CRYPT_E_UNKNOWN_ALGO);
}

}  // namespace
}  // namespace qx::test::hashed_message_test
