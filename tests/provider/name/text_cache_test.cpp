#include "provider/name/text_cache.h"

#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/asn1.h>

#include "platform/cert.h"

#include "tests/provider/name/der_name.h"

namespace qx::test::text_cache_test {
namespace {

using qx::test::DerName;
using Text = std::shared_ptr<const std::wstring>;

std::vector<std::uint8_t> numberedName(int number) {
  const std::string value = "person " + std::to_string(number);
  return DerName({{"2.5.4.6", V_ASN1_PRINTABLESTRING, "RU"}, {"2.5.4.3", V_ASN1_UTF8STRING, value}})
      .der();
}

std::wstring numberedText(int number) {
  return L"C=RU, CN=person " + std::to_wstring(number);
}

TEST(CachedNameText, IsTheSameObjectTheSecondTime) {
  const std::vector<std::uint8_t> name = numberedName(-1);
  const Text first = *qx::cachedNameText(name, CERT_X500_NAME_STR);
  const Text second = *qx::cachedNameText(std::vector(name), CERT_X500_NAME_STR);
  EXPECT_EQ(*first, L"C=RU, CN=person -1");
  EXPECT_EQ(first.get(), second.get());
}

TEST(CachedNameText, KeepsTheFormsApart) {
  const std::vector<std::uint8_t> name = numberedName(-2);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(**qx::cachedNameText(name, CERT_SIMPLE_NAME_STR), L"RU, person -2");
    EXPECT_EQ(**qx::cachedNameText(name, CERT_OID_NAME_STR), L"2.5.4.6=RU, 2.5.4.3=person -2");
    EXPECT_EQ(**qx::cachedNameText(name, CERT_X500_NAME_STR), L"C=RU, CN=person -2");
    EXPECT_EQ(**qx::cachedNameText(name, CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG),
              L"CN=person -2, C=RU");
  }
}

TEST(CachedNameText, KeepsNoFailures) {
  const std::vector<std::uint8_t> bad = {0x30, 0x02, 0x31, 0x00};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(qx::cachedNameText(bad, CERT_X500_NAME_STR).error(), CRYPT_E_ASN1_CORRUPT);
  }
}

// More names than the cache holds: what was pushed out is rendered anew, and rightly.
TEST(CachedNameText, GoesOnWhenItIsFull) {
  constexpr int kNames = 60'000;
  for (int i = 0; i < kNames; ++i) {
    ASSERT_EQ(**qx::cachedNameText(numberedName(i), CERT_X500_NAME_STR), numberedText(i));
  }
  EXPECT_EQ(**qx::cachedNameText(numberedName(0), CERT_X500_NAME_STR), numberedText(0));
}

TEST(CachedNameText, DoesNotKeepLongNames) {
  std::string content;
  for (int i = 0; i < 20; ++i) {
    const std::string value(100, static_cast<char>('a' + i));
    content += qx::test::encodedElement(
        0x31,
        qx::test::encodedElement(0x30,
                                 qx::test::encodedElement(0x06, "\x55\x04\x03") +
                                     qx::test::encodedElement(0x0C, value)));
  }
  std::string name = {'\x30', '\x82'};
  name += static_cast<char>(content.size() >> 8U);
  name += static_cast<char>(content.size() & 0xFFU);
  name += content;
  const std::vector<std::uint8_t> der(name.begin(), name.end());
  const Text first = *qx::cachedNameText(der, CERT_SIMPLE_NAME_STR);
  const Text second = *qx::cachedNameText(der, CERT_SIMPLE_NAME_STR);
  EXPECT_EQ(*first, *second);
  EXPECT_NE(first.get(), second.get());
}

TEST(CachedNameText, ServesSeveralThreads) {
  std::array<std::thread, 4> threads;
  std::array<int, 4> wrong{};
  for (std::size_t t = 0; t < threads.size(); ++t) {
    threads.at(t) = std::thread([&wrong, t] {
      for (int i = 0; i < 2000; ++i) {
        const Text text = *qx::cachedNameText(numberedName(i % 50), CERT_X500_NAME_STR);
        wrong.at(t) += *text == numberedText(i % 50) ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, (std::array<int, 4>{}));
}

}  // namespace
}  // namespace qx::test::text_cache_test
