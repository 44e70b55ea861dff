#include "qxsapssf/qxsapssf_print.h"

#include <clocale>

#include "qxsapssf/qxsapssf_messages.h"
#include "qxsapssf/ssf.h"
#include "tests/qxsapssf/cp1251_text.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace {

/// What the program's message locale is called; NULL: as it is.
const char* messageLocale = nullptr;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

// Linked with -Wl,--wrap=setlocale: Russian locales are seldom installed where tests run.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" char* __real_setlocale(int category, const char* locale);

extern "C" char* __wrap_setlocale(int category, const char* locale) {
  if (messageLocale != nullptr && category == LC_MESSAGES && locale == nullptr) {
    static std::string name;
    name = messageLocale;
    return name.data();
  }
  return __real_setlocale(category, locale);
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace qx::qxsapssf_print_test {
namespace {

using scripted::provider;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PrintTest : public scripted::ScriptedTest {
 protected:
  void SetUp() override {
    ScriptedTest::SetUp();
    RusCodePage = 0;
  }

  void TearDown() override {
    RusCodePage = 0;
    std::setlocale(LC_ALL, "C");
    ScriptedTest::TearDown();
  }

  /// What a call wrote to standard output.
  template <class Print>
  static std::string stdoutOf(Print print) {
    testing::internal::CaptureStdout();
    print();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  }

  static constexpr const char* kHello = "\xCF\xF0\xE8\xE2\xE5\xF2\n";  // a greeting
};

TEST_F(PrintTest, TracesTheRussianTextAsItStands) {
  PrintString(kHello, "Hello\n", 1);
  ASSERT_EQ(provider().trace().size(), 1U);
  EXPECT_EQ(provider().trace()[0].text, kHello);
  EXPECT_EQ(provider().trace()[0].function, "PrintString");
  EXPECT_EQ(provider().trace()[0].line, 443);
}

TEST_F(PrintTest, ATextFromElsewhereIsNotAFormat) {
  PrintString("100%s%n", nullptr, 0);
  EXPECT_THAT(provider().traceTexts(), ElementsAre("100%s%n"));
}

TEST_F(PrintTest, NothingIsPrintedOfNoText) {
  PrintString(nullptr, "English", 0);
  RusCodePage = 1;
  PrintString(nullptr, "English", 0);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(PrintTest, WithTheFlagTheTextGoesToStandardOutputInTheLocalesCharset) {
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  RusCodePage = 1;
  EXPECT_EQ(stdoutOf([] { PrintString(kHello, "Hello\n", 0); }), "Привет\n");
  EXPECT_THAT(provider().trace(), IsEmpty());
  EXPECT_THAT(provider().journal(),
              ElementsAre(HasSubstr("cp1251_to_utf16le(7 bytes, size)"),
                          HasSubstr("cp1251_to_utf16le(7 bytes, read)"),
                          HasSubstr("utf16le_to_charset(7 units, UTF-8, size)"),
                          HasSubstr("utf16le_to_charset(7 units, UTF-8, read)")));
}

TEST_F(PrintTest, ATextThatTheCharsetCannotSayIsTraced) {
  // The C locale's charset has no Russian letters.
  RusCodePage = 1;
  EXPECT_EQ(stdoutOf([] { PrintString(kHello, "Hello\n", 0); }), "");
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kHello));
}

TEST_F(PrintTest, EachConversionThatFailsLeadsToTheTrace) {
  std::setlocale(LC_ALL, "C.UTF-8");
  RusCodePage = 1;
  for (unsigned n = 1; n <= 4; ++n) {
    provider().reset();
    provider().failAny(n, ERROR_INVALID_DATA);
    EXPECT_EQ(stdoutOf([] { PrintString(kHello, "Hello\n", 0); }), "") << n;
    EXPECT_THAT(provider().traceTexts(), ElementsAre(kHello)) << n;
  }
}

TEST_F(PrintTest, EachBufferThatFailsLeadsToTheTrace) {
  std::setlocale(LC_ALL, "C.UTF-8");
  RusCodePage = 1;
  unsigned failures = 0;
  const std::string output = stdoutOf([&] {
    failures = scripted::sweepAllocations(
        [] { provider().reset(); },
        [] { PrintString(kHello, "Hello\n", 0); },
        [](unsigned n) { EXPECT_THAT(provider().traceTexts(), ElementsAre(kHello)) << n; });
  });
  EXPECT_EQ(failures, 2U);
  EXPECT_EQ(output, "Привет\n");  // of the last run, which did not fail
}

TEST_F(PrintTest, MessagesComeFromTheirTable) {
  PrintMessage(134, 1);
  PrintMessage(99, 1);
  PrintCadesErrorMessage(8, 1);
  PrintCadesErrorMessage(0, 1);
  PrintCadesErrorMessage(11, 1);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(messageRow(134).russian,
                          messageRow(142).russian,
                          cadesRow(8).russian,
                          messageRow(142).russian,
                          messageRow(142).russian));
}

class CheckRusTest : public PrintTest {
 protected:
  static unsigned char flagUnder(const char* locale) {
    RusCodePage = 0;
    messageLocale = locale;
    check_rus();
    messageLocale = nullptr;
    return RusCodePage;
  }
};

TEST_F(CheckRusTest, SetsTheFlagUnderTheFiveNamesExactly) {
  for (const char* locale :
       {"ru_RU.iso88595", "ru_RU.cp1251", "ru_RU.cp866", "ru_RU.koi8r", "ru_RU.utf8"}) {
    EXPECT_EQ(flagUnder(locale), 1) << locale;
  }
}

TEST_F(CheckRusTest, LeavesTheFlagUnderAnyOtherName) {
  for (const char* locale :
       {"ru_RU.UTF-8", "ru_RU", "ru_RU.utf8x", "ru_RU.utf", "RU_ru.utf8", "C", "en_US.utf8", ""}) {
    EXPECT_EQ(flagUnder(locale), 0) << locale;
  }
}

TEST_F(CheckRusTest, NeverClearsTheFlag) {
  RusCodePage = 1;
  check_rus();
  EXPECT_EQ(RusCodePage, 1);
}

}  // namespace
}  // namespace qx::qxsapssf_print_test
