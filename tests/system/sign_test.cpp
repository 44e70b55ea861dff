#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// Signing through the SSF functions with the default provider beneath.

namespace qx::test::sign_test {
namespace {

const std::string kContent = "a document";

TEST(SystemSign, FindsASignerByThumbprintAndByName) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan Petrov");

  for (const std::string& id :
       {ivan.thumbprint, std::string("CN=Ivan Petrov, O=Bank"), std::string("C=RU")}) {
    const SsfOutcome made = ssfSign(kContent, {{.id = id}});

    EXPECT_EQ(made.code, SSF_API_OK) << id;
    EXPECT_EQ(made.records[0].result, SSF_RESULT_OK) << id;
    EXPECT_EQ(ssfVerify(made.output).code, SSF_API_OK) << id;
  }
}

// The library decodes \uXXXX in what it reads as a name, in the identities of its callers and in the
// subjects of certificates alike.
TEST(SystemSign, TakesNoNameWithAnEscapeForTheNameThatItDecodesTo) {
  const SystemWorld world;
  world.enrol(R"(\u0041)");
  world.enrol(R"(Ivan\u0020Petrov)");
  world.enrol(R"(DOMAIN\user)");

  for (const char* id : {"CN=A", "CN=Ivan Petrov", "CN=DOMAIN", R"(CN=\u0041)"}) {
    const SsfOutcome made = ssfSign(kContent, {{.id = id}});
    EXPECT_EQ(made.code, SSF_API_SIGNER_ERROR) << id;
    EXPECT_EQ(made.records[0].result, SSF_RESULT_UNKNOWN) << id;
  }
  // Such a name is found by the digits that stand for it.
  EXPECT_EQ(ssfSign(kContent, {{.id = "CN=#5C7530303431"}}).code, SSF_API_OK);
  // An escape in the identity still stands for its character.
  world.enrol("B");
  EXPECT_EQ(ssfSign(kContent, {{.id = R"(CN=\u0042)"}}).code, SSF_API_OK);
}

TEST(SystemSign, TakesTheNewestOfTwoCertificatesOfOneName) {
  const SystemWorld world;
  lab::CertificateOptions options{.subject = {{"CN", "Renewed"}}, .notBefore = -2 * lab::kDay};
  world.enrol(options);
  options.notBefore = -lab::kDay;
  const Person renewed = world.enrol(options);

  const SsfOutcome verified = ssfVerify(ssfSign(kContent, {{.id = "CN=Renewed"}}).output);

  ASSERT_EQ(verified.records.size(), 1U);
  const lab::Bytes der = lab::toDer(renewed.certificate.get());
  EXPECT_EQ(verified.records[0].password, std::string(der.begin(), der.end()));
}

TEST(SystemSign, GoesOnToTheNextCertificateWhenTheFirstHasNoKey) {
  const SystemWorld world;
  const Person old = world.enrol({.subject = {{"CN", "Twin"}}, .notBefore = -2 * lab::kDay});
  const Person young = world.enrol({.subject = {{"CN", "Twin"}}, .notBefore = -lab::kDay});
  std::filesystem::remove(world.folder().path() + "/keys/" + keyFileName(young.key.get()));

  const SsfOutcome made = ssfSign(kContent, {{.id = "CN=Twin"}});

  EXPECT_EQ(made.code, SSF_API_OK);
  const lab::Bytes der = lab::toDer(old.certificate.get());
  EXPECT_EQ(ssfVerify(made.output).records.at(0).password, std::string(der.begin(), der.end()));
}

TEST(SystemSign, UnlocksAKeyWithItsPinOnly) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");

  EXPECT_EQ(ssfSign(kContent, {{.id = ivan.thumbprint, .password = "plum-1234"}}).code, SSF_API_OK);
  for (const char* pin : {"", "plum-4321", "plum-12345", "plum-123"}) {
    const SsfOutcome refused = ssfSign(kContent, {{.id = ivan.thumbprint, .password = pin}});

    EXPECT_EQ(refused.code, SSF_API_SIGNER_ERROR) << pin;
    EXPECT_EQ(refused.records[0].result, SSF_RESULT_INVALID_PASSWORD) << pin;
    EXPECT_TRUE(refused.output.empty());
  }
  EXPECT_EQ(ssfSign(kContent, {{.id = ivan.thumbprint, .password = "plum-1234"}}).code, SSF_API_OK);
}

