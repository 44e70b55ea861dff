#include "provider/store/crl_data.h"

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "provider/openssl/owned.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::crl_data_test {
namespace {

Bytes makeCrl(const lab::CrlOptions& options) {
  return lab::toDer(authority().crl(options).get());
}

TEST(CrlData, ReadsTheHead) {
  const auto data = crlDataOf(makeCrl({}));
  const auto issuer = dataOf(lab::toDer(authority().certificate()));
  const CERT_NAME_BLOB& name = issuer->info().Subject;
  EXPECT_EQ(Bytes(name.pbData, name.pbData + name.cbData),
            Bytes(data->issuer().begin(), data->issuer().end()));
}

TEST(CrlData, DatesItByThisUpdate) {
  lab::CrlOptions options;
  options.thisUpdate = -10 * lab::kDay;
  const auto older = crlDataOf(makeCrl(options));
  options.thisUpdate = -9 * lab::kDay;
  const auto newer = crlDataOf(makeCrl(options));
  constexpr std::uint64_t kTicksADay = 864'000'000'000;
  EXPECT_NEAR(static_cast<double>(kTicksADay),
              static_cast<double>(newer->thisUpdate() - older->thisUpdate()),
              5e7);
}

TEST(CrlData, ReadsListsWithoutNextUpdateAndWithRows) {
  lab::CrlOptions options;
  options.hasNextUpdate = false;
  EXPECT_TRUE(CrlData::parse(makeCrl(options)));
  options.revoked = {{.serial = "0A"}, {.serial = "0B", .reason = 1}};
  EXPECT_TRUE(CrlData::parse(makeCrl(options)));
  options.keyIdentifier = false;
  EXPECT_TRUE(CrlData::parse(makeCrl(options)));
}

TEST(CrlData, IsGivenToLibcryptoOnce) {
  lab::CrlOptions options;
  options.revoked = {{.serial = "0A"}};
  const Bytes der = makeCrl(options);
  const auto data = crlDataOf(der);
  std::vector<X509_CRL*> seen(8);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (X509_CRL*& place : seen) {
    threads.emplace_back([&place, &data] { place = data->crl(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_NE(nullptr, seen.front());
  EXPECT_EQ(std::vector<X509_CRL*>(8, seen.front()), seen);
  EXPECT_EQ(1, sk_X509_REVOKED_num(X509_CRL_get_REVOKED(seen.front())));
}

TEST(CrlData, HasOneSubjectForAllListsOfOneScope) {
  lab::CrlOptions options;
  const auto first = crlDataOf(makeCrl(options));
  options.number = 2;
  options.revoked = {{.serial = "0A"}};
  const auto second = crlDataOf(makeCrl(options));
  EXPECT_EQ(first->subject(), second->subject());
}

TEST(CrlData, TellsScopesAndIssuersApart) {
  lab::CrlOptions options;
  const auto whole = crlDataOf(makeCrl(options));
  options.extensions = {{.name = "issuingDistributionPoint", .value = "critical,DER:30038201FF"}};
  const auto part = crlDataOf(makeCrl(options));
  EXPECT_NE(whole->subject(), part->subject());
  const lab::Authority other =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Another Authority"));
  EXPECT_NE(whole->subject(), crlDataOf(lab::toDer(other.crl().get()))->subject());
}

TEST(CrlData, TellsTheKeysOfOneIssuerApart) {
  const auto renamed = lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Test Authority"));
  EXPECT_NE(crlDataOf(makeCrl({}))->subject(),
            crlDataOf(lab::toDer(renamed.crl().get()))->subject());
}

TEST(CrlData, RefusesEachCutOffEnd) {
  const Bytes der = makeCrl({});
  for (std::size_t size = 0; size < der.size(); ++size) {
    const Bytes cut(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(size));
    const auto data = CrlData::parse(cut);
    EXPECT_FALSE(data) << size;
  }
}

TEST(CrlData, SurvivesEachFlippedBit) {
  const Bytes original = makeCrl({});
  for (std::size_t i = 0; i < original.size() * 8; ++i) {
    Bytes der = original;
    der[i / 8] ^= static_cast<std::uint8_t>(1U << (i % 8));
    const auto data = CrlData::parse(der);
    EXPECT_TRUE(!data || (*data)->der().size() <= der.size());
  }
}

TEST(CrlData, RefusesACertificate) {
  EXPECT_FALSE(CrlData::parse(makeDer("No CRL")));
  EXPECT_FALSE(CrlData::parse({}));
}

// Our reader looks at the head only; a list that libcrypto cannot read is null for its callers.
TEST(CrlData, HasNothingForLibcryptoWhenTheRowsAreDamaged) {
  lab::CrlOptions options;
  options.revoked = {{.serial = "0A0B0C0D0E0F"}};
  Bytes der = makeCrl(options);
  const Bytes serial = {0x02, 0x06, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F};
  const auto row = std::ranges::search(der, serial).begin();
  ASSERT_NE(der.end(), row);
  *row = 0x04;
  const auto data = crlDataOf(der);
  EXPECT_EQ(nullptr, data->crl());
}

}  // namespace
}  // namespace qx::test::crl_data_test
