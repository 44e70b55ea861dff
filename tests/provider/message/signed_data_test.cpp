#include "provider/message/signed_data.h"

#include <string>

#include <gtest/gtest.h>

#include "provider/message/content_info.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/foreign_messages.h"

namespace qx::test::signed_data_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Read part by part.");

/// A message, and the SignedData inside.
class Source {
 public:
  explicit Source(Octets message) : message_(std::move(message)) {
    der::Reader reader(message_);
    const Result<ContentInfo> info = readContentInfo(reader);
    EXPECT_TRUE(info);
    bare_ = info->content.value_or(der::Element{});
  }

  Result<SignedData> read() const { return SignedData::read(bare_.whole); }

  MessageContent content(const SignedData& data) const {
    MessageContent content;
    EXPECT_TRUE(loadContent(data.contentInfo(), /*detached=*/false, content));
    return content;
  }

  Octets bare() const { return copyOf(bare_.whole); }

 private:
  Octets message_;
  der::Element bare_;
};

Signer& one() {
  return signer(KeyKind::EcP256);
}

Signer& two() {
  return signer(KeyKind::Gost2012_256);
}

TEST(SignedDatas, ShowTheirParts) {
  const Source source(sign({&one(), &two()}, kContent));
  const Result<SignedData> data = source.read();
  ASSERT_TRUE(data);
  EXPECT_EQ(data->version(), CMSG_SIGNED_DATA_V1);
  EXPECT_EQ(data->contentInfo().type, "1.2.840.113549.1.7.1");
  EXPECT_EQ(data->signers().size(), 2U);
  EXPECT_EQ(data->certificates().size(), 2U);
  EXPECT_EQ(data->crls().size(), 0U);
  EXPECT_FALSE(data->isChanged());
  EXPECT_EQ(*data->signer(1), &data->signers()[1]);
  EXPECT_EQ(data->signer(2).error(), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(data->hashAlgorithms(),
            (std::vector{HashAlgorithm::Sha256, HashAlgorithm::Streebog256}));
}

TEST(SignedDatas, ListEachHashOfTheirSignersOnce) {
  const Source source(
      sign({&one(), &signer(KeyKind::Rsa2048), &signer(KeyKind::EcP256, 1)}, kContent));
  EXPECT_EQ(source.read()->hashAlgorithms(), std::vector{HashAlgorithm::Sha256});
  const Source noSigners(sign({}, kContent));
  EXPECT_TRUE(noSigners.read()->hashAlgorithms().empty());
}

TEST(SignedDatas, AreEncodedAsTheyCameWhileNothingChanges) {
  for (const Octets& message : {sign({&one()}, kContent),
                                streamed(sign({&one()}, kContent), 3),
                                loose(sign({&one(), &two()}, kContent)),
                                opensslSign({&two()}, kContent, {"-nodetach", "-stream"})}) {
    const Source source(message);
    EXPECT_EQ(toHex(source.read()->encode().bytes()), toHex(source.bare()));
  }
}

TEST(SignedDatas, SignWhatTheyHold) {
  const Source source(sign({&one()}, kContent));
  SignedData data = *source.read();
  MessageContent content = source.content(data);
  const SignerRequest request = *SignerRequest::copy(two().encodeInfo());
  ASSERT_TRUE(data.addSigner(request, content));
  EXPECT_TRUE(data.isChanged());
  EXPECT_EQ(data.signers().size(), 2U);
  EXPECT_EQ(data.addSigner(request, content).error(), CRYPT_E_EXISTS);
  EXPECT_EQ(data.signers().size(), 2U);
  const Octets changed = data.encode().bytes();
  const Result<SignedData> again = SignedData::read(changed);
  ASSERT_TRUE(again);
  EXPECT_EQ(toHex(again->signers()[1].encoded()), toHex(data.signers()[1].encoded()));
}

TEST(SignedDatas, TakeTheIndexOnlyOfWhatIsThere) {
  const Source source(sign({&one()}, kContent));
  SignedData data = *source.read();
  const Octets attribute = fromHex("300a 06032a0304 3103 020104");
  const auto errors = [&] {
    return std::vector{data.removeSigner(1).error(),
                       data.removeCertificate(1).error(),
                       data.removeCrl(0).error(),
                       data.addUnsignedAttribute(1, attribute).error(),
                       data.removeUnsignedAttribute(0, 0).error(),
                       data.removeUnsignedAttribute(1, 0).error()};
  };
  EXPECT_EQ(errors(), std::vector<DWORD>(6, CRYPT_E_INVALID_INDEX));
  EXPECT_FALSE(data.isChanged()) << "a failure is no change";
}

TEST(SignedDatas, DoNotChangeByWhatIsThereAlready) {
  const Source source(streamed(sign({&one()}, kContent), 100));
  SignedData data = *source.read();
  EXPECT_TRUE(data.addCertificate(one().der()));
  EXPECT_FALSE(data.isChanged());
  EXPECT_EQ(toHex(data.encode().bytes()), toHex(source.bare()));
  EXPECT_TRUE(data.addCertificate(two().der()));
  EXPECT_TRUE(data.isChanged());
}

// A number written longer than it needs to be is not how we would write it.
TEST(SignedDatas, KeepTheVersionAsItWasWritten) {
  const Octets message = sign({&one()}, kContent);
  const std::string bare = toHex(Source(message).bare());
  const std::string fields = bare.substr(bare.find("020101"));
  const Octets padded =
      der::sequence(der::Encoding::owned(fromHex("02020001" + fields.substr(6)))).bytes();
  Result<SignedData> data = SignedData::read(padded);
  ASSERT_TRUE(data);
  ASSERT_TRUE(data->addCertificate(two().der()));
  EXPECT_NE(toHex(data->encode().bytes()).find("02020001"), std::string::npos);
  EXPECT_TRUE(SignedData::read(data->encode().bytes()));
}

struct BadData {
  const char* hex;
  DWORD error;
};

TEST(SignedDatas, AreRefusedWhenMalformed) {
  // Version, hashes, content info of plain data without content, signers.
  const std::string info = "300b06092a864886f70d010701";
  const BadData cases[] = {
      {.hex = "", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3100", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3000", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3003 020101", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3003 040101", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3003 020180", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3002 0200", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "300b 0209 010000000000000000", .error = CRYPT_E_ASN1_LARGE},
      {.hex = "3005 020101 3000", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3005 020101 3100", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3007 020101 3102 0500", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3007 020101 3102 3000", .error = CRYPT_E_ASN1_EOD},
  };
  for (const BadData& bad : cases) {
    EXPECT_EQ(SignedData::read(fromHex(bad.hex)).error(), bad.error) << bad.hex;
  }
  EXPECT_TRUE(SignedData::read(fromHex("3014 020101 3100 " + info + "3100")));
  EXPECT_EQ(SignedData::read(fromHex("3012 020101 3100 " + info)).error(), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(SignedData::read(fromHex("3014 020101 3100 " + info + "3000")).error(),
            CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(SignedData::read(fromHex("3016 020101 3100 " + info + "3100 0500")).error(),
            CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(SignedData::read(fromHex("3018 020101 3100 " + info + "a1 02 3000 3100")).error(),
            CRYPT_E_ASN1_EOD);
  EXPECT_EQ(SignedData::read(fromHex("3014 020101 3100 " + info + "3100 00")).error(),
            CRYPT_E_ASN1_CORRUPT);
}

TEST(SignedDatas, TakeTheirSetsInTheirOrderOnly) {
  const std::string info = "300b06092a864886f70d010701";
  EXPECT_TRUE(SignedData::read(fromHex("3018 020101 3100 " + info + "a000 a100 3100")));
  EXPECT_FALSE(SignedData::read(fromHex("3018 020101 3100 " + info + "a100 a000 3100")));
  EXPECT_FALSE(SignedData::read(fromHex("3018 020101 3100 " + info + "a000 a000 3100")));
  EXPECT_FALSE(SignedData::read(fromHex("3016 020101 3100 " + info + "3100 a000")));
  EXPECT_FALSE(SignedData::read(fromHex("3016 020101 3100 " + info + "8000 3100")));
}

// Each cut of the inner fields, its frame made to fit again: no half of a message passes.
TEST(SignedDatas, AreRefusedWhereverTheirFieldsEnd) {
  const Octets bare = Source(sign({&one()}, kContent)).bare();
  const der::Bytes fields = der::readWhole(bare, der::kSequence)->content;
  ASSERT_TRUE(SignedData::read(der::sequence(der::Encoding::borrowed(fields)).bytes()));
  for (std::size_t length = 0; length < fields.size(); ++length) {
    const Octets cut = der::sequence(der::Encoding::borrowed(fields.first(length))).bytes();
    EXPECT_FALSE(SignedData::read(cut)) << length;
  }
}

}  // namespace
}  // namespace qx::test::signed_data_test
