#include <cstdint>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/interop/interop_world.h"
#include "tests/support/kind_name.h"

// We verify what the openssl command signs.

namespace qx::test::openssl_signs_test {
namespace {

const std::string kContent = "Pay 100 roubles to the bearer.\nSigned in Moscow.\n";

/// How the message is written. Streamed is BER with indefinite lengths; the openssl command then puts
/// the content into the message, whatever it was asked for.
enum class Form : std::uint8_t { Attached, Detached, Streamed };

using Case = std::tuple<lab::KeyKind, Form, bool>;

class OpensslSigns : public testing::TestWithParam<Case> {
 protected:
  lab::KeyKind kind() const { return std::get<0>(GetParam()); }

  bool detached() const { return std::get<1>(GetParam()) == Form::Detached; }

  bool streamed() const { return std::get<1>(GetParam()) == Form::Streamed; }

  bool attributes() const { return std::get<2>(GetParam()); }

  std::string sign(const InteropWorld& world, std::size_t signers) const {
    std::vector<std::string> arguments = {"-sign", "-binary", "-outform", "DER"};
    for (std::size_t i = 0; i < signers; ++i) {
      const Signer& signer = world.signers()[i];
      arguments.insert(arguments.end(),
                       {"-signer", signer.certificateFile, "-inkey", signer.keyFile});
    }
    arguments.insert(arguments.end(), {"-in", world.write("content.in", kContent)});
    arguments.insert(arguments.end(), {"-out", world.path("message.p7s")});
    if (!detached()) {
      arguments.emplace_back("-nodetach");
    }
    if (!attributes()) {
      arguments.emplace_back("-noattr");
    }
    if (streamed()) {
      arguments.emplace_back("-stream");
    }
    const CommandResult made = openssl("cms", arguments);
    EXPECT_EQ(made.exitCode, 0) << made.err;
    return readFile(world.path("message.p7s"));
  }

  std::string given() const { return detached() ? kContent : std::string(); }
};

TEST_P(OpensslSigns, AndWeVerify) {
  const InteropWorld world(kind());
  const std::string message = sign(world, 2);

  const SsfOutcome verified = ssfVerify(message, given());

  EXPECT_EQ(verified.code, SSF_API_OK);
  EXPECT_EQ(verified.output, kContent);
  ASSERT_EQ(verified.records.size(), 2U);
  for (const SsfRecord& record : verified.records) {
    EXPECT_EQ(record.result, 0);
    EXPECT_EQ(record.profile.starts_with("SigningTime="), attributes());
  }
}

TEST_P(OpensslSigns, AndAnotherContentIsRefused) {
  const InteropWorld world(kind());
  std::string message = sign(world, 1);
  std::string content = given();
  // One digit of the sum is changed, where the content stands.
  std::string& changed = detached() ? content : message;
  const std::size_t sum = changed.find("100 roubles");
  ASSERT_NE(sum, std::string::npos);
  changed[sum] = '9';

  const SsfOutcome verified = ssfVerify(message, content);

  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  ASSERT_EQ(verified.records.size(), 1U);
  EXPECT_EQ(verified.records[0].result, 27);
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  const auto& [kind, form, attributes] = info.param;
  const std::string forms[] = {"Attached", "Detached", "Streamed"};
  return kindText(kind) + forms[static_cast<std::size_t>(form)] +
         (attributes ? "WithAttributes" : "WithoutAttributes");
}

INSTANTIATE_TEST_SUITE_P(
    AllKinds,
    OpensslSigns,
    testing::Combine(testing::ValuesIn(kAllKinds),
                     testing::Values(Form::Attached, Form::Detached, Form::Streamed),
                     testing::Bool()),
    caseName);

}  // namespace
}  // namespace qx::test::openssl_signs_test
