#include "platform/cades.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "platform/errors.h"

namespace qx::test::cades_test {
namespace {

// NOLINTBEGIN(cppcoreguidelines-no-malloc): records for callers come from malloc
template <class T>
T* allocate(std::size_t count = 1) {
  return static_cast<T*>(std::calloc(count, sizeof(T)));
}

// NOLINTEND(cppcoreguidelines-no-malloc)

TEST(Cades, LeavesNoRecordBehindWhenItFails) {
  CADES_VERIFICATION_INFO info{};
  CADES_VERIFICATION_INFO* verification = &info;
  EXPECT_EQ(CadesMsgVerifySignature(nullptr, 0, nullptr, &verification), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(verification, nullptr);
  CADES_BLOB_ARRAY array{};
  CADES_BLOB_ARRAY* values = &array;
  EXPECT_EQ(CadesMsgGetCertificateValues(nullptr, 0, &values), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(values, nullptr);
}

// The sanitizers tell when something is left.
TEST(CadesFree, ReleasesTheRecordWithAllThatHangsOnIt) {
  SetLastError(ERROR_BUSY);
  auto* info = allocate<CADES_VERIFICATION_INFO>();
  info->dwSize = sizeof *info;
  info->pSigningTime = allocate<FILETIME>();
  info->pSignatureTimeStampTime = allocate<FILETIME>();
  EXPECT_EQ(CadesFreeVerificationInfo(info), TRUE);
  auto* array = allocate<CADES_BLOB_ARRAY>();
  array->cBlob = 2;
  array->pBlobs = allocate<CRYPT_DATA_BLOB>(2);
  array->pBlobs[0] = {.cbData = 3, .pbData = allocate<BYTE>(3)};
  EXPECT_EQ(CadesFreeBlobArray(array), TRUE);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

TEST(CadesFree, AcceptsNull) {
  SetLastError(ERROR_BUSY);
  EXPECT_EQ(CadesFreeVerificationInfo(nullptr), TRUE);
  EXPECT_EQ(CadesFreeBlobArray(nullptr), TRUE);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

}  // namespace
}  // namespace qx::test::cades_test
