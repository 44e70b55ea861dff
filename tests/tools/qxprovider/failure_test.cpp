#include "tools/qxprovider/failure.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/errors.h"

#include "tests/tools/common/throws.h"

namespace qx::admin::failure_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using tools::ExitCode;
using tools::expectRefusal;

TEST(Failure, NamesTheThingTheReasonAndItsNumber) {
  expectRefusal([] { refuse("my file", ERROR_ACCESS_DENIED); },
                ExitCode::Input,
                AllOf(StartsWith("my file: "), HasSubstr(" (0x00000005)")));
}

TEST(Failure, IsOneLineWithoutAFullStop) {
  for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, CRYPT_E_ASN1_BADTAG}) {
    expectRefusal([error] { refuse("x", error); },
                  ExitCode::Input,
                  AllOf(Not(HasSubstr("\n")), Not(HasSubstr("\r")), Not(HasSubstr(". ("))));
  }
}

TEST(Failure, WithoutATextIsItsNumber) {
  expectRefusal(
      [] { refuse("x", 0xDEADBEEF); }, ExitCode::Input, ::testing::StrEq("x: 0xDEADBEEF"));
}

TEST(Failure, OfAKeyEndsWithTheKeysCode) {
  const std::vector<DWORD> errors = {
      SCARD_W_WRONG_CHV, NTE_BAD_KEY, NTE_BAD_KEYSET, NTE_BAD_PUBLIC_KEY, NTE_NO_KEY};
  for (const DWORD error : errors) {
    expectRefusal([error] { refuse("x", error); }, ExitCode::Key, StartsWith("x: "));
  }
}

TEST(Failure, OfTheSystemIsInternal) {
  const std::vector<DWORD> errors = {
      E_OUTOFMEMORY, static_cast<DWORD>(E_FAIL), NTE_FAIL, NTE_PROV_DLL_NOT_FOUND};
  for (const DWORD error : errors) {
    expectRefusal([error] { refuse("x", error); }, ExitCode::Internal, StartsWith("x: "));
  }
}

TEST(Require, GivesTheValue) {
  EXPECT_EQ(require(Result<int>(5), "x"), 5);
  EXPECT_EQ(require(Result<std::string>(std::string("text")), "x"), "text");
  require(Result<void>(), "x");
}

TEST(Require, RefusesAFailure) {
  expectRefusal([] { static_cast<void>(require(Result<int>(fail(NTE_NO_KEY)), "the key")); },
                ExitCode::Key,
                StartsWith("the key: "));
  expectRefusal([] { require(Result<void>(fail(ERROR_DISK_FULL)), "the file"); },
                ExitCode::Input,
                StartsWith("the file: "));
}

}  // namespace
}  // namespace qx::admin::failure_test
