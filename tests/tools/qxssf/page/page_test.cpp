#include "tools/qxssf/page/page.h"

#include <array>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

namespace qx::ssf::page_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kHostile = "</p><script>alert(1)</script>\" onload='x' \xff\x1b";

ChainLink link(const std::string& subject, std::vector<std::string> faults = {}) {
  return {.subject = subject,
          .thumbprint = "0123456789abcdef",
          .notBefore = "2026-01-01T00:00:00Z",
          .notAfter = "2027-01-01T00:00:00Z",
          .faults = std::move(faults)};
}

PageFacts goodFacts() {
  return {.message = "order.p7m",
          .size = 1234,
          .format = "CADES",
          .library = "libqxsapssf 1",
          .time = "2026-11-21T12:00:00Z",
          .verdicts = {{.id = "CN=Anna",
                        .result = SSF_RESULT_OK,
                        .signingTime = "2026-11-20T08:30:00Z",
                        .stampTime = "2026-11-20T08:30:05Z",
                        .certificate = CertificateView{.thumbprint = "0123456789abcdef",
                                                       .notBefore = "2026-01-01T00:00:00Z",
                                                       .notAfter = "2027-01-01T00:00:00Z"}}},
          .evidence = {{.chain = {link("CN=Anna"), link("CN=Issuer"), link("CN=Root")},
                        .stamps = {{.time = "2026-11-20T08:30:05Z",
                                    .what = "the signature",
                                    .authority = "CN=Stamps"}}}}};
}

/// Whether the texts stand in the page in this order.
bool inOrder(const std::string& page, const std::vector<std::string>& texts) {
  std::size_t at = 0;
  for (const std::string& text : texts) {
    at = page.find(text, at);
    if (at == std::string::npos) {
      return false;
    }
    at += text.size();
  }
  return true;
}

TEST(Page, TellsAGoodVerdict) {
  const std::string page = pageOf(goodFacts());
  EXPECT_THAT(page,
              AllOf(HasSubstr("<header class=\"verdict good\"><h1>\u2714 Verified</h1>"),
                    HasSubstr("order.p7m, 1234 bytes"),
                    HasSubstr("2026-11-21 12:00:00 UTC"),
                    HasSubstr("Signer 1: CN=Anna"),
                    HasSubstr("Made by qxssf with libqxsapssf 1.")));
  EXPECT_THAT(page, Not(HasSubstr("\u2718")));
}

// What stays is what nobody translates: names, files, formats, numbers.
std::string withoutNames(std::string page) {
  page.erase(0, page.find("<title>"));
  page = std::regex_replace(page, std::regex("<[^>]*>"), " ");
  return std::regex_replace(
      page,
      std::regex(
          "CN=[A-Za-z]+|order\\.p7m|content\\.txt|UTC|CADES|PIN|libqxsapssf|qxssf|0123456789abcdef|"
          "explain 22 --operation verify|--profile"),
      "");
}

void expectNoEnglish(const PageFacts& facts) {
  const std::string rest = withoutNames(pageOf(facts));
  std::smatch english;
  EXPECT_FALSE(std::regex_search(rest, english, std::regex("[A-Za-z]{2,}.{0,40}")))
      << english.str();
}

TEST(Page, IsWhollyRussianWhereThatIsAskedFor) {
  PageFacts facts = goodFacts();
  facts.language = "ru";
  facts.content = "content.txt";
  EXPECT_THAT(pageOf(facts),
              AllOf(HasSubstr(" lang=\"ru\">"),
                    HasSubstr("<h1>\u2714 Подпись верна</h1>"),
                    HasSubstr(".chain:lang(ru) li + li::before { content: \"\\2193  выдал\"; }"),
                    HasSubstr("Подписавший 1: CN=Anna"),
                    HasSubstr("штамп времени: подпись, от CN=Stamps")));
  expectNoEnglish(facts);
  facts.revocation = false;
  facts.verdicts[0].stampTime.reset();
  facts.verdicts[0].signingTime.reset();
  facts.evidence[0].stamps = {{.time = "", .what = "the archived signature", .authority = ""}};
  expectNoEnglish(facts);
}

TEST(Page, TellsFaultsInRussian) {
  for (const SAPRETURN result : {SSF_RESULT_UNKNOWN,
                                 SSF_RESULT_INVALID_PROFILE,
                                 SSF_RESULT_INVALID_PASSWORD,
                                 SSF_RESULT_NOCERTIFICATE,
                                 SSF_RESULT_NOT_OK,
                                 SSF_RESULT_UNDEFINED}) {
    PageFacts facts = goodFacts();
    facts.language = "ru";
    facts.fault = "not verified";
    facts.verdicts[0].result = result;
    facts.evidence[0].chain = {link("CN=Anna", {"revoked", "out of its time"}),
                               link("CN=Root", {"a root that is not trusted here"})};
    expectNoEnglish(facts);
  }
  PageFacts nobody = goodFacts();
  nobody.language = "ru";
  nobody.evidence[0].chain.clear();
  expectNoEnglish(nobody);
}

TEST(Page, TellsABadVerdictAndItsReason) {
  PageFacts facts = goodFacts();
  facts.fault = "order.p7m: not verified: signer 1 (CN=Anna): the content was changed";
  facts.verdicts[0].result = SSF_RESULT_NOT_OK;
  const std::string page = pageOf(facts);
  EXPECT_THAT(page,
              AllOf(HasSubstr("<header class=\"verdict bad\"><h1>\u2718 Not verified</h1>"),
                    HasSubstr(facts.fault),
                    HasSubstr("\u2718 the signature or the content was changed"),
                    HasSubstr("What was checked, up to what was wrong"),
                    Not(HasSubstr("\u2714 Verified"))));
}

