#include <cstdint>

#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::ssfxxmain_digest_test {
namespace {

using scripted::kError;
using scripted::kStart;
using scripted::kSuccess;
using scripted::Octets;
using scripted::Output;
using scripted::provider;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class DigestTest : public scripted::ScriptedTest {
 protected:
  SAPRETURN digest(Output& output,
                   std::string_view hashName = "GOST3411",
                   int detached = 0,
                   std::string_view input = "the input",
                   std::string_view format = "PKCS7") {
    Octets formatBytes(format);
    Octets inputBytes(input);
    Octets hashBytes(hashName);
    return SsfDigest(formatBytes.data(),
                     formatBytes.size(),
                     detached,
                     inputBytes.data(),
                     inputBytes.size(),
                     hashBytes.data(),
                     hashBytes.size(),
                     output.data(),
                     output.length());
  }

  /// Everything that a failed call leaves: outputs, books and the last line.
  static void expectFailed(const Output& output) {
    EXPECT_TRUE(output.isUntouched());
    EXPECT_EQ(output.size(), 0);
    EXPECT_THAT(provider().leftovers(), IsEmpty());
    EXPECT_EQ(provider().traceTexts().back(), kError);
  }

  std::string oidOf(std::string_view hashName) {
    Output output;
    EXPECT_EQ(digest(output, hashName), 0) << hashName;
    const std::string text = output.text();
    return text.substr(7, text.find(';') - 7);
  }
};

TEST_F(DigestTest, BuildsAHashedMessageOfTheInput) {
  Output output;
  EXPECT_EQ(digest(output), 0);
  EXPECT_EQ(output.text(), "hashed(1.2.643.2.2.9;\"the input\")");
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kSuccess));
  EXPECT_EQ(provider().trace()[0].function, "SsfDigest");
}

TEST_F(DigestTest, MakesItsCallsInOrderAndReleasesInReverse) {
  Output output;
  digest(output);
  EXPECT_THAT(provider().journal(),
              ElementsAre(HasSubstr(kStart),
                          "CryptAcquireContextA(NULL, NULL, 75, 0xf0000000)",
                          "CryptMsgOpenToEncode(0x10001, 0x0, CMSG_HASHED, cbSize 48 provider#1 "
                          "1.2.643.2.2.9 parameters 0, NULL, NULL)",
                          "CryptMsgUpdate(message#1, 9 bytes, 1)",
                          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
                          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)",
                          "CryptMsgClose(message#1)",
                          "CryptReleaseContext(provider#1, 0)",
                          HasSubstr(kSuccess)));
}

TEST_F(DigestTest, DetachedLeavesTheContentOut) {
  Output attached;
  Output detached;
  EXPECT_EQ(digest(attached, "SHA1", 0), 0);
  EXPECT_EQ(digest(detached, "SHA1", 1), 0);
  EXPECT_THAT(attached.text(), HasSubstr("the input"));
  EXPECT_THAT(detached.text(), testing::Not(HasSubstr("the input")));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode(0x10001, 0x4,"), SizeIs(1));
}

TEST_F(DigestTest, OnlyTheLowByteOfDetachedCounts) {
  Output output;
  EXPECT_EQ(digest(output, "SHA1", 0x7FFFFF00), 0);
  EXPECT_THAT(output.text(), HasSubstr("the input"));
  Output other;
  EXPECT_EQ(digest(other, "SHA1", 0x7FFFFF80), 0);
  EXPECT_THAT(other.text(), HasSubstr("detached"));
}

TEST_F(DigestTest, KnowsFiveHashNames) {
  EXPECT_EQ(oidOf("SHA1"), "1.3.14.3.2.26");
  EXPECT_EQ(oidOf("GOST3411"), "1.2.643.2.2.9");
  EXPECT_EQ(oidOf("GOST-R-34.11-94"), "1.2.643.2.2.9");
  EXPECT_EQ(oidOf("MD2"), "1.2.840.113549.2.2");
  EXPECT_EQ(oidOf("MD5"), "1.2.840.113549.2.5");
}

TEST_F(DigestTest, BothNamesOfTheGostHashGiveTheSame) {
  Output one;
  Output other;
  digest(one, "GOST3411");
  digest(other, "GOST-R-34.11-94");
  EXPECT_EQ(one.text(), other.text());
}

TEST_F(DigestTest, HashNamesMayBeShortened) {
  EXPECT_EQ(oidOf("S"), "1.3.14.3.2.26");
  EXPECT_EQ(oidOf("G"), "1.2.643.2.2.9");
  EXPECT_EQ(oidOf("GOST"), "1.2.643.2.2.9");
  EXPECT_EQ(oidOf("GOST-"), "1.2.643.2.2.9");
  EXPECT_EQ(oidOf("M"), "1.2.840.113549.2.2");
  EXPECT_EQ(oidOf("MD"), "1.2.840.113549.2.2");
  EXPECT_EQ(oidOf(std::string_view("SHA1\0", 5)), "1.3.14.3.2.26");
}

TEST_F(DigestTest, AcceptsEveryFormat) {
  for (const char* format : {"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"}) {
    Output output;
    EXPECT_EQ(digest(output, "SHA1", 0, "x", format), 0) << format;
  }
}

TEST_F(DigestTest, RefusesAnUnknownFormatFirst) {
  Output output;
  EXPECT_EQ(digest(output, "", 0, "", "PKCS8"), 2);
  expectFailed(output);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Unknown format name ('PKCS8').\n", kError));
}

TEST_F(DigestTest, RefusesEmptyInputBeforeTheHashName) {
  Output output;
  EXPECT_EQ(digest(output, "", 0, ""), 3);
  expectFailed(output);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: ostrInputDataL <= 0\n", kError));
}

TEST_F(DigestTest, RefusesAnEmptyHashName) {
  Output output;
  EXPECT_EQ(digest(output, ""), 10);
  expectFailed(output);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: Invalid HashAlg name length\n", kError));
}

TEST_F(DigestTest, RefusesAnUnknownHashNameWithoutABanner) {
  for (const std::string_view name : {"SHA1X", "SHA256", "sha1", "GOST3411X", "X"}) {
    provider().reset();
    Output output;
    EXPECT_EQ(digest(output, name), 10) << name;
    EXPECT_TRUE(output.isUntouched());
    EXPECT_EQ(output.size(), 0);
    EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, "#error#: Invalid HashAlg name\n"));
  }
}

