#include "provider/key/pbes2.h"

#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "provider/key/pem.h"
#include "provider/key/private_key.h"
#include "tests/provider/key/sample_keys.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::pbes2_test {
namespace {

using lab::KeyKind;
using test::fromHex;
using Bytes = std::vector<std::uint8_t>;

constexpr unsigned kRounds = 1000;

Bytes encrypt(const PrivateKey& key, std::string_view pin, unsigned rounds = kRounds) {
  const auto info = key.toPkcs8();
  const auto der = encryptPkcs8(info->get(), pin, rounds);
  EXPECT_TRUE(der);
  return der ? *der : Bytes();
}

DWORD errorOf(std::span<const std::uint8_t> der, std::string_view pin) {
  const auto key = decryptPkcs8(der, pin);
  return key ? ERROR_SUCCESS : key.error();
}

class EncryptedKeys : public ::testing::TestWithParam<KeyKind> {
 protected:
  std::shared_ptr<const PrivateKey> key_ = test::makeKey(GetParam());
  test::TempDir folder_;
};

TEST_P(EncryptedKeys, OpenUnderTheirPinAlone) {
  const Bytes der = encrypt(*key_, "1234");
  const auto info = decryptPkcs8(der, "1234");
  ASSERT_TRUE(info);
  const auto key = PrivateKey::fromPkcs8(**info);
  ASSERT_TRUE(key);
  EXPECT_TRUE(std::equal((*key)->spki().begin(), (*key)->spki().end(), key_->spki().begin()));
  for (const char* wrong : {"", "123", "12345", "1235", "1234 "}) {
    EXPECT_EQ(errorOf(der, wrong), SCARD_W_WRONG_CHV) << wrong;
  }
}

TEST_P(EncryptedKeys, AreReadByTheOpensslCommand) {
  const SecretBytes pem = appendPem({}, kEncryptedKeyLabel, encrypt(*key_, "1234"));
  const std::string file = folder_.write("key.pem", pem.text());
  const auto read = test::run({"openssl",
                               "pkey",
                               "-engine",
                               "gost",
                               "-in",
                               file,
                               "-passin",
                               "pass:1234",
                               "-noout",
                               "-text"});
  EXPECT_EQ(read.exitCode, 0) << read.err;
  const auto refused = test::run(
      {"openssl", "pkey", "-engine", "gost", "-in", file, "-passin", "pass:1235", "-noout"});
  EXPECT_NE(refused.exitCode, 0);
}

TEST_P(EncryptedKeys, OfTheOpensslCommandAreRead) {
  const std::string plain = folder_.write("plain.pem", lab::toPem(key_->evp()));
  const std::string out = folder_.file("encrypted.pem");
  const std::vector<std::vector<std::string>> options = {
      {"-v2", "aes-256-cbc", "-v2prf", "hmacWithSHA256", "-iter", "2000"},
      {"-v2", "aes-128-cbc", "-v2prf", "hmacWithSHA512", "-iter", "1"},
      {"-v2", "aes-256-cbc", "-v2prf", "hmacWithSHA1"},
      {"-v2", "des3"},
      {"-scrypt"},
      {"-scrypt", "-scrypt_N", "1024", "-scrypt_r", "8", "-scrypt_p", "16"}};
  for (const auto& option : options) {
    std::vector<std::string> command = {"openssl",
                                        "pkcs8",
                                        "-topk8",
                                        "-engine",
                                        "gost",
                                        "-in",
                                        plain,
                                        "-passout",
                                        "pass:1234",
                                        "-out",
                                        out};
    command.insert(command.end(), option.begin(), option.end());
    const auto made = test::run(command);
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const std::string text = test::readFile(out);
    const auto blocks = readPem(text);
    ASSERT_TRUE(blocks);
    const auto info = decryptPkcs8(blocks->front().der.bytes(), "1234");
    ASSERT_TRUE(info) << option[0] << option.back();
    EXPECT_TRUE(PrivateKey::fromPkcs8(**info));
    EXPECT_EQ(errorOf(blocks->front().der.bytes(), "4321"), SCARD_W_WRONG_CHV);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         EncryptedKeys,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256),
                         test::kindOf);

TEST(Pbes2, WritesWhatItIsToldTo) {
  const test::TempDir folder;
  const auto key = test::makeKey(KeyKind::EcP256);
  const Bytes der = encrypt(*key, "1234", 600000);
  folder.write("key.der", std::string(der.begin(), der.end()));
  const auto shown =
      test::run({"openssl", "asn1parse", "-inform", "DER", "-in", folder.file("key.der")});
  ASSERT_EQ(shown.exitCode, 0);
  for (const char* part : {":PBES2", ":PBKDF2", ":0927C0", ":hmacWithSHA256", ":aes-256-cbc"}) {
    EXPECT_NE(shown.out.find(part), std::string::npos) << part << "\n" << shown.out;
  }
  // The salt: 16 bytes.
  EXPECT_NE(shown.out.find("l=  16 prim: OCTET STRING"), std::string::npos) << shown.out;
}

TEST(Pbes2, SaltsEachFileAnew) {
  const auto key = test::makeKey(KeyKind::Gost2012_256);
  EXPECT_NE(encrypt(*key, "1234"), encrypt(*key, "1234"));
}

TEST(Pbes2, TakesAPinOfAnyBytes) {
  const auto key = test::makeKey(KeyKind::Gost2012_256);
  for (const std::string& pin : {std::string("\xD0\xBF\xD0\xB8\xD0\xBD"),
                                 std::string(300, 'x'),
                                 std::string("\xFF\x01 \t%")}) {
    EXPECT_TRUE(decryptPkcs8(encrypt(*key, pin), pin));
  }
}

TEST(Pbes2, RefusesToWriteWithoutRounds) {
  const auto info = test::makeKey(KeyKind::EcP256)->toPkcs8();
  EXPECT_EQ(encryptPkcs8(info->get(), "1", 0).error(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(encryptPkcs8(info->get(), "1", 10'000'001).error(), ERROR_INVALID_PARAMETER);
}

TEST(Pbes2, CutAnywhereIsRefused) {
  const Bytes der = encrypt(*test::makeKey(KeyKind::Gost2012_256), "1234");
  for (std::size_t size = 0; size < der.size(); ++size) {
    EXPECT_EQ(errorOf(std::span(der).first(size), "1234"), NTE_BAD_KEYSET) << size;
  }
}

Bytes wrap(std::uint8_t tag, std::initializer_list<Bytes> parts) {
  Bytes content;
  for (const Bytes& part : parts) {
    content.insert(content.end(), part.begin(), part.end());
  }
  Bytes all;
  all.push_back(tag);
  all.push_back(0x81);
  all.push_back(static_cast<std::uint8_t>(content.size()));
  all.insert(all.end(), content.begin(), content.end());
  return all;
}

// EncryptedPrivateKeyInfo with the given KDF parameters and a ciphertext of 16 zero bytes.
Bytes withKdf(const std::string& kdf) {
  const Bytes cipher = fromHex("301D060960864801650304012A041000000000000000000000000000000000");
  const Bytes pbes2 = fromHex("06092A864886F70D01050D");
  const Bytes scheme = wrap(0x30, {pbes2, wrap(0x30, {fromHex(kdf), cipher})});
  return wrap(0x30, {scheme, wrap(0x04, {Bytes(16)})});
}

TEST(Pbes2, TakesTheStructureThatTheNextTestsSpoil) {
  // 1000 rounds, HMAC-SHA256.
  EXPECT_EQ(errorOf(withKdf("302806092A864886F70D01050C301B040800000000000000000202 03E8"
                            "300B06082A864886F70D0209"),
                    "1"),
            SCARD_W_WRONG_CHV);
}

struct Endless {
  const char* what;
  const char* kdf;
};

class EndlessWork : public ::testing::TestWithParam<Endless> {};

TEST_P(EndlessWork, IsRefusedBeforeItIsBegun) {
  EXPECT_EQ(errorOf(withKdf(GetParam().kdf), "1"), NTE_BAD_KEYSET) << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(
    All,
    EndlessWork,
    ::testing::Values(
        Endless{"2^31-1 rounds", "301D06092A864886F70D01050C3010040800000000000000000204 7FFFFFFF"},
        Endless{"more than 64 bits",
                "302206092A864886F70D01050C3015040800000000000000000209 7FFFFFFFFFFFFFFFFF"},
        Endless{"no rounds", "301A06092A864886F70D01050C300D0408000000000000000002 0100"},
        Endless{"negative rounds", "301A06092A864886F70D01050C300D0408000000000000000002 01FF"},
        Endless{"rounds missing", "301706092A864886F70D01050C300A04080000000000000000"},
        Endless{"scrypt of 2^30",
                "302506092B06010401DA47040B3018040800000000000000000204400000000201080201 01"},
        Endless{"scrypt p of 2^20",
                "302606092B06010401DA47040B301904080000000000000000020240000201080203 100000"},
        Endless{"scrypt of 0",
                "302206092B06010401DA47040B3015040800000000000000000201000201080201 01"},
        Endless{"another derivation", "300D06092A864886F70D01010B0500"}));

TEST(Pbes2, RefusesOtherSchemesAndOtherThings) {
  // pbeWithMD5AndDES-CBC.
  EXPECT_EQ(errorOf(fromHex("302F301B06092A864886F70D010503300E04080000000000000000020207D0"
                            "041000000000000000000000000000000000"),
                    "1"),
            NTE_BAD_KEYSET);
  EXPECT_EQ(errorOf({}, "1"), NTE_BAD_KEYSET);
  EXPECT_EQ(errorOf(fromHex("3000"), "1"), NTE_BAD_KEYSET);
  EXPECT_EQ(errorOf(fromHex("0400"), "1"), NTE_BAD_KEYSET);
}

}  // namespace
}  // namespace qx::pbes2_test
