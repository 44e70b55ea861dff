#include "provider/chain/ocsp_request.h"

#include <gtest/gtest.h>

#include "tests/provider/chain/ocsp_world.h"

namespace qx::test::ocsp_request_test {
namespace {

using lab::Bytes;

class OcspRequest : public OcspWorld {
 protected:
  OcspQuery query() const {
    Result<OcspQuery> made = OcspQuery::about(*dataOf(end.get()), *dataOf(root.certificate()));
    if (!made) {
      throw std::runtime_error("no request");
    }
    return *std::move(made);
  }

  OcspPtr answerWith(const Bytes& nonce) const {
    return answerOf(responder.basic({entry()}, {.nonce = nonce}));
  }
};

TEST_F(OcspRequest, AsksAboutTheOneCertificate) {
  const lab::OcspQuery read = lab::readOcspQuery(query().der());
  ASSERT_EQ(read.wanted.size(), 1U);
  EXPECT_EQ(read.wanted[0].serial, lab::serialOf(end.get()));
  EXPECT_TRUE(lab::isIssuerOf(read.wanted[0].certId, root.certificate()));
  EXPECT_EQ(read.wanted[0].certId, lab::ocspCertId(end.get(), root.certificate()));
}

TEST_F(OcspRequest, CarriesANonceOfItsOwn) {
  const Bytes one = lab::readOcspQuery(query().der()).nonce;
  const Bytes other = lab::readOcspQuery(query().der()).nonce;
  EXPECT_GE(one.size(), 16U);
  EXPECT_NE(one, other);
}

TEST_F(OcspRequest, IsAnsweredWithItsNonceOrNone) {
  const OcspQuery asked = query();
  EXPECT_TRUE(asked.isAnsweredBy(*answerWith(lab::readOcspQuery(asked.der()).nonce)));
  EXPECT_TRUE(asked.isAnsweredBy(*answerWith({})));
  EXPECT_FALSE(asked.isAnsweredBy(*answerWith({1, 2, 3, 4})));
}

}  // namespace
}  // namespace qx::test::ocsp_request_test
