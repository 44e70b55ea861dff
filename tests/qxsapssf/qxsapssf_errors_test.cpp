#include "qxsapssf/qxsapssf_errors.h"

#include "tests/qxsapssf/cp1251_text.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::qxsapssf_errors_test {
namespace {

using scripted::AllocationFailure;
using scripted::provider;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ErrorHandleExTest : public scripted::ScriptedTest {
 protected:
  /// The lines that were printed, as UTF-8.
  static std::vector<std::string> printed() {
    std::vector<std::string> texts;
    for (const scripted::TraceLine& line : provider().trace()) {
      EXPECT_EQ(line.function, "PrintString");
      EXPECT_EQ(line.line, 443);
      EXPECT_EQ(line.format, "%s");
      texts.push_back(testing_support::utf8(line.text));
    }
    return texts;
  }

  static constexpr const char* kInternal = "Произошла внутренняя ошибка приложения.\n";
};

TEST_F(ErrorHandleExTest, CodeZeroIsNoError) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, 0, nullptr), 0U);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(ErrorHandleExTest, AClearLastErrorPrintsNothing) {
  SetLastError(0);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kLastErrorCode, nullptr), 0U);
  EXPECT_THAT(printed(), IsEmpty());
  EXPECT_THAT(provider().calls("FormatMessageA"), IsEmpty());
}

TEST_F(ErrorHandleExTest, TheLastErrorIsPrintedWithTheSystemsText) {
  SetLastError(NTE_BAD_SIGNATURE);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kLastErrorCode, nullptr), NTE_BAD_SIGNATURE);
  EXPECT_THAT(printed(), ElementsAre("Text of error 80090006. \r\n"));
  EXPECT_THAT(provider().calls("FormatMessageA"),
              ElementsAre("FormatMessageA(0x1300, NULL, 80090006, 0, 0, NULL)"));
  EXPECT_THAT(provider().calls("LocalFree"), ElementsAre("LocalFree(text#1)"));
}

TEST_F(ErrorHandleExTest, ALastErrorWithoutTextIsUnknown) {
  provider().failFirst("FormatMessageA", ERROR_MR_MID_NOT_FOUND);
  SetLastError(0x1234);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kLastErrorCode, nullptr), 0x1234U);
  EXPECT_THAT(printed(), ElementsAre("Неизвестная ошибка.\n"));
}

TEST_F(ErrorHandleExTest, ATextThatIsMissingInSpiteOfSuccessIsUnknown) {
  provider().giveNothing("FormatMessageA");
  SetLastError(0x1234);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kLastErrorCode, nullptr), 0x1234U);
  EXPECT_THAT(printed(), ElementsAre("Неизвестная ошибка.\n"));
}

TEST_F(ErrorHandleExTest, TheLibrarysOwnCodesCarryTheCustomerBit) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, 0x200001F8, nullptr), 0x200001F8U);
  EXPECT_THAT(printed(), ElementsAre("Подпись не найдена.\n"));
  EXPECT_EQ(provider().lastErrorReads(), 0U);
}

TEST_F(ErrorHandleExTest, TheCustomerBitMayBeAbsent) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, 502, nullptr), 502U);
  EXPECT_THAT(printed(), ElementsAre("Неверный алгоритм подписи.\n"));
}

TEST_F(ErrorHandleExTest, ATextGoesIntoTheRowThatTakesOne) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 300, "My"), kCustomerBit | 300);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 101, "a.txt"), kCustomerBit | 101);
  EXPECT_THAT(printed(),
              ElementsAre("Не удается открыть хранилище сертификатов: 'My'.\n",
                          "Не удается открыть файл 'a.txt'."));
}

TEST_F(ErrorHandleExTest, ATextIsNeverAFormat) {
  ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 101, "%s%n%d");
  EXPECT_THAT(printed(), ElementsAre("Не удается открыть файл '%s%n%d'."));
}

TEST_F(ErrorHandleExTest, ARowStandsAsItIsWithoutItsTextOrWithAnArgumentItDoesNotTake) {
  ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 300, nullptr);
  ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 504, "unused");
  ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 307, "text for a number");
  ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 300, 7);
  ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 504, 7);
  EXPECT_THAT(printed(),
              ElementsAre("Не удается открыть хранилище сертификатов: '%s'.\n",
                          "Подпись не найдена.\n",
                          "Цепочка этого сертификата не проверена (код ошибки %X):",
                          "Не удается открыть хранилище сертификатов: '%s'.\n",
                          "Подпись не найдена.\n"));
}

TEST_F(ErrorHandleExTest, ANumberGoesIntoTheRowThatTakesOne) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 307, 0x40), kCustomerBit | 307);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, 307, -1), 307U);
  EXPECT_THAT(printed(),
              ElementsAre("Цепочка этого сертификата не проверена (код ошибки 40):",
                          "Цепочка этого сертификата не проверена (код ошибки FFFFFFFF):"));
}

