#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_envelope_roundtrip_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SsfEnvelopeRoundTrip : public LabTest {
 protected:
  Arguments recipient(const std::string& name) const {
    const nlohmann::json who = person(name);
    Arguments arguments = {"--recipient", who["subject"]};
    if (who.contains("pinFile")) {
      arguments.insert(arguments.end(), {"--pin-file", lab(who["pinFile"])});
    }
    return arguments;
  }

  // The document enveloped for these people.
  std::string envelope(const std::vector<std::string>& names) const {
    Arguments arguments = {"envelope", document_, "-o", file("message")};
    for (const std::string& name : names) {
      arguments.insert(arguments.end(), {"-r", person(name)["subject"]});
    }
    const CommandResult result = ssf(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return file("message");
  }

  CommandResult develope(const std::string& message, const std::string& name) const {
    Arguments arguments = {"develope", message, "-o", file("out")};
    const Arguments who = recipient(name);
    arguments.insert(arguments.end(), who.begin(), who.end());
    return ssf(arguments);
  }

  std::string document_ = write("document", "what is secret\n");
};

class SsfEnvelopeKind : public SsfEnvelopeRoundTrip,
                        public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Recipients,
                         SsfEnvelopeKind,
                         ::testing::Values("ivan", "anna", "boris", "galina", "robert", "rita"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(SsfEnvelopeKind, IsOpenedByItsRecipient) {
  const std::string message = envelope({GetParam()});
  EXPECT_THAT(readFile(message), Not(HasSubstr("what is secret")));
  const CommandResult opened = develope(message, GetParam());
  ASSERT_EQ(opened.exitCode, 0) << opened.err;
  EXPECT_EQ(opened.err, "");
  EXPECT_EQ(opened.out, message + ": opened, 15 bytes\n");
  EXPECT_EQ(readFile(file("out")), readFile(document_));
}

TEST_P(SsfEnvelopeKind, IsOpenedByTheOpensslCommand) {
  const CommandResult opened = openssl({"cms",
                                        "-decrypt",
                                        "-binary",
                                        "-inform",
                                        "DER",
                                        "-in",
                                        envelope({GetParam()}),
                                        "-recip",
                                        lab("pem/" + std::string(GetParam()) + ".crt"),
                                        "-inkey",
                                        lab("pem/" + std::string(GetParam()) + ".key"),
                                        "-out",
                                        file("opened")});
  EXPECT_EQ(opened.exitCode, 0) << opened.err;
  EXPECT_EQ(readFile(file("opened")), readFile(document_));
}

TEST_P(SsfEnvelopeKind, OfTheOpensslCommandIsOpened) {
  const CommandResult made = openssl({"cms",
                                      "-encrypt",
                                      "-binary",
                                      "-in",
                                      document_,
                                      "-outform",
                                      "DER",
                                      "-out",
                                      file("message"),
                                      "-gost89",
                                      lab("pem/" + std::string(GetParam()) + ".crt")});
  ASSERT_EQ(made.exitCode, 0) << made.err;
  const CommandResult opened = develope(file("message"), GetParam());
  ASSERT_EQ(opened.exitCode, 0) << opened.err;
  EXPECT_EQ(readFile(file("out")), readFile(document_));
}

TEST_F(SsfEnvelopeRoundTrip, IsOpenedByEachOfItsRecipients) {
  const std::string message = envelope({"ivan", "rita", "galina"});
  for (const char* name : {"ivan", "rita", "galina"}) {
    const CommandResult opened = develope(message, name);
    EXPECT_EQ(opened.exitCode, 0) << name << opened.err;
    EXPECT_EQ(readFile(file("out")), readFile(document_)) << name;
  }
}

TEST_F(SsfEnvelopeRoundTrip, TellsWhatItDid) {
  const CommandResult result = ssf(
      {"envelope", document_, "-o", file("message"), "-r", "CN=Anna Orlova", "-r", "CN=Rita Berg"});
  EXPECT_EQ(result.out,
            document_ + ": enveloped for 2 recipients, " +
                std::to_string(readFile(file("message")).size()) + " bytes\n");
  const nlohmann::json json =
      ssfJson({"develope", file("message"), "-o", file("out"), "-r", "CN=Anna Orlova"});
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json["bytes"], 15);
  EXPECT_EQ(json["recipients"][0]["words"], "good");
}

TEST_F(SsfEnvelopeRoundTrip, TakesTheFileBehindTheRecipients) {
  ASSERT_EQ(ssf({"envelope", "-o", file("message"), "-r", "CN=Anna Orlova", document_}).exitCode,
            0);
  EXPECT_EQ(develope(file("message"), "anna").exitCode, 0);
}

TEST_F(SsfEnvelopeRoundTrip, IsNotOpenedByOthers) {
  const std::string message = envelope({"ivan"});
  const CommandResult result = develope(message, "anna");
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, StartsWith("qxssf: " + message + ": not opened: recipient 1 ("));
  EXPECT_THAT(result.err, HasSubstr("): the message is not for this recipient, or was changed"));
  EXPECT_FALSE(exists("out"));
}

TEST_F(SsfEnvelopeRoundTrip, IsNotOpenedWhenItIsNoEnvelope) {
  ASSERT_EQ(ssf({"sign", document_, "-o", file("message"), "-s", "CN=Anna Orlova"}).exitCode, 0);
  const CommandResult result = develope(file("message"), "anna");
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("the message is not of this format"));
  EXPECT_FALSE(exists("out"));
}

TEST_F(SsfEnvelopeRoundTrip, PassesThroughPipes) {
  const CommandResult made = ssf({"envelope", "-r", "CN=Anna Orlova"}, {.input = "piped"});
  ASSERT_EQ(made.exitCode, 0) << made.err;
  const CommandResult opened = ssf({"develope", "-r", "CN=Anna Orlova"}, {.input = made.out});
  EXPECT_EQ(opened.exitCode, 0) << opened.err;
  EXPECT_EQ(opened.out, "piped");
}

}  // namespace
}  // namespace qx::test::ssf_envelope_roundtrip_test
