#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/message/limits.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/envelopes.h"

namespace qx::test::envelope_decode_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("For the eyes of some.");

Signer& gost() {
  return signer(KeyKind::Gost2012_256);
}

/// A message whose encryptedContent is what the caller wants, and its recipients nobody.
Octets messageOf(const std::string& recipients, const std::string& encrypted) {
  const Octets set = fromHex(recipients);
  const Octets content = fromHex(encrypted);
  der::Encoding info = *der::oid("1.2.840.113549.1.7.1");
  const Octets parameters = fromHex("3013 0408 0102030405060708 0607 2a850302021f01");
  info.append(*der::algorithm(kGost28147, parameters));
  info.append(der::Encoding::borrowed(content));
  der::Encoding bare = der::integer(0);
  bare.append(der::wrap(der::kSet, der::Encoding::borrowed(set)));
  bare.append(der::wrap(der::kSequence, std::move(info)));
  return der::sequence(
             *der::oid("1.2.840.113549.1.7.3"),
             der::wrap(der::contextConstructed(0), der::wrap(der::kSequence, std::move(bare))))
      .bytes();
}

/// The message without its encryptedContent.
Octets withoutContent(const Octets& message) {
  der::Reader outer(der::readWhole(message, der::kSequence)->content);
  const der::Element type = *outer.next();
  der::Reader tagged(outer.next()->content);
  der::Reader fields(tagged.next()->content);
  const der::Element version = *fields.next();
  const der::Element recipients = *fields.next();
  der::Reader info(fields.next()->content);
  const der::Element contentType = *info.next();
  const der::Element algorithm = *info.next();
  const auto borrowed = [](const der::Element& element) {
    return der::Encoding::borrowed(element.whole);
  };
  return der::sequence(
             borrowed(type),
             der::wrap(der::contextConstructed(0),
                       der::sequence(borrowed(version),
                                     borrowed(recipients),
                                     der::sequence(borrowed(contentType), borrowed(algorithm)))))
      .bytes();
}

CMSG_CTRL_DECRYPT_PARA decryptPara(HCRYPTPROV provider) {
  CMSG_CTRL_DECRYPT_PARA para{};
  para.cbSize = sizeof para;
  para.hCryptProv = provider;
  para.dwKeySpec = AT_KEYEXCHANGE;
  return para;
}

TEST(EnvelopeDecode, TellsWhatTheMessageIs) {
  const MessageHandle decoded = decode(envelope({&gost(), &signer(KeyKind::Rsa2048)}, kContent));
  EXPECT_EQ(numberParam(decoded, CMSG_TYPE_PARAM), static_cast<DWORD>(CMSG_ENVELOPED));
  EXPECT_EQ(numberParam(decoded, CMSG_VERSION_PARAM), 0U);
  EXPECT_EQ(numberParam(decoded, CMSG_RECIPIENT_COUNT_PARAM), 2U);
  EXPECT_EQ(textParam(decoded, CMSG_INNER_CONTENT_TYPE_PARAM), "1.2.840.113549.1.7.1");
  const RecordParam<CRYPT_ALGORITHM_IDENTIFIER> cipher(decoded, CMSG_ENVELOPE_ALGORITHM_PARAM);
  EXPECT_STREQ(cipher->pszObjId, kGost28147);
}

TEST(EnvelopeDecode, ShowsTheCiphertextBeforeAndTheContentAfter) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  const Octets before = bytesParam(decoded, CMSG_CONTENT_PARAM);
  EXPECT_EQ(before.size(), kContent.size());
  EXPECT_NE(before, kContent);
  ASSERT_EQ(decryptError(decoded, 0, gost()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent) << "as often as one likes";
}

TEST(EnvelopeDecode, TellsWhoseKeyOpenedIt) {
  const MessageHandle decoded =
      decode(envelope({&signer(KeyKind::Gost2001), &signer(KeyKind::Gost2001)}, kContent));
  EXPECT_EQ(paramError(decoded, CMSG_RECIPIENT_INDEX_PARAM),
            static_cast<DWORD>(CRYPT_E_NOT_DECRYPTED));
  ASSERT_EQ(decryptError(decoded, 1, signer(KeyKind::Gost2001)), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decoded, CMSG_RECIPIENT_INDEX_PARAM), 1U);
}

