#include "provider/message/signer_id.h"

#include <string>

#include <gtest/gtest.h>

#include "provider/der/blob.h"
#include "provider/der/writer.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/messages.h"

namespace qx::signer_id_test {
namespace {

using test::blob;
using test::fromHex;
using test::Octets;
using test::toHex;

// Name of one CN "A"; serial number 0x0102.
const std::string kName = "300c310a300806035504030c0141";
const std::string kByIssuer = "3012" + kName + "02020102";

Result<SignerId> readFrom(const Octets& bytes) {
  return readSignerId(*der::Reader(bytes).next());
}

TEST(SignerIds, ByIssuerAndSerialNumberAreRead) {
  const Octets bytes = fromHex(kByIssuer);
  const Result<SignerId> id = readFrom(bytes);
  ASSERT_TRUE(id);
  EXPECT_FALSE(id->isKeyId());
  EXPECT_EQ(toHex(id->whole), kByIssuer);
  EXPECT_EQ(toHex(id->issuer), kName);
  EXPECT_EQ(toHex(id->serial), "0102");
  EXPECT_TRUE(id->keyId.empty());
  EXPECT_EQ(id->issuer.data(), bytes.data() + 2) << "nothing is copied";
}

TEST(SignerIds, ByKeyAreRead) {
  const Octets bytes = fromHex("8003aabbcc");
  const Result<SignerId> id = readFrom(bytes);
  ASSERT_TRUE(id);
  EXPECT_TRUE(id->isKeyId());
  EXPECT_EQ(toHex(id->keyId), "aabbcc");
  EXPECT_TRUE(id->issuer.empty());
  EXPECT_TRUE(id->serial.empty());
}

TEST(SignerIds, WithAnEmptyNameAreNotTakenForAKey) {
  const Octets bytes = fromHex("3005 3000 020101");
  const Result<SignerId> id = readFrom(bytes);
  ASSERT_TRUE(id);
  EXPECT_FALSE(id->isKeyId());
}

struct BadId {
  const char* hex;
  DWORD error;
};

TEST(SignerIds, AreRefusedWhenMalformed) {
  const BadId cases[] = {
      {.hex = "0500", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3100", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "a003 020101", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "8103 aabbcc", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3000", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3002 3000", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3005 020101 3000", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3005 3000 040101", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3004 3000 0200", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3007 3000 020101 0500", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3005 3000 020201", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3005 3004 020101", .error = CRYPT_E_ASN1_EOD},
  };
  for (const BadId& bad : cases) {
    EXPECT_EQ(readFrom(fromHex(bad.hex)).error(), bad.error) << bad.hex;
  }
}

TEST(SignerIds, OfACallerAreWrittenWithTheSerialNumberTurnedRound) {
  EXPECT_EQ(toHex(*encodeIssuerAndSerial(fromHex(kName), fromHex("0201"))), kByIssuer);
  EXPECT_EQ(toHex(*encodeIssuerAndSerial(fromHex("3000"), fromHex("80000000"))), "3006300002020080")
      << "redundant octets go";
}

TEST(SignerIds, OfACallerNeedBothParts) {
  EXPECT_EQ(encodeIssuerAndSerial(fromHex(kName), {}).error(), E_INVALIDARG);
  EXPECT_EQ(encodeIssuerAndSerial({}, fromHex("01")).error(), E_INVALIDARG);
  EXPECT_EQ(encodeIssuerAndSerial(fromHex("0500"), fromHex("01")).error(), E_INVALIDARG);
  EXPECT_EQ(encodeIssuerAndSerial(fromHex(kName + "00"), fromHex("01")).error(), E_INVALIDARG);
  EXPECT_EQ(encodeIssuerAndSerial(fromHex(kName.substr(0, 20)), fromHex("01")).error(),
            E_INVALIDARG);
}

TEST(SignerIds, OfARecordAreWrittenInTheFormThatItChooses) {
  const Octets name = fromHex(kName);
  const Octets serial = fromHex("0201");
  const Octets key = fromHex("aabbcc");
  CERT_ID id{};
  id.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
  id.IssuerSerialNumber = {.Issuer = blob(name), .SerialNumber = blob(serial)};
  EXPECT_EQ(toHex(*encodeSignerId(id)), kByIssuer);
  id = {};
  id.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  id.KeyId = blob(key);
  EXPECT_EQ(toHex(*encodeSignerId(id)), "8003aabbcc");
}

TEST(SignerIds, OfARecordNeedAFormThatCanBeWritten) {
  const Octets key = fromHex("aabbcc");
  for (const DWORD choice : {DWORD{0}, DWORD{CERT_ID_SHA1_HASH}, DWORD{4}, DWORD{0xFFFFFFFF}}) {
    CERT_ID id{};
    id.dwIdChoice = choice;
    id.KeyId = blob(key);
    EXPECT_EQ(encodeSignerId(id).error(), E_INVALIDARG) << choice;
  }
  CERT_ID empty{};
  empty.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  EXPECT_EQ(encodeSignerId(empty).error(), E_INVALIDARG);
  empty.KeyId.cbData = 4;
  EXPECT_EQ(encodeSignerId(empty).error(), E_INVALIDARG) << "a length without bytes";
}

TEST(SignerIds, ByKeyHaveAMadeUpNameAndTheSerialNumberZero) {
  const Octets bytes = fromHex("8003aabbcc");
  const SignerId id = *readFrom(bytes);
  EXPECT_EQ(toHex(issuerOf(id)),
            "3015"
            "3113"
            "3011"
            "060a2b0601040182370a0701"
            "0403aabbcc");
  EXPECT_EQ(toHex(serialOf(id)), "00");
}

CERT_INFO infoOf(const Octets& issuer, const Octets& serial) {
  CERT_INFO info{};
  info.Issuer = blob(issuer);
  info.SerialNumber = blob(serial);
  return info;
}

TEST(SignerIds, AreNamedByACertificateOfThisIssuerAndSerialNumber) {
  const Octets bytes = fromHex(kByIssuer);
  const SignerId id = *readFrom(bytes);
  const Octets name = fromHex(kName);
  for (const char* same : {"0201", "020100", "02010000"}) {
    const Octets serial = fromHex(same);
    EXPECT_TRUE(namesSigner(infoOf(name, serial), id)) << same;
  }
  for (const char* other : {"", "0102", "02", "01", "0202", "020101", "0201ff"}) {
    const Octets serial = fromHex(other);
    EXPECT_FALSE(namesSigner(infoOf(name, serial), id)) << other;
  }
  const Octets serial = fromHex("0201");
  const Octets otherName = fromHex("300c310a300806035504030c0142");
  EXPECT_FALSE(namesSigner(infoOf(otherName, serial), id));
  EXPECT_FALSE(namesSigner(infoOf({}, serial), id));
}

TEST(SignerIds, OfANegativeSerialNumberAreNotNamedByAPositiveOne) {
  const Octets bytes = fromHex("3005 3000 0201 ff");
  const SignerId id = *readFrom(bytes);
  const Octets name = fromHex("3000");
  const Octets minusOne = fromHex("ff");
  const Octets longMinusOne = fromHex("ffff");
  const Octets positive = fromHex("ff00");
  EXPECT_TRUE(namesSigner(infoOf(name, minusOne), id));
  EXPECT_TRUE(namesSigner(infoOf(name, longMinusOne), id));
  EXPECT_FALSE(namesSigner(infoOf(name, positive), id));
}

TEST(SignerIds, AreComparedByWhatTheirSerialNumbersEncode) {
  const std::vector<Octets> numbers = {
      {},
      {0x00},
      {0x7F},
      {0x80},
      {0xFF},
      {0x00, 0x00},
      {0x00, 0x80},
      {0x80, 0x00},
      {0xFF, 0xFF},
      {0xFF, 0x00},
      {0x80, 0xFF},
      {0x7F, 0x00, 0x00},
      {0x01, 0xFF},
      {0xFF, 0x01},
      {0x00, 0xFF},
      {0x01, 0x00},
      {0x00, 0x01},
      {0x80, 0xFF, 0xFF},
  };
  const Octets name = fromHex("3000");
  for (const Octets& content : numbers) {
    const SignerId id{.whole = {}, .issuer = name, .serial = content, .keyId = {}};
    const Octets reversed(content.rbegin(), content.rend());
    for (const Octets& number : numbers) {
      EXPECT_EQ(namesSigner(infoOf(name, number), id),
                der::integerFromLittleEndian(number).bytes() ==
                    der::integerFromLittleEndian(reversed).bytes())
          << toHex(content) << " and the other way round " << toHex(number);
    }
  }
}

TEST(SignerIds, OfAKeyAreNamedByTheMadeUpName) {
  const Octets bytes = fromHex("8003aabbcc");
  const SignerId id = *readFrom(bytes);
  const Octets name = issuerOf(id);
  const Octets zero = fromHex("00");
  const Octets one = fromHex("01");
  EXPECT_TRUE(namesSigner(infoOf(name, zero), id));
  EXPECT_FALSE(namesSigner(infoOf(name, one), id));
}

CERT_ID layOut(const SignerId& id, std::vector<std::uint64_t>& memory) {
  OnePiece measure(nullptr);
  (void)layOutSignerId(id, measure);
  memory.assign((measure.size() / 8) + 1, 0);
  OnePiece piece(reinterpret_cast<std::uint8_t*>(memory.data()));
  return layOutSignerId(id, piece);
}

TEST(SignerIds, AreShownAsRecords) {
  std::vector<std::uint64_t> memory;
  const Octets byIssuer = fromHex(kByIssuer);
  const CERT_ID first = layOut(*readFrom(byIssuer), memory);
  EXPECT_EQ(first.dwIdChoice, CERT_ID_ISSUER_SERIAL_NUMBER);
  EXPECT_EQ(toHex(bytesOf(first.IssuerSerialNumber.Issuer)), kName);
  EXPECT_EQ(toHex(bytesOf(first.IssuerSerialNumber.SerialNumber)), "0201");
  const Octets byKey = fromHex("8003aabbcc");
  const CERT_ID second = layOut(*readFrom(byKey), memory);
  EXPECT_EQ(second.dwIdChoice, CERT_ID_KEY_IDENTIFIER);
  EXPECT_EQ(toHex(bytesOf(second.KeyId)), "aabbcc");
}

// Read, shown as a record, written again: the same bytes.
TEST(SignerIds, ComeBackAsTheyWere) {
  for (const std::string& hex : {kByIssuer,
                                 std::string("8003aabbcc"),
                                 std::string("3006 3000 02020080"),
                                 std::string("3005 3000 0201ff")}) {
    const Octets bytes = fromHex(hex);
    std::vector<std::uint64_t> memory;
    const CERT_ID record = layOut(*readFrom(bytes), memory);
    EXPECT_EQ(toHex(*encodeSignerId(record)), toHex(bytes));
  }
}

}  // namespace
}  // namespace qx::signer_id_test
