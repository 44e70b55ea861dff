#include "provider/cades/enhance.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/cades/oids.h"
#include "provider/cades/references.h"
#include "provider/cades/signature_kind.h"
#include "provider/cades/time_stamp_token.h"
#include "provider/cades/values.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/cades/libcrypto_signer.h"
#include "tests/provider/cades/verify_world.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/encode_records.h"
#include "tests/provider/message/foreign_messages.h"
#include "tests/provider/message/signed_parts.h"
#include "tests/support/kind_name.h"

namespace qx::test::enhance_test {
namespace {

using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::SizeIs;

const Octets kContent = octets("What is written here is signed.");

const std::vector<std::string>& sixTypes() {
  static const std::vector<std::string> types = {std::string(oids::kSignatureTimeStamp),
                                                 std::string(oids::kCertificateRefs),
                                                 std::string(oids::kRevocationRefs),
                                                 std::string(oids::kCertificateValues),
                                                 std::string(oids::kRevocationValues),
                                                 std::string(oids::kCadesCTimeStamp)};
  return types;
}

std::vector<std::string> unsignedTypes(const SignerInfo& signer) {
  std::vector<std::string> types;
  std::ranges::transform(signer.unsignedAttributes(), std::back_inserter(types), &Attribute::oid);
  return types;
}

const Attribute& attributeOf(const SignerInfo& signer, std::string_view type) {
  return *findAttribute(signer.unsignedAttributes(), type);
}

std::string hexOf(const X509* certificate) {
  return toHex(lab::toDer(certificate));
}

Octets hashed(const Signer& one, der::Bytes bytes) {
  const HashValue value = hashOf(hashByOid(one.hashOid())->algorithm, bytes);
  return {value.bytes().begin(), value.bytes().end()};
}

class EnhanceEachKind : public ::testing::TestWithParam<KeyKind> {};

TEST_P(EnhanceEachKind, MakesAllSixAttributesInTheirOrder) {
  EnhanceWorld& world = sharedWorld(GetParam());
  const MessageHandle message = decode(signBes({&world.signer()}, kContent));
  LabTimeStamps service(world.authority());
  const auto done = enhance(dataOf(message), 0, service);
  ASSERT_TRUE(done) << std::hex << done.error();
  const SignerInfo& signer = dataOf(message).signers().front();
  EXPECT_THAT(unsignedTypes(signer), ElementsAreArray(sixTypes()));
  EXPECT_TRUE(isXLongType1(signer));
  EXPECT_TRUE(cadesVerifies(changedMessage(message), {&world.signer()}));
}

// What libcrypto says that the signature's octets and the attributes are, is what was stamped.
TEST_P(EnhanceEachKind, StampsTheSignatureAndThenTheWhole) {
  EnhanceWorld& world = sharedWorld(GetParam());
  Signer& one = world.signer();
  const MessageHandle message = decode(signBes({&one}, kContent));
  LabTimeStamps service(world.authority());
  ASSERT_TRUE(enhance(dataOf(message), 0, service));
  const LibcryptoSigner theirs(changedMessage(message));
  const Octets signature = theirs.signature();
  Octets whole = signature;
  for (const std::string_view type :
       {oids::kSignatureTimeStamp, oids::kCertificateRefs, oids::kRevocationRefs}) {
    const Octets attribute = theirs.unsignedAttributeWithoutHeader(type);
    whole.insert(whole.end(), attribute.begin(), attribute.end());
  }
  EXPECT_THAT(service.imprints(), ElementsAre(hashed(one, signature), hashed(one, whole)));
  const Octets first = theirs.unsignedValue(oids::kSignatureTimeStamp);
  const Octets last = theirs.unsignedValue(oids::kCadesCTimeStamp);
  EXPECT_EQ(toHex(TimeStampToken::read(first)->info().imprint), toHex(hashed(one, signature)));
  EXPECT_EQ(toHex(TimeStampToken::read(last)->info().imprint), toHex(hashed(one, whole)));
}

INSTANTIATE_TEST_SUITE_P(Enhance, EnhanceEachKind, ::testing::ValuesIn(allKinds()), kindOf);

class EnhanceTest : public ::testing::Test {
 protected:
  EnhanceTest() : world_(&sharedWorld()), service_(world_->authority()) {}

  Signer& one() { return world_->signer(); }

