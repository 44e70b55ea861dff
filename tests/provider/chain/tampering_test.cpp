// One bit turned anywhere, or an end cut off: never a good chain.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"
#include "tests/support/der_tree.h"

namespace qx::test::tampering_test {
namespace {

using lab::Authority;
using lab::KeyKind;

class Tampering : public ::testing::TestWithParam<KeyKind> {
 protected:
  Tampering()
      : root(Authority::selfSigned(GetParam(), named("Root"))),
        end(root.issue(sampleKey(GetParam()), named("End"))),
        crl(lab::toDer(root.crl().get())) {}

  /// The errors for this end certificate and CRL; nothing when one of them is refused.
  std::optional<DWORD> judge(const lab::Bytes& certificate, const lab::Bytes& list) const {
    const Result<CertificatePtr> data = CertificateData::parse(certificate);
    const Result<CrlPtr> crlData = CrlData::parse(list);
    if (!data || !crlData) {
      return std::nullopt;
    }
    const std::vector<CertificatePtr> roots = {dataOf(root.certificate())};
    const std::vector<CrlPtr> crls = {*crlData};
    const TrustSource trust(roots, {}, crls);
    const Result<ChainVerdict> verdict = evaluate({.certificate = *data,
                                                   .trust = &trust,
                                                   .now = std::time(nullptr),
                                                   .revocation = RevocationScope::EndCertificate});
    return verdict ? std::optional(verdict->errors) : std::nullopt;
  }

  /// Calls `check` with each variant of the bytes, a bit turned in each octet in turn.
  static void forEachTurnedBit(const lab::Bytes& bytes,
                               const std::function<void(const lab::Bytes&)>& check) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      SCOPED_TRACE(i);
      lab::Bytes variant = bytes;
      variant[i] ^= static_cast<std::uint8_t>(1U << (i % 8));
      check(variant);
    }
  }

  const Authority root;
  const X509Ptr end;
  const lab::Bytes crl;
};

TEST_P(Tampering, IsNotThereAtFirst) {
  EXPECT_EQ(judge(lab::toDer(end.get()), crl), CERT_TRUST_NO_ERROR);
}

TEST_P(Tampering, OfACertificateIsAlwaysSeen) {
  forEachTurnedBit(lab::toDer(end.get()), [this](const lab::Bytes& variant) {
    EXPECT_NE(judge(variant, crl), CERT_TRUST_NO_ERROR);
  });
}

TEST_P(Tampering, OfACrlIsAlwaysSeen) {
  forEachTurnedBit(crl, [this](const lab::Bytes& variant) {
    EXPECT_NE(judge(lab::toDer(end.get()), variant), CERT_TRUST_NO_ERROR);
  });
}

TEST_P(Tampering, ByCuttingIsAlwaysSeen) {
  const lab::Bytes whole = lab::toDer(end.get());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const lab::Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(judge(cut, crl), std::nullopt) << length;
  }
}

// The GOST engine does not look behind a signature.
TEST_P(Tampering, ByAnOctetBehindASignatureIsAlwaysSeen) {
  const auto lengthened = [](const lab::Bytes& encoded) {
    DerTree tree({encoded.begin(), encoded.end()});
    tree[tree.childrenOf(0).back()].content.push_back('\0');
    const std::string changed = tree.encoded();
    return lab::Bytes(changed.begin(), changed.end());
  };
  EXPECT_NE(judge(lengthened(lab::toDer(end.get())), crl), CERT_TRUST_NO_ERROR);
  EXPECT_NE(judge(lab::toDer(end.get()), lengthened(crl)), CERT_TRUST_NO_ERROR);
}

INSTANTIATE_TEST_SUITE_P(All,
                         Tampering,
                         ::testing::Values(KeyKind::EcP256, KeyKind::Gost2012_256),
                         [](const auto& kind) {
                           return kind.param == KeyKind::EcP256 ? "ec" : "gost";
                         });

}  // namespace
}  // namespace qx::test::tampering_test
