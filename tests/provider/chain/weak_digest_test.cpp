#include "provider/chain/weak_digest.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::weak_digest_test {
namespace {

using lab::Authority;
using lab::KeyKind;

using PssParametersPtr = OpensslOwner<RSA_PSS_PARAMS, RSA_PSS_PARAMS_free>;

// The algorithm RSASSA-PSS with this digest in its parameters. libcrypto reads MD5 there but does not
// write it, so it is put together by hand.
void namePss(const X509_ALGOR* algorithm, int digest) {
  const PssParametersPtr parameters(RSA_PSS_PARAMS_new());
  parameters->hashAlgorithm = X509_ALGOR_new();
  X509_ALGOR_set0(parameters->hashAlgorithm, OBJ_nid2obj(digest), V_ASN1_NULL, nullptr);
  ASN1_STRING* encoded = ASN1_item_pack(parameters.get(), ASN1_ITEM_rptr(RSA_PSS_PARAMS), nullptr);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): ours, of a certificate that we made
  auto* changed = const_cast<X509_ALGOR*>(algorithm);
  X509_ALGOR_set0(changed, OBJ_nid2obj(NID_rsassaPss), V_ASN1_SEQUENCE, encoded);
}

TEST(WeakDigestOfPss, IsReadFromTheParameters) {
  const X509Ptr certificate = lab::selfSigned(sampleKey(KeyKind::Rsa2048), named("PSS"));
  const std::pair<int, bool> cases[] = {
      {NID_md5, true}, {NID_sha1, false}, {NID_sha256, false}, {NID_sha512, false}};
  for (const auto& [digest, weak] : cases) {
    const X509Ptr made(X509_dup(certificate.get()));
    const X509_ALGOR* algorithm = nullptr;
    X509_get0_signature(nullptr, &algorithm, made.get());
    namePss(algorithm, digest);
    const CertificatePtr read = dataOf(made.get());
    ASSERT_EQ(X509_get_signature_nid(read->x509()), NID_rsassaPss);
    EXPECT_EQ(hasWeakSignature(read->x509()), weak) << OBJ_nid2sn(digest);
  }
}

// The openssl command takes MD5 at its lowest security level; a chain of ours does not.
TEST(WeakDigestInAChain, IsNoValidSignature) {
  lab::CertificateOptions options = named("End");
  options.digest = NID_md5;
  const Authority root = Authority::selfSigned(KeyKind::Rsa2048, named("Root"));
  const X509Ptr weak = root.issue(sampleKey(), options);
  const X509Ptr strong = root.issue(sampleKey(), named("End"));
  ChainWorld world;
  world.trust(root.certificate());
  EXPECT_NE(errorsOf(world.judge(weak.get())).front() & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0U);
  EXPECT_EQ(errorsOf(world.judge(strong.get())).front(), 0U);
}

// A root is trusted for what it is, not for what it says about itself.
TEST(WeakDigestInAChain, OfARootDoesNotMatter) {
  lab::CertificateOptions options = named("Root");
  options.digest = NID_md5;
  const Authority root = Authority::selfSigned(KeyKind::Rsa2048, options);
  ASSERT_TRUE(hasWeakSignature(root.certificate()));
  lab::CertificateOptions endOptions = named("End");
  endOptions.digest = NID_sha256;
  const X509Ptr end = root.issue(sampleKey(), endOptions);
  ChainWorld world;
  world.trust(root.certificate());
  for (const DWORD bits : errorsOf(world.judge(end.get()))) {
    EXPECT_EQ(bits & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0U);
  }
}

}  // namespace
}  // namespace qx::test::weak_digest_test