TEST_F(DigestTest, RefusesNullInputOfPositiveLength) {
  Octets format("PKCS7");
  Octets hash("SHA1");
  Output output;
  EXPECT_EQ(
      SsfDigest(format.data(), 5, 0, nullptr, 3, hash.data(), 4, output.data(), output.length()),
      3);
  expectFailed(output);
}

TEST_F(DigestTest, RefusesANullHashNameOfPositiveLength) {
  Octets format("PKCS7");
  Octets input("x");
  Output output;
  EXPECT_EQ(
      SsfDigest(format.data(), 5, 0, input.data(), 1, nullptr, 4, output.data(), output.length()),
      10);
  EXPECT_TRUE(output.isUntouched());
}

TEST_F(DigestTest, RefusesNegativeLengths) {
  Octets format("PKCS7");
  Octets input("x");
  Octets hash("SHA1");
  for (const SsfOctetlen length : {-1, INT32_MIN}) {
    Output output;
    EXPECT_EQ(SsfDigest(format.data(),
                        length,
                        0,
                        input.data(),
                        1,
                        hash.data(),
                        4,
                        output.data(),
                        output.length()),
              2);
    EXPECT_EQ(SsfDigest(format.data(),
                        5,
                        0,
                        input.data(),
                        length,
                        hash.data(),
                        4,
                        output.data(),
                        output.length()),
              3);
    EXPECT_EQ(SsfDigest(format.data(),
                        5,
                        0,
                        input.data(),
                        1,
                        hash.data(),
                        length,
                        output.data(),
                        output.length()),
              10);
    expectFailed(output);
  }
}

TEST_F(DigestTest, NeedsAPlaceForTheOutput) {
  Octets format("PKCS7");
  Octets input("x");
  Octets hash("SHA1");
  Output output;
  EXPECT_EQ(
      SsfDigest(format.data(), 5, 0, input.data(), 1, hash.data(), 4, nullptr, output.length()), 3);
  EXPECT_EQ(output.size(), 0);
  EXPECT_EQ(SsfDigest(format.data(), 5, 0, input.data(), 1, hash.data(), 4, output.data(), nullptr),
            3);
  EXPECT_TRUE(output.isUntouched());
}

/// A platform call that fails, and the code that the operation answers.
struct FailingCall {
  const char* name;
  const char* call;
  bool isLate;
  SAPRETURN code;
};

class FailingDigest : public DigestTest, public testing::WithParamInterface<FailingCall> {};