TEST(EnvelopeDecode, RefusesAnIndexThatIsNone) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  EXPECT_EQ(paramError(decoded, CMSG_RECIPIENT_INFO_PARAM, 1),
            static_cast<DWORD>(CRYPT_E_INVALID_INDEX));
  EXPECT_EQ(decryptError(decoded, 1, gost()), static_cast<DWORD>(CRYPT_E_INVALID_INDEX));
  EXPECT_EQ(decryptError(decoded, 0xFFFFFFFF, gost()), static_cast<DWORD>(CRYPT_E_INVALID_INDEX));
}

TEST(EnvelopeDecode, DecryptsOnce) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  ASSERT_EQ(decryptError(decoded, 0, gost()), ERROR_SUCCESS);
  const CMSG_CTRL_DECRYPT_PARA nobody = decryptPara(0);
  EXPECT_EQ(control(decoded, CMSG_CTRL_DECRYPT, &nobody),
            static_cast<DWORD>(CRYPT_E_ALREADY_DECRYPTED))
      << "told before the provider is looked at";
}

TEST(EnvelopeDecode, RefusesADecryptParaThatIsNone) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  EXPECT_EQ(control(decoded, CMSG_CTRL_DECRYPT, nullptr), static_cast<DWORD>(E_INVALIDARG));
  CMSG_CTRL_DECRYPT_PARA para = decryptPara(gost().provider());
  para.cbSize = 0;
  EXPECT_EQ(control(decoded, CMSG_CTRL_DECRYPT, &para), static_cast<DWORD>(E_INVALIDARG));
  para = decryptPara(0);
  EXPECT_EQ(control(decoded, CMSG_CTRL_DECRYPT, &para), ERROR_INVALID_PARAMETER);
}

TEST(EnvelopeDecode, MayBeTriedAgainAfterARefusal) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  EXPECT_EQ(decryptError(decoded, 0, signer(KeyKind::Gost2012_256, 1)),
            static_cast<DWORD>(NTE_BAD_DATA));
  EXPECT_EQ(decryptError(decoded, 0, gost()), ERROR_SUCCESS);
}

TEST(EnvelopeDecode, RefusesKeysOfAnotherKind) {
  const Octets message = envelope({&gost()}, kContent);
  for (const KeyKind kind :
       {KeyKind::Gost2001, KeyKind::Gost2012_512, KeyKind::Rsa2048, KeyKind::EcP256}) {
    EXPECT_EQ(developeError(message, 0, signer(kind)), static_cast<DWORD>(NTE_BAD_KEY))
        << lab::kindName(kind);
  }
  const Octets rsa = envelope({&signer(KeyKind::Rsa2048)}, kContent);
  EXPECT_EQ(developeError(rsa, 0, gost()), static_cast<DWORD>(NTE_BAD_KEY));
}

TEST(EnvelopeDecode, NeedsAKeyThatIsUnlocked) {
  const EvpPkeyPtr key = lab::generateKey(KeyKind::Gost2012_256);
  testFolder().addKey(key.get(), "1234");
  const std::string file = keyFileName(key.get());
  KeyContext locked(
      PROV_GOST_2001_DH,
      KeyReference{.location = Location::CurrentUser, .id = file.substr(0, file.rfind('.'))});
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  const CMSG_CTRL_DECRYPT_PARA para = decryptPara(locked.handle());
  EXPECT_EQ(control(decoded, CMSG_CTRL_DECRYPT, &para), static_cast<DWORD>(SCARD_W_WRONG_CHV));
}

