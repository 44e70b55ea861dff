// What is fetched, in which order, and what is kept. The servers are played.
#include "provider/chain/online_revocation.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/store/folder_store.h"
#include "tests/provider/chain/fake_network.h"
#include "tests/provider/chain/ocsp_world.h"
#include "tests/support/provider_folder.h"

namespace qx::test::online_revocation_test {
namespace {

using lab::Bytes;
using lab::CertificateOptions;
using lab::OcspStatus;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kResponder = "http://ca.example.org/ocsp";
constexpr const char* kOtherResponder = "http://ca.example.org/ocsp2";
constexpr const char* kCrl = "http://ca.example.org/crl";

class Online : public OcspWorld {
 protected:
  Online() {
    forgetSnapshots();
    world.source = &source;
  }

  CertificateOptions addresses() const {
    CertificateOptions options = named("End");
    options.crlUrl = kCrl;
    options.extensions = {
        {.name = "authorityInfoAccess",
         .value = std::string("OCSP;URI:") + kResponder + ",OCSP;URI:" + kOtherResponder}};
    return options;
  }

  /// A responder that answers the question that it is asked, with the question's nonce.
  void answerAt(const char* url, OcspStatus status, const lab::OcspEntry& like = {}) {
    fake.answer(url, [this, status, like](const HttpRequest& request) -> Result<Bytes> {
      const lab::OcspQuery query = lab::readOcspQuery(request.body);
      lab::OcspEntry about = like;
      about.certId = query.wanted.at(0).certId;
      about.status = status;
      return responder.response({about}, {.nonce = query.nonce});
    });
  }

  DWORD judge() const { return world.judge(subject.get()).errors; }

