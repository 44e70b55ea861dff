#include "qxsapssf/ssfxxmain_format.h"

#include <climits>

#include "qxsapssf/ssfxxmain_arguments.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::ssfxxmain_format_test {
namespace {

using scripted::Octets;
using scripted::Output;
using scripted::provider;
using testing::ElementsAre;
using testing::IsEmpty;

class FormatTest : public scripted::ScriptedTest {
 protected:
  SAPRETURN check(std::string_view name) {
    Octets bytes(name);
    isCades_ = 0xAA;
    return check_ssf_format(reinterpret_cast<const char*>(bytes.data()), bytes.size(), &isCades_);
  }

  unsigned char isCades_ = 0;
};

TEST_F(FormatTest, KnowsFourNames) {
  EXPECT_EQ(check("PKCS7"), 0);
  EXPECT_EQ(isCades_, 0);
  EXPECT_EQ(check("CADES"), 0);
  EXPECT_EQ(isCades_, 1);
  EXPECT_EQ(check("PKCS7_CADES"), 0);
  EXPECT_EQ(isCades_, 1);
  EXPECT_EQ(check("PKCS7_ANY"), 0);
  EXPECT_EQ(isCades_, 0);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(FormatTest, RefusesEveryOtherName) {
  for (const std::string& name : {std::string("pkcs7"),
                                  std::string("PKCS"),
                                  std::string("PKCS7_"),
                                  std::string("PKCS7_ANYX"),
                                  std::string("CADE"),
                                  std::string("CADESX"),
                                  std::string(" CADES"),
                                  std::string("PKCS7\0", 6),
                                  std::string("\0", 1),
                                  std::string(256, 'x')}) {
    EXPECT_EQ(check(name), 2) << name;
    EXPECT_EQ(isCades_, 0) << name;
  }
}

TEST_F(FormatTest, IsTheSameToOperationsThatMakeNoDifference) {
  for (const std::string_view name : {"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"}) {
    Octets bytes(name);
    EXPECT_EQ(checkFormat(bytes.data(), bytes.size()), SSF_API_OK) << name;
  }
  Octets unknown("pkcs7");
  EXPECT_EQ(checkFormat(unknown.data(), unknown.size()), SSF_API_INVALID_FORMAT);
}

TEST_F(FormatTest, WarnsOfAnUnknownName) {
  check("pkcs7");
  ASSERT_EQ(provider().trace().size(), 1U);
  EXPECT_EQ(provider().trace()[0].text, "#warn# Unknown format name ('pkcs7').\n");
  EXPECT_EQ(provider().trace()[0].format, "#warn# Unknown format name ('%s').\n");
  EXPECT_EQ(provider().trace()[0].function, "check_ssf_format");
}

TEST_F(FormatTest, WarnsOfALengthOutOfRange) {
  isCades_ = 1;
  for (const int length : {0, -1, 257, INT_MIN, INT_MAX}) {
    provider().reset();
    EXPECT_EQ(check_ssf_format("CADES", length, &isCades_), 2);
    EXPECT_EQ(isCades_, 0);
    EXPECT_THAT(
        provider().traceTexts(),
        ElementsAre("#warn# Invalid format name lnegth (" + std::to_string(length) + ")\n"));
  }
}

TEST_F(FormatTest, ANullNameIsUnknown) {
  EXPECT_EQ(check_ssf_format(nullptr, 5, &isCades_), 2);
  EXPECT_THAT(provider().traceTexts(), ElementsAre("#warn# Unknown format name ('').\n"));
  EXPECT_EQ(check_ssf_format(nullptr, 0, &isCades_), 2);
}

TEST(NameOrPrefix, MatchesAsFarAsTheNameGoesWithItsNul) {
  const auto matches = [](std::string_view name, std::string_view full) {
    Octets bytes(name);
    return isNameOrPrefix(bytes.data(), bytes.size(), full);
  };
  EXPECT_TRUE(matches("SHA1", "SHA1"));
  EXPECT_TRUE(matches("S", "SHA1"));
  EXPECT_TRUE(matches("", "SHA1"));
  EXPECT_TRUE(matches(std::string_view("SHA1\0", 5), "SHA1"));
  EXPECT_TRUE(matches(std::string_view("SHA1\0rest", 9), "SHA1"));
  EXPECT_FALSE(matches("SHA1X", "SHA1"));
  EXPECT_FALSE(matches("SHA2", "SHA1"));
  EXPECT_FALSE(matches("sha1", "SHA1"));
  EXPECT_FALSE(matches(std::string_view("S\0", 2), "SHA1"));
}

TEST(NameOrPrefix, OfNoLengthNeedsNoPointer) {
  EXPECT_TRUE(isNameOrPrefix(nullptr, 0, "SHA1"));
}

TEST(Arguments, ABooleanIsItsLowByte) {
  EXPECT_FALSE(isSet(0));
  EXPECT_FALSE(isSet(0x100));
  EXPECT_FALSE(isSet(static_cast<int>(0xFFFFFF00U)));
  EXPECT_TRUE(isSet(1));
  EXPECT_TRUE(isSet(0x80));
  EXPECT_TRUE(isSet(-1));
  EXPECT_TRUE(isSet(0x12345601));
}

class AcceptFormat : public scripted::ScriptedTest {
 protected:
  SAPRETURN accept(std::string_view name) {
    Octets bytes(name);
    return acceptFormat("SsfTest", bytes.data(), bytes.size(), isCades_);
  }

  bool isCades_ = false;
};

TEST_F(AcceptFormat, TellsTheNameAndWhatItMeans) {
  EXPECT_EQ(accept("CADES"), SSF_API_OK);
  EXPECT_TRUE(isCades_);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre("#info# SSFformat name ('CADES').\n", "#info#: accept isCades='1' \n"));
  EXPECT_EQ(accept("PKCS7_ANY"), SSF_API_OK);
  EXPECT_FALSE(isCades_);
  EXPECT_EQ(provider().traceTexts().back(), "#info#: accept isCades='0' \n");
}

TEST_F(AcceptFormat, LeavesTheFlagAloneWhenTheNameIsUnknown) {
  isCades_ = true;
  EXPECT_EQ(accept("PKCS12"), SSF_API_INVALID_FORMAT);
  EXPECT_TRUE(isCades_);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre("#info# SSFformat name ('PKCS12').\n",
                          "#warn# Unknown format name ('PKCS12').\n"));
}

