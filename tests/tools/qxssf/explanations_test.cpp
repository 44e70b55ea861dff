#include "tools/qxssf/explanations.h"

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/errors.h"

#include "qxsapssf/ssf.h"
#include "tests/support/temp_dir.h"

namespace qx::ssf::explanations_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> namesOf(std::string_view word, std::string_view operation = "") {
  std::vector<std::string> names;
  for (const Reading& reading : readingsOf(word, operation)) {
    names.emplace_back(reading.explanation->name);
  }
  return names;
}

std::string meaningOf(std::string_view word, std::string_view operation) {
  const std::vector<Reading> readings = readingsOf(word, operation);
  return readings.size() == 1 ? readings.front().explanation->meaning.english : "";
}

bool isCyrillic(std::string_view text) {
  return std::ranges::any_of(text, [](unsigned char c) { return c == 0xD0 || c == 0xD1; });
}

void expectWhole(const Explanation& row) {
  for (const Text& text : {row.meaning, row.causes, row.remedy}) {
    EXPECT_FALSE(std::string_view(text.english).empty()) << row.name;
    EXPECT_FALSE(std::string_view(text.russian).empty()) << row.name;
    EXPECT_FALSE(isCyrillic(text.english)) << row.name << ": " << text.english;
    const bool isTaken = std::string_view(text.russian).starts_with("`") ||
                         std::string_view(text.russian) == text.english;
    EXPECT_TRUE(isTaken || isCyrillic(text.russian)) << row.name << ": " << text.russian;
  }
}

TEST(Explanations, SayEverythingInBothLanguages) {
  for (const auto table : {returnCodes(), recordResults(), providerErrors()}) {
    for (const Explanation& row : table) {
      expectWhole(row);
    }
  }
}

TEST(Explanations, CoverEveryReturnCode) {
  for (const SAPRETURN code : {0, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 51, 52, 53, 54}) {
    const auto table = returnCodes();
    EXPECT_NE(std::ranges::find(table, static_cast<std::uint32_t>(code), &Explanation::code),
              table.end())
        << code;
  }
}

TEST(Explanations, CoverEveryResultOfARecord) {
  const auto table = recordResults();
  for (std::uint32_t result = SSF_RESULT_INVALID_NAMESPACE; result <= SSF_RESULT_UNDEFINED;
       ++result) {
    EXPECT_NE(std::ranges::find(table, result, &Explanation::code), table.end()) << result;
  }
}

TEST(Explanations, NameOnlyCommandsThatExist) {
  const std::set<std::string> commands = {
      "digest", "sign", "addsign", "verify", "envelope", "develope", "properties"};
  for (const auto table : {returnCodes(), recordResults(), providerErrors()}) {
    for (const Explanation& row : table) {
      std::istringstream operations(row.operations);
      for (std::string operation; operations >> operation;) {
        EXPECT_TRUE(commands.contains(operation)) << row.name << ": " << operation;
      }
    }
  }
}

// The names of settings in a text: section.key, or a variable.
std::vector<std::string> settingsIn(const std::string& text) {
  static const std::regex names(
      R"((tsp|http|revocation|trust|pin|trace)\.[a-z_]+|QX(_SSF|PROVIDER)_[A-Z_]+)");
  std::vector<std::string> settings;
  for (std::sregex_iterator at(text.begin(), text.end(), names); at != std::sregex_iterator();
       ++at) {
    settings.push_back(at->str());
  }
  return settings;
}

bool isDocumented(const std::string& setting, const std::string& document) {
  const std::size_t dot = setting.find('.');
  if (dot == std::string::npos) {
    return document.find(setting) != std::string::npos;
  }
  const std::size_t section = document.find("\n[" + setting.substr(0, dot) + "]\n");
  const std::size_t key = document.find("\n" + setting.substr(dot + 1) + " =", section);
  return section != std::string::npos && key < document.find("\n[", section + 1);
}

std::string everythingSaid() {
  std::string said;
  for (const auto table : {returnCodes(), recordResults(), providerErrors()}) {
    for (const Explanation& row : table) {
      for (const Text& text : {row.causes, row.remedy}) {
        said += std::string(text.english) + '\n' + text.russian + '\n';
      }
    }
  }
  return said;
}

TEST(Explanations, NameOnlySettingsThatAreDocumented) {
  const std::string document = test::readFile(QX_SOURCE_DIR "/docs/configuration.md");
  const std::vector<std::string> settings = settingsIn(everythingSaid());
  EXPECT_GT(settings.size(), 10U);
  for (const std::string& setting : settings) {
    EXPECT_TRUE(isDocumented(setting, document)) << setting;
  }
  EXPECT_FALSE(isDocumented("tsp.url", document));
}

TEST(Explanations, TellApartWhatANumberMeansInEachOperation) {
  EXPECT_EQ(meaningOf("22", "verify"),
            "The signature is right, but its certificate is not trusted or its revocation is not "
            "known.");
  EXPECT_EQ(meaningOf("22", "sign"), "The store has no certificate of this identity.");
  EXPECT_EQ(meaningOf("22", "envelope"), "The identity is neither a name nor a thumbprint.");
}

TEST(Explanations, ShowAllReadingsOfANumberThatHasSeveral) {
  EXPECT_THAT(namesOf("5"),
              ElementsAre("SSF_API_SIGNER_ERROR", "SSF_API_SIGNER_ERROR", "ERROR_ACCESS_DENIED"));
  EXPECT_THAT(namesOf("5", "verify"), ElementsAre("SSF_API_SIGNER_ERROR", "ERROR_ACCESS_DENIED"));
}

TEST(Explanations, ReadAnErrorAsTracesAndProgramsPrintIt) {
  for (const char* word :
       {"80090006", "0x80090006", "0X80090006", "-2146893818", "2148073478", "NTE_BAD_SIGNATURE"}) {
    EXPECT_THAT(namesOf(word), ElementsAre("NTE_BAD_SIGNATURE")) << word;
  }
  EXPECT_THAT(namesOf("8009000f"), IsEmpty());
}

TEST(Explanations, TakeANameInAnyLetters) {
  EXPECT_THAT(namesOf("ssf_api_invalid_pab"), ElementsAre("SSF_API_INVALID_PAB"));
  EXPECT_THAT(namesOf("notCertificate"), IsEmpty());
}

TEST(Explanations, TakeNoNumberThatIsNone) {
  for (const char* word : {"",
                           "-",
                           "0x",
                           "0x1_0",
                           "5 ",
                           " 5",
                           "+5",
                           "4294967296",
                           "0x100000005",
                           "-2147483649",
                           "5.0"}) {
    EXPECT_THAT(namesOf(word), IsEmpty()) << word;
  }
}

}  // namespace
}  // namespace qx::ssf::explanations_test
