#include "provider/cades/time_stamp_request.h"

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/time_stamp.h"

namespace qx::test::time_stamp_request_test {
namespace {

using lab::Bytes;
using lab::TimeStampStatus;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::SizeIs;

struct Case {
  HashAlgorithm algorithm;
  int digest;
};

class TimeStampRequests : public ::testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(
    Hashes,
    TimeStampRequests,
    ::testing::Values(
        Case{.algorithm = HashAlgorithm::Sha1, .digest = NID_sha1},
        Case{.algorithm = HashAlgorithm::Sha256, .digest = NID_sha256},
        Case{.algorithm = HashAlgorithm::Sha384, .digest = NID_sha384},
        Case{.algorithm = HashAlgorithm::Sha512, .digest = NID_sha512},
        Case{.algorithm = HashAlgorithm::Gost94, .digest = NID_id_GostR3411_94},
        Case{.algorithm = HashAlgorithm::Streebog256, .digest = NID_id_GostR3411_2012_256},
        Case{.algorithm = HashAlgorithm::Streebog512, .digest = NID_id_GostR3411_2012_512}));

TEST_P(TimeStampRequests, AreWhatLibcryptoReads) {
  const Bytes hash(hashInfo(GetParam().algorithm).length, 0x5A);
  const Result<TimeStampRequest> request = makeTimeStampRequest(GetParam().algorithm, hash);
  ASSERT_TRUE(request);
  const lab::TimeStampQuery read = lab::readTimeStampQuery(request->der);
  EXPECT_EQ(read.imprint.digest, GetParam().digest);
  EXPECT_EQ(read.imprint.hash, hash);
  EXPECT_EQ(read.nonce, request->nonce);
  EXPECT_TRUE(read.certificate);
}

TEST_P(TimeStampRequests, NeedAHashOfTheAlgorithmsLength) {
  const std::size_t length = hashInfo(GetParam().algorithm).length;
  for (const std::size_t wrong : {std::size_t{0}, length - 1, length + 1}) {
    EXPECT_EQ(makeTimeStampRequest(GetParam().algorithm, Bytes(wrong)).error(), NTE_BAD_HASH);
  }
}

TEST(TimeStampRequest, IsWhatTheOpensslCommandReads) {
  const TempDir folder;
  const Result<TimeStampRequest> request =
      makeTimeStampRequest(HashAlgorithm::Sha256, Bytes(32, 0x5A));
  ASSERT_TRUE(request);
  const std::string file =
      folder.write("query", std::string(request->der.begin(), request->der.end()));
  const CommandResult shown = run({"openssl", "ts", "-query", "-in", file, "-text"});
  EXPECT_THAT(shown.out,
              AllOf(HasSubstr("Version: 1\n"),
                    HasSubstr("Hash Algorithm: sha256\n"),
                    HasSubstr("Policy OID: unspecified\n"),
                    HasSubstr("Certificate required: yes\n"),
                    HasSubstr("Nonce: 0x")))
      << shown.err;
}

TEST(TimeStampRequest, HasANonceOfItsOwn) {
  constexpr std::size_t kMany = 100;
  std::set<std::vector<std::uint8_t>> nonces;
  for (std::size_t i = 0; i < kMany; ++i) {
    const Result<TimeStampRequest> request = makeTimeStampRequest(HashAlgorithm::Sha1, Bytes(20));
    ASSERT_TRUE(request);
    EXPECT_THAT(request->nonce, SizeIs(kNonceLength));
    // Positive, and without an octet too many.
    EXPECT_EQ(request->nonce[0] & 0xC0U, 0x40U);
    nonces.insert(request->nonce);
  }
  EXPECT_THAT(nonces, SizeIs(kMany));
}

// A token as far as an answer looks at it: a SEQUENCE.
const Bytes kToken = {0x30, 0x03, 0x02, 0x01, 0x07};

Result<Bytes> tokenIn(const Bytes& response) {
  const Result<der::Bytes> token = readTimeStampResponse(response);
  return token ? Result(Bytes(token->begin(), token->end())) : token.failure();
}

TEST(TimeStampResponse, GivesTheTokenWhenItIsGranted) {
  EXPECT_EQ(*tokenIn(lab::timeStampResponse(TimeStampStatus::Granted, kToken)), kToken);
  EXPECT_EQ(*tokenIn(lab::timeStampResponse(TimeStampStatus::GrantedWithMods, kToken)), kToken);
}

TEST(TimeStampResponse, IsASliceOfTheAnswer) {
  const Bytes response = lab::timeStampResponse(TimeStampStatus::Granted, kToken);
  const Result<der::Bytes> token = readTimeStampResponse(response);
  ASSERT_TRUE(token);
  EXPECT_EQ(token->data() + token->size(), response.data() + response.size());
}

TEST(TimeStampResponse, OfAnyOtherStatusIsARefusal) {
  for (std::uint8_t status = 2; status < 128; ++status) {
    const auto other = static_cast<TimeStampStatus>(status);
    EXPECT_EQ(tokenIn(lab::timeStampResponse(other, {})).error(), ERROR_REQUEST_REFUSED);
    EXPECT_EQ(tokenIn(lab::timeStampResponse(other, kToken)).error(), ERROR_REQUEST_REFUSED);
  }
}

TEST(TimeStampResponse, GrantedWithoutATokenIsNone) {
  EXPECT_EQ(tokenIn(lab::timeStampResponse(TimeStampStatus::Granted, {})).error(),
            TRUST_E_TIME_STAMP);
}

// PKIStatusInfo with a reason in words and in bits.
TEST(TimeStampResponse, MayGiveReasons) {
  const Bytes refused = {0x30,
                         0x0F,
                         0x30,
                         0x0D,
                         0x02,
                         0x01,
                         0x02,
                         0x30,
                         0x04,
                         0x0C,
                         0x02,
                         'n',
                         'o',
                         0x03,
                         0x02,
                         0x05,
                         0x20};
  EXPECT_EQ(tokenIn(refused).error(), ERROR_REQUEST_REFUSED);
  const Bytes noWords = {0x30, 0x07, 0x30, 0x05, 0x02, 0x01, 0x02, 0x30, 0x00};
  EXPECT_EQ(tokenIn(noWords).error(), ERROR_REQUEST_REFUSED);
  const Bytes oddWords = {0x30, 0x0A, 0x30, 0x08, 0x02, 0x01, 0x02, 0x30, 0x03, 0x02, 0x01, 0x01};
  EXPECT_EQ(tokenIn(oddWords).error(), ERROR_REQUEST_REFUSED);
}

TEST(TimeStampResponse, RefusesWhatIsNone) {
  for (const Bytes& junk : {Bytes{},
                            Bytes{0x30, 0x00},
                            Bytes{0x30, 0x80, 0x00, 0x00},
                            Bytes{'<', 'h', 't', 'm', 'l', '>'},
                            Bytes{0x30, 0x02, 0x30, 0x00},
                            // A negative status, and one that is none.
                            Bytes{0x30, 0x05, 0x30, 0x03, 0x02, 0x01, 0xFF},
                            Bytes{0x30, 0x05, 0x30, 0x03, 0x04, 0x01, 0x00}}) {
    const Result<Bytes> read = tokenIn(junk);
    EXPECT_FALSE(read);
    EXPECT_EQ(read.error() & 0xFFFFFF00U, CRYPT_E_ASN1_ERROR) << read.error();
  }
}

TEST(TimeStampResponse, RefusesAnAnswerThatIsCutOffOrTooLong) {
  const Bytes whole = lab::timeStampResponse(TimeStampStatus::Granted, kToken);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(tokenIn(Bytes(whole.data(), whole.data() + length))) << length;
  }
  Bytes longer = whole;
  longer.push_back(0);
  EXPECT_EQ(tokenIn(longer).error(), CRYPT_E_ASN1_CORRUPT);
  Bytes twice = kToken;
  twice.insert(twice.end(), kToken.begin(), kToken.end());
  EXPECT_EQ(tokenIn(lab::timeStampResponse(TimeStampStatus::Granted, twice)).error(),
            CRYPT_E_ASN1_CORRUPT);
}

}  // namespace
}  // namespace qx::test::time_stamp_request_test