  EnhanceWorld* world_;
  LabTimeStamps service_;
};

TEST_F(EnhanceTest, CarriesTheChainsOfTheSignerAndOfTheAuthority) {
  const MessageHandle message = decode(signBes({&one()}, kContent));
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  const SignerInfo& signer = dataOf(message).signers().front();
  const auto values = readCertificateValues(attributeOf(signer, oids::kCertificateValues));
  ASSERT_TRUE(values);
  std::vector<std::string> texts;
  std::ranges::transform(*values, std::back_inserter(texts), toHex);
  EXPECT_THAT(texts,
              ElementsAre(toHex(one().der()),
                          hexOf(world_->issuer().certificate()),
                          hexOf(world_->root().certificate()),
                          hexOf(world_->authority().certificate())));
  const auto revocation = readRevocationValues(attributeOf(signer, oids::kRevocationValues));
  ASSERT_TRUE(revocation);
  texts.clear();
  std::ranges::transform(revocation->crls, std::back_inserter(texts), toHex);
  EXPECT_THAT(texts,
              ElementsAre(toHex(world_->storedCrl(world_->issuer())),
                          toHex(world_->storedCrl(world_->root()))));
  EXPECT_THAT(revocation->ocsp, SizeIs(0));
}

TEST_F(EnhanceTest, RefersToTheSignersChainWithoutHimself) {
  const MessageHandle message = decode(signBes({&one()}, kContent));
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  const SignerInfo& signer = dataOf(message).signers().front();
  const auto refs = readCertificateRefs(attributeOf(signer, oids::kCertificateRefs));
  ASSERT_TRUE(refs);
  ASSERT_EQ(refs->size(), 2U);
  EXPECT_TRUE((*refs)[0].matches(*dataOf(world_->issuer().certificate())));
  EXPECT_TRUE((*refs)[1].matches(*dataOf(world_->root().certificate())));
  EXPECT_EQ((*refs)[0].hash.hash->algorithm, HashAlgorithm::Sha256);
  const auto revocation = readRevocationRefs(attributeOf(signer, oids::kRevocationRefs));
  ASSERT_TRUE(revocation);
  ASSERT_EQ(revocation->size(), 3U);
  ASSERT_EQ((*revocation)[0].crls.size(), 1U);
  EXPECT_TRUE(
      (*revocation)[0].crls[0].matches(**CrlData::parse(world_->storedCrl(world_->issuer()))));
  ASSERT_EQ((*revocation)[1].crls.size(), 1U);
  EXPECT_TRUE(
      (*revocation)[1].crls[0].matches(**CrlData::parse(world_->storedCrl(world_->root()))));
  EXPECT_TRUE((*revocation)[2].crls.empty()) << "nobody revokes a root";
}

TEST_F(EnhanceTest, NeedsNoCertificatesAndNoContentInTheMessage) {
  testFolder().addCertificate("My", one().certificate());
  const Octets plain =
      signBes({&one()}, kContent, {.flags = CMSG_DETACHED_FLAG, .certificates = false});
  const MessageHandle message = decode(plain);
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  const Octets changed = changedMessage(message);
  EXPECT_TRUE(partsOf(changed).certificates.empty());
  EXPECT_TRUE(cadesVerifies(changed, {&one()}, &kContent));
}

TEST_F(EnhanceTest, StampsAShaOneSignatureWithABetterHash) {
  Signer& rsa = world_->signer(KeyKind::Rsa2048);
  CMSG_SIGNER_ENCODE_INFO record = rsa.encodeInfo();
  record.HashAlgorithm.pszObjId = writable("1.3.14.3.2.26");
  const MessageHandle encoder = openBes({record}, {}, {rsa.der()});
  ASSERT_EQ(update(encoder, kContent), ERROR_SUCCESS);
  const MessageHandle message = decode(bytesParam(encoder, CMSG_CONTENT_PARAM));
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  EXPECT_THAT(service_.algorithms(), ElementsAre(HashAlgorithm::Sha256, HashAlgorithm::Sha256));
}

// Each signer by his own key and hash, and none without the others.
TEST_F(EnhanceTest, EnhancesAllSignersOfAMessage) {
  const std::vector<Signer*> signers = {
      &one(), &world_->signer(KeyKind::Gost2012_256), &world_->signer(KeyKind::Rsa2048)};
  const Octets plain = signBes(signers, kContent);
  const MessageHandle message = decode(plain);
  ASSERT_TRUE(enhanceAll(dataOf(message), service_));
  EXPECT_EQ(service_.requests(), 6U);
  for (const SignerInfo& signer : dataOf(message).signers()) {
    EXPECT_TRUE(isXLongType1(signer));
  }
  const Octets changed = changedMessage(message);
  EXPECT_TRUE(cadesVerifies(changed, signers));
  EXPECT_EQ(partsOf(changed).certificates, partsOf(plain).certificates);
  EXPECT_EQ(partsOf(changed).contentInfo, partsOf(plain).contentInfo);
}

TEST_F(EnhanceTest, EnhancesOneOfSeveral) {
  Signer& two = world_->signer(KeyKind::Gost2012_512);
  const Octets plain = signBes({&one(), &two}, kContent);
  const MessageHandle message = decode(plain);
  ASSERT_TRUE(enhance(dataOf(message), 1, service_));
  EXPECT_FALSE(isEnhanced(dataOf(message).signers()[0]));
  EXPECT_TRUE(isXLongType1(dataOf(message).signers()[1]));
  const Octets changed = changedMessage(message);
  EXPECT_EQ(partsOf(changed).signers[0], partsOf(plain).signers[0]);
  EXPECT_TRUE(cadesVerifies(changed, {&one(), &two}));
}

TEST_F(EnhanceTest, ChangesNothingWhenOneOfAllFails) {
  Signer& two = world_->signer(KeyKind::Gost2012_256);
  for (const std::size_t last : {0U, 1U, 2U, 3U}) {
    const Octets plain = signBes({&one(), &two}, kContent);
    const MessageHandle message = decode(plain);
    LabTimeStamps service(world_->authority());
    service.failFrom(last, ERROR_TIMEOUT);
    EXPECT_EQ(enhanceAll(dataOf(message), service).error(), ERROR_TIMEOUT);
    EXPECT_EQ(service.requests(), last + 1);
    EXPECT_FALSE(dataOf(message).isChanged());
    EXPECT_EQ(changedMessage(message), plain);
  }
}

TEST_F(EnhanceTest, LeavesAloneWhatHasEverything) {
  const MessageHandle message = decode(signBes({&one()}, kContent));
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  const Octets once = changedMessage(message);
  EXPECT_TRUE(enhance(dataOf(message), 0, service_));
  EXPECT_TRUE(enhanceAll(dataOf(message), service_));
  EXPECT_EQ(changedMessage(message), once);
  EXPECT_EQ(service_.requests(), 2U);
}

TEST_F(EnhanceTest, RefusesWhatHasSomeOfItAlready) {
  const MessageHandle message = decode(signBes({&one()}, kContent));
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  for (DWORD i = 6; i-- > 1;) {
    ASSERT_EQ(removeUnsigned(message, 0, i), ERROR_SUCCESS);
    EXPECT_EQ(enhance(dataOf(message), 0, service_).error(), CRYPT_E_EXISTS);
  }
  ASSERT_EQ(removeUnsigned(message, 0, 0), ERROR_SUCCESS);
  EXPECT_TRUE(enhance(dataOf(message), 0, service_));
}

TEST_F(EnhanceTest, PutsItsAttributesBehindThoseThatAreThere) {
  const MessageHandle message = decode(signBes({&one()}, kContent));
  const Octets own = *encodeAttribute("1.2.3.4", {fromHex("0500")});
  ASSERT_EQ(addUnsigned(message, 0, own), ERROR_SUCCESS);
  ASSERT_TRUE(enhance(dataOf(message), 0, service_));
  std::vector<std::string> types = sixTypes();
  types.insert(types.begin(), "1.2.3.4");
  EXPECT_THAT(unsignedTypes(dataOf(message).signers()[0]), ElementsAreArray(types));
}

// Not one byte that was signed is encoded anew, whoever encoded it.
TEST_F(EnhanceTest, KeepsTheBytesOfForeignMessages) {
  const Octets plain = signBes({&one()}, kContent);
  for (const Octets& foreign : {streamed(plain, 5),
                                loose(plain),
                                badlyOrdered(plain, one()),
                                loose(badlyOrdered(plain, one())),
                                opensslSign({&one()}, kContent, {"-cades", "-nodetach", "-stream"}),
                                opensslSign({&one()}, kContent, {"-cades", "-nodetach"})}) {
    ASSERT_TRUE(cadesVerifies(foreign, {&one()}));
    const MessageHandle message = decode(foreign);
    const auto done = enhance(dataOf(message), 0, service_);
    ASSERT_TRUE(done) << std::hex << done.error();
    EXPECT_TRUE(isXLongType1(dataOf(message).signers().front()));
    const Octets changed = changedMessage(message);
    EXPECT_TRUE(cadesVerifies(changed, {&one()}));
    const SignedParts was = partsOf(foreign);
    const SignedParts is = partsOf(changed);
    EXPECT_EQ(is.contentInfo, was.contentInfo);
    EXPECT_EQ(is.certificates, was.certificates);
    const Octets content(der::Reader(was.signers[0]).next()->content.begin(),
                         der::Reader(was.signers[0]).next()->content.end());
    EXPECT_TRUE(contains(is.signers[0], toHex(content))) << "the signer's own fields";
  }
}

}  // namespace
}  // namespace qx::test::enhance_test
