#include <gtest/gtest.h>

#include "provider/cipher/gost28147_wrap.h"
#include "provider/cipher/key_agreement.h"
#include "provider/der/values.h"
#include "provider/der/writer.h"
#include "provider/message/enveloped_data.h"
#include "provider/message/gost_key_transport.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/envelopes.h"
#include "tests/support/kind_name.h"

// Neither openssl nor the engine makes a key agreement with the wrap of GOST 28147-89. But what it does
// is what its key transport does, in other places of the message: so here a message of openssl's is
// taken apart and put together again as an agreement.

namespace qx::test::envelope_agreement_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Agreed.");
constexpr const char* kPlainWrap = "1.2.643.2.2.13.0";
constexpr const char* kDiversifiedWrap = "1.2.643.2.2.13.1";

der::Encoding copy(der::Bytes bytes) {
  return der::Encoding::owned({bytes.begin(), bytes.end()});
}

/// How the agreement is written.
struct Form {
  const char* wrap = kDiversifiedWrap;
  const char* algorithm = "1.2.643.2.2.96";
  bool keyId = false;
  bool ukmInParameters = false;
  bool bareOriginator = false;
  bool originatorByCertificate = false;
};

/// A message of openssl's for one recipient, taken apart.
class Parts {
 public:
  explicit Parts(Signer& recipient)
      : recipient_(&recipient),
        message_(opensslEncrypt({&recipient}, kContent, {"-gost89"})),
        transport_(readTransport()) {}

  GostKeyTransport& transport() { return transport_; }

  /// The same with agreement entries in the place of the transport.
  Octets asAgreement(const Form& form, int entries = 1) const {
    der::Encoding keys;
    for (int i = 0; i < entries; ++i) {
      keys.append(der::sequence(recipientId(form), der::wrap(der::kOctetString, wrappedKey())));
    }
    der::Encoding agreement = der::integer(3);
    agreement.append(der::wrap(der::contextConstructed(0), originator(form)));
    if (!form.ukmInParameters) {
      agreement.append(der::wrap(der::contextConstructed(1), der::octetString(transport_.ukm)));
    }
    const Octets wrapping = wrapAlgorithm(form);
    agreement.append(copy(der::algorithm(form.algorithm, wrapping)->bytes()));
    agreement.append(der::wrap(der::kSequence, std::move(keys)));
    return withRecipients(der::wrap(der::contextConstructed(1), std::move(agreement)));
  }

  /// The message with other recipients.
  Octets withRecipients(der::Encoding recipients) const {
    der::Reader outer(der::readWhole(message_, der::kSequence)->content);
    const der::Element type = *outer.next();
    der::Reader tagged(outer.next()->content);
    der::Reader fields(tagged.next()->content);
    (void)fields.next();
    (void)fields.next();
    return der::sequence(copy(type.whole),
                         der::wrap(der::contextConstructed(0),
                                   der::sequence(der::integer(2),
                                                 der::wrap(der::kSet, std::move(recipients)),
                                                 copy(fields.rest()))))
        .bytes();
  }

  /// The one recipient as he stood in the message.
  Octets transportEntry() const {
    der::Reader outer(der::readWhole(message_, der::kSequence)->content);
    (void)outer.next();
    der::Reader tagged(outer.next()->content);
    der::Reader fields(tagged.next()->content);
    (void)fields.next();
    const der::Bytes set = fields.next()->content;
    return {set.begin(), set.end()};
  }

 private:
  GostKeyTransport readTransport() const {
    der::Reader outer(der::readWhole(message_, der::kSequence)->content);
    (void)outer.next();
    der::Reader tagged(outer.next()->content);
    return *readGostKeyTransport(readEnvelopedData(*tagged.next())->recipients[0].encryptedKey);
  }

