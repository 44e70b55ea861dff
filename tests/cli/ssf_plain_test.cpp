#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_plain_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class SsfDigestTool : public CliTest {
 protected:
  std::string document_ = write("document", "what is hashed\n");
};

class SsfDigestHash : public SsfDigestTool, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Hashes,
                         SsfDigestHash,
                         ::testing::Values("SHA1", "GOST3411", "GOST-R-34.11-94", "MD5"));

TEST_P(SsfDigestHash, IsVerifiedByTheOpensslCommand) {
  ASSERT_EQ(ssf({"digest", document_, "-o", file("out"), "--hash", GetParam()}).exitCode, 0);
  const CommandResult verified = openssl({"cms",
                                          "-digest_verify",
                                          "-binary",
                                          "-inform",
                                          "DER",
                                          "-in",
                                          file("out"),
                                          "-out",
                                          file("content")});
  EXPECT_EQ(verified.exitCode, 0) << verified.err;
  EXPECT_EQ(readFile(file("content")), readFile(document_));
}

TEST_P(SsfDigestHash, HoldsNoContentWhenDetached) {
  ASSERT_EQ(
      ssf({"digest", "--detached", document_, "-o", file("out"), "--hash", GetParam()}).exitCode,
      0);
  const CommandResult verified = openssl({"cms",
                                          "-digest_verify",
                                          "-binary",
                                          "-inform",
                                          "DER",
                                          "-in",
                                          file("out"),
                                          "-content",
                                          document_,
                                          "-out",
                                          file("content")});
  EXPECT_EQ(verified.exitCode, 0) << verified.err;
  EXPECT_THAT(readFile(file("out")), ::testing::Not(HasSubstr("what is hashed")));
}

TEST_F(SsfDigestTool, KnowsMd2) {
  // RFC 1319: MD2 ("abc").
  const std::string expected("\xda\x85\x3b\x0d\x3f\x88\xd9\x9b\x30\x28\x3a\x69\xe6\xde\xd6\xbb",
                             16);
  const CommandResult result = ssf({"digest", "--hash", "MD2"}, {.input = "abc"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr(expected));
}

TEST_F(SsfDigestTool, TellsWhatItDid) {
  EXPECT_THAT(ssf({"digest", document_, "-o", file("out")}).out,
              StartsWith(document_ + ": hashed with GOST3411, "));
  const nlohmann::json json = ssfJson({"digest", document_, "-o", file("out"), "--hash", "MD5"});
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json["hash"], "MD5");
  EXPECT_EQ(json["output"], file("out"));
}

