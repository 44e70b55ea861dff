#include "provider/chain/signature_length.h"

#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"
#include "tests/support/der_tree.h"
#include "tests/support/kind_name.h"
#include "tools/lab/ocsp.h"

namespace qx::test::signature_length_test {
namespace {

using lab::Authority;
using lab::KeyKind;

// What was signed, and what signed it, with an octet more behind the signature.
lab::Bytes lengthened(const lab::Bytes& encoded) {
  DerTree tree({encoded.begin(), encoded.end()});
  tree[tree.childrenOf(0).at(2)].content.push_back('\0');
  const std::string changed = tree.encoded();
  return {changed.begin(), changed.end()};
}

class SignatureLength : public ::testing::TestWithParam<KeyKind> {
 protected:
  SignatureLength()
      : root(Authority::selfSigned(GetParam(), named("Root"))),
        end(root.issue(sampleKey(GetParam()), named("End"))) {}

  static bool isGost() { return GetParam() != KeyKind::Rsa2048 && GetParam() != KeyKind::EcP256; }

  const Authority root;
  const X509Ptr end;
};

TEST_P(SignatureLength, OfAnUnchangedSignatureIsRight) {
  const X509CrlPtr crl = root.crl();
  EXPECT_FALSE(hasSignatureOfWrongLength(end.get()));
  EXPECT_FALSE(hasSignatureOfWrongLength(crl.get()));
}

TEST_P(SignatureLength, OfACertificateIsMeasured) {
  const auto changed = CertificateData::parse(lengthened(lab::toDer(end.get())));
  ASSERT_TRUE(changed);
  EXPECT_EQ(hasSignatureOfWrongLength((*changed)->x509()), isGost());
}

TEST_P(SignatureLength, OfACrlIsMeasured) {
  const auto changed = CrlData::parse(lengthened(lab::toDer(root.crl().get())));
  ASSERT_TRUE(changed);
  EXPECT_EQ(hasSignatureOfWrongLength((*changed)->crl()), isGost());
}

TEST_P(SignatureLength, OfAnAnswerIsMeasured) {
  const lab::OcspResponder responder = lab::OcspResponder::of(root);
  const lab::Bytes basic =
      responder.basic({{.certId = lab::ocspCertId(end.get(), root.certificate())}});
  const auto good = OcspData::parse(basic);
  const auto changed = OcspData::parse(lengthened(basic));
  ASSERT_TRUE(good);
  ASSERT_TRUE(changed);
  EXPECT_FALSE(hasSignatureOfWrongLength((*good)->response()));
  EXPECT_EQ(hasSignatureOfWrongLength((*changed)->response()), isGost());
}

INSTANTIATE_TEST_SUITE_P(Keys,
                         SignatureLength,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256),
                         kindOf);

}  // namespace
}  // namespace qx::test::signature_length_test
