#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"

namespace qx::test::provider_request_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* kSubject = "C=RU, O=\"Bank, Ltd.\", CN=Иван Петров";

class ProviderRequest : public LabTest {
 protected:
  static std::string thumbprint(const std::string& name) { return person(name)["thumbprint"]; }

  CommandResult request(const Arguments& more) const {
    Arguments arguments = {"cert", "request", "-o", file("out.req")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments);
  }

  CommandResult renew(const std::string& name, const Arguments& more) const {
    Arguments arguments = {"cert", "renew", thumbprint(name), "-o", file("out.req")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments);
  }

  // What the openssl command says of the request, whose signature it verifies.
  std::string told(const Arguments& more = {"-text"}) const {
    Arguments arguments = {"req", "-in", file("out.req"), "-noout", "-verify", "-nameopt", "utf8"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CommandResult result = openssl(arguments);
    EXPECT_THAT(result.err, HasSubstr("verify OK"));
    return result.out;
  }

  std::string publicKeyOf(const std::string& id) const {
    return openssl({"pkey", "-in", userFolder() + "/keys/" + id, "-pubout"}).out;
  }

  std::size_t keys() const { return providerJson({"key", "list"})["keys"].size(); }

  // Has one of the lab's authorities answer the request.
  std::string certified(const std::string& authority) const {
    openssl({"x509",
             "-req",
             "-in",
             file("out.req"),
             "-CA",
             lab("pem/" + authority + "-ca.crt"),
             "-CAkey",
             lab("pem/" + authority + "-ca.key"),
             "-copy_extensions",
             "copyall",
             "-out",
             file("answer.crt")});
    return readFile(file("answer.crt"));
  }
};

class ProviderRequestKind : public ProviderRequest,
                            public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    ProviderRequestKind,
    ::testing::Values("gost2012-256", "gost2012-512", "gost2001", "rsa2048", "p256", "p384"));

TEST_P(ProviderRequestKind, AsksForACertificateForANewKey) {
  const CommandResult result =
      request({"--subject", kSubject, "--type", GetParam(), "--pin-file", pinFile("pin", "4711")});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::string text = told();
  EXPECT_THAT(text, HasSubstr("C=RU"));
  EXPECT_THAT(text, HasSubstr("CN=Иван Петров"));
  EXPECT_THAT(result.out, HasSubstr(std::string("(") + GetParam() + ", with a PIN)"));
  EXPECT_EQ(keys(), 15U);
}

TEST_P(ProviderRequestKind, AsksForACertificateForAKeyThatIsThere) {
  const std::string id = providerJson(
      {"key", "generate", "--type", GetParam(), "--pin-file", pinFile("pin", "4711")})["key"];
  const CommandResult result =
      request({"--subject", kSubject, "--key", id, "--pin-file", file("pin")});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(
      told({"-pubkey"}),
      openssl({"pkey", "-in", userFolder() + "/keys/" + id, "-pubout", "-passin", "pass:4711"})
          .out);
}

TEST_F(ProviderRequest, ASubjectIsWrittenInTheOrderInWhichItStands) {
  request({"--subject", kSubject, "--no-pin", "--type", "p256"});
  EXPECT_THAT(told({"-subject"}), HasSubstr("C=RU, O=Bank, Ltd., CN=Иван Петров"));
}

TEST_F(ProviderRequest, UsagesAndNamesAreAskedFor) {
  request({"--subject",
           "CN=host",
           "--no-pin",
           "--type",
           "p256",
           "--alt-name",
           "DNS:host.example",
           "--alt-name",
           "email:ivan@example.org",
           "--key-usage",
           "digitalSignature,nonRepudiation",
           "--extended-key-usage",
           "clientAuth,1.2.643.2.2.34.6"});
  const std::string text = told();
  EXPECT_THAT(text, HasSubstr("DNS:host.example, email:ivan@example.org"));
  EXPECT_THAT(text, HasSubstr("X509v3 Key Usage: critical"));
  EXPECT_THAT(text, HasSubstr("Digital Signature, Non Repudiation"));
  EXPECT_THAT(text,
              AllOf(HasSubstr("TLS Web Client Authentication"), HasSubstr("1.2.643.2.2.34.6")));
}

