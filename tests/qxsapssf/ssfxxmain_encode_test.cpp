#include <cstdint>

#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::ssfxxmain_encode_test {
namespace {

using scripted::AllocationFailure;
using scripted::kError;
using scripted::kStart;
using scripted::kSuccess;
using scripted::Octets;
using scripted::Output;
using scripted::provider;
using testing::ElementsAre;

/// The two functions of the transfer encoding and what tells them apart.
struct Direction {
  SAPRETURN (*call)(SAP_B8*, SsfOctetlen, SAP_B8*, SsfOctetlen, SAP_B8**, SsfOctetlen*);
  const char* name;
  const char* emptyLine;
};

class TransferEncoding : public scripted::ScriptedTest,
                         public testing::WithParamInterface<Direction> {
 protected:
  SAPRETURN run(std::string_view format, std::string_view input, Output& output) {
    Octets formatBytes(format);
    Octets inputBytes(input);
    return GetParam().call(formatBytes.data(),
                           formatBytes.size(),
                           inputBytes.data(),
                           inputBytes.size(),
                           output.data(),
                           output.length());
  }
};

TEST_P(TransferEncoding, CopiesItsInputForEveryFormat) {
  const std::string input("any\0thing\xFF", 10);
  for (const char* format : {"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"}) {
    Output output;
    EXPECT_EQ(run(format, input, output), 0) << format;
    EXPECT_EQ(output.text(), input);
    EXPECT_EQ(output.size(), 10);
  }
}

TEST_P(TransferEncoding, StandsBetweenTheBanners) {
  Output output;
  run("PKCS7", "text", output);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kSuccess));
  EXPECT_EQ(provider().trace()[0].function, GetParam().name);
}

TEST_P(TransferEncoding, CallsNothingOfThePlatform) {
  Output output;
  provider().setTraceMask(0);
  run("PKCS7", "text", output);
  EXPECT_THAT(provider().journal(), testing::IsEmpty());
}

TEST_P(TransferEncoding, ChecksTheFormatFirst) {
  Output output;
  EXPECT_EQ(run("pkcs7", "", output), 2);
  EXPECT_EQ(output.size(), 0);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Unknown format name ('pkcs7').\n", kError));
}

TEST_P(TransferEncoding, RefusesEmptyInput) {
  Output output;
  EXPECT_EQ(run("PKCS7", "", output), 3);
  EXPECT_EQ(output.size(), 0);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, GetParam().emptyLine, kError));
}

TEST_P(TransferEncoding, RefusesANegativeLength) {
  Octets format("PKCS7");
  Octets input("text");
  for (const SsfOctetlen length : {-1, INT32_MIN}) {
    Output output;
    EXPECT_EQ(
        GetParam().call(format.data(), 5, input.data(), length, output.data(), output.length()), 3);
    EXPECT_EQ(output.size(), 0);
  }
}

TEST_P(TransferEncoding, RefusesNullInputOfPositiveLength) {
  Octets format("PKCS7");
  Output output;
  EXPECT_EQ(GetParam().call(format.data(), 5, nullptr, 4, output.data(), output.length()), 3);
  EXPECT_EQ(output.size(), 0);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

TEST_P(TransferEncoding, RefusesANullFormat) {
  Octets input("text");
  Output output;
  EXPECT_EQ(GetParam().call(nullptr, 5, input.data(), 4, output.data(), output.length()), 2);
  EXPECT_EQ(output.size(), 0);
}

TEST_P(TransferEncoding, NeedsAPlaceForTheOutput) {
  Octets format("PKCS7");
  Octets input("text");
  Output output;
  EXPECT_EQ(GetParam().call(format.data(), 5, input.data(), 4, nullptr, output.length()), 3);
  EXPECT_EQ(output.size(), 0);
  EXPECT_EQ(GetParam().call(format.data(), 5, input.data(), 4, output.data(), nullptr), 3);
  EXPECT_TRUE(output.isUntouched());
}

TEST_P(TransferEncoding, WithoutMemoryIs4WithThePair) {
  Octets format("PKCS7");
  Octets input("text");
  Output output;
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  SAPRETURN code = 0;
  {
    const AllocationFailure failure(1);
    code = GetParam().call(format.data(), 5, input.data(), 4, output.data(), output.length());
  }
  EXPECT_EQ(code, 4);
  EXPECT_EQ(output.size(), 0);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: 00000008\n", "Text of error 00000008. \r\n", kError));
}

INSTANTIATE_TEST_SUITE_P(
    Directions,
    TransferEncoding,
    testing::Values(Direction{SsfEncode, "SsfEncode", "#error#: ostrInputDataL <= 0\n"},
                    Direction{SsfDecode, "SsfDecode", "#error#: ostrEncodedDataL <= 0\n"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(TransferEncodingRoundTrip, GivesTheInputBack) {
  scripted::provider().reset();
  Octets format("PKCS7");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  Octets input(all);
  Output encoded;
  ASSERT_EQ(SsfEncode(format.data(),
                      format.size(),
                      input.data(),
                      input.size(),
                      encoded.data(),
                      encoded.length()),
            0);
  Output decoded;
  ASSERT_EQ(SsfDecode(format.data(),
                      format.size(),
                      *encoded.data(),
                      encoded.size(),
                      decoded.data(),
                      decoded.length()),
            0);
  EXPECT_EQ(decoded.text(), all);
}

}  // namespace
}  // namespace qx::ssfxxmain_encode_test