TEST(EnvelopeDecode, ReleasesAHandleThatItWasGiven) {
  std::unique_ptr<KeyContext> own = gost().newContext();
  const HCRYPTPROV handle = own->handle();
  {
    const MessageHandle decoded = decode(envelope({&gost()}, kContent));
    const CMSG_CTRL_DECRYPT_PARA para = decryptPara(handle);
    ASSERT_TRUE(
        CryptMsgControl(decoded.get(), CMSG_CRYPT_RELEASE_CONTEXT_FLAG, CMSG_CTRL_DECRYPT, &para));
    EXPECT_TRUE(isKeyContext(handle));
    // NOLINTNEXTLINE(bugprone-unused-return-value): the context is the message's now
    (void)own.release();
  }
  // The sanitizers see whether the context went.
}

TEST(EnvelopeDecode, KeepsItsHandsOffAHandleAfterARefusal) {
  const std::unique_ptr<KeyContext> own = signer(KeyKind::Rsa2048).newContext();
  {
    const MessageHandle decoded = decode(envelope({&gost()}, kContent));
    const CMSG_CTRL_DECRYPT_PARA para = decryptPara(own->handle());
    EXPECT_FALSE(
        CryptMsgControl(decoded.get(), CMSG_CRYPT_RELEASE_CONTEXT_FLAG, CMSG_CTRL_DECRYPT, &para));
  }
  EXPECT_TRUE(isKeyContext(own->handle()));
}

TEST(EnvelopeDecode, DescribesAKeyIdByTheCertificateOfTheStore) {
  Signer& known = signer(KeyKind::Gost2012_256, 7);
  testFolder().addCertificate("My", known.certificate());
  const MessageHandle decoded = decode(opensslEncrypt({&known}, kContent, {"-gost89", "-keyid"}));
  const RecordParam<CERT_INFO> info(decoded, CMSG_RECIPIENT_INFO_PARAM);
  EXPECT_TRUE(CertCompareCertificate(kEncoding, writable(&*info), &known.info()));
}

TEST(EnvelopeDecode, DescribesAKeyIdThatNoStoreKnowsByANameMadeUp) {
  Signer& unknown = signer(KeyKind::Gost2012_256, 8);
  const MessageHandle decoded = decode(opensslEncrypt({&unknown}, kContent, {"-gost89", "-keyid"}));
  const RecordParam<CERT_INFO> info(decoded, CMSG_RECIPIENT_INFO_PARAM);
  EXPECT_EQ(hex(info->SerialNumber), "00");
  EXPECT_NE(hex(info->Issuer).find(toHex(unknown.keyId())), std::string::npos);
  EXPECT_EQ(numberParam(decoded, CMSG_VERSION_PARAM), 2U);
}

TEST(EnvelopeDecode, GivesTheMessageAsItWas) {
  const Octets message = opensslEncrypt({&gost()}, kContent, {"-gost89", "-stream"});
  const MessageHandle decoded = decode(message);
  ASSERT_EQ(decryptError(decoded, 0, gost()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_ENCODED_MESSAGE), message);
}

TEST(EnvelopeDecode, ReadsBareContentWhenTold) {
  const MessageHandle made = openEnvelope({&gost()});
  ASSERT_EQ(update(made, kContent), ERROR_SUCCESS);
  const MessageHandle decoded = openDecoder(0, CMSG_ENVELOPED);
  ASSERT_EQ(update(decoded, bytesParam(made, CMSG_BARE_CONTENT_PARAM)), ERROR_SUCCESS);
  ASSERT_EQ(decryptError(decoded, 0, gost()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent);
  EXPECT_EQ(decodeError(bytesParam(made, CMSG_CONTENT_PARAM), CMSG_ENVELOPED),
            static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
}

TEST(EnvelopeDecode, TakesTheCiphertextFromOutside) {
  const Octets whole = envelope({&gost()}, kContent);
  const Octets ciphertext = bytesParam(decode(whole), CMSG_CONTENT_PARAM);
  const Octets detached = withoutContent(whole);
  const MessageHandle decoded = decodeDetached(detached, ciphertext);
  ASSERT_EQ(decryptError(decoded, 0, gost()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent);

  const MessageHandle inParts = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(inParts, detached), ERROR_SUCCESS);
  EXPECT_EQ(update(inParts, ciphertext, false), static_cast<DWORD>(CRYPT_E_MSG_ERROR));

  const MessageHandle attached = openDecoder(CMSG_DETACHED_FLAG);
  EXPECT_EQ(update(attached, whole), static_cast<DWORD>(CRYPT_E_MSG_ERROR));

  const MessageHandle missing = decode(detached);
  EXPECT_EQ(bytesParam(missing, CMSG_CONTENT_PARAM), Octets()) << "no content at all";
}

TEST(EnvelopeDecode, AnswersNothingBeforeTheMessage) {
  const MessageHandle decoder = openDecoder(0, CMSG_ENVELOPED);
  EXPECT_EQ(numberParam(decoder, CMSG_TYPE_PARAM), static_cast<DWORD>(CMSG_ENVELOPED));
  EXPECT_EQ(paramError(decoder, CMSG_RECIPIENT_COUNT_PARAM),
            static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE));
  EXPECT_EQ(decryptError(decoder, 0, gost()), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE));
}

