#include "provider/chain/ocsp_data.h"

#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "provider/hash/hash.h"
#include "tests/provider/chain/chain_world.h"
#include "tools/lab/ocsp.h"

namespace qx::test::ocsp_data_test {
namespace {

using lab::Authority;
using lab::Bytes;
using lab::KeyKind;
using lab::OcspResponder;

class OcspAnswer : public ::testing::Test {
 protected:
  OcspAnswer()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        responder(OcspResponder::issuedBy(root, KeyKind::EcP256)),
        entries({{.certId = lab::ocspCertId(root.certificate(), root.certificate())}}) {}

  const Authority root;
  const OcspResponder responder;
  const std::vector<lab::OcspEntry> entries;
};

bool isSame(der::Bytes left, const Bytes& right) {
  return std::ranges::equal(left, right);
}

TEST_F(OcspAnswer, IsReadBareAndWrapped) {
  const Bytes basic = responder.basic(entries);
  EXPECT_TRUE(isSame(answerOf(basic)->basic(), basic));
  // ECDSA never signs twice alike; the wrapped one is another.
  const Bytes response = responder.response(entries);
  const OcspPtr unwrapped = answerOf(response);
  const der::Bytes inner = unwrapped->basic();
  EXPECT_TRUE(std::ranges::search(response, inner).end() == response.end())
      << "the inner bytes are the response's tail";
  EXPECT_TRUE(isSame(answerOf(Bytes(inner.begin(), inner.end()))->basic(),
                     Bytes(inner.begin(), inner.end())));
}

TEST_F(OcspAnswer, TellsItsHeadAsLibcryptoDoes) {
  for (const bool byKey : {false, true}) {
    const OcspPtr answer =
        answerOf(responder.basic(entries, {.producedAt = std::chrono::hours(-5), .byKey = byKey}));
    const ASN1_GENERALIZEDTIME* produced = OCSP_resp_get0_produced_at(answer->response());
    EXPECT_EQ(answer->producedAt(), secondsOf(produced));
    EXPECT_EQ(answer->producedAtDer()[0], der::kGeneralizedTime);
    EXPECT_EQ(answer->producedAtDer().size(),
              static_cast<std::size_t>(ASN1_STRING_length(produced)) + 2);
    EXPECT_EQ(answer->responderId()[0], der::contextConstructed(byKey ? 2 : 1));
    EXPECT_TRUE(
        std::ranges::equal(hashOf(HashAlgorithm::Sha1, answer->basic()).bytes(), answer->sha1()));
  }
}

TEST_F(OcspAnswer, LeavesOutWhatStandsBehindIt) {
  const Bytes basic = responder.basic(entries);
  Bytes longer = basic;
  longer.push_back(0x05);
  longer.push_back(0x00);
  EXPECT_TRUE(isSame(answerOf(longer)->basic(), basic));
}

TEST_F(OcspAnswer, IsDecodedOnce) {
  const OcspPtr answer = answerOf(responder.basic(entries));
  ASSERT_NE(answer->response(), nullptr);
  EXPECT_EQ(answer->response(), answer->response());
}

TEST_F(OcspAnswer, IsDecodedOnceByManyThreads) {
  const OcspPtr answer = answerOf(responder.basic(entries));
  std::array<const OCSP_BASICRESP*, 8> seen{};
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (const OCSP_BASICRESP*& place : seen) {
    threads.emplace_back([&] { place = answer->response(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const OCSP_BASICRESP* one : seen) {
    EXPECT_EQ(one, answer->response());
  }
}

TEST_F(OcspAnswer, RefusesAResponseThatIsAnError) {
  for (const int status : {OCSP_RESPONSE_STATUS_MALFORMEDREQUEST,
                           OCSP_RESPONSE_STATUS_INTERNALERROR,
                           OCSP_RESPONSE_STATUS_TRYLATER,
                           OCSP_RESPONSE_STATUS_UNAUTHORIZED}) {
    EXPECT_EQ(OcspData::parse(lab::ocspError(status)).error(),
              static_cast<DWORD>(ERROR_INVALID_DATA))
        << status;
  }
}

TEST_F(OcspAnswer, RefusesAResponseOfAnotherType) {
  Bytes response = responder.response(entries);
  const Bytes basicOid = {0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x30, 0x01, 0x01};
  const auto place = std::ranges::search(response, basicOid).begin();
  ASSERT_NE(place, response.end());
  place[8] = 0x02;
  EXPECT_EQ(OcspData::parse(response).error(), static_cast<DWORD>(ERROR_INVALID_DATA));
}

TEST_F(OcspAnswer, RefusesWhatIsCutShort) {
  for (const Bytes& whole : {responder.basic(entries), responder.response(entries)}) {
    for (std::size_t length = 0; length < whole.size(); ++length) {
      EXPECT_FALSE(OcspData::parse(der::Bytes(whole).first(length))) << length;
    }
  }
}

TEST_F(OcspAnswer, RefusesOtherStructures) {
  EXPECT_FALSE(OcspData::parse(lab::toDer(root.certificate())));
  EXPECT_FALSE(OcspData::parse(lab::toDer(root.crl().get())));
  EXPECT_FALSE(OcspData::parse(Bytes{0x30, 0x00}));
  EXPECT_FALSE(OcspData::parse(Bytes{0x30, 0x03, 0x0A, 0x01, 0x00}));
  EXPECT_FALSE(OcspData::parse(Bytes{0x30, 0x80, 0x00, 0x00}));
}

TEST_F(OcspAnswer, SurvivesEveryTurnedBit) {
  const Bytes whole = responder.response(entries);
  std::size_t readable = 0;
  for (std::size_t i = 0; i < whole.size() * 8; ++i) {
    Bytes turned = whole;
    turned[i / 8] = static_cast<std::uint8_t>(turned[i / 8] ^ (1U << (i % 8)));
    const Result<OcspPtr> answer = OcspData::parse(turned);
    readable += answer && (*answer)->response() != nullptr ? 1U : 0U;
  }
  EXPECT_GT(readable, 0U) << "turned bits of names, hashes and the signature";
  EXPECT_LT(readable, whole.size() * 8) << "turned bits of the structure";
}

}  // namespace
}  // namespace qx::test::ocsp_data_test
