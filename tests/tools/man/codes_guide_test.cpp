#include "tools/man/codes_guide.h"

#include <span>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tools/qxssf/explanations.h"

namespace qx::test::codes_guide_test {
namespace {

using qx::manual::codesGuide;
using qx::manual::Language;
using qx::ssf::Explanation;
using testing::HasSubstr;

TEST(CodesGuide, HoldsEveryRowInEachLanguage) {
  const std::string english = codesGuide(Language::English);
  const std::string russian = codesGuide(Language::Russian);
  for (const std::span<const Explanation> table :
       {qx::ssf::returnCodes(), qx::ssf::recordResults(), qx::ssf::providerErrors()}) {
    for (const Explanation& row : table) {
      SCOPED_TRACE(row.name);
      EXPECT_THAT(english, HasSubstr(std::string(" `") + row.name + "`"));
      EXPECT_THAT(english, HasSubstr(row.meaning.english));
      EXPECT_THAT(english, HasSubstr(std::string("- What to do: ") + row.remedy.english));
      EXPECT_THAT(russian, HasSubstr(row.meaning.russian));
      EXPECT_THAT(russian, HasSubstr(std::string("- Что делать: ") + row.remedy.russian));
    }
  }
}

TEST(CodesGuide, NamesNumberAndOperations) {
  EXPECT_THAT(codesGuide(Language::English), HasSubstr("\n### 22 `UNKNOWN` (verify)\n"));
  EXPECT_THAT(codesGuide(Language::Russian),
              HasSubstr("\n### 0x800B0109 `CERT_E_UNTRUSTEDROOT`\n"));
}

// After a change of the tables: build/release/bin/qx_manual_codes en >docs/errors.md, ru >docs/ru/errors.md
TEST(CodesGuide, IsTheOneAmongTheDocuments) {
  const std::string docs = std::string(QX_SOURCE_DIR) + "/docs/";
  EXPECT_EQ(codesGuide(Language::English), qx::test::readFile(docs + "errors.md"));
  EXPECT_EQ(codesGuide(Language::Russian), qx::test::readFile(docs + "ru/errors.md"));
}

}  // namespace
}  // namespace qx::test::codes_guide_test