TEST_F(ProviderRequest, DerIsWrittenToo) {
  request({"--subject", "CN=a", "--no-pin", "--type", "p256", "--der"});
  EXPECT_EQ(openssl({"req", "-inform", "DER", "-in", file("out.req"), "-noout"}).exitCode, 0);
}

TEST_F(ProviderRequest, StandardOutputTakesTheRequestAlone) {
  const CommandResult result =
      provider({"cert", "request", "--subject", "CN=a", "--no-pin", "--type", "p256"});
  EXPECT_THAT(result.out, ::testing::StartsWith("-----BEGIN CERTIFICATE REQUEST-----\n"));
  EXPECT_THAT(result.err, HasSubstr("key "));
}

TEST_F(ProviderRequest, WhatCannotBeAskedForMakesNoKey) {
  const Arguments subjects[] = {{"--subject", "Ivan"},
                                {"--subject", ""},
                                {"--subject", "=x"},
                                {"--subject", "CN=\"a"},
                                {"--subject", "CN=\"a\"b"},
                                {"--subject", "C=Russia"},
                                {"--subject", "NOSUCH=x"},
                                {"--subject", "CN=a", "--alt-name", "nonsense"},
                                {"--subject", "CN=a", "--alt-name", "email:copy"},
                                {"--subject", "CN=a", "--key-usage", "sign"},
                                {"--subject", "CN=a", "--extended-key-usage", "everything"}};
  for (Arguments arguments : subjects) {
    arguments.emplace_back("--no-pin");
    const CommandResult result = request(arguments);
    EXPECT_EQ(result.exitCode, 1) << arguments[1] << result.err;
    EXPECT_FALSE(exists("out.req"));
  }
  EXPECT_EQ(keys(), 14U);
}

TEST_F(ProviderRequest, AKeyThatIsThereHasItsKindAndPin) {
  EXPECT_EQ(request({"--subject", "CN=a", "--key", "abc", "--type", "p256"}).exitCode, 1);
  EXPECT_EQ(request({"--subject", "CN=a", "--key", "abc", "--no-pin"}).exitCode, 1);
  EXPECT_EQ(request({"--subject", "CN=a", "--key", "abc"}).exitCode, 2);
}

TEST_F(ProviderRequest, RenewingAsksForTheSameWithANewKeyOfTheSameKind) {
  const CommandResult result = renew("eva", {"--no-pin"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("(p384, without a PIN)"));
  const std::string text = told();
  EXPECT_THAT(text, HasSubstr("CN=Eva Lund"));
  EXPECT_THAT(text, HasSubstr("Digital Signature, Non Repudiation"));
  EXPECT_THAT(told({"-pubkey"}),
              Not(HasSubstr(openssl({"pkey", "-in", lab("pem/eva.key"), "-pubout"}).out)));
  EXPECT_EQ(providerJson({"cert", "list"})["certificates"].size(), 14U) << "the old one stays";
}

TEST_F(ProviderRequest, RenewingKeepsTheKeyWhenItIsAskedTo) {
  const CommandResult result =
      renew("robert", {"--same-key", "--pin-file", lab(person("robert")["pinFile"])});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(told({"-pubkey"}), openssl({"pkey", "-in", lab("pem/robert.key"), "-pubout"}).out);
  EXPECT_EQ(keys(), 14U);
}

TEST_F(ProviderRequest, RenewingWithTheSameKeyNeedsItsPin) {
  EXPECT_EQ(renew("robert", {"--same-key", "--pin-file", pinFile("wrong", "0")}).exitCode, 5);
  EXPECT_FALSE(exists("out.req"));
}

TEST_F(ProviderRequest, RenewingTakesAnotherKindOfKeyWhenItIsNamed) {
  EXPECT_THAT(renew("eva", {"--no-pin", "--type", "p256"}).out, HasSubstr("(p256, without a PIN)"));
}

class ProviderAnswer : public ProviderRequest {
 protected:
  CommandResult answer(const std::string& path) const { return provider({"cert", "answer", path}); }

  void ask() const { request({"--subject", "CN=New", "--no-pin", "--type", "p256"}); }

  nlohmann::json stored(const std::string& store) const {
    return providerJson({"cert", "list", "--store", store})["certificates"];
  }

  void removeStore(const std::string& store) const {
    std::filesystem::remove_all(userFolder() + "/stores/" + store);
  }
};

TEST_F(ProviderAnswer, TheCertificateGoesWhereItsKeyIs) {
  ask();
  certified("ec");
  const CommandResult result = answer(file("answer.crt"));
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "My: CN=New\n");
  EXPECT_THAT(stored("My"), SizeIs(15));
}

