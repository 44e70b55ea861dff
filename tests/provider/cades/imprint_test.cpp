#include "provider/cades/imprint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/cades/oids.h"
#include "tests/provider/cades/bes.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/foreign_messages.h"

namespace qx::test::imprint_test {
namespace {

Octets joined(const Stamped& parts) {
  Octets all;
  for (const der::Bytes part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

Octets attribute(std::string_view type, const std::string& valueHex) {
  return *encodeAttribute(type, {fromHex(valueHex)});
}

/// The first signer of a message.
SignerInfo signerOf(const Octets& message) {
  const MessageHandle decoded = decode(message);
  const Octets encoded = bytesParam(decoded, CMSG_ENCODED_SIGNER);
  auto signer = SignerInfo::read(der::Slice::owned(encoded));
  EXPECT_TRUE(signer);
  return *std::move(signer);
}

SignerInfo plainSigner() {
  return signerOf(signBes({&signer(lab::KeyKind::EcP256)}, octets("content")));
}

// An attribute is its type and its set of values: here the three have the values 1, 2 and 3.
const char* const kStampHex = "060B2A864886F70D010910020E3103020101";
const char* const kCertificateRefsHex = "060B2A864886F70D01091002153103020102";
const char* const kRevocationRefsHex = "060B2A864886F70D01091002163103020103";

TEST(Imprint, IsOverTheOctetsOfTheSignature) {
  const SignerInfo signer = plainSigner();
  EXPECT_EQ(toHex(joined(stampedBySignatureStamp(signer))), toHex(signer.signature()));
}

// The segments of the string are a matter of encoding.
TEST(Imprint, IsTheSameOverASignatureInSegments) {
  const Octets message = signBes({&signer(lab::KeyKind::EcP256)}, octets("content"));
  EXPECT_EQ(toHex(joined(stampedBySignatureStamp(signerOf(loose(message))))),
            toHex(signerOf(message).signature()));
}

// Whatever the order in the message is.
TEST(Imprint, IsOverTheThreeAttributesInTheirOwnOrder) {
  const SignerInfo plain = plainSigner();
  const auto signer = plain.withAdded({attribute(oids::kRevocationRefs, "020103"),
                                       attribute("1.2.3", "0500"),
                                       attribute(oids::kSignatureTimeStamp, "020101"),
                                       attribute(oids::kCertificateRefs, "020102")});
  ASSERT_TRUE(signer);
  const auto stamped = stampedByCadesCStamp(*signer);
  ASSERT_TRUE(stamped);
  const Octets expected =
      fromHex(toHex(plain.signature()) + kStampHex + kCertificateRefsHex + kRevocationRefsHex);
  EXPECT_EQ(toHex(joined(*stamped)), toHex(expected));
}

TEST(Imprint, CoversEveryTimeStampOfTheSignature) {
  const auto signer = plainSigner().withAdded({attribute(oids::kSignatureTimeStamp, "020101"),
                                               attribute(oids::kCertificateRefs, "020102"),
                                               attribute(oids::kRevocationRefs, "020103"),
                                               attribute(oids::kSignatureTimeStamp, "020104")});
  ASSERT_TRUE(signer);
  EXPECT_EQ(stampedByCadesCStamp(*signer)->size(), 5U);
}

// As it stands, with the lengths that somebody else chose; the header around it does not count.
TEST(Imprint, TakesAttributesAsTheyAreEncoded) {
  const Octets odd = fromHex("3080 060B2A864886F70D010910020E 3180 020101 0000 0000");
  const auto signer = plainSigner().withAdded({odd,
                                               attribute(oids::kCertificateRefs, "020102"),
                                               attribute(oids::kRevocationRefs, "020103")});
  ASSERT_TRUE(signer);
  const auto stamped = stampedByCadesCStamp(*signer);
  ASSERT_TRUE(stamped);
  EXPECT_EQ(toHex((*stamped)[1]), "060b2a864886f70d010910020e31800201010000");
}

TEST(Imprint, NeedsAllThreeAttributes) {
  const std::vector<Octets> three = {attribute(oids::kSignatureTimeStamp, "020101"),
                                     attribute(oids::kCertificateRefs, "020102"),
                                     attribute(oids::kRevocationRefs, "020103")};
  for (std::size_t missing = 0; missing < three.size(); ++missing) {
    std::vector<der::Bytes> two(three.begin(), three.end());
    two.erase(two.begin() + static_cast<std::ptrdiff_t>(missing));
    const auto signer = plainSigner().withAdded(two);
    ASSERT_TRUE(signer);
    EXPECT_EQ(stampedByCadesCStamp(*signer).error(), CRYPT_E_ATTRIBUTES_MISSING);
  }
}

TEST(Imprint, IsTheHashOfAllPartsInARow) {
  const Octets one = octets("ab");
  const Octets two = octets("");
  const Octets three = octets("c");
  EXPECT_EQ(toHex(imprintOf(HashAlgorithm::Sha1, {one, two, three}).bytes()),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
}

}  // namespace
}  // namespace qx::test::imprint_test