TEST_F(ErrorHandleExTest, CodesBelow100AreTheCallersMistake) {
  for (const DWORD code : {DWORD{1}, DWORD{99}, kCustomerBit | 5, DWORD{kCustomerBit}}) {
    EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, code, nullptr), 0x20000070U) << code;
  }
  EXPECT_THAT(printed(), ElementsAre(kInternal, kInternal, kInternal, kInternal));
}

TEST_F(ErrorHandleExTest, NumericCodesBelow100PrintNothing) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, 0, 7), 0x20000070U);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 99, 7), 0x20000070U);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(ErrorHandleExTest, NoNumberReachesBeyondTheTables) {
  const std::vector<DWORD> codes = {107,
                                    112,
                                    199,
                                    201,
                                    311,
                                    401,
                                    507,
                                    603,
                                    701,
                                    801,
                                    899,
                                    900,
                                    999,
                                    1000,
                                    5000,
                                    0x80090006,
                                    0xFFFFFFFE,
                                    0xDFFFFFFF,
                                    0x7FFFFFFF};
  for (const DWORD code : codes) {
    EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, code, nullptr), code);
    EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, code, "text"), code);
    EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, code, 7), code);
  }
  EXPECT_THAT(printed(), testing::Each(kInternal));
  EXPECT_THAT(printed(), SizeIs(3 * codes.size()));
}

TEST_F(ErrorHandleExTest, TheNumericOneDoesNotKnowTheLastError) {
  SetLastError(NTE_BAD_SIGNATURE);
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kLastErrorCode, 7), kLastErrorCode);
  EXPECT_EQ(provider().lastErrorReads(), 0U);
  EXPECT_THAT(printed(), ElementsAre(kInternal));
}

TEST_F(ErrorHandleExTest, ReportsItsOwnWantOfMemory) {
  for (unsigned n = 1; n <= 2; ++n) {
    provider().reset();
    DWORD code = 0;
    {
      const AllocationFailure failure(n);
      code = ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 300, "My");
    }
    EXPECT_EQ(code, 0x20000064U) << n;
    EXPECT_THAT(printed(), ElementsAre("Недостаточно памяти.\n")) << n;
  }
}

TEST_F(ErrorHandleExTest, WantOfMemoryThatLastsIsReportedToo) {
  DWORD code = 0;
  {
    const AllocationFailure failure(1, AllocationFailure::Extent::AllAfter);
    code = ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 300, "My");
  }
  EXPECT_EQ(code, 0x20000064U);
  EXPECT_THAT(printed(), ElementsAre("Недостаточно памяти.\n"));
}

TEST_F(ErrorHandleExTest, TheNumericOneOnlyAnswersItsWantOfMemory) {
  for (unsigned n = 1; n <= 2; ++n) {
    provider().reset();
    DWORD code = 0;
    {
      const AllocationFailure failure(n);
      code = ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 307, 7);
    }
    EXPECT_EQ(code, 0x20000064U) << n;
    EXPECT_THAT(printed(), IsEmpty()) << n;
  }
}

TEST_F(ErrorHandleExTest, AnEmptyRowPrintsAnEmptyLine) {
  EXPECT_EQ(ErrorHandleEx("ssfxxmain", 1, kCustomerBit | 200, nullptr), kCustomerBit | 200);
  EXPECT_THAT(printed(), ElementsAre(""));
}

class FailedCallTest : public scripted::ScriptedTest {};

TEST_F(FailedCallTest, WritesThePairWithTheCallersLineAndFunction) {
  SetLastError(CRYPT_E_MSG_ERROR);
  const int line = __LINE__ + 1;
  EXPECT_EQ(failedCall("SsfDigest", SSF_API_ENCODE_ERROR), 11);
  ASSERT_EQ(provider().trace().size(), 2U);
  EXPECT_EQ(provider().trace()[0].text, "#error#: 80091001\n");
  EXPECT_EQ(provider().trace()[0].format, "#error#: %08x\n");
  EXPECT_EQ(provider().trace()[0].function, "SsfDigest");
  EXPECT_EQ(provider().trace()[0].line, line);
  EXPECT_EQ(provider().trace()[1].text, "Text of error 80091001. \r\n");
}

TEST_F(FailedCallTest, MaySpeakUnderAnotherName) {
  SetLastError(CRYPT_E_MSG_ERROR);
  reportFailedCall("getSigningTime");
  EXPECT_EQ(provider().trace()[0].function, "getSigningTime");
}

TEST_F(FailedCallTest, WithoutALastErrorOnlyTheLineIsWritten) {
  SetLastError(0);
  reportFailedCall("SsfDigest");
  EXPECT_THAT(provider().traceTexts(), ElementsAre("#error#: 00000000\n"));
}

TEST_F(FailedCallTest, WithTracingOffTheLastErrorIsReadForTheReportOnly) {
  provider().setTraceMask(0);
  SetLastError(CRYPT_E_MSG_ERROR);
  reportFailedCall("SsfDigest");
  EXPECT_EQ(provider().lastErrorReads(), 1U);
}

}  // namespace
}  // namespace qx::qxsapssf_errors_test