  const ProviderFolder folder;
  FakeNetwork fake;
  Network network{fake.exchange(), {.time = std::chrono::seconds(10)}};
  OnlineRevocation source{RevocationCache(Location::CurrentUser), &network};
  OnlineRevocation offline{RevocationCache(Location::CurrentUser), nullptr};
  const X509Ptr subject = root.issue(sampleKey(), addresses());
};

TEST_F(Online, AsksTheResponderFirst) {
  answerAt(kResponder, OcspStatus::Good);
  EXPECT_EQ(judge(), kGood);
  EXPECT_THAT(fake.urls(), ElementsAre(kResponder));
  EXPECT_EQ(fake.requests[0].contentType, "application/ocsp-request");
  EXPECT_EQ(fake.requests[0].accept, "application/ocsp-response");
}

TEST_F(Online, BelievesThatACertificateIsRevoked) {
  answerAt(kResponder, OcspStatus::Revoked);
  EXPECT_EQ(judge(), kRevoked);
  EXPECT_THAT(fake.urls(), ElementsAre(kResponder));
}

TEST_F(Online, GoesOnToTheNextResponderAndThenToTheCrl) {
  fake.serve(kCrl, lab::toDer(root.crl().get()));
  EXPECT_EQ(judge(), kGood);
  EXPECT_THAT(fake.urls(), ElementsAre(kResponder, kOtherResponder, kCrl));
  EXPECT_EQ(fake.requests[2].contentType, "") << "a GET";
}

TEST_F(Online, TakesACrlInPem) {
  const std::string pem = lab::toPem(root.crl().get());
  fake.serve(kCrl, Bytes(pem.begin(), pem.end()));
  EXPECT_EQ(judge(), kGood);
}

TEST_F(Online, TakesNoWordOfAResponderThatDoesNotKnow) {
  answerAt(kResponder, OcspStatus::Unknown);
  fake.serve(kCrl,
             lab::toDer(root.crl({.revoked = {{.serial = lab::serialOf(subject.get())}}}).get()));
  EXPECT_EQ(judge(), kRevoked);
}

TEST_F(Online, TakesNoAnswerWithAnotherNonce) {
  fake.answer(kResponder, [this](const HttpRequest& request) -> Result<Bytes> {
    const lab::OcspQuery query = lab::readOcspQuery(request.body);
    return responder.response({{.certId = query.wanted.at(0).certId}}, {.nonce = {1, 2, 3}});
  });
  EXPECT_EQ(judge(), kUnknown);
}

TEST_F(Online, TakesNoRubbish) {
  fake.serve(kResponder, Bytes{0x30, 0x03, 0x0A, 0x01, 0x06});
  fake.serve(kOtherResponder, Bytes(1000, 0xFF));
  fake.serve(kCrl, Bytes{'<', 'h', 't', 'm', 'l', '>'});
  EXPECT_EQ(judge(), kUnknown);
  EXPECT_EQ(fake.requests.size(), 3U);
}

TEST_F(Online, TakesNothingThatSomebodyElseSigned) {
  const lab::Authority namesake = lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Root"));
  fake.serve(kCrl, lab::toDer(namesake.crl().get()));
  EXPECT_EQ(judge(), kUnknown);
  EXPECT_EQ(RevocationCache(Location::CurrentUser).answerAbout(*dataOf(subject.get())), nullptr);
}

TEST_F(Online, LimitsTheSizeOfAnswers) {
  EXPECT_EQ(judge(), kUnknown);
  EXPECT_EQ(fake.limits.at(0).bytes, 1U << 20U);
  EXPECT_EQ(fake.limits.at(2).bytes, 16U << 20U);
}

TEST_F(Online, KeepsAnAnswerOnDisk) {
  answerAt(kResponder, OcspStatus::Good);
  EXPECT_EQ(judge(), kGood);
  EXPECT_EQ(judge(), kGood);
  EXPECT_EQ(fake.requests.size(), 1U);
  world.source = &offline;
  EXPECT_EQ(judge(), kGood);
}

TEST_F(Online, AsksAgainWhenTheKeptAnswerEnded) {
  lab::OcspEntry ended{.thisUpdate = -kHour, .nextUpdate = std::chrono::seconds(-1)};
  const CertificatePtr data = dataOf(subject.get());
  ended.certId = lab::ocspCertId(subject.get(), root.certificate());
  const RevocationCache cache(Location::CurrentUser);
  cache.keep(*data, *answerOf(responder.basic({ended})));
  answerAt(kResponder, OcspStatus::Revoked);
  EXPECT_EQ(judge(), kRevoked);
  EXPECT_EQ(fake.requests.size(), 1U);
  EXPECT_EQ(judge(), kRevoked);
  EXPECT_EQ(fake.requests.size(), 1U) << "the new one is kept";
}

TEST_F(Online, ForgetsAKeptAnswerThatEnded) {
  const lab::OcspEntry ended{.certId = lab::ocspCertId(subject.get(), root.certificate()),
                             .nextUpdate = std::chrono::seconds(-1)};
  const CertificatePtr data = dataOf(subject.get());
  const RevocationCache cache(Location::CurrentUser);
  cache.keep(*data, *answerOf(responder.basic({ended})));
  world.source = &offline;
  EXPECT_EQ(judge(), kUnknown);
  EXPECT_EQ(cache.answerAbout(*data), nullptr);
}

TEST_F(Online, ChecksTheSignatureOfAKeptAnswer) {
  const lab::Authority namesake = lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Root"));
  const CertificatePtr data = dataOf(subject.get());
  const RevocationCache cache(Location::CurrentUser);
  cache.keep(*data,
             *answerOf(lab::OcspResponder::of(namesake).basic(
                 {{.certId = lab::ocspCertId(subject.get(), root.certificate())}})));
  world.source = &offline;
  EXPECT_EQ(judge(), kUnknown);
}

TEST_F(Online, SendsNothingWithoutANetwork) {
  world.source = &offline;
  EXPECT_EQ(judge(), kUnknown);
  EXPECT_THAT(fake.requests, IsEmpty());
  EXPECT_FALSE(offline.isOnline());
  EXPECT_TRUE(source.isOnline());
}

TEST_F(Online, SpendsOneBudgetOnAWholeChain) {
  lab::CertificateOptions options = addresses();
  options.subject = named("Middle").subject;
  const lab::Authority middle = root.subordinate(lab::KeyKind::EcP256, options);
  const X509Ptr below = middle.issue(sampleKey(), addresses());
  world.addIntermediate(middle.certificate());
  world.revocation = RevocationScope::ChainWithoutRoot;
  Network small(fake.exchange(), {.time = std::chrono::seconds(10), .requests = 4});
  OnlineRevocation limited(RevocationCache(Location::CurrentUser), &small);
  world.source = &limited;
  EXPECT_EQ(world.judge(below.get()).errors, kUnknown);
  EXPECT_THAT(fake.urls(), ElementsAre(kResponder, kOtherResponder, kCrl, kResponder));
}

TEST_F(Online, DoesNotFollowAddressesOfAChainThatLeadsNowhere) {
  const lab::Authority stranger = lab::Authority::selfSigned(lab::KeyKind::EcP256, named("X"));
  EXPECT_NE(world.judge(stranger.issue(sampleKey(), addresses()).get()).errors, kGood);
  EXPECT_NE(world.judge(withBrokenSignature(subject.get()).get()).errors, kGood);
  EXPECT_THAT(fake.requests, IsEmpty());
}

}  // namespace
}  // namespace qx::test::online_revocation_test
