#include <tuple>

#include <gtest/gtest.h>

#include "tests/interop/interop_world.h"
#include "tests/support/kind_name.h"

// The openssl command accepts what we sign.

namespace qx::test::openssl_verifies_test {
namespace {

const std::string kContent = "Pay 100 roubles to the bearer.\r\nSigned in Moscow.\n";

using Case = std::tuple<lab::KeyKind, bool, bool, std::size_t>;

class OpensslVerifies : public testing::TestWithParam<Case> {
 protected:
  lab::KeyKind kind() const { return std::get<0>(GetParam()); }

  bool detached() const { return std::get<1>(GetParam()); }

  bool certificates() const { return std::get<2>(GetParam()); }

  std::size_t signerCount() const { return std::get<3>(GetParam()); }

  CommandResult verify(const InteropWorld& world, const std::string& message) const {
    std::vector<std::string> arguments = {
        "-verify", "-binary", "-inform", "DER", "-purpose", "any", "-CAfile", world.rootFile()};
    arguments.insert(arguments.end(), {"-in", world.write("message.p7s", message)});
    arguments.insert(arguments.end(), {"-out", world.path("content.out")});
    if (detached()) {
      arguments.insert(arguments.end(), {"-content", world.write("content.in", kContent)});
    }
    if (!certificates()) {
      arguments.insert(arguments.end(), {"-certfile", world.certificatesFile()});
    }
    return openssl("cms", arguments);
  }
};

TEST_P(OpensslVerifies, WhatWeSign) {
  const InteropWorld world(kind());
  const SsfOutcome made = ssfSign(kContent,
                                  world.records(signerCount()),
                                  {.certificates = certificates(), .detached = detached()});
  ASSERT_EQ(made.code, SSF_API_OK);

  const CommandResult verified = verify(world, made.output);

  EXPECT_EQ(verified.exitCode, 0) << verified.err;
  EXPECT_EQ(readFile(world.path("content.out")), kContent);
}

TEST_P(OpensslVerifies, NotWhatWasChangedAfterwards) {
  const InteropWorld world(kind());
  SsfOutcome made = ssfSign(kContent,
                            world.records(signerCount()),
                            {.certificates = certificates(), .detached = detached()});
  ASSERT_EQ(made.code, SSF_API_OK);
  // The last octets belong to the last signature.
  made.output.back() = static_cast<char>(made.output.back() ^ 1);

  EXPECT_NE(verify(world, made.output).exitCode, 0);
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  const auto& [kind, detached, certificates, signers] = info.param;
  return kindText(kind) + (detached ? "Detached" : "Attached") +
         (certificates ? "WithCertificates" : "WithoutCertificates") + std::to_string(signers);
}

INSTANTIATE_TEST_SUITE_P(AllKinds,
                         OpensslVerifies,
                         testing::Combine(testing::ValuesIn(kAllKinds),
                                          testing::Bool(),
                                          testing::Bool(),
                                          testing::Values(std::size_t{1}, std::size_t{3})),
                         caseName);

}  // namespace
}  // namespace qx::test::openssl_verifies_test