TEST(SystemSign, DoesNotAskForAPinWithoutAPrompt) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");

  const SsfOutcome refused = ssfSign(kContent, {{.id = ivan.thumbprint, .password = "!"}});

  EXPECT_EQ(refused.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(refused.records[0].result, SSF_RESULT_INVALID_PROFILE);
}

TEST(SystemSign, SaysWhichOfTwoSignersIsUnknown) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");

  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}, {.id = "CN=Nobody"}});

  EXPECT_EQ(made.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(made.records[0].result, SSF_RESULT_OK);
  EXPECT_EQ(made.records[1].result, SSF_RESULT_UNKNOWN);
}

TEST(SystemSign, DoesNotCreateAStoreByReadingIt) {
  const SystemWorld world;

  const SsfOutcome made = ssfSign(kContent, {{.id = "CN=Ivan", .profile = "Elsewhere"}});

  EXPECT_EQ(made.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(made.records[0].result, SSF_RESULT_INVALID_PROFILE);
  EXPECT_FALSE(std::filesystem::exists(world.folder().path() + "/stores/Elsewhere"));
}

TEST(SystemSign, RefusesStoreNamesThatLeadElsewhere) {
  const SystemWorld world;
  world.enrol("Ivan");
  for (const char* profile : {"../stores/My", "u..", "u", "m.", "My/", "/etc", "My\n"}) {
    const SsfOutcome made = ssfSign(kContent, {{.id = "CN=Ivan", .profile = profile}});

    EXPECT_EQ(made.code, SSF_API_SIGNER_ERROR) << profile;
    EXPECT_EQ(made.records[0].result, SSF_RESULT_INVALID_PROFILE) << profile;
  }
}

TEST(SystemSign, SignsWithSeveralSignersAtOnce) {
  const SystemWorld world;
  std::vector<SsfRecord> signers;
  for (const char* name : {"Ivan", "Anna", "Oleg"}) {
    signers.push_back({.id = world.enrol(name, name).thumbprint, .password = name});
  }

  const SsfOutcome verified = ssfVerify(ssfSign(kContent, signers).output);

  EXPECT_EQ(verified.code, SSF_API_OK);
  EXPECT_EQ(verified.output, kContent);
  EXPECT_EQ(verified.records.size(), 3U);
}

TEST(SystemSign, LeavesTheContentOutOfADetachedMessage) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");

  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.detached = true});

  EXPECT_EQ(made.output.find(kContent), std::string::npos);
  EXPECT_EQ(ssfVerify(made.output, kContent).code, SSF_API_OK);
}

TEST(SystemSign, SignsContentThatLooksLikeAttributesWithAttributes) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  // SET { SEQUENCE { contentType, SET { data } } }: without attributes its signature could be shown as
  // one over other content.
  const std::string attributes(
      "\x31\x1a\x30\x18\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x09\x03\x31\x0b\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x01",
      28);

  const SsfOutcome made = ssfSign(attributes, {{.id = ivan.thumbprint}}, {.detached = true});

  // The messageDigest attribute's OID is there although nobody asked for attributes.
  EXPECT_NE(made.output.find("\x2a\x86\x48\x86\xf7\x0d\x01\x09\x04"), std::string::npos);
  EXPECT_EQ(ssfVerify(made.output, attributes).code, SSF_API_OK);
}

TEST(SystemSign, MakesNoCadesMessageWhenNoServerForTimeStampsIsKnown) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");

  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.format = "CADES"});

  EXPECT_EQ(made.code, SSF_API_ENCODE_ERROR);
  EXPECT_EQ(made.output, "");
}

}  // namespace
}  // namespace qx::test::sign_test