TEST_F(AcceptFormat, TellsNoNameWithoutLength) {
  EXPECT_EQ(accept(""), SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(), ElementsAre("#warn# Invalid format name lnegth (0)\n"));
}

TEST(CountNodes, CountsNodesWithAndWithoutRecord) {
  EXPECT_EQ(countNodes(nullptr), 0U);
  SigRcpSsfInformation record{};
  SigRcpSsfInformationListStruct last{nullptr, nullptr};
  const SigRcpSsfInformationListStruct first{&last, &record};
  EXPECT_EQ(countNodes(&last), 1U);
  EXPECT_EQ(countNodes(&first), 2U);
}

class OutputArguments : public scripted::ScriptedTest {};

TEST_F(OutputArguments, LoseTheirLengthAtOnce) {
  Output output;
  EXPECT_TRUE(clearOutputLength("SsfTest", output.data(), output.length()));
  EXPECT_EQ(output.size(), 0);
  EXPECT_TRUE(output.isUntouched());
}

TEST_F(OutputArguments, AreBothNeeded) {
  Output output;
  EXPECT_FALSE(clearOutputLength("SsfTest", nullptr, output.length()));
  EXPECT_EQ(output.size(), 0);
  EXPECT_FALSE(clearOutputLength("SsfTest", output.data(), nullptr));
  EXPECT_FALSE(clearOutputLength("SsfTest", nullptr, nullptr));
  EXPECT_THAT(provider().traceTexts(), testing::SizeIs(3));
}

TEST_F(OutputArguments, TakeTheBytesOver) {
  Output output;
  OwnedBytes bytes = OwnedBytes::copyOf("abc", 3);
  handOver(bytes, output.data(), output.length());
  EXPECT_EQ(output.text(), "abc");
  EXPECT_FALSE(bytes);
}

}  // namespace
}  // namespace qx::ssfxxmain_format_test
