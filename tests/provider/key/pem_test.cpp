#include "provider/key/pem.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>

#include "provider/openssl/owned.h"

namespace qx::pem_test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

std::vector<std::uint8_t> bytesOf(const SecretBytes& secret) {
  return {secret.bytes().begin(), secret.bytes().end()};
}

std::vector<std::uint8_t> counting(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 7);
  }
  return bytes;
}

std::string block(const std::string& label, const std::string& body) {
  return "-----BEGIN " + label + "-----\n" + body + "\n-----END " + label + "-----\n";
}

TEST(Pem, IsReadBlockAfterBlock) {
  const std::string text = "in front\n" + block("A", "AQID") + "between\n" + block("B C", "BA==");
  const auto blocks = readPem(text);
  ASSERT_TRUE(blocks);
  ASSERT_EQ(blocks->size(), 2U);
  EXPECT_EQ((*blocks)[0].label, "A");
  EXPECT_THAT(bytesOf((*blocks)[0].der), ElementsAre(1, 2, 3));
  EXPECT_EQ((*blocks)[1].label, "B C");
  EXPECT_THAT(bytesOf((*blocks)[1].der), ElementsAre(4));
}

TEST(Pem, WithoutBlocksIsEmpty) {
  const auto blocks = readPem("no block here -----END A-----");
  ASSERT_TRUE(blocks);
  EXPECT_THAT(*blocks, IsEmpty());
}

TEST(Pem, MayHaveWindowsLineEnds) {
  const auto blocks = readPem("-----BEGIN A-----\r\nAQ\r\nID\r\n-----END A-----\r\n");
  ASSERT_TRUE(blocks);
  EXPECT_THAT(bytesOf((*blocks)[0].der), ElementsAre(1, 2, 3));
}

class BrokenPem : public ::testing::TestWithParam<std::string> {};

TEST_P(BrokenPem, IsRefused) {
  const auto blocks = readPem(GetParam());
  ASSERT_FALSE(blocks);
  EXPECT_EQ(blocks.error(), ERROR_INVALID_DATA);
}

INSTANTIATE_TEST_SUITE_P(
    All,
    BrokenPem,
    ::testing::Values("-----BEGIN A",
                      "-----BEGIN A-----\nAQID\n",
                      "-----BEGIN A-----\nAQID\n-----END",
                      "-----BEGIN A-----\nAQID\n-----END B-----\n",
                      "-----BEGIN A-----\nAQID\n-----END A----",
                      "-----BEGIN A-----\nAQ*D\n-----END A-----\n",
                      "-----BEGIN A-----\nAQI\n-----END A-----\n",
                      "-----BEGIN A-----\nAQ==ID\n-----END A-----\n",
                      "-----BEGIN A-----\nProc-Type: 4,ENCRYPTED\n\nAQID\n-----END A-----\n"));

TEST(Pem, RefusesMoreBlocksThanAKeyFileHas) {
  std::string text;
  for (int i = 0; i < 16; ++i) {
    text += block("A", "AQID");
  }
  EXPECT_TRUE(readPem(text));
  EXPECT_FALSE(readPem(text + block("A", "AQID")));
}

TEST(Pem, CutAnywhereIsRefusedOrEmpty) {
  const std::string text = block("PRIVATE KEY", "AQIDBAUGBwg=");
  for (std::size_t size = 0; size + 1 < text.size(); ++size) {
    const auto blocks = readPem(std::string_view(text).substr(0, size));
    EXPECT_TRUE(!blocks || blocks->empty()) << size;
  }
}

class PemSizes : public ::testing::TestWithParam<std::size_t> {};

TEST_P(PemSizes, AreWrittenAsLibcryptoWritesThem) {
  const auto der = counting(GetParam());
  const SecretBytes ours = appendPem({}, kPrivateKeyLabel, der);
  const BioPtr bio(BIO_new(BIO_s_mem()));
  ASSERT_GT(PEM_write_bio(bio.get(), "PRIVATE KEY", "", der.data(), static_cast<long>(der.size())),
            0);
  char* theirs = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &theirs);
  EXPECT_EQ(ours.text(), std::string_view(theirs, static_cast<std::size_t>(length)));
}

TEST_P(PemSizes, AreReadBack) {
  const auto der = counting(GetParam());
  const SecretBytes text = appendPem({}, kEncryptedKeyLabel, der);
  const auto blocks = readPem(text.text());
  ASSERT_TRUE(blocks);
  ASSERT_EQ(blocks->size(), 1U);
  EXPECT_EQ(blocks->front().label, "ENCRYPTED PRIVATE KEY");
  EXPECT_THAT(bytesOf(blocks->front().der), ElementsAreArray(der));
}

INSTANTIATE_TEST_SUITE_P(Edges, PemSizes, ::testing::Values(1, 2, 3, 47, 48, 49, 96, 97, 1000));

TEST(Pem, IsPutBehindAnotherBlock) {
  const SecretBytes first = appendPem({}, kPublicKeyLabel, counting(5));
  const SecretBytes both = appendPem(first.bytes(), kPrivateKeyLabel, counting(6));
  const auto blocks = readPem(both.text());
  ASSERT_TRUE(blocks);
  ASSERT_EQ(blocks->size(), 2U);
  EXPECT_EQ((*blocks)[0].der.size(), 5U);
  EXPECT_EQ((*blocks)[1].der.size(), 6U);
}

}  // namespace
}  // namespace qx::pem_test
