#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::lab::key_test {
namespace {

using ::testing::HasSubstr;

struct KeyCase {
  KeyKind kind;
  const char* name;
  int bits;
  // What the openssl command prints of such a key.
  const char* shown;
};

class LabKey : public ::testing::TestWithParam<KeyCase> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    LabKey,
    ::testing::Values(
        KeyCase{KeyKind::Gost2001, "gost2001", 256, "id-GostR3410-2001-CryptoPro-A-ParamSet"},
        KeyCase{KeyKind::Gost2012_256, "gost2012-256", 256, "(256 bit) ParamSet A"},
        KeyCase{KeyKind::Gost2012_512, "gost2012-512", 512, "(512 bit) ParamSet A"},
        KeyCase{KeyKind::Rsa2048, "rsa2048", 2048, "(2048 bit, 2 primes)"},
        KeyCase{KeyKind::EcP256, "p256", 256, "NIST CURVE: P-256"},
        KeyCase{KeyKind::EcP384, "p384", 384, "NIST CURVE: P-384"}));

TEST_P(LabKey, HasItsSize) {
  EXPECT_EQ(EVP_PKEY_get_bits(generateKey(GetParam().kind).get()), GetParam().bits);
}

TEST_P(LabKey, HasItsName) {
  EXPECT_STREQ(kindName(GetParam().kind), GetParam().name);
}

TEST_P(LabKey, IsAnotherOneEachTime) {
  const EvpPkeyPtr one = generateKey(GetParam().kind);
  const EvpPkeyPtr other = generateKey(GetParam().kind);
  EXPECT_NE(EVP_PKEY_eq(one.get(), other.get()), 1);
}

TEST_P(LabKey, IsReadByTheOpensslCommand) {
  const test::TempDir folder;
  const std::string file = folder.write("key", toPem(generateKey(GetParam().kind).get()));
  const test::CommandResult result =
      test::run({"openssl", "pkey", "-engine", "gost", "-in", file, "-noout", "-text"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr(GetParam().shown));
}

TEST_P(LabKey, SignsWithItsUsualDigest) {
  const EvpPkeyPtr key = generateKey(GetParam().kind);
  const EVP_MD* digest = usualDigest(key.get());
  ASSERT_NE(digest, nullptr);
  const EvpMdCtxPtr signing(EVP_MD_CTX_new());
  const EvpMdCtxPtr checking(EVP_MD_CTX_new());
  const Bytes data{1, 2, 3};
  Bytes signature(1024);
  size_t length = signature.size();
  ASSERT_EQ(EVP_DigestSignInit(signing.get(), nullptr, digest, nullptr, key.get()), 1);
  ASSERT_EQ(EVP_DigestSign(signing.get(), signature.data(), &length, data.data(), data.size()), 1);
  ASSERT_EQ(EVP_DigestVerifyInit(checking.get(), nullptr, digest, nullptr, key.get()), 1);
  EXPECT_EQ(EVP_DigestVerify(checking.get(), signature.data(), length, data.data(), data.size()),
            1);
}

TEST(LabGostKey, TakesOtherParameterSets) {
  const test::TempDir folder;
  const std::string file =
      folder.write("key", toPem(generateGostKey(KeyKind::Gost2001, "XA").get()));
  const test::CommandResult result =
      test::run({"openssl", "pkey", "-engine", "gost", "-in", file, "-noout", "-text"});
  EXPECT_THAT(result.out, HasSubstr("CryptoPro-XchA-ParamSet")) << result.err;
}

TEST(LabGostKey, ThrowsForAnUnknownParameterSet) {
  EXPECT_THROW(generateGostKey(KeyKind::Gost2012_256, "nonsense"), std::runtime_error);
}

}  // namespace
}  // namespace qx::lab::key_test