TEST(EnvelopeDecode, AnswersNothingOfOtherTypes) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  for (const DWORD type : {CMSG_SIGNER_COUNT_PARAM, CMSG_HASH_DATA_PARAM, CMSG_CERT_COUNT_PARAM}) {
    EXPECT_EQ(paramError(decoded, type), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE)) << type;
  }
  for (const DWORD type : {CMSG_CTRL_VERIFY_HASH, CMSG_CTRL_VERIFY_SIGNATURE_EX}) {
    EXPECT_EQ(control(decoded, type, nullptr), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE));
  }
}

TEST(EnvelopeDecode, OfOtherTypesIsNotDecrypted) {
  const MessageHandle decoded = decode(sign({&gost()}, kContent));
  EXPECT_EQ(decryptError(decoded, 0, gost()), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE));
}

TEST(EnvelopeDecode, PassesOverRecipientsOfOtherKinds) {
  // A password, a key that both sides know, and something else (RFC 5652, 6.2).
  const MessageHandle decoded = decode(messageOf("a203020100 a303020100 a4020500", "8003414243"));
  EXPECT_EQ(numberParam(decoded, CMSG_RECIPIENT_COUNT_PARAM), 0U);
  EXPECT_EQ(decodeError(messageOf("a503020100", "8003414243")),
            static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
}

TEST(EnvelopeDecode, CollectsNestedSegments) {
  const MessageHandle decoded =
      decode(messageOf("", "a080 040141 2480 040142 2403040143 0000 0400 0000"));
  EXPECT_EQ(text(bytesParam(decoded, CMSG_CONTENT_PARAM)), "ABC");
}

TEST(EnvelopeDecode, RefusesSegmentsThatAreNone) {
  for (const char* bad :
       {"a003020141", "a080 040141", "a0030403 41", "8103414243", "a080 0500 0000"}) {
    EXPECT_NE(decodeError(messageOf("", bad)), ERROR_SUCCESS) << bad;
  }
}

TEST(EnvelopeDecode, LimitsRecipients) {
  const std::string one = "3011 020100 3005 3000 020101 3003 06012a 0400";
  ASSERT_EQ(numberParam(decode(messageOf(one, "8000")), CMSG_RECIPIENT_COUNT_PARAM), 1U);
  std::string many;
  for (std::size_t i = 0; i <= kMaxRecipients; ++i) {
    many += one;
  }
  EXPECT_EQ(decodeError(messageOf(many, "8000")), static_cast<DWORD>(CRYPT_E_ASN1_LARGE));
}

TEST(EnvelopeDecode, RefusesCiphersThatItDoesNotKnow) {
  const Octets message = opensslEncrypt({&signer(KeyKind::Rsa2048)}, kContent, {"-des3"});
  EXPECT_EQ(developeError(message, 0, signer(KeyKind::Rsa2048)),
            static_cast<DWORD>(CRYPT_E_UNKNOWN_ALGO));
}

}  // namespace
}  // namespace qx::test::envelope_decode_test
