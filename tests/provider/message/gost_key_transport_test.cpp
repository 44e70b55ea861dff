#include "provider/message/gost_key_transport.h"

#include <functional>

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "tests/provider/der/hex.h"

namespace qx::gost_key_transport_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

constexpr auto kEnd = static_cast<DWORD>(CRYPT_E_ASN1_EOD);
constexpr auto kBadTag = static_cast<DWORD>(CRYPT_E_ASN1_BADTAG);
constexpr auto kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);

// The encrypted key of the sample in RFC 4490, 7.3.
constexpr const char* kWrapped =
    "3028"
    "0420 6a2fa8210695689f9fe447aa9ecb61152b7e4160bc5d8dfbf53d281b189af975"
    "0404 366d98b7";
constexpr const char* kKey =
    "301c 06062a8503020213 3012 06072a850302022400 06072a850302021e01"
    "0343 000440"
    "4d2b2f3390e6dca3dd552acddfe0effb31f7737e4eff bf78898a2bc3cd319404"
    "4b0e6048961fdbc75d1266bfb2408a77b5bdeaf2ec34cb239f9b8bdd9e12c0f6";
constexpr const char* kUkm = "0408 9795e32c2bad2b0c";
constexpr const char* kSet = "06072a850302021f01";

Octets joined(std::initializer_list<std::string> parts) {
  std::string all;
  for (const std::string& part : parts) {
    all += part;
  }
  return fromHex(all);
}

Octets element(const char* tag, const Octets& content) {
  Octets whole = fromHex(tag);
  if (content.size() >= 0x80) {
    whole.push_back(0x81);
  }
  whole.push_back(static_cast<std::uint8_t>(content.size()));
  whole.insert(whole.end(), content.begin(), content.end());
  return whole;
}

Octets transport(const std::string& behindParameters = "",
                 const std::string& behindUkm = "",
                 const std::string& wrapped = kWrapped,
                 const char* keyTag = "a0") {
  const Octets key = element(keyTag, fromHex(kKey));
  const Octets parameters = element("a0", joined({kSet, toHex(key), kUkm, behindUkm}));
  return element("30", joined({wrapped, toHex(parameters), behindParameters}));
}

TEST(GostKeyTransport, IsReadFromThePublishedSample) {
  const auto read = readGostKeyTransport(transport());
  ASSERT_TRUE(read);
  EXPECT_EQ(toHex(read->wrapped.encrypted),
            "6a2fa8210695689f9fe447aa9ecb61152b7e4160bc5d8dfbf53d281b189af975");
  EXPECT_EQ(toHex(read->wrapped.mac), "366d98b7");
  EXPECT_EQ(read->set, "1.2.643.2.2.31.1");
  EXPECT_EQ(toHex(read->ukm), "9795e32c2bad2b0c");
  EXPECT_EQ(toHex(read->ephemeralKey), toHex(element("30", fromHex(kKey))))
      << "as a SubjectPublicKeyInfo of its own";
}

TEST(GostKeyTransport, IsWrittenAsThePublishedSample) {
  const auto read = readGostKeyTransport(transport());
  ASSERT_TRUE(read);
  const auto written = encodeGostKeyTransport(*read);
  ASSERT_TRUE(written);
  EXPECT_EQ(toHex(*written), toHex(transport()));
}

TEST(GostKeyTransport, IsNotWrittenOfWhatIsNone) {
  const GostKeyTransport good = *readGostKeyTransport(transport());
  GostKeyTransport bad = good;
  bad.set = "no set";
  EXPECT_EQ(encodeGostKeyTransport(bad).error(), static_cast<DWORD>(CRYPT_E_OID_FORMAT));
  bad = good;
  bad.ephemeralKey.pop_back();
  EXPECT_EQ(encodeGostKeyTransport(bad).error(), kEnd);
  bad.ephemeralKey = fromHex("0500");
  EXPECT_EQ(encodeGostKeyTransport(bad).error(), kBadTag);
}

