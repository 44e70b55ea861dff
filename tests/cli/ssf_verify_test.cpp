#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_verify_test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SsfVerifyTool : public LabTest {
 protected:
  // Signs the document and gives the message's path.
  std::string sign(Arguments more) const {
    Arguments arguments = {"sign", document_, "-o", file("message")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CommandResult result = ssf(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return file("message");
  }

  // The document signed by the openssl command, with this person's key.
  std::string opensslSign(const std::string& name, Arguments more = {}) const {
    Arguments arguments = {"cms",
                           "-sign",
                           "-binary",
                           "-in",
                           document_,
                           "-outform",
                           "DER",
                           "-out",
                           file("message"),
                           "-signer",
                           lab("pem/" + name + ".crt"),
                           "-inkey",
                           lab("pem/" + name + ".key")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CommandResult result = openssl(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return file("message");
  }

  // A refusal leaves one line on standard error that begins with the file, and no content.
  void expectRefused(const CommandResult& result, int code, const std::string& line) const {
    EXPECT_EQ(result.exitCode, code);
    EXPECT_THAT(result.err, HasSubstr(line));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_FALSE(exists("content"));
  }

  CommandResult verify(const std::string& message, Arguments more = {}) const {
    Arguments arguments = {"verify", message, "-o", file("content")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ssf(arguments);
  }

  std::string document_ = write("document", "what is signed\n");
};

TEST_F(SsfVerifyTool, TellsOfEachSignerInALine) {
  const std::string message = sign({"-s", "CN=Anna Orlova", "-s", "CN=Boris Sokolov"});
  const CommandResult result = ssf({"verify", message});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "signer 1: CN=Anna Orlova, O=Lab, C=RU: good, no signing time\n"
            "signer 2: CN=Boris Sokolov, O=Lab, C=RU: good, no signing time\n" +
                message + ": verified\n");
}

TEST_F(SsfVerifyTool, TellsTheSameInJson) {
  const std::string message = sign({"-s", "CN=Anna Orlova"});
  const nlohmann::json json = ssfJson({"verify", message});
  EXPECT_EQ(json["message"], message);
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json["verified"], true);
  ASSERT_EQ(json["signers"].size(), 1U);
  const nlohmann::json signer = json["signers"][0];
  EXPECT_EQ(signer["number"], 1);
  EXPECT_EQ(signer["id"], "CN=Anna Orlova, O=Lab, C=RU");
  EXPECT_EQ(signer["result"], 0);
  EXPECT_EQ(signer["words"], "good");
  EXPECT_EQ(signer["certificate"]["thumbprint"], person("anna")["thumbprint"]);
  EXPECT_FALSE(signer.contains("signingTime"));
}

TEST_F(SsfVerifyTool, ShowsTheCertificatesValidityAsTheOpensslCommandDoes) {
  const nlohmann::json json = ssfJson({"verify", sign({"-s", "CN=Anna Orlova"})});
  std::string until = json["signers"][0]["certificate"]["notAfter"];
  until[10] = ' ';
  EXPECT_THAT(run({"openssl",
                   "x509",
                   "-in",
                   lab("pem/anna.crt"),
                   "-noout",
                   "-enddate",
                   "-dateopt",
                   "iso_8601"})
                  .out,
              HasSubstr(until));
}

TEST_F(SsfVerifyTool, GivesTheContent) {
  EXPECT_EQ(verify(sign({"-s", "CN=Anna Orlova"})).exitCode, 0);
  EXPECT_EQ(readFile(file("content")), readFile(document_));
}

TEST_F(SsfVerifyTool, GivesTheContentOnStandardOutputAndTheLinesElsewhere) {
  const CommandResult result = ssf({"verify", sign({"-s", "CN=Anna Orlova"}), "-o", "-"});
  EXPECT_EQ(result.out, readFile(document_));
  EXPECT_THAT(result.err, HasSubstr("CN=Anna Orlova, O=Lab, C=RU: good"));
}

TEST_F(SsfVerifyTool, ReadsTheMessageFromStandardInput) {
  const std::string message = readFile(sign({"-s", "CN=Anna Orlova"}));
  const CommandResult result = ssf({"verify"}, {.input = message});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, EndsWith("standard input: verified\n"));
}

class SsfVerifyForeign : public SsfVerifyTool, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(
    Signers,
    SsfVerifyForeign,
    ::testing::Values("ivan", "anna", "boris", "galina", "robert", "rita", "erik", "eva"));

TEST_P(SsfVerifyForeign, AcceptsAMessageOfTheOpensslCommandWithItsTime) {
  const std::string message = opensslSign(GetParam(), {"-nodetach"});
  const nlohmann::json json = ssfJson({"verify", message, "-o", file("content")});
  EXPECT_EQ(json["verified"], true) << json.dump(2);
  const std::string time = json["signers"][0]["signingTime"];
  EXPECT_THAT(time, AllOf(StartsWith("20"), EndsWith("Z")));
  EXPECT_EQ(time.size(), 20U);
  EXPECT_EQ(readFile(file("content")), readFile(document_));
}

TEST_P(SsfVerifyForeign, AcceptsADetachedStreamWithoutAttributes) {
  const std::string message = opensslSign(GetParam(), {"-stream", "-noattr"});
  EXPECT_EQ(ssf({"verify", message, "--content", document_}).exitCode, 0);
}

TEST_F(SsfVerifyTool, TellsTheSigningTimeThatTheMessageHolds) {
  const std::string message = opensslSign("anna", {"-nodetach"});
  const CommandResult printed =
      run({"openssl", "cms", "-cmsout", "-print", "-inform", "DER", "-in", message});
  const std::string time = ssfJson({"verify", message})["signers"][0]["signingTime"];
  const std::string clock = time.substr(11, 8);
  EXPECT_THAT(printed.out, HasSubstr("UTCTIME:")) << printed.err;
  EXPECT_THAT(printed.out, HasSubstr(clock + " " + time.substr(0, 4) + " GMT"));
}

TEST_F(SsfVerifyTool, DetachedWantsItsContent) {
  const std::string message = sign({"--detached", "-s", "CN=Anna Orlova"});
  expectRefused(
      verify(message), 2, message + ": holds no content; name the signed file with --content");
  EXPECT_EQ(verify(message, {"--content", document_}).exitCode, 0);
  EXPECT_EQ(readFile(file("content")), readFile(document_));
}

TEST_F(SsfVerifyTool, DetachedTakesItsContentFromStandardInput) {
  const std::string message = sign({"--detached", "-s", "CN=Anna Orlova"});
  const CommandResult result =
      ssf({"verify", message, "--content", "-"}, {.input = "what is signed\n"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(SsfVerifyTool, DetachedRefusesAChangedContent) {
  const std::string message = sign({"--detached", "-s", "CN=Anna Orlova"});
  const std::string changed = write("changed", "what is signee\n");
  const CommandResult result = verify(message, {"--content", changed});
  expectRefused(result,
                3,
                message +
                    ": not verified: signer 1 (CN=Anna Orlova, O=Lab, C=RU): "
                    "the signature or the content was changed");
  EXPECT_THAT(result.out, HasSubstr("signer 1: "));
  EXPECT_THAT(result.out, Not(HasSubstr(": verified")));
}

TEST_F(SsfVerifyTool, AttachedRefusesAnotherContent) {
  const std::string message = sign({"-s", "CN=Anna Orlova"});
  const std::string other = write("other", "something else\n");
  expectRefused(verify(message, {"--content", other}),
                3,
                other + ": is not the content that " + message + " holds");
  EXPECT_EQ(verify(message, {"--content", document_}).exitCode, 0);
}

TEST_F(SsfVerifyTool, AttachedRefusesAChangedMessage) {
  std::string message = readFile(sign({"-s", "CN=Anna Orlova", "-s", "CN=Boris Sokolov"}));
  message[message.find("what is signed")] = 'W';
  const std::string changed = write("changed", message);
  expectRefused(verify(changed), 3, changed + ": not verified: signer 1 ");
  const nlohmann::json json = ssfJson({"verify", changed});
  EXPECT_EQ(json["verified"], false);
  EXPECT_EQ(json["signers"][0]["result"], 27);
  EXPECT_EQ(json["signers"][1]["result"], 27);
  EXPECT_EQ(json["error"]["exitCode"], 3);
}

TEST_F(SsfVerifyTool, RefusesARevokedSigner) {
  const std::string message = sign({"-s", "CN=Igor Belov"});
  expectRefused(verify(message), 4, "the signer's certificate is not trusted");
  EXPECT_EQ(ssfJson({"verify", message})["signers"][0]["result"], 22);
}

TEST_F(SsfVerifyTool, RefusesAnExpiredSigner) {
  expectRefused(verify(sign({"-s", "CN=Elena Vorobeva"})), 4, "not trusted");
}

TEST_F(SsfVerifyTool, RefusesASignerWhoseAuthorityIsNotTrusted) {
  const std::string message = sign({"-s", "CN=Anna Orlova"});
  const CommandResult fingerprint =
      run({"openssl", "x509", "-in", lab("pem/gost-root.crt"), "-noout", "-fingerprint"});
  const std::string thumbprint = fingerprint.out.substr(fingerprint.out.find('=') + 1, 59);
  ASSERT_EQ(provider({"cert", "remove", "--store", "Root", thumbprint}).exitCode, 0);
  expectRefused(verify(message), 4, "not trusted");
}

TEST_F(SsfVerifyTool, NamesTheOneThatIsNotTrustedAmongGoodOnes) {
  const std::string message =
      sign({"-s", "CN=Anna Orlova", "-s", "CN=Igor Belov", "-s", "CN=Boris Sokolov"});
  const CommandResult result = verify(message);
  expectRefused(result, 4, "signer 2 (CN=Igor Belov");
  EXPECT_THAT(result.out, HasSubstr("signer 1: CN=Anna Orlova, O=Lab, C=RU: good"));
  EXPECT_THAT(result.out, HasSubstr("signer 3: CN=Boris Sokolov, O=Lab, C=RU: good"));
}

TEST_F(SsfVerifyTool, FindsCertificatesInTheAddressBook) {
  const std::string message = sign({"--no-certificates", "-s", "CN=Anna Orlova"});
  EXPECT_EQ(verify(message).exitCode, 0);
}

TEST_F(SsfVerifyTool, FindsCertificatesInTheStoreThatTheProfileNames) {
  const std::string message = sign({"--no-certificates", "-s", "CN=Anna Orlova"});
  provider({"cert", "add", "--store", "Other", lab("pem/anna.crt")});
  EXPECT_EQ(ssf({"verify", message, "--profile", "Other"}).exitCode, 0);
  provider({"cert", "add", "--store", "Empty", lab("pem/rita.crt")});
  expectRefused(verify(message, {"--profile", "Empty"}),
                4,
                "the signer's certificate is neither in the message nor in the store");
  expectRefused(verify(message, {"--profile", "Nowhere"}), 4, "neither in the message");
}

TEST_F(SsfVerifyTool, ShowsThumbprintsAsIdentitiesWhenTheLibraryIsSetSo) {
  const std::string message = sign({"-s", "CN=Anna Orlova"});
  setEnvironment("QX_SSF_USERID", "CERT_HASH");
  std::string id = ssfJson({"verify", message})["signers"][0]["id"];
  std::erase(id, ' ');
  EXPECT_EQ(id, person("anna")["thumbprint"].get<std::string>());
}

TEST_F(SsfVerifyTool, RefusesWhatIsNoMessage) {
  const std::string whole = readFile(sign({"-s", "CN=Anna Orlova"}));
  for (const std::string& content : {std::string("nonsense"),
                                     std::string("\x30\x80"),
                                     whole.substr(0, 1),
                                     whole.substr(0, 500),
                                     whole.substr(0, whole.size() - 1),
                                     readFile(lab("pem/anna.crt"))}) {
    const std::string path = write("bad", content);
    expectRefused(verify(path), 2, path + ": is no message that can be read");
  }
}

TEST_F(SsfVerifyTool, RefusesAMessageThatIsNotSigned) {
  const std::string path = file("hashed");
  ASSERT_EQ(ssf({"digest", document_, "-o", path}).exitCode, 0);
  const CommandResult result = verify(path);
  EXPECT_EQ(result.exitCode, 2) << result.err;
  EXPECT_THAT(result.err, StartsWith("qxssf: " + path + ": "));
}

TEST_F(SsfVerifyTool, RefusesAMessageWithoutSigners) {
  const std::string path = file("certificates");
  ASSERT_EQ(run({"openssl",
                 "crl2pkcs7",
                 "-nocrl",
                 "-certfile",
                 lab("pem/anna.crt"),
                 "-outform",
                 "DER",
                 "-out",
                 path})
                .exitCode,
            0);
  const CommandResult result = verify(path, {"--content", document_});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr(path + ": holds no signature"));
}

TEST_F(SsfVerifyTool, RefusesEmptyFiles) {
  const std::string empty = write("empty", "");
  expectRefused(verify(empty), 2, empty + ": is empty");
  const std::string message = sign({"--detached", "-s", "CN=Anna Orlova"});
  expectRefused(verify(message, {"--content", empty}), 2, empty + ": is empty");
}

TEST_F(SsfVerifyTool, RefusesMissingFiles) {
  expectRefused(verify("/nonexistent/a"), 2, "/nonexistent/a: No such file");
  const std::string message = sign({"--detached", "-s", "CN=Anna Orlova"});
  expectRefused(
      verify(message, {"--content", "/nonexistent/b"}), 2, "/nonexistent/b: No such file");
}

TEST_F(SsfVerifyTool, RefusesTwoFilesFromOneStream) {
  expectRefused(ssf({"verify", "-", "--content", "-"}), 1, "standard input");
}

TEST_F(SsfVerifyTool, ReadsAPlainMessageAsNoCades) {
  const std::string message = sign({"-s", "CN=Anna Orlova"});
  EXPECT_EQ(ssf({"verify", message, "--format", "PKCS7"}).exitCode, 0);
  EXPECT_NE(ssf({"verify", message, "--format", "CADES"}).exitCode, 0);
}

}  // namespace
}  // namespace qx::test::ssf_verify_test