TEST_F(ProviderAnswer, AuthoritiesGoIntoCaAndNobodyIntoRoot) {
  ask();
  const std::string bundle =
      write("bundle.pem",
            certified("ec") + readFile(lab("pem/ec-ca.crt")) + readFile(lab("pem/ec-root.crt")));
  removeStore("CA");
  removeStore("Root");
  const CommandResult result = answer(bundle);
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(stored("CA"), SizeIs(1));
  EXPECT_THAT(stored("CA")[0]["subject"], "C=RU, O=Lab, CN=Lab EC CA");
  EXPECT_THAT(result.out, HasSubstr("left out: C=RU, O=Lab, CN=Lab EC Root"));
  EXPECT_FALSE(exists("user/stores/Root"));
}

TEST_F(ProviderAnswer, Pkcs7IsTakenInPemAndDer) {
  ask();
  certified("ec");
  for (const char* form : {"PEM", "DER"}) {
    removeStore("My");
    removeStore("CA");
    run({"openssl",
         "crl2pkcs7",
         "-nocrl",
         "-certfile",
         file("answer.crt"),
         "-certfile",
         lab("pem/ec-ca.crt"),
         "-outform",
         form,
         "-out",
         file("answer.p7b")});
    const CommandResult result = answer(file("answer.p7b"));
    EXPECT_EQ(result.exitCode, 0) << form << result.err;
    EXPECT_THAT(stored("My"), SizeIs(1)) << form;
    EXPECT_THAT(stored("CA"), SizeIs(1)) << form;
  }
}

TEST_F(ProviderAnswer, OtherPeoplesCertificatesAreLeftOut) {
  ask();
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const std::string stranger = lab::toPem(
      lab::selfSigned(key.get(), {.subject = {{.type = "CN", .value = "Stranger"}}}).get());
  const nlohmann::json json = nlohmann::json::parse(
      provider({"cert", "answer", "--json", write("both.pem", stranger + certified("ec"))}).out);
  ASSERT_THAT(json["left"], SizeIs(1));
  EXPECT_EQ(json["left"][0]["subject"], "CN=Stranger");
  ASSERT_THAT(json["certificates"], SizeIs(1));
  EXPECT_EQ(json["certificates"][0]["store"], "My");
}

TEST_F(ProviderAnswer, WithoutAKeyNothingIsTaken) {
  removeStore("My");
  removeStore("CA");
  for (const auto& key : std::filesystem::directory_iterator(userFolder() + "/keys")) {
    std::filesystem::remove(key);
  }
  const std::string bundle =
      write("bundle.pem", readFile(lab("pem/eva.crt")) + readFile(lab("pem/ec-ca.crt")));
  const CommandResult result = answer(bundle);
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("holds no certificate for a key of the user"));
  EXPECT_FALSE(exists("user/stores/CA"));
  EXPECT_FALSE(exists("user/stores/My"));
}

TEST_F(ProviderAnswer, WhatIsNoAnswerIsRefused) {
  for (const std::string& content :
       {std::string(),
        std::string("nonsense"),
        std::string("\x30\x80"),
        readFile(lab("pem/eva.key")),
        std::string("-----BEGIN PKCS7-----\nMAA=\n-----END PKCS7-----\n")}) {
    EXPECT_EQ(answer(write("bad", content)).exitCode, 2) << content;
  }
  EXPECT_EQ(answer(file("missing")).exitCode, 2);
}

}  // namespace
}  // namespace qx::test::provider_request_test