TEST(GostKeyTransport, IsRefusedWhereverItIsCut) {
  const Octets good = transport();
  for (std::size_t length = 0; length < good.size(); ++length) {
    EXPECT_EQ(readGostKeyTransport(der::Bytes(good).first(length)).error(), kEnd) << length;
  }
}

TEST(GostKeyTransport, IsRefusedWithSomethingBehind) {
  Octets longer = transport();
  longer.insert(longer.end(), {0x05, 0x00});
  EXPECT_EQ(readGostKeyTransport(longer).error(), kCorrupt);
  EXPECT_EQ(readGostKeyTransport(transport("0500")).error(), kCorrupt);
  EXPECT_EQ(readGostKeyTransport(transport("", "0500")).error(), kCorrupt);
}

TEST(GostKeyTransport, IsRefusedWithoutAnEphemeralKey) {
  EXPECT_EQ(readGostKeyTransport(transport("", "", kWrapped, "a1")).error(), kBadTag);
  const Octets parameters = element("a0", joined({kSet, kUkm}));
  EXPECT_EQ(readGostKeyTransport(element("30", joined({kWrapped, toHex(parameters)}))).error(),
            kBadTag);
}

TEST(GostKeyTransport, IsRefusedWithoutParameters) {
  EXPECT_EQ(readGostKeyTransport(element("30", fromHex(kWrapped))).error(), kEnd);
  EXPECT_EQ(readGostKeyTransport(element("30", {})).error(), kEnd);
}

TEST(GostKeyTransport, LeavesLengthsToWhoUnwraps) {
  const auto read = readGostKeyTransport(transport("", "", "3007 0403 010203 0400"));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->wrapped.encrypted.size(), 3U);
  EXPECT_TRUE(read->wrapped.mac.empty());
}

TEST(GostKeyTransport, IsReadOrRefusedWhicheverBitIsFlipped) {
  const Octets good = transport();
  const std::string asRead = toHex(*encodeGostKeyTransport(*readGostKeyTransport(good)));
  std::size_t refused = 0;
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    Octets bad = good;
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const auto read = readGostKeyTransport(bad);
    refused += read ? 0U : 1U;
    if (read) {
      EXPECT_NE(toHex(*encodeGostKeyTransport(*read)), asRead) << "two forms of one thing: " << bit;
    }
  }
  EXPECT_GT(refused, 80U) << "every identifier and most lengths";
}

TEST(WrappedKeyForm, IsReadAlone) {
  const auto read = readWrappedKey(fromHex(kWrapped));
  ASSERT_TRUE(read);
  EXPECT_EQ(toHex(read->mac), "366d98b7");
}

TEST(WrappedKeyForm, IsRefusedWithAMask) {
  EXPECT_EQ(readWrappedKey(fromHex("300a 0402 0102 8002 0304 0400")).error(), kBadTag);
}

TEST(WrappedKeyForm, IsRefusedInPieces) {
  EXPECT_EQ(readWrappedKey(fromHex("3008 2404 0402 0102 0400")).error(), kBadTag);
  EXPECT_EQ(readWrappedKey(fromHex("3008 0402 0102 2402 0400")).error(), kBadTag);
}

TEST(WrappedKeyForm, IsRefusedWithSomethingMissingOrBehind) {
  EXPECT_EQ(readWrappedKey(fromHex("")).error(), kEnd);
  EXPECT_EQ(readWrappedKey(fromHex("3000")).error(), kEnd);
  EXPECT_EQ(readWrappedKey(fromHex("3002 0400")).error(), kEnd);
  EXPECT_EQ(readWrappedKey(fromHex("3006 0400 0400 0500")).error(), kCorrupt);
  EXPECT_EQ(readWrappedKey(fromHex("3004 0400 0400 0500")).error(), kCorrupt);
  EXPECT_TRUE(readWrappedKey(fromHex("3004 0400 0400")));
}

constexpr const char* kExportedUkm =
    "0420 000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";