TEST_P(FailingDigest, ReportsTheCallReleasesEverythingAndEndsWithTheBanner) {
  if (GetParam().isLate) {
    provider().failLate(GetParam().call, NTE_BAD_ALGID);
  } else {
    provider().failFirst(GetParam().call, NTE_BAD_ALGID);
  }
  Output output;
  EXPECT_EQ(digest(output), GetParam().code);
  EXPECT_EQ(provider().failuresSeen(), 1U);
  expectFailed(output);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: 80090008\n", "Text of error 80090008. \r\n", kError));
  EXPECT_EQ(provider().trace()[1].function, "SsfDigest");
}

TEST_P(FailingDigest, ReportsBeforeItReleasesAnything) {
  provider().failFirst(GetParam().call, NTE_BAD_ALGID);
  Output output;
  digest(output);
  const auto& journal = provider().journal();
  const auto failed = std::ranges::find_if(
      journal, [](const std::string& line) { return line.ends_with("-> FAILED 80090008"); });
  ASSERT_NE(failed, journal.end());
  EXPECT_EQ(*(failed + 1), "trace SsfDigest: #error#: 80090008\n");
  EXPECT_THAT(*(failed + 2), HasSubstr("FormatMessageA"));
}

INSTANTIATE_TEST_SUITE_P(
    Calls,
    FailingDigest,
    testing::Values(FailingCall{"Acquire", "CryptAcquireContextA", false, 13},
                    FailingCall{"Open", "CryptMsgOpenToEncode", false, 11},
                    FailingCall{"Update", "CryptMsgUpdate", false, 11},
                    FailingCall{"SizeQuery", "CryptMsgGetParam", false, 11},
                    FailingCall{"Read", "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read", false, 11}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(DigestTest, WithoutMemoryIs4WithThePair) {
  Octets format("PKCS7");
  Octets input("x");
  Octets hash("SHA1");
  SAP_B8* data = nullptr;
  SsfOctetlen length = 0;
  SAPRETURN code = 0;
  const unsigned failures = scripted::sweepAllocations(
      [&] {
        provider().reset();
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        length = -77;
      },
      [&] {
        code = SsfDigest(format.data(), 5, 0, input.data(), 1, hash.data(), 4, &data, &length);
      },
      [&](unsigned n) {
        EXPECT_EQ(code, 4) << n;
        EXPECT_EQ(data, nullptr) << n;
        EXPECT_EQ(length, 0) << n;
        EXPECT_THAT(provider().leftovers(), IsEmpty()) << n;
        EXPECT_THAT(
            provider().traceTexts(),
            ElementsAre(kStart, "#error#: 00000008\n", "Text of error 00000008. \r\n", kError));
      });
  EXPECT_EQ(failures, 1U);  // the output is all that the library allocates
  EXPECT_EQ(code, 0);
  SsfDELSsfOctetstring(&data, &length);
}

TEST_F(DigestTest, AnyFailedPlatformCallIsSurvived) {
  Output unharmed;
  digest(unharmed);
  const unsigned calls = provider().failableCalls();
  for (unsigned n = 1; n <= calls; ++n) {
    provider().reset();
    provider().failAny(n, ERROR_BUSY);
    Output output;
    const SAPRETURN code = digest(output);
    EXPECT_EQ(provider().failuresSeen(), 1U) << n;
    EXPECT_THAT(provider().leftovers(), IsEmpty()) << n;
    if (code == 0) {
      EXPECT_EQ(output.text(), unharmed.text()) << n;  // only a release failed
    } else {
      expectFailed(output);
    }
  }
}

TEST_F(DigestTest, TheOutputMayComeOutShorterThanAsked) {
  provider().sizeChanges("CryptMsgGetParam", -1);
  Output output;
  EXPECT_EQ(digest(output), 0);
  EXPECT_EQ(output.text(), "hashed(1.2.643.2.2.9;\"the input\"");
}

TEST_F(DigestTest, AnOutputBeyondALengthIs11) {
  provider().claimSize("CryptMsgGetParam", 0xFFFFFFFFU);
  Output output;
  EXPECT_EQ(digest(output), 11);
  expectFailed(output);
}

TEST_F(DigestTest, WithTracingOffNothingIsWrittenAndNothingReadForIt) {
  provider().setTraceMask(0);
  provider().failFirst("CryptMsgUpdate", NTE_BAD_ALGID);
  Output output;
  EXPECT_EQ(digest(output), 11);
  EXPECT_THAT(provider().trace(), IsEmpty());
  EXPECT_EQ(provider().lastErrorReads(), 1U);
}

}  // namespace
}  // namespace qx::ssfxxmain_digest_test
