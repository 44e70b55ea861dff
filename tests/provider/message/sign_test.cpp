#include <algorithm>
#include <tuple>

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"
#include "tests/support/kind_name.h"

namespace qx::test::sign_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("What is written here is signed.");

// Key type x attached or detached x certificates in or out x one or three signers x attributes or none.
using Case = std::tuple<KeyKind, bool, bool, bool, bool>;

class SignEachWay : public ::testing::TestWithParam<Case> {
 protected:
  KeyKind kind() const { return std::get<0>(GetParam()); }

  bool detached() const { return std::get<1>(GetParam()); }

  bool certificates() const { return std::get<2>(GetParam()); }

  bool three() const { return std::get<3>(GetParam()); }

  bool attributes() const { return std::get<4>(GetParam()); }

  std::vector<Signer*> signers() const {
    std::vector<Signer*> all = {&signer(kind())};
    if (three()) {
      all.push_back(&signer(KeyKind::EcP256, 1));
      all.push_back(&signer(KeyKind::Gost2012_256, 1));
    }
    return all;
  }

  SignOptions options() const {
    const DWORD detachedFlag = detached() ? CMSG_DETACHED_FLAG : 0;
    const DWORD attributeFlag = attributes() ? CMSG_AUTHENTICATED_ATTRIBUTES_FLAG : 0;
    return {.flags = detachedFlag | attributeFlag, .certificates = certificates()};
  }
};

TEST_P(SignEachWay, IsAcceptedByLibcrypto) {
  const Octets message = sign(signers(), kContent, options());
  EXPECT_TRUE(cmsVerifies(message, signers(), detached() ? &kContent : nullptr));
}

TEST_P(SignEachWay, IsAcceptedByItsOwnDecoder) {
  const Octets message = sign(signers(), kContent, options());
  const MessageHandle decoded = detached() ? decodeDetached(message, kContent) : decode(message);
  ASSERT_EQ(numberParam(decoded, CMSG_SIGNER_COUNT_PARAM), signers().size());
  EXPECT_EQ(numberParam(decoded, CMSG_CERT_COUNT_PARAM), certificates() ? signers().size() : 0);
  for (DWORD i = 0; i < signers().size(); ++i) {
    EXPECT_EQ(verify(decoded, i, signers()[i]->context()), ERROR_SUCCESS) << i;
  }
  const Octets content = bytesParam(decoded, CMSG_CONTENT_PARAM);
  EXPECT_EQ(text(content), detached() ? "" : text(kContent));
}

TEST_P(SignEachWay, DoesNotVerifyOverOtherContent) {
  const Octets message = sign(signers(), kContent, options());
  Octets other = kContent;
  other.back() ^= 1;
  EXPECT_FALSE(cmsVerifies(message, signers(), &other));
  if (detached()) {
    const MessageHandle decoded = decodeDetached(message, other);
    EXPECT_EQ(verify(decoded, 0, signers()[0]->context()),
              attributes() ? CRYPT_E_HASH_VALUE : NTE_BAD_SIGNATURE);
  }
}

std::string caseText(const ::testing::TestParamInfo<Case>& parameter) {
  const auto [kind, detached, certificates, three, attributes] = parameter.param;
  return kindText(kind) + (detached ? "Detached" : "Attached") +
         (certificates ? "Certificates" : "Bare") + (three ? "Three" : "One") +
         (attributes ? "Attributes" : "Plain");
}

INSTANTIATE_TEST_SUITE_P(Messages,
                         SignEachWay,
                         ::testing::Combine(::testing::ValuesIn(allKinds()),
                                            ::testing::Bool(),
                                            ::testing::Bool(),
                                            ::testing::Bool(),
                                            ::testing::Bool()),
                         caseText);

}  // namespace
}  // namespace qx::test::sign_test
