// ECDSA signatures that RFC 6979 publishes (appendix A.2.5 and A.2.6), and what is near them.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "provider/key/public_key.h"
#include "tests/provider/key/sample_keys.h"

namespace qx::published_vectors_test {
namespace {

using test::fromHex;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kP256 =
    "3059 301306072A8648CE3D0201 06082A8648CE3D030107 034200 04"
    "60FED4BA255A9D31C961EB74C6356D68C049B8923B61FA6CE669622E60F29FB6"
    "7903FE1008B8BC99A41AE9E95628BC64F2F1B20C2D7E9F5177A3C294D4462299";
constexpr const char* kP384 =
    "3076 301006072A8648CE3D0201 06052B81040022 036200 04"
    "EC3A4E415B4E19A4568618029F427FA5DA9A8BC4AE92E02E06AAE5286B300C64DEF8F0EA9055866064A254515480BC13"
    "8015D9B72D7D57244EA8EF9AC0C621896708A59367F9DFB9F54CA84B3F1C9DB1288B231C3AE0D4FE7344FD2533264720";

constexpr std::string_view kEcdsaSha1 = "1.2.840.10045.4.1";
constexpr std::string_view kEcdsaSha256 = "1.2.840.10045.4.3.2";
constexpr std::string_view kEcdsaSha384 = "1.2.840.10045.4.3.3";
constexpr std::string_view kEcdsaSha512 = "1.2.840.10045.4.3.4";

struct Vector {
  const char* key;
  HashAlgorithm hash;
  std::string_view algorithm;
  std::string_view message;
  const char* r;
  const char* s;
};

const std::vector<Vector>& vectors() {
  static const std::vector<Vector> kVectors = {
      {kP256,
       HashAlgorithm::Sha1,
       kEcdsaSha1,
       "sample",
       "61340C88C3AAEBEB4F6D667F672CA9759A6CCAA9FA8811313039EE4A35471D32",
       "6D7F147DAC089441BB2E2FE8F7A3FA264B9C475098FDCF6E00D7C996E1B8B7EB"},
      {kP256,
       HashAlgorithm::Sha256,
       kEcdsaSha256,
       "sample",
       "EFD48B2AACB6A8FD1140DD9CD45E81D69D2C877B56AAF991C34D0EA84EAF3716",
       "F7CB1C942D657C41D436C7A1B6E29F65F3E900DBB9AFF4064DC4AB2F843ACDA8"},
      {kP256,
       HashAlgorithm::Sha384,
       kEcdsaSha384,
       "sample",
       "0EAFEA039B20E9B42309FB1D89E213057CBF973DC0CFC8F129EDDDC800EF7719",
       "4861F0491E6998B9455193E34E7B0D284DDD7149A74B95B9261F13ABDE940954"},
      {kP256,
       HashAlgorithm::Sha512,
       kEcdsaSha512,
       "sample",
       "8496A60B5E9B47C825488827E0495B0E3FA109EC4568FD3F8D1097678EB97F00",
       "2362AB1ADBE2B8ADF9CB9EDAB740EA6049C028114F2460F96554F61FAE3302FE"},
      {kP256,
       HashAlgorithm::Sha256,
       kEcdsaSha256,
       "test",
       "F1ABB023518351CD71D881567B1EA663ED3EFCF6C5132B354F28D3B0B7D38367",
       "019F4113742A2B14BD25926B49C649155F267E60D3814B4C0CC84250E46F0083"},
      {kP256,
       HashAlgorithm::Sha384,
       kEcdsaSha384,
       "test",
       "83910E8B48BB0C74244EBDF7F07A1C5413D61472BD941EF3920E623FBCCEBEB6",
       "8DDBEC54CF8CD5874883841D712142A56A8D0F218F5003CB0296B6B509619F2C"},
      {kP256,
       HashAlgorithm::Sha512,
       kEcdsaSha512,
       "test",
       "461D93F31B6540894788FD206C07CFA0CC35F46FA3C91816FFF1040AD1581A04",
       "39AF9F15DE0DB8D97E72719C74820D304CE5226E32DEDAE67519E840D1194E55"},
      {kP384,
       HashAlgorithm::Sha256,
       kEcdsaSha256,
       "sample",
       "21B13D1E013C7FA1392D03C5F99AF8B30C570C6F98D4EA8E354B63A21D3DAA33BDE1E888E63355D92FA2B3C36D8FB"
       "2CD",
       "F3AA443FB107745BF4BD77CB3891674632068A10CA67E3D45DB2266FA7D1FEEBEFDC63ECCD1AC42EC0CB8668A4FA0"
       "AB0"},
      {kP384,
       HashAlgorithm::Sha384,
       kEcdsaSha384,
       "sample",
       "94EDBB92A5ECB8AAD4736E56C691916B3F88140666CE9FA73D64C4EA95AD133C81A648152E44ACF96E36DD1E80FAB"
       "E46",
       "99EF4AEB15F178CEA1FE40DB2603138F130E740A19624526203B6351D0A3A94FA329C145786E679E7B82C71A38628"
       "AC8"},
  };
  return kVectors;
}

/// An INTEGER of a positive number.
Bytes encodedNumber(Bytes number) {
  while (number.size() > 1 && number.front() == 0) {
    number.erase(number.begin());
  }
  if (number.front() >= 0x80) {
    number.insert(number.begin(), 0);
  }
  number.insert(number.begin(), {0x02, static_cast<std::uint8_t>(number.size())});
  return number;
}

Bytes encodedSignature(const Bytes& r, const Bytes& s) {
  Bytes signature = encodedNumber(r);
  const Bytes second = encodedNumber(s);
  signature.insert(signature.end(), second.begin(), second.end());
  signature.insert(signature.begin(), {0x30, static_cast<std::uint8_t>(signature.size())});
  return signature;
}

class Rfc6979 : public ::testing::TestWithParam<Vector> {
 protected:
  static HashValue digestOf(std::string_view text) {
    Hasher hasher(GetParam().hash);
    hasher.update({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return hasher.finish();
  }

  Result<void> verify(const Bytes& signature) const {
    return verifyAs(GetParam().algorithm, GetParam().hash, signature);
  }

  Result<void> verifyAs(std::string_view algorithm,
                        HashAlgorithm hash,
                        const Bytes& signature) const {
    return key_.verifyDigest({.oid = std::string(algorithm), .parameters = {}},
                             hash,
                             digestOf(GetParam().message).bytes(),
                             signature);
  }

  PublicKey key_ = *PublicKey::parse(fromHex(GetParam().key));
  Bytes r_ = fromHex(GetParam().r);
  Bytes s_ = fromHex(GetParam().s);
  Bytes signature_ = encodedSignature(r_, s_);
};

TEST_P(Rfc6979, SignatureIsAccepted) {
  EXPECT_TRUE(verify(signature_));
}

TEST_P(Rfc6979, SignatureIsAcceptedUnderTheKeysOwnOidToo) {
  EXPECT_TRUE(verifyAs("1.2.840.10045.2.1", GetParam().hash, signature_));
}

TEST_P(Rfc6979, SignatureOfOtherTextIsRefused) {
  const auto verified =
      key_.verifyDigest({.oid = std::string(GetParam().algorithm), .parameters = {}},
                        GetParam().hash,
                        digestOf("another text").bytes(),
                        signature_);
  EXPECT_EQ(verified.error(), NTE_BAD_SIGNATURE);
}

TEST_P(Rfc6979, SignatureWithItsNumbersSwappedIsRefused) {
  EXPECT_EQ(verify(encodedSignature(s_, r_)).error(), NTE_BAD_SIGNATURE);
}

TEST_P(Rfc6979, NumbersOutOfRangeAreRefused) {
  const Bytes zero = {0};
  const Bytes tooLarge(r_.size(), 0xFF);
  for (const Bytes& bad : {zero, tooLarge}) {
    EXPECT_EQ(verify(encodedSignature(bad, s_)).error(), NTE_BAD_SIGNATURE);
    EXPECT_EQ(verify(encodedSignature(r_, bad)).error(), NTE_BAD_SIGNATURE);
    EXPECT_EQ(verify(encodedSignature(bad, bad)).error(), NTE_BAD_SIGNATURE);
  }
}

TEST_P(Rfc6979, OtherFormsOfTheSameNumbersAreRefused) {
  Bytes raw = r_;
  raw.insert(raw.end(), s_.begin(), s_.end());
  EXPECT_EQ(verify(raw).error(), NTE_BAD_SIGNATURE) << "both numbers without their frame";
  Bytes trailing = signature_;
  trailing.push_back(0);
  EXPECT_EQ(verify(trailing).error(), NTE_BAD_SIGNATURE) << "something behind it";
  Bytes longForm = signature_;
  longForm.insert(longForm.begin() + 1, 0x81);
  EXPECT_EQ(verify(longForm).error(), NTE_BAD_SIGNATURE) << "a length in more octets than needed";
  EXPECT_EQ(verify({}).error(), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verify({0x30, 0x00}).error(), NTE_BAD_SIGNATURE);
}

TEST_P(Rfc6979, CutAnywhereIsRefused) {
  for (std::size_t size = 0; size < signature_.size(); ++size) {
    const Bytes cut(signature_.begin(), signature_.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(verify(cut).error(), NTE_BAD_SIGNATURE) << size;
  }
}

TEST_P(Rfc6979, NamedAfterAnotherHashIsRefused) {
  const std::string_view other = GetParam().algorithm == kEcdsaSha256 ? kEcdsaSha384 : kEcdsaSha256;
  EXPECT_EQ(verifyAs(other, GetParam().hash, signature_).error(), NTE_BAD_ALGID);
  EXPECT_EQ(verifyAs("1.2.840.113549.1.1.11", GetParam().hash, signature_).error(), NTE_BAD_ALGID);
}

TEST_P(Rfc6979, OfAnotherKeyIsRefused) {
  const auto other =
      test::makeKey(GetParam().key == kP256 ? lab::KeyKind::EcP256 : lab::KeyKind::EcP384);
  const auto verified = test::publicHalf(*other).verifyDigest(
      {.oid = std::string(GetParam().algorithm), .parameters = {}},
      GetParam().hash,
      digestOf(GetParam().message).bytes(),
      signature_);
  EXPECT_EQ(verified.error(), NTE_BAD_SIGNATURE);
}

INSTANTIATE_TEST_SUITE_P(Vectors, Rfc6979, ::testing::ValuesIn(vectors()));

}  // namespace
}  // namespace qx::published_vectors_test
