#include <algorithm>
#include <cstdint>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/interop/interop_world.h"
#include "tests/support/kind_name.h"

// The openssl command opens what we envelop, and we open what it encrypts.

namespace qx::test::openssl_envelopes_test {
namespace {

/// Content of this size that is no repetition: key meshing begins behind its first KB.
std::string contentOf(std::size_t size) {
  std::string content(size, '\0');
  std::uint32_t state = 7;
  std::ranges::generate(content, [&state] {
    state = state * 1'664'525U + 1'013'904'223U;
    return static_cast<char>(state >> 24U);
  });
  return content;
}

const std::string kContent = "Pay 100 roubles to the bearer.\r\nFor the eyes of some.\n";
constexpr std::size_t kMuch = (std::size_t{1} << 20U) + 5;

/// What the openssl command makes of a message, as recipient `index` of the world.
CommandResult opensslDecrypt(const InteropWorld& world,
                             std::size_t index,
                             const std::string& message) {
  const Signer& recipient = world.signers().at(index);
  return openssl("cms",
                 {"-decrypt",
                  "-binary",
                  "-inform",
                  "DER",
                  "-in",
                  world.write("message.p7m", message),
                  "-recip",
                  recipient.certificateFile,
                  "-inkey",
                  recipient.keyFile,
                  "-out",
                  world.path("content.out")});
}

/// A message of the openssl command's for the first `recipients` of the world.
std::string opensslEncrypt(const InteropWorld& world,
                           std::size_t recipients,
                           const std::string& content,
                           const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"-encrypt", "-binary", "-outform", "DER"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(),
                   {"-in", world.write("content.in", content), "-out", world.path("message.p7m")});
  for (std::size_t i = 0; i < recipients; ++i) {
    arguments.push_back(world.signers().at(i).certificateFile);
  }
  const CommandResult made = openssl("cms", arguments);
  EXPECT_EQ(made.exitCode, 0) << made.err;
  return readFile(world.path("message.p7m"));
}

class OpensslOpens : public testing::TestWithParam<lab::KeyKind> {};

TEST_P(OpensslOpens, WhatWeEnvelopWhateverItsSize) {
  const InteropWorld world(GetParam());
  for (const std::size_t size : {std::size_t{1}, std::size_t{1'024}, std::size_t{1'025}, kMuch}) {
    const SsfOutcome made = ssfEnvelope(contentOf(size), world.records(1));
    ASSERT_EQ(made.code, SSF_API_OK);
    const CommandResult opened = opensslDecrypt(world, 0, made.output);
    ASSERT_EQ(opened.exitCode, 0) << opened.err;
    EXPECT_EQ(readFile(world.path("content.out")), contentOf(size)) << size;
  }
}

TEST_P(OpensslOpens, WhatWeEnvelopForThreeAsEachOfThem) {
  const InteropWorld world(GetParam());
  const SsfOutcome made = ssfEnvelope(kContent, world.records(3));
  ASSERT_EQ(made.code, SSF_API_OK);
  for (std::size_t i = 0; i < 3; ++i) {
    const CommandResult opened = opensslDecrypt(world, i, made.output);
    ASSERT_EQ(opened.exitCode, 0) << opened.err;
    EXPECT_EQ(readFile(world.path("content.out")), kContent) << i;
  }
}

// With an RSA key openssl goes on with a random one, and GOST 28147-89 opens with any: to something else.
TEST_P(OpensslOpens, NotWhatIsForAnother) {
  const InteropWorld world(GetParam());
  const SsfOutcome made = ssfEnvelope(kContent, world.records(1));
  ASSERT_EQ(made.code, SSF_API_OK);
  EXPECT_TRUE(opensslDecrypt(world, 1, made.output).exitCode != 0 ||
              readFile(world.path("content.out")) != kContent);
}

std::string kindName(const testing::TestParamInfo<lab::KeyKind>& info) {
  return kindText(info.param);
}

INSTANTIATE_TEST_SUITE_P(Kinds, OpensslOpens, testing::ValuesIn(kRecipientKinds), kindName);

TEST(OpensslOpensForAllKinds, WhatWeEnvelop) {
  const InteropWorld world({std::begin(kRecipientKinds), std::end(kRecipientKinds)});
  const std::size_t count = world.signers().size();
  const SsfOutcome made = ssfEnvelope(kContent, world.records(count));
  ASSERT_EQ(made.code, SSF_API_OK);
  for (std::size_t i = 0; i < count; ++i) {
    const CommandResult opened = opensslDecrypt(world, i, made.output);
    ASSERT_EQ(opened.exitCode, 0) << opened.err;
    EXPECT_EQ(readFile(world.path("content.out")), kContent) << i;
  }
}

/// A cipher of openssl's, and how it writes the message: with indefinite lengths, or recipients by key
/// identifier.
struct Form {
  const char* name;
  std::vector<std::string> options;
};

const Form kForms[] = {{"Whole", {"-gost89"}},
                       {"Streamed", {"-gost89", "-stream"}},
                       {"ByKeyId", {"-gost89", "-keyid"}}};

const Form kLaterForms[] = {{"Magma", {"-magma-ctr-acpkm"}},
                            {"MagmaWithMac", {"-magma-ctr-acpkm-omac"}},
                            {"Kuznyechik", {"-kuznyechik-ctr-acpkm"}},
                            {"KuznyechikWithMac", {"-kuznyechik-ctr-acpkm-omac"}}};

using Case = std::tuple<lab::KeyKind, Form>;

class WeOpen : public testing::TestWithParam<Case> {
 protected:
  std::string encrypted(const InteropWorld& world,
                        std::size_t recipients,
                        const std::string& content) const {
    return opensslEncrypt(world, recipients, content, std::get<1>(GetParam()).options);
  }

