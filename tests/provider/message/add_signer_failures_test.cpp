#include <functional>
#include <memory>
#include <ostream>

#include <gtest/gtest.h>

#include "platform/crypt_prov.h"

#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/encode_records.h"
#include "tests/provider/message/signed_parts.h"

namespace qx::test::add_signer_failures_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed by one, then not by others.");

Signer& first() {
  return signer(KeyKind::EcP256);
}

Signer& second() {
  return signer(KeyKind::Rsa2048);
}

/// One way to spoil the record of a good signer, and what that gives.
struct Failure {
  const char* name;
  DWORD error;
  std::function<void(CMSG_SIGNER_ENCODE_INFO_LONG&)> spoil;
};

std::ostream& operator<<(std::ostream& out, const Failure& failure) {
  return out << failure.name;
}

CERT_INFO& emptyInfo() {
  static CERT_INFO info{};
  return info;
}

CERT_INFO& infoWithoutSerial() {
  static CERT_INFO info = [] {
    CERT_INFO copy = second().info();
    copy.SerialNumber = {};
    return copy;
  }();
  return info;
}

HCRYPTPROV providerWithoutKey() {
  static auto& context = *new KeyContext(PROV_GOST_2001_DH);
  return context.handle();
}

HCRYPTPROV providerOfALostKey() {
  static auto& context = *new KeyContext(
      PROV_GOST_2001_DH, {.location = Location::CurrentUser, .id = std::string(64, '0')});
  return context.handle();
}

CRYPT_ATTRIBUTE& attributeOfOurs() {
  static const AttributeRecord record("1.2.840.113549.1.9.4", {fromHex("0500")});
  return const_cast<CRYPT_ATTRIBUTE&>(record.record);  // NOLINT(*-const-cast): only read
}

class AddSignerFailure : public ::testing::TestWithParam<Failure> {};

// What failed leaves nothing behind, and the next one is added as if nothing had been.
TEST_P(AddSignerFailure, IsToldAndLeavesTheMessageAsItWas) {
  const Octets bytes = sign({&first()}, kContent);
  const MessageHandle message = decode(bytes);
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(second());
  GetParam().spoil(info);
  EXPECT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), GetParam().error);
  EXPECT_EQ(changedMessage(message), bytes);
  EXPECT_EQ(numberParam(message, CMSG_SIGNER_COUNT_PARAM), 1U);
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  EXPECT_TRUE(keepsEveryPart(bytes, changedMessage(message)));
  EXPECT_TRUE(cmsVerifies(changedMessage(message), {&first(), &second()}));
}

using Info = CMSG_SIGNER_ENCODE_INFO_LONG;

INSTANTIATE_TEST_SUITE_P(
    Records,
    AddSignerFailure,
    ::testing::Values(
        Failure{"NoSize", E_INVALIDARG, [](Info& i) { i.cbSize = 0; }},
        Failure{"ShortSize",
                E_INVALIDARG,
                [](Info& i) { i.cbSize = sizeof(CMSG_SIGNER_ENCODE_INFO) - 1; }},
        Failure{"NoCertificate", E_INVALIDARG, [](Info& i) { i.pCertInfo = nullptr; }},
        Failure{"EmptyCertificate", E_INVALIDARG, [](Info& i) { i.pCertInfo = &emptyInfo(); }},
        Failure{
            "NoSerialNumber", E_INVALIDARG, [](Info& i) { i.pCertInfo = &infoWithoutSerial(); }},
        Failure{"NoProvider", E_INVALIDARG, [](Info& i) { i.hCryptProv = 0; }},
        Failure{"NoKey", NTE_NO_KEY, [](Info& i) { i.hCryptProv = providerWithoutKey(); }},
        Failure{"LostKey", NTE_BAD_KEYSET, [](Info& i) { i.hCryptProv = providerOfALostKey(); }},
        Failure{
            "NoHash", CRYPT_E_UNKNOWN_ALGO, [](Info& i) { i.HashAlgorithm.pszObjId = nullptr; }},
        Failure{"UnknownHash",
                CRYPT_E_UNKNOWN_ALGO,
                [](Info& i) { i.HashAlgorithm.pszObjId = writable("1.2.3.4"); }},
        Failure{"BrokenHash",
                NTE_BAD_ALGID,
                [](Info& i) { i.HashAlgorithm.pszObjId = writable("1.2.840.113549.2.5"); }},
        Failure{"HashOfAnotherSize",
                NTE_BAD_ALGID,
                [](Info& i) {
                  i.HashEncryptionAlgorithm.pszObjId = writable("1.2.840.113549.1.1.13");
                }},
        Failure{
            "AlgorithmOfAnotherKey",
            NTE_BAD_ALGID,
            [](Info& i) { i.HashEncryptionAlgorithm.pszObjId = writable("1.2.840.10045.4.3.2"); }},
        Failure{"IdentifierOfNoKind", E_INVALIDARG, [](Info& i) { i.SignerId.dwIdChoice = 9; }},
        Failure{"AttributesWithoutArray", E_INVALIDARG, [](Info& i) { i.cAuthAttr = 1; }},
        Failure{"UnsignedAttributesWithoutArray", E_INVALIDARG, [](Info& i) { i.cUnauthAttr = 1; }},
        Failure{"AttributeThatWeAdd",
                E_INVALIDARG,
                [](Info& i) {
                  i.cAuthAttr = 1;
                  i.rgAuthAttr = &attributeOfOurs();
                }},
        Failure{"SomebodyWhoSignedAlready",
                CRYPT_E_EXISTS,
                [](Info& i) {
                  i.pCertInfo = &first().info();
                  i.hCryptProv = first().provider();
                }}),
    [](const ::testing::TestParamInfo<Failure>& parameter) {
      return std::string(parameter.param.name);
    });

