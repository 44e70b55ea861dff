#include <array>
#include <type_traits>

#include <gtest/gtest.h>

#include "platform/cades.h"
#include "platform/cert.h"
#include "platform/cert_chain.h"
#include "platform/cert_store.h"
#include "platform/crypt_msg.h"
#include "platform/crypt_prov.h"
#include "platform/encode.h"
#include "platform/errors.h"
#include "platform/oid_info.h"
#include "platform/strings.h"
#include "platform/support.h"
#include "platform/types.h"

extern "C" DWORD qxSizesSeenByC(DWORD index);

namespace qx::test::layout_test {
namespace {

TEST(PlatformLayout, IsTheSameForCAndForCpp) {
  constexpr std::array<size_t, 10> kSizes = {sizeof(CERT_INFO),
                                             sizeof(CERT_CONTEXT),
                                             sizeof(CERT_ID),
                                             sizeof(CMSG_SIGNER_ENCODE_INFO),
                                             sizeof(CMSG_SIGNER_ENCODE_INFO_LONG),
                                             sizeof(CMSG_SIGNER_INFO),
                                             sizeof(CERT_CHAIN_CONTEXT),
                                             sizeof(CRYPT_OID_INFO_LONG),
                                             sizeof(PROV_ENUMALGS_EX),
                                             sizeof(CADES_SIGN_PARA)};
  for (DWORD i = 0; i < kSizes.size(); ++i) {
    EXPECT_EQ(qxSizesSeenByC(i), kSizes.at(i)) << i;
  }
  EXPECT_EQ(qxSizesSeenByC(kSizes.size()), 0U);
}

TEST(PlatformLayout, PlainTypesHaveThePublishedWidthAndSign) {
  EXPECT_TRUE((std::is_same_v<DWORD, uint32_t>));
  EXPECT_TRUE((std::is_same_v<BOOL, int32_t>));
  EXPECT_TRUE((std::is_same_v<LONG, int32_t>));
  EXPECT_TRUE((std::is_same_v<WORD, uint16_t>));
  EXPECT_TRUE((std::is_same_v<BYTE, uint8_t>));
  EXPECT_TRUE((std::is_same_v<WCHAR, wchar_t>));
  EXPECT_TRUE((std::is_same_v<HCRYPTPROV, uintptr_t>));
  EXPECT_TRUE((std::is_same_v<HCRYPTMSG, void*>));
}

TEST(PlatformErrors, HaveTheTypeOfTheLastError) {
  EXPECT_TRUE((std::is_same_v<decltype(CRYPT_E_INVALID_MSG_TYPE), DWORD>));
  EXPECT_TRUE((std::is_same_v<decltype(GetLastError()), DWORD>));
  EXPECT_EQ(CRYPT_E_INVALID_MSG_TYPE, 0x80091004U);
  EXPECT_EQ(static_cast<HRESULT>(NTE_BAD_SIGNATURE), -2146893818);
}

TEST(PlatformConstants, ThatAreNumbersInThePlaceOfPointersKeepTheirNumber) {
  EXPECT_EQ(reinterpret_cast<uintptr_t>(CERT_STORE_PROV_SYSTEM), 10U);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(X509_OCTET_STRING), 25U);
  // NOLINTNEXTLINE(bugprone-casting-through-void): the published constant has this cast
  EXPECT_EQ(reinterpret_cast<uintptr_t>(HCCE_LOCAL_MACHINE), 1U);
  EXPECT_EQ(HCCE_CURRENT_USER, nullptr);
}

TEST(PlatformConstants, ThatAreEasilyConfusedStayApart) {
  EXPECT_EQ(CERT_HASH_PROP_ID, CERT_SHA1_HASH_PROP_ID);
  EXPECT_EQ(CERT_FIND_HASH, CERT_FIND_SHA1_HASH);
  EXPECT_EQ(CERT_FIND_SUBJECT_STR, CERT_FIND_SUBJECT_STR_W);
  EXPECT_EQ(CMSG_ENCODED_SIGNER, 28U);
  EXPECT_EQ(CMSG_ENCODED_MESSAGE, 29U);
  EXPECT_EQ(ERROR_BUSY, 170U);
}

}  // namespace
}  // namespace qx::test::layout_test
