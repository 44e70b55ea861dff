#include <tuple>

#include <gtest/gtest.h>

#include "tests/interop/interop_world.h"
#include "tests/support/kind_name.h"

// GnuTLS's certtool accepts what we sign, with keys over the curves that it knows.

namespace qx::test::gnutls_verifies_test {
namespace {

using lab::KeyKind;

const std::string kContent = "Pay 100 roubles to the bearer.\r\nSigned in Moscow.\n";

CommandResult certtool(const InteropWorld& world,
                       const std::string& message,
                       const std::string& detachedContent) {
  // R 34.10-2001 is old: certtool wants to be told that it will do.
  std::vector<std::string> arguments = {"certtool", "--p7-verify", "--verify-allow-broken"};
  arguments.insert(arguments.end(), {"--load-ca-certificate", world.rootFile(), "--inder"});
  arguments.insert(arguments.end(), {"--infile", world.write("message.p7s", message)});
  if (!detachedContent.empty()) {
    arguments.insert(arguments.end(), {"--load-data", world.write("content", detachedContent)});
  }
  return run(arguments);
}

std::size_t countOf(const std::string& what, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++count;
  }
  return count;
}

void expectGood(const CommandResult& verified, std::size_t signers) {
  EXPECT_EQ(verified.exitCode, 0) << verified.out << verified.err;
  EXPECT_EQ(countOf("Signature status: ok", verified.out + verified.err), signers)
      << verified.out << verified.err;
}

using Case = std::tuple<KeyKind, bool, std::size_t>;

class GnutlsVerifies : public testing::TestWithParam<Case> {
 protected:
  KeyKind kind() const { return std::get<0>(GetParam()); }

  bool detached() const { return std::get<1>(GetParam()); }

  std::size_t signerCount() const { return std::get<2>(GetParam()); }

  std::string given(const std::string& content = kContent) const {
    return detached() ? content : std::string();
  }

  SsfOutcome sign() const {
    return ssfSign(kContent, world_.records(signerCount()), {.detached = detached()});
  }

  const InteropWorld& world() const { return world_; }

 private:
  const InteropWorld world_{KeyKind::EcP256, widelyKnownKeys({kind(), kind(), kind()})};
};

TEST_P(GnutlsVerifies, WhatWeSign) {
  const SsfOutcome made = sign();
  ASSERT_EQ(made.code, SSF_API_OK);
  expectGood(certtool(world(), made.output, given()), signerCount());
}

TEST_P(GnutlsVerifies, NotWhatWasChangedAfterwards) {
  const SsfOutcome made = sign();
  ASSERT_EQ(made.code, SSF_API_OK);
  std::string other = made.output;
  other.back() = static_cast<char>(other.back() ^ 1);
  EXPECT_NE(certtool(world(), other, given()).exitCode, 0);
  if (detached()) {
    EXPECT_NE(certtool(world(), made.output, given("Pay 900 roubles.")).exitCode, 0);
  }
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  const auto& [kind, detached, signers] = info.param;
  return kindText(kind) + (detached ? "Detached" : "Attached") + std::to_string(signers);
}

INSTANTIATE_TEST_SUITE_P(AllKinds,
                         GnutlsVerifies,
                         testing::Combine(testing::ValuesIn(kAllKinds),
                                          testing::Bool(),
                                          testing::Values(std::size_t{1}, std::size_t{3})),
                         caseName);

TEST(GnutlsVerifiesAllKinds, AsWeAddThemOneByOne) {
  const InteropWorld world(KeyKind::EcP256,
                           widelyKnownKeys({std::begin(kAllKinds), std::end(kAllKinds)}));
  SsfOutcome made = ssfSign(kContent, world.records(1));
  for (std::size_t i = 1; i < std::size(kAllKinds); ++i) {
    made = ssfAddSign(made.output, "", world.record(i));
    ASSERT_EQ(made.code, SSF_API_OK);
    expectGood(certtool(world, made.output, ""), i + 1);
  }
}

}  // namespace
}  // namespace qx::test::gnutls_verifies_test