TEST(ExportedKeyTransportForm, IsReadInItsParts) {
  const Octets key = element("30", fromHex(kKey));
  const Octets whole = element("30", joined({"0403 0a0b0c", toHex(key), kExportedUkm}));
  const auto read = readExportedKeyTransport(whole);
  ASSERT_TRUE(read);
  EXPECT_EQ(toHex(read->exported), "0a0b0c");
  EXPECT_EQ(toHex(read->ephemeralKey), toHex(key));
  EXPECT_EQ(read->ukm.size(), 32U);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(readExportedKeyTransport(der::Bytes(whole).first(length)).error(), kEnd) << length;
  }
}

TEST(ExportedKeyTransportForm, IsRefusedWithOtherParts) {
  EXPECT_EQ(readExportedKeyTransport(fromHex("0500")).error(), kBadTag);
  EXPECT_EQ(readExportedKeyTransport(fromHex("3000")).error(), kEnd);
  EXPECT_EQ(readExportedKeyTransport(fromHex("3002 0500")).error(), kBadTag);
  EXPECT_EQ(readExportedKeyTransport(fromHex("3004 0400 0400")).error(), kBadTag);
  EXPECT_EQ(readExportedKeyTransport(fromHex("3006 0400 3000 0500")).error(), kBadTag);
  EXPECT_EQ(readExportedKeyTransport(fromHex("3008 0400 3000 0400 0500")).error(), kCorrupt);
}

/// A wrapping algorithm: its name and what stands in its parameters.
Octets wrapParameters(const char* oid, const std::string& inside) {
  return element("30", joined({oid, toHex(element("30", fromHex(inside)))}));
}

constexpr const char* kPlainOid = "06072a850302020d00";
constexpr const char* kDiversifiedOid = "06072a850302020d01";

TEST(KeyWrapParametersForm, NamesTheWrapAndTheSet) {
  const auto plain = readKeyWrapParameters(wrapParameters(kPlainOid, kSet));
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->wrap, Gost28147Wrap::Plain);
  EXPECT_EQ(plain->set, "1.2.643.2.2.31.1");
  EXPECT_TRUE(plain->ukm.empty());
  const auto diversified =
      readKeyWrapParameters(wrapParameters(kDiversifiedOid, std::string(kSet) + kUkm));
  ASSERT_TRUE(diversified);
  EXPECT_EQ(diversified->wrap, Gost28147Wrap::Diversified);
  EXPECT_EQ(toHex(diversified->ukm), "9795e32c2bad2b0c");
}

TEST(KeyWrapParametersForm, OfAnotherWrapIsABadAlgorithm) {
  for (const char* other : {"06072a850302020d02", "06072a850302021f01", "06022a03"}) {
    EXPECT_EQ(readKeyWrapParameters(wrapParameters(other, kSet)).error(),
              static_cast<DWORD>(NTE_BAD_ALGID))
        << other;
  }
}

TEST(KeyWrapParametersForm, IsRefusedWithOtherParts) {
  EXPECT_EQ(readKeyWrapParameters({}).error(), kEnd);
  EXPECT_EQ(readKeyWrapParameters(fromHex("0500")).error(), kBadTag);
  EXPECT_EQ(readKeyWrapParameters(fromHex("3000")).error(), kEnd);
  EXPECT_EQ(readKeyWrapParameters(element("30", fromHex(kPlainOid))).error(), kEnd)
      << "no parameters at all";
  EXPECT_EQ(readKeyWrapParameters(wrapParameters(kPlainOid, "")).error(), kEnd);
  EXPECT_EQ(readKeyWrapParameters(wrapParameters(kPlainOid, "0500")).error(), kBadTag);
  EXPECT_EQ(readKeyWrapParameters(wrapParameters(kPlainOid, std::string(kSet) + "0500")).error(),
            kBadTag);
  EXPECT_EQ(
      readKeyWrapParameters(wrapParameters(kPlainOid, std::string(kSet) + kUkm + "0500")).error(),
      kCorrupt);
}

}  // namespace
}  // namespace qx::gost_key_transport_test