TEST_F(SsfDigestTool, RefusesAnUnknownHash) {
  const CommandResult result = ssf({"digest", document_, "-o", file("out"), "--hash", "SHA3"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("GOST3411"));
  EXPECT_FALSE(exists("out"));
}

TEST_F(SsfDigestTool, RefusesAnEmptyFile) {
  const std::string empty = write("empty", "");
  const CommandResult result = ssf({"digest", empty, "-o", file("out")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxssf: " + empty + ": is empty; an SSF call takes at least one byte\n");
  EXPECT_FALSE(exists("out"));
}

TEST_F(SsfDigestTool, NeedsNoStoresAndMakesNone) {
  ASSERT_EQ(ssf({"digest", document_, "-o", file("out")}).exitCode, 0);
  EXPECT_FALSE(exists("user"));
}

class SsfTransferTool : public CliTest, public ::testing::WithParamInterface<const char*> {
 protected:
  std::string document_ = write("document", std::string("any\0bytes\xff\n", 11));
};

INSTANTIATE_TEST_SUITE_P(Both, SsfTransferTool, ::testing::Values("encode", "decode"));

TEST_P(SsfTransferTool, CopiesAFile) {
  const CommandResult result = ssf({GetParam(), document_, "-o", file("out")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, document_ + ": 11 bytes\n");
  EXPECT_EQ(readFile(file("out")), readFile(document_));
}

TEST_P(SsfTransferTool, CopiesStandardInput) {
  EXPECT_EQ(ssf({GetParam()}, {.input = "bytes"}).out, "bytes");
}

TEST_P(SsfTransferTool, TakesEveryFormat) {
  for (const char* format : {"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"}) {
    EXPECT_EQ(ssf({GetParam(), document_, "-o", file("out"), "--format", format}).exitCode, 0);
  }
  EXPECT_EQ(ssf({GetParam(), document_, "-o", file("out"), "--format", "PGP"}).exitCode, 1);
}

TEST_P(SsfTransferTool, TellsTheSameInJson) {
  const nlohmann::json json = ssfJson({GetParam(), document_, "-o", file("out")});
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json["input"], document_);
}

TEST_P(SsfTransferTool, RefusesNothing) {
  const CommandResult result = ssf({GetParam()});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, StartsWith("qxssf: standard input: is empty"));
}

class SsfInformationTool : public CliTest {};

TEST_F(SsfInformationTool, ShowsTheVersion) {
  EXPECT_EQ(ssf({"version"}).out, "Qorvex SSF library for SAP Version 1.01\n");
  EXPECT_EQ(ssfJson({"version"})["version"], "Qorvex SSF library for SAP Version 1.01");
}

TEST_F(SsfInformationTool, ListsThePropertiesByThemselves) {
  EXPECT_EQ(ssf({"properties"}).out, "FORMATS\nHASHALGS\nENCRALGS\nSSF_POPUPS\n");
}

TEST_F(SsfInformationTool, ListsAProperty) {
  EXPECT_EQ(ssf({"properties", "FORMATS"}).out, "PKCS7\nCADES\nPKCS7_CADES\nPKCS7_ANY\n");
  const nlohmann::json json = ssfJson({"properties", "ENCRALGS"});
  EXPECT_EQ(json["ENCRALGS"], nlohmann::json({"GOST28147", "GOST-28147-89"}));
}

TEST_F(SsfInformationTool, RefusesAnUnknownProperty) {
  const CommandResult result = ssf({"properties", "COLOUR"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(
      result.err,
      "qxssf: there is no property COLOUR; qxssf properties lists all (qxssf properties --help tells more)\n");
}

TEST_F(SsfInformationTool, LoadsTheLibraryThatItIsGiven) {
  const std::string library = std::string(QX_LIBRARY_FOLDER) + "/libqxsapssf.so.1";
  EXPECT_EQ(ssf({"--library", library, "version"}).exitCode, 0);
  EXPECT_EQ(ssf({"version", "--library", library}).exitCode, 0);
}

TEST_F(SsfInformationTool, NamesALibraryThatCannotBeLoaded) {
  const CommandResult result = ssf({"version", "--library", "/nonexistent/library.so"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.err,
              AllOf(HasSubstr("cannot be loaded"), HasSubstr("/nonexistent/library.so")));
}

TEST_F(SsfInformationTool, NamesALibraryThatIsNone) {
  const CommandResult result = ssf({"version", "--library", "libm.so.6"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.err, HasSubstr("libm.so.6: is no SSF library"));
}

TEST_F(SsfInformationTool, HelpFitsAScreen) {
  for (const Arguments& arguments : {Arguments{"--help"},
                                     {"sign", "--help"},
                                     {"verify", "--help"},
                                     {"digest", "--help"},
                                     {"encode", "--help"}}) {
    const CommandResult result = ssf(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_LE(std::ranges::count(result.out, '\n'), 40) << result.out;
  }
}

TEST_F(SsfInformationTool, HintsAtTheHelpAfterAMistake) {
  EXPECT_THAT(ssf({}).err, HasSubstr("qxssf --help"));
  EXPECT_THAT(ssf({"sing"}).err, HasSubstr("qxssf --help"));
  EXPECT_THAT(ssf({"verify", "--nonsense"}).err, HasSubstr("qxssf verify --help"));
}

}  // namespace
}  // namespace qx::test::ssf_plain_test