TEST(Page, ShowsTheChainFromTheRootDown) {
  EXPECT_TRUE(inOrder(pageOf(goodFacts()),
                      {"<ol class=\"chain\">", "CN=Root", "CN=Issuer", "CN=Anna", "</ol>"}));
}

TEST(Page, ShowsWhatIsWrongInAChain) {
  PageFacts facts = goodFacts();
  facts.evidence[0].chain[1] = link("CN=Issuer", {"revoked", "out of its time"});
  EXPECT_TRUE(inOrder(pageOf(facts),
                      {"CN=Root",
                       "\u2714 good",
                       "<li class=\"bad\">",
                       "CN=Issuer",
                       "\u2718 revoked",
                       "\u2718 out of its time",
                       "CN=Anna"}));
}

TEST(Page, SaysThatThereIsNoCertificate) {
  PageFacts facts = goodFacts();
  facts.evidence[0].chain.clear();
  facts.verdicts[0].certificate.reset();
  EXPECT_THAT(pageOf(facts), HasSubstr("There is no certificate of this signer."));
}

TEST(Page, OrdersTheTimesOfASigner) {
  EXPECT_TRUE(inOrder(pageOf(goodFacts()),
                      {"<ol class=\"times\">",
                       "2026-01-01 00:00:00 UTC",
                       "certificate begins",
                       "2026-11-20 08:30:00 UTC",
                       "signed, as the signer says",
                       "<li class=\"stamp\">",
                       "2026-11-20 08:30:05 UTC",
                       "time stamp over the signature, by CN=Stamps",
                       "2026-11-21 12:00:00 UTC",
                       "verified",
                       "2027-01-01 00:00:00 UTC",
                       "certificate ends",
                       "</ol>"}));
}

TEST(Page, ShowsAStampOfWhichLittleIsKnown) {
  PageFacts facts = goodFacts();
  facts.evidence[0].stamps = {{.time = "", .what = "the signature", .authority = ""}};
  EXPECT_THAT(pageOf(facts),
              AllOf(HasSubstr("at a time that cannot be read"),
                    HasSubstr("by an authority that it does not name")));
}

TEST(Page, TellsWhatWasCheckedAndWhatWasNot) {
  const std::string page = pageOf(goodFacts());
  EXPECT_TRUE(inOrder(page,
                      {"What was checked",
                       "certificate between signer and root was revoked",
                       "The time stamps, under the format CADES",
                       "What was not checked",
                       "what he is entitled to sign"}));
  PageFacts less = goodFacts();
  less.revocation = false;
  less.verdicts[0].stampTime.reset();
  EXPECT_TRUE(inOrder(pageOf(less),
                      {"What was checked",
                       "What was not checked",
                       "certificate between signer and root was revoked",
                       "no signer has one that was verified"}));
}

TEST(Page, OfAMessageWithoutSignersHasAVerdictAlone) {
  PageFacts facts = goodFacts();
  facts.fault = "order.p7m: holds no signature";
  facts.verdicts.clear();
  facts.evidence.clear();
  EXPECT_THAT(pageOf(facts),
              AllOf(HasSubstr("holds no signature"),
                    HasSubstr("Nothing: no signature was found"),
                    Not(HasSubstr("Signer 1")),
                    Not(HasSubstr("was revoked"))));
}

TEST(Page, HoldsNothingThatRunsOrIsFetched) {
  const std::string page = pageOf(goodFacts());
  EXPECT_THAT(page,
              AllOf(HasSubstr("content=\"default-src 'none'; style-src 'sha256-"),
                    Not(HasSubstr("<script")),
                    Not(HasSubstr("src=")),
                    Not(HasSubstr("href=")),
                    Not(HasSubstr("url(")),
                    Not(HasSubstr("@import"))));
}

TEST(Page, NamesTheHashOfItsStyle) {
  const std::string page = pageOf(goodFacts());
  constexpr std::string_view kBegin = "<style>";
  const std::size_t begin = page.find(kBegin) + kBegin.size();
  const std::string style = page.substr(begin, page.find("</style>") - begin);
  std::array<unsigned char, SHA256_DIGEST_LENGTH> hash{};
  SHA256(reinterpret_cast<const unsigned char*>(style.data()), style.size(), hash.data());
  std::array<unsigned char, 45> text{};
  EVP_EncodeBlock(text.data(), hash.data(), static_cast<int>(hash.size()));
  EXPECT_THAT(
      page, HasSubstr("'sha256-" + std::string(reinterpret_cast<const char*>(text.data())) + "'"));
}

TEST(Page, EscapesWhateverOthersWrote) {
  PageFacts facts = goodFacts();
  for (std::string* text : {&facts.message,
                            &facts.content,
                            &facts.format,
                            &facts.library,
                            &facts.fault,
                            &facts.verdicts[0].id,
                            &facts.evidence[0].chain[0].subject,
                            &facts.evidence[0].stamps[0].time,
                            &facts.evidence[0].stamps[0].authority}) {
    *text = kHostile;
  }
  const std::string page = pageOf(facts);
  EXPECT_THAT(page,
              AllOf(HasSubstr("&lt;script&gt;"), Not(HasSubstr("<script")), Not(HasSubstr("'x'"))));
  EXPECT_EQ(page.find('\xff'), std::string::npos);
  EXPECT_EQ(page.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace qx::ssf::page_test