  der::Encoding recipientId(const Form& form) const {
    if (form.keyId) {
      const Octets id = recipient_->keyId();
      return der::wrap(der::contextConstructed(0), copy(der::octetString(id).bytes()));
    }
    const CERT_INFO& info = recipient_->info();
    return der::sequence(
        copy({info.Issuer.pbData, info.Issuer.cbData}),
        der::integerFromLittleEndian({info.SerialNumber.pbData, info.SerialNumber.cbData}));
  }

  der::Encoding wrappedKey() const {
    return copy(der::sequence(der::octetString(transport_.wrapped.encrypted),
                              der::octetString(transport_.wrapped.mac))
                    .bytes());
  }

  der::Encoding originator(const Form& form) const {
    if (form.originatorByCertificate) {
      return recipientId({.keyId = false});
    }
    der::Reader spki(der::readWhole(transport_.ephemeralKey, der::kSequence)->content);
    const der::Element algorithm = *spki.next();
    der::Encoding key = form.bareOriginator
                            ? *der::algorithm(der::readAlgorithm(algorithm)->oid, {})
                            : copy(algorithm.whole);
    key.append(copy(spki.rest()));
    return der::wrap(der::contextConstructed(1), std::move(key));
  }

  Octets wrapAlgorithm(const Form& form) const {
    der::Encoding parameters = *der::oid(transport_.set);
    if (form.ukmInParameters) {
      parameters.append(der::octetString(transport_.ukm));
    }
    const Octets inner = der::wrap(der::kSequence, std::move(parameters)).bytes();
    return der::algorithm(form.wrap, inner)->bytes();
  }

  Signer* recipient_;
  Octets message_;
  GostKeyTransport transport_;
};

class Agreement : public ::testing::TestWithParam<KeyKind> {
 protected:
  Signer& recipient() const { return signer(GetParam()); }
};

TEST_P(Agreement, IsOpened) {
  const Octets message = Parts(recipient()).asAgreement({});
  EXPECT_EQ(develope(message, 0, recipient()), kContent);
}

TEST_P(Agreement, IsOpenedUnderTheNamesOfLaterStandards) {
  const Parts parts(recipient());
  for (const char* algorithm : {"1.2.643.2.2.98", "1.2.643.7.1.1.6.1", "1.2.643.7.1.1.6.2"}) {
    EXPECT_EQ(develope(parts.asAgreement({.algorithm = algorithm}), 0, recipient()), kContent);
  }
}

TEST_P(Agreement, IsOpenedWithTheUkmInTheParameters) {
  const Octets message = Parts(recipient()).asAgreement({.ukmInParameters = true});
  EXPECT_EQ(develope(message, 0, recipient()), kContent);
}

TEST_P(Agreement, IsOpenedWithTheRecipientsParameters) {
  const Octets message = Parts(recipient()).asAgreement({.bareOriginator = true});
  EXPECT_EQ(develope(message, 0, recipient()), kContent);
}

