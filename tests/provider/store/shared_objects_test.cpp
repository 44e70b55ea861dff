#include "provider/store/shared_objects.h"

#include <thread>
#include <vector>

#include "tests/provider/store/store_support.h"

namespace qx::test::shared_objects_test {
namespace {

using Certificates = SharedObjects<CertificateData>;

Bytes makeCertificate() {
  return lab::toDer(authority().issue(lab::generateKey(lab::KeyKind::EcP256).get(), {}).get());
}

TEST(SharedObjects, GivesTheSameObjectForTheSameBytes) {
  Certificates certificates({.objects = 10, .bytes = 10'000});
  const Bytes bytes = makeCertificate();
  const auto first = certificates.parse(bytes);
  ASSERT_TRUE(first);
  EXPECT_EQ(*certificates.parse(Bytes(bytes)), *first);
  EXPECT_NE(*certificates.parse(makeCertificate()), *first);
  EXPECT_EQ(certificates.size(), 2U);
}

TEST(SharedObjects, TellsApartWhatDiffersInOneBit) {
  Certificates certificates({.objects = 10, .bytes = 10'000});
  Bytes bytes = makeCertificate();
  const auto good = certificates.parse(bytes);
  bytes.back() ^= 1U;
  const auto changed = certificates.parse(bytes);
  ASSERT_TRUE(changed);
  EXPECT_NE(*changed, *good);
  EXPECT_EQ(Bytes((*changed)->der().begin(), (*changed)->der().end()), bytes);
}

TEST(SharedObjects, DoesNotKeepWhatItCannotRead) {
  Certificates certificates({.objects = 10, .bytes = 10'000});
  const Bytes cut = {0x30, 0x03, 0x01};
  EXPECT_EQ(certificates.parse(cut).error(), CertificateData::parse(cut).error());
  EXPECT_FALSE(certificates.parse(cut));
  EXPECT_EQ(certificates.size(), 0U);
}

TEST(SharedObjects, ReadsLargeOnesWithoutKeepingThem) {
  const Bytes bytes = makeCertificate();
  Certificates certificates({.objects = 10, .bytes = bytes.size() - 1});
  const auto first = certificates.parse(bytes);
  const auto second = certificates.parse(bytes);
  ASSERT_TRUE(first && second);
  EXPECT_NE(*first, *second);
  EXPECT_EQ(certificates.size(), 0U);
}

TEST(SharedObjects, KeepsNoMoreThanItMay) {
  Certificates certificates({.objects = 2, .bytes = 10'000});
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(certificates.parse(makeCertificate()));
  }
  EXPECT_EQ(certificates.size(), 2U);
}

TEST(SharedObjects, OfTheProcessAreOfBothKinds) {
  const Bytes certificate = makeCertificate();
  EXPECT_EQ(*parseShared<CertificateData>(certificate), *parseShared<CertificateData>(certificate));
  const Bytes crl = lab::toDer(authority().crl({}).get());
  EXPECT_EQ(*parseShared<CrlData>(crl), *parseShared<CrlData>(crl));
  EXPECT_FALSE(parseShared<CrlData>(certificate)) << "whatever the other kind makes of the bytes";
  EXPECT_FALSE(parseShared<CertificateData>(crl));
}

TEST(SharedObjects, MayBeAskedForByManyThreads) {
  const Bytes bytes = makeCertificate();
  std::vector<std::shared_ptr<const CertificateData>> seen(8);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (auto& place : seen) {
    threads.emplace_back([&] { place = *parseShared<CertificateData>(bytes); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const auto& certificate : seen) {
    EXPECT_EQ(Bytes(certificate->der().begin(), certificate->der().end()), bytes);
  }
}

}  // namespace
}  // namespace qx::test::shared_objects_test