  lab::KeyKind kind() const { return std::get<0>(GetParam()); }
};

TEST_P(WeOpen, WhatOpensslEncrypts) {
  const InteropWorld world(kind());
  for (const std::string& content : {kContent, contentOf(kMuch)}) {
    const SsfOutcome opened = ssfDevelope(encrypted(world, 1, content), world.record(0));
    EXPECT_EQ(opened.code, SSF_API_OK);
    EXPECT_EQ(opened.output, content);
    EXPECT_EQ(opened.records[0].result, SSF_RESULT_OK);
  }
}

TEST_P(WeOpen, WhatOpensslEncryptsForThreeAsEachOfThem) {
  const InteropWorld world(kind());
  const std::string message = encrypted(world, 3, kContent);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(ssfDevelope(message, world.record(i)).output, kContent) << i;
  }
}

TEST_P(WeOpen, NotWhatOpensslEncryptsForAnother) {
  const InteropWorld world(kind());
  const SsfOutcome opened = ssfDevelope(encrypted(world, 1, kContent), world.record(1));
  EXPECT_EQ(opened.code, SSF_API_RECIPIENT_ERROR);
  EXPECT_EQ(opened.output, "");
}

std::string formName(const testing::TestParamInfo<Case>& info) {
  return kindText(std::get<0>(info.param)) + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Gost28147,
                         WeOpen,
                         testing::Combine(testing::ValuesIn(kRecipientKinds),
                                          testing::ValuesIn(kForms)),
                         formName);
INSTANTIATE_TEST_SUITE_P(Gost3412,
                         WeOpen,
                         testing::Combine(testing::Values(lab::KeyKind::Gost2012_256,
                                                          lab::KeyKind::Gost2012_512),
                                          testing::ValuesIn(kLaterForms)),
                         formName);
INSTANTIATE_TEST_SUITE_P(Aes,
                         WeOpen,
                         testing::Combine(testing::Values(lab::KeyKind::Rsa2048),
                                          testing::Values(Form{"Aes128", {"-aes-128-cbc"}},
                                                          Form{"Aes256", {"-aes-256-cbc"}})),
                         formName);

TEST(WeOpenForAllKinds, WhatOpensslEncrypts) {
  const InteropWorld world({std::begin(kRecipientKinds), std::end(kRecipientKinds)});
  const std::size_t count = world.signers().size();
  const std::string message = opensslEncrypt(world, count, kContent, {"-gost89"});
  for (std::size_t i = 0; i < count; ++i) {
    const SsfOutcome opened = ssfDevelope(message, world.record(i));
    EXPECT_EQ(opened.code, SSF_API_OK) << i;
    EXPECT_EQ(opened.output, kContent) << i;
  }
}

}  // namespace
}  // namespace qx::test::openssl_envelopes_test