TEST_P(Agreement, IsOpenedByKeyId) {
  const MessageHandle decoded = decode(Parts(recipient()).asAgreement({.keyId = true}));
  const RecordParam<CERT_INFO> info(decoded, CMSG_RECIPIENT_INFO_PARAM);
  EXPECT_STREQ(info->SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.643.2.2.96");
  EXPECT_NE(hex(info->Issuer).find(toHex(recipient().keyId())), std::string::npos);
  ASSERT_EQ(decryptError(decoded, 0, recipient()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent);
}

TEST_P(Agreement, CountsEachOfItsRecipientsBesideOthers) {
  const Parts parts(recipient());
  const Octets twice = parts.asAgreement({}, /*entries=*/2);
  const MessageHandle agreed = decode(twice);
  EXPECT_EQ(numberParam(agreed, CMSG_RECIPIENT_COUNT_PARAM), 2U);
  ASSERT_EQ(decryptError(agreed, 1, recipient()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(agreed, CMSG_CONTENT_PARAM), kContent);

  der::Reader outer(der::readWhole(twice, der::kSequence)->content);
  (void)outer.next();
  der::Reader tagged(outer.next()->content);
  der::Reader fields(tagged.next()->content);
  (void)fields.next();
  der::Encoding both = copy(fields.next()->content);
  both.append(copy(parts.transportEntry()));
  const MessageHandle mixed = decode(parts.withRecipients(std::move(both)));
  EXPECT_EQ(numberParam(mixed, CMSG_RECIPIENT_COUNT_PARAM), 3U);
  for (DWORD i = 0; i < 3; ++i) {
    const RecordParam<CERT_INFO> info(mixed, CMSG_RECIPIENT_INFO_PARAM, i);
    EXPECT_TRUE(CertCompareCertificate(kEncoding, writable(&*info), &recipient().info())) << i;
  }
  EXPECT_EQ(decryptError(mixed, 2, recipient()), ERROR_SUCCESS);
}

TEST_P(Agreement, WithAPlainWrapIsOpened) {
  Parts parts(recipient());
  // The session key, wrapped anew in the other way.
  const auto own = usableKey(recipient().provider());
  ASSERT_TRUE(own);
  GostKeyTransport& transport = parts.transport();
  const auto agreed = vko(**own, *PublicKey::parse(transport.ephemeralKey), transport.ukm);
  ASSERT_TRUE(agreed);
  const auto session = unwrapKey(
      Gost28147Wrap::Diversified, transport.set, agreed->bytes(), transport.ukm, transport.wrapped);
  ASSERT_TRUE(session);
  transport.wrapped = *wrapKey(
      Gost28147Wrap::Plain, transport.set, agreed->bytes(), transport.ukm, session->bytes());
  EXPECT_EQ(develope(parts.asAgreement({.wrap = kPlainWrap}), 0, recipient()), kContent);
  EXPECT_EQ(developeError(parts.asAgreement({.wrap = kDiversifiedWrap}), 0, recipient()),
            static_cast<DWORD>(NTE_BAD_DATA))
      << "the two ways are not the same";
}

TEST_P(Agreement, WithAnotherWrapIsRefused) {
  const Octets message = Parts(recipient()).asAgreement({.wrap = "1.2.643.2.2.13.2"});
  EXPECT_EQ(developeError(message, 0, recipient()), static_cast<DWORD>(NTE_BAD_ALGID));
}

TEST_P(Agreement, WithAnotherAlgorithmIsRefused) {
  const Octets message = Parts(recipient()).asAgreement({.algorithm = "1.2.840.113549.1.1.1"});
  EXPECT_EQ(developeError(message, 0, recipient()), static_cast<DWORD>(NTE_BAD_ALGID));
}

TEST_P(Agreement, WithAnUnknownOriginatorIsRefused) {
  const Octets message = Parts(recipient()).asAgreement({.originatorByCertificate = true});
  EXPECT_EQ(developeError(message, 0, recipient()), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
}

TEST_P(Agreement, WithChangedPartsIsBadData) {
  for (const auto change : {0, 1, 2}) {
    Parts parts(recipient());
    GostKeyTransport& transport = parts.transport();
    Octets* const changed[] = {
        &transport.wrapped.encrypted, &transport.wrapped.mac, &transport.ukm};
    changed[change]->front() ^= 1U;
    EXPECT_EQ(developeError(parts.asAgreement({}), 0, recipient()),
              static_cast<DWORD>(NTE_BAD_DATA));
  }
}

TEST_P(Agreement, WithPartsOfWrongLengthsIsBadData) {
  for (const auto change : {0, 1, 2}) {
    for (const int step : {-1, 1}) {
      Parts parts(recipient());
      GostKeyTransport& transport = parts.transport();
      Octets* const changed[] = {
          &transport.wrapped.encrypted, &transport.wrapped.mac, &transport.ukm};
      changed[change]->resize(changed[change]->size() + static_cast<std::size_t>(step));
      EXPECT_EQ(developeError(parts.asAgreement({}), 0, recipient()),
                static_cast<DWORD>(NTE_BAD_DATA))
          << "the engine would end the process";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Gost,
                         Agreement,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512),
                         kindOf);

}  // namespace
}  // namespace qx::test::envelope_agreement_test
