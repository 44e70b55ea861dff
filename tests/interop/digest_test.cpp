#include <tuple>

#include <gtest/gtest.h>

#include "tests/interop/interop_world.h"

// The openssl command accepts the hashed messages that we make, for the algorithms that it knows.

namespace qx::test::digest_test {
namespace {

const std::string kContent = "The quick brown fox jumps over the lazy dog\n";

using Case = std::tuple<const char*, bool>;

class OpensslDigestVerifies : public testing::TestWithParam<Case> {
 protected:
  CommandResult verify(const std::string& message, const std::string& content) const {
    std::vector<std::string> arguments = {
        "-digest_verify", "-binary", "-inform", "DER", "-out", files_.file("content.out")};
    arguments.insert(arguments.end(), {"-in", files_.write("message.p7", message)});
    if (detached()) {
      arguments.insert(arguments.end(), {"-content", files_.write("content.in", content)});
    }
    return openssl("cms", arguments);
  }

  const char* algorithm() const { return std::get<0>(GetParam()); }

  bool detached() const { return std::get<1>(GetParam()); }

  TempDir files_;
};

TEST_P(OpensslDigestVerifies, WhatWeHash) {
  const SsfOutcome made = ssfDigest(kContent, algorithm(), detached());
  ASSERT_EQ(made.code, SSF_API_OK);

  const CommandResult verified = verify(made.output, kContent);

  EXPECT_EQ(verified.exitCode, 0) << verified.err;
  EXPECT_EQ(readFile(files_.file("content.out")), kContent);
}

TEST_P(OpensslDigestVerifies, NotWhatWasChangedAfterwards) {
  SsfOutcome made = ssfDigest(kContent, algorithm(), detached());
  ASSERT_EQ(made.code, SSF_API_OK);
  made.output.back() = static_cast<char>(made.output.back() ^ 1);

  EXPECT_NE(verify(made.output, kContent).exitCode, 0);
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  std::string name = std::get<0>(info.param);
  std::erase_if(name, [](unsigned char c) { return std::isalnum(c) == 0; });
  return name + (std::get<1>(info.param) ? "Detached" : "Attached");
}

INSTANTIATE_TEST_SUITE_P(
    Algorithms,
    OpensslDigestVerifies,
    testing::Combine(testing::Values("SHA1", "GOST3411", "GOST-R-34.11-94", "MD5"),
                     testing::Bool()),
    caseName);

}  // namespace
}  // namespace qx::test::digest_test