class AddSignerWithPin : public ::testing::Test {
 protected:
  static DWORD setPin(Signer& one, const char* pin) {
    return errorOf([&] {
      return CryptSetProvParam(
          one.provider(), PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(pin), 0);
    });
  }

  const MessageHandle message_ = decode(sign({&first()}, kContent));
};

TEST_F(AddSignerWithPin, NeedsItAndTheRightOne) {
  Signer locked(KeyKind::EcP256, "Locked", "right");
  EXPECT_EQ(addSigner(message_, locked), SCARD_W_WRONG_CHV);
  ASSERT_EQ(setPin(locked, "wrong"), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message_, locked), SCARD_W_WRONG_CHV);
  EXPECT_EQ(numberParam(message_, CMSG_SIGNER_COUNT_PARAM), 1U);
  ASSERT_EQ(setPin(locked, "right"), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message_, locked), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&first(), &locked}));
}

TEST(AddSignerTooEarly, IsRefusedBeforeTheMessage) {
  EXPECT_EQ(addSigner(openDecoder(), second()), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(addBlob(openDecoder(), CMSG_CTRL_ADD_CERT, second().der()), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(paramError(openDecoder(), CMSG_ENCODED_MESSAGE), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(AddSignerTooEarly, IsRefusedAfterAMessageThatWasNotRead) {
  const Octets bytes = sign({&first()}, kContent);
  const MessageHandle message = openDecoder();
  ASSERT_EQ(update(message, der::Bytes(bytes).first(bytes.size() - 1)), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(addSigner(message, second()), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, second().der()), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(paramError(message, CMSG_ENCODED_MESSAGE), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(AddSignerTooEarly, IsRefusedWhileAMessageIsMade) {
  const MessageHandle message = openEncoder({&first()});
  EXPECT_EQ(addSigner(message, second()), E_INVALIDARG);
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message, second()), E_INVALIDARG);
}

TEST(AddSignerTo, AMessageThatIsNotSignedIsRefused) {
  const Octets data = fromHex("3010 06092a864886f70d010701 a003 040161");
  const MessageHandle message = decode(data);
  EXPECT_EQ(addSigner(message, second()), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, second().der()), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(changedMessage(message), data);
}

TEST(AddSignerTo, AHandleOfAnotherKindIsRefused) {
  const MessageHandle message = decode(sign({&first()}, kContent));
  CMSG_SIGNER_ENCODE_INFO info = second().encodeInfo();
  info.hCryptProv = reinterpret_cast<HCRYPTPROV>(message.get());
  EXPECT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), ERROR_INVALID_HANDLE);
}

class AddSignerDetached : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(update(message_, bytes_), ERROR_SUCCESS); }

  const Octets& bytes() const { return bytes_; }

  const MessageHandle& message() const { return message_; }

 private:
  const Octets bytes_ = sign({&first()}, kContent, {.flags = CMSG_DETACHED_FLAG});
  const MessageHandle message_ = openDecoder(CMSG_DETACHED_FLAG);
};

TEST_F(AddSignerDetached, FailsBeforeTheContentAndSpoilsIt) {
  EXPECT_EQ(addSigner(message(), second()), NTE_BAD_HASH_STATE);
  EXPECT_EQ(changedMessage(message()), bytes());
  EXPECT_EQ(update(message(), kContent), NTE_BAD_HASH_STATE);
}

TEST_F(AddSignerDetached, FailsBetweenTheParts) {
  ASSERT_EQ(update(message(), octets("Signed by one, "), /*final=*/false), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message(), second()), NTE_BAD_HASH_STATE);
  EXPECT_EQ(changedMessage(message()), bytes());
}

TEST_F(AddSignerDetached, ToContentInPartsSignsWithAHashThatWasTaken) {
  ASSERT_EQ(update(message(), kContent, /*final=*/false), ERROR_SUCCESS);
  ASSERT_EQ(update(message(), {}), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message(), signer(KeyKind::Gost2001)), NTE_BAD_HASH_STATE)
      << "nobody hashed it so while it passed";
  EXPECT_EQ(addSigner(message(), second()), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changedMessage(message()), {&first(), &second()}, &kContent));
}

TEST_F(AddSignerDetached, SignsWhatIsGivenAndNotWhatTheFirstOneSigned) {
  const Octets other = octets("Something else.");
  ASSERT_EQ(update(message(), other), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(message(), second()), ERROR_SUCCESS);
  const MessageHandle again = decodeDetached(changedMessage(message()), other);
  EXPECT_EQ(verify(again, 0, first().context()), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verify(again, 1, second().context()), ERROR_SUCCESS);
}

TEST_F(AddSignerDetached, TakesACertificateBeforeTheContent) {
  ASSERT_EQ(addBlob(message(), CMSG_CTRL_ADD_CERT, second().der()), ERROR_SUCCESS);
  ASSERT_EQ(update(message(), kContent), ERROR_SUCCESS);
  EXPECT_EQ(verify(message(), 0, first().context()), ERROR_SUCCESS);
  EXPECT_EQ(partsOf(changedMessage(message())).certificates.size(), 2U);
}

// The fields of the long form are read only when the record says that it has them.
TEST(AddSignerRecord, OfTheShortFormIsNotReadBeyondItsEnd) {
  const MessageHandle message = decode(sign({&first()}, kContent));
  Info info = longForm(second());
  info.cbSize = sizeof(CMSG_SIGNER_ENCODE_INFO);
  info.SignerId.dwIdChoice = 9;
  info.HashEncryptionAlgorithm.pszObjId = writable("1.2.3.4");
  EXPECT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changedMessage(message), {&first(), &second()}));
}

}  // namespace
}  // namespace qx::test::add_signer_failures_test
