#include "tools/man/codes_page.h"

#include <span>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qxssf/explanations.h"

namespace qx::test::codes_page_test {
namespace {

using qx::manual::asRoff;
using qx::manual::codesPage;
using qx::ssf::Explanation;
using testing::HasSubstr;
using testing::StartsWith;

std::size_t occurrences(const std::string& text, const std::string& word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    ++count;
  }
  return count;
}

TEST(CodesPage, WritesEachSentenceOnItsOwnLine) {
  EXPECT_EQ(asRoff("Look here. Then there."), "Look here.\nThen there.\n");
}

TEST(CodesPage, WritesCommandsSoThatTheyCanBeCopied) {
  EXPECT_EQ(asRoff("Decode it (`base64 -d`)."), "Decode it (\\(oqbase64 \\-d\\(cq).\n");
}

TEST(CodesPage, KeepsASentenceWithinQuotesTogether) {
  EXPECT_EQ(asRoff("`cd ..  && ls`"), "\\(oqcd ..  && ls\\(cq\n");
}

TEST(CodesPage, LetsNothingPassForARequestOrAnEscape) {
  EXPECT_EQ(asRoff(".crl files"), "\\&.crl files\n");
  EXPECT_EQ(asRoff("'s"), "\\&'s\n");
  EXPECT_EQ(asRoff("It ends. .crl follows"), "It ends.\n\\&.crl follows\n");
  EXPECT_EQ(asRoff("a\\b"), "a\\eb\n");
}

TEST(CodesPage, LeavesHyphensAndDotsWithinWordsAlone) {
  EXPECT_EQ(asRoff("a time-stamp server of provider.conf"),
            "a time-stamp server of provider.conf\n");
}

TEST(CodesPage, HoldsEveryRowOfTheTables) {
  const std::string page = codesPage();
  std::size_t rows = 0;
  for (const std::span<const Explanation> table :
       {qx::ssf::returnCodes(), qx::ssf::recordResults(), qx::ssf::providerErrors()}) {
    for (const Explanation& row : table) {
      SCOPED_TRACE(row.name);
      EXPECT_THAT(page, HasSubstr(std::string(" Dv ") + row.name));
      EXPECT_THAT(page, HasSubstr(asRoff(row.meaning.english)));
      EXPECT_THAT(page, HasSubstr(asRoff(row.remedy.english)));
      ++rows;
    }
  }
  EXPECT_EQ(occurrences(page, "\n.It "), rows);
}

TEST(CodesPage, NamesTheOperationsAndTheNumber) {
  const std::string page = codesPage();
  EXPECT_THAT(page, HasSubstr("\n.It 5 Dv SSF_API_SIGNER_ERROR Pq Cm verify\n"));
  EXPECT_THAT(page, HasSubstr("\n.It 4 Dv SSF_API_NO_MEMORY\n"));
  EXPECT_THAT(page, HasSubstr("\n.It 0x800B0109 Dv CERT_E_UNTRUSTEDROOT\n"));
}

TEST(CodesPage, LeavesOutACauseThatIsNone) {
  const std::string page = codesPage();
  const std::size_t good = page.find("SSF_API_OK");
  const std::string entry = page.substr(good, page.find("\n.It ", good) - good);
  EXPECT_THAT(entry, testing::Not(HasSubstr("Causes")));
}

TEST(CodesPage, IsAPageOfItsOwnName) {
  EXPECT_THAT(codesPage(), StartsWith(".\\\" "));
  EXPECT_THAT(codesPage(), HasSubstr("\n.Dt QXSAPSSF_CODES 7\n"));
}

}  // namespace
}  // namespace qx::test::codes_page_test
