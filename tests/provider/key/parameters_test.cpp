#include "provider/key/parameters.h"

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/provider_types.h"

namespace qx::parameters_test {
namespace {

using ::testing::ElementsAre;

constexpr DWORD kSentinel = 0xAAAAAAAA;

std::string textParameter(KeyContext& context, DWORD parameter) {
  DWORD size = 0;
  EXPECT_TRUE(readParameter(context, parameter, nullptr, &size, 0));
  std::vector<BYTE> buffer(size);
  EXPECT_TRUE(readParameter(context, parameter, buffer.data(), &size, 0));
  EXPECT_EQ(buffer.back(), 0);
  return reinterpret_cast<const char*>(buffer.data());
}

DWORD numberParameter(KeyContext& context, DWORD parameter) {
  DWORD value = kSentinel;
  DWORD size = sizeof value;
  EXPECT_TRUE(readParameter(context, parameter, reinterpret_cast<BYTE*>(&value), &size, 0));
  EXPECT_EQ(size, sizeof value);
  return value;
}

template <class Item>
Result<void> readItem(KeyContext& context, DWORD parameter, Item& item, DWORD flags) {
  DWORD size = sizeof item;
  return readParameter(context, parameter, reinterpret_cast<BYTE*>(&item), &size, flags);
}

template <class Item>
std::vector<Item> enumerate(KeyContext& context, DWORD parameter, DWORD nextFlag) {
  std::vector<Item> items;
  Item item{};
  Result<void> read = readItem(context, parameter, item, CRYPT_FIRST);
  while (read) {
    items.push_back(item);
    read = readItem(context, parameter, item, nextFlag);
  }
  EXPECT_EQ(read.error(), ERROR_NO_MORE_ITEMS);
  return items;
}

class Parameters : public ::testing::Test {
 protected:
  KeyContext context_{PROV_GOST_2001_DH};
  KeyContext machine_{kProviderGost2012_256,
                      {.location = Location::LocalMachine, .id = std::string(64, '1')}};
};

TEST_F(Parameters, NameTheProvider) {
  for (const DWORD type : {75U, 80U, 81U, 1U, 24U}) {
    KeyContext context(type);
    const std::string name = textParameter(context, PP_NAME);
    EXPECT_EQ(name, findProviderType(type)->name);
    EXPECT_EQ(findProviderType(name)->type, type);
    EXPECT_EQ(numberParameter(context, PP_PROVTYPE), type);
  }
}

TEST_F(Parameters, TellWhatTheProviderIs) {
  EXPECT_EQ(numberParameter(context_, PP_IMPTYPE), CRYPT_IMPL_SOFTWARE);
  EXPECT_EQ(numberParameter(context_, PP_KEYSPEC), AT_KEYEXCHANGE | AT_SIGNATURE);
  EXPECT_NE(numberParameter(context_, PP_VERSION), 0U);
  EXPECT_EQ(numberParameter(context_, PP_KEYSET_TYPE), 0U);
  EXPECT_EQ(numberParameter(machine_, PP_KEYSET_TYPE), CRYPT_MACHINE_KEYSET);
}

TEST_F(Parameters, NameTheContainer) {
  EXPECT_EQ(textParameter(machine_, PP_CONTAINER), std::string(64, '1'));
  EXPECT_EQ(textParameter(machine_, PP_UNIQUE_CONTAINER), std::string(64, '1'));
  DWORD size = 0;
  EXPECT_EQ(readParameter(context_, PP_CONTAINER, nullptr, &size, 0).error(), NTE_NO_KEY);
}

TEST_F(Parameters, FollowTheTwoPassProtocol) {
  DWORD size = 0;
  ASSERT_TRUE(readParameter(context_, PP_PROVTYPE, nullptr, &size, 0));
  EXPECT_EQ(size, 4U);
  BYTE buffer[8] = {};
  size = 3;
  EXPECT_EQ(readParameter(context_, PP_PROVTYPE, buffer, &size, 0).error(), ERROR_MORE_DATA);
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(buffer[0], 0);
  size = 8;
  ASSERT_TRUE(readParameter(context_, PP_PROVTYPE, buffer, &size, 0));
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(buffer[0], 75);
}

TEST_F(Parameters, RefuseWhatTheyDoNotKnow) {
  DWORD size = 0;
  EXPECT_EQ(readParameter(context_, 9999, nullptr, &size, 0).error(), NTE_BAD_TYPE);
  EXPECT_EQ(readParameter(context_, PP_NAME, nullptr, &size, 1).error(), NTE_BAD_FLAGS);
  EXPECT_EQ(readParameter(context_, PP_NAME, nullptr, nullptr, 0).error(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(readParameter(context_, PP_ENUMALGS, nullptr, &size, 4).error(), NTE_BAD_FLAGS);
}

TEST_F(Parameters, EnumerateTheAlgorithmsFromSha256On) {
  for (const DWORD nextFlag : {CRYPT_NEXT, 0U}) {
    const auto items = enumerate<PROV_ENUMALGS>(context_, PP_ENUMALGS, nextFlag);
    ASSERT_EQ(items.size(), offeredAlgorithms().size());
    EXPECT_EQ(items[0].aiAlgid, CALG_SHA_256);
    EXPECT_EQ(items[0].dwBitLen, 256U);
    EXPECT_STREQ(items[0].szName, "SHA-256");
    EXPECT_EQ(items[0].dwNameLen, 8U);
    for (const PROV_ENUMALGS& item : items) {
      EXPECT_EQ(item.dwNameLen, std::strlen(item.szName) + 1);
    }
  }
}

TEST_F(Parameters, EnumerateEveryHashAndNoBrokenOneBeforeASoundOne) {
  std::vector<ALG_ID> hashes;
  for (const auto& item : enumerate<PROV_ENUMALGS>(context_, PP_ENUMALGS, CRYPT_NEXT)) {
    if ((item.aiAlgid & 0xE000U) == ALG_CLASS_HASH) {
      hashes.push_back(item.aiAlgid);
    }
  }
  EXPECT_THAT(hashes,
              ElementsAre(CALG_SHA_256,
                          CALG_SHA_384,
                          CALG_SHA_512,
                          CALG_SHA1,
                          0x8021U,
                          0x8022U,
                          0x801EU,
                          CALG_MD5,
                          CALG_MD2));
}

TEST_F(Parameters, EnumerateTheLongForm) {
  const auto items = enumerate<PROV_ENUMALGS_EX>(context_, PP_ENUMALGS_EX, CRYPT_NEXT);
  ASSERT_EQ(items.size(), offeredAlgorithms().size());
  for (const PROV_ENUMALGS_EX& item : items) {
    EXPECT_LE(item.dwMinLen, item.dwDefaultLen);
    EXPECT_LE(item.dwDefaultLen, item.dwMaxLen);
    EXPECT_EQ(item.dwNameLen, std::strlen(item.szName) + 1);
    EXPECT_EQ(item.dwLongNameLen, std::strlen(item.szLongName) + 1);
  }
}

TEST_F(Parameters, DoNotAdvanceOnAQuestionForTheSize) {
  DWORD size = 1;
  PROV_ENUMALGS first{};
  PROV_ENUMALGS second{};
  ASSERT_TRUE(readParameter(context_, PP_ENUMALGS, nullptr, &size, CRYPT_FIRST));
  EXPECT_EQ(size, sizeof first);
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, first, CRYPT_FIRST));
  ASSERT_TRUE(readParameter(context_, PP_ENUMALGS, nullptr, &size, CRYPT_NEXT));
  EXPECT_EQ(size, sizeof first);
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, second, CRYPT_NEXT));
  EXPECT_EQ(first.aiAlgid, offeredAlgorithms()[0].id);
  EXPECT_EQ(second.aiAlgid, offeredAlgorithms()[1].id);
}

TEST_F(Parameters, DoNotAdvanceOnASmallBuffer) {
  PROV_ENUMALGS item{};
  DWORD size = sizeof item - 1;
  EXPECT_EQ(readParameter(context_, PP_ENUMALGS, reinterpret_cast<BYTE*>(&item), &size, CRYPT_FIRST)
                .error(),
            ERROR_MORE_DATA);
  EXPECT_EQ(size, sizeof item);
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, item, 0));
  EXPECT_EQ(item.aiAlgid, offeredAlgorithms()[0].id);
}

TEST_F(Parameters, BeginAgainWhenAskedForTheFirst) {
  PROV_ENUMALGS item{};
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, item, CRYPT_FIRST));
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, item, CRYPT_NEXT));
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, item, CRYPT_FIRST));
  EXPECT_EQ(item.aiAlgid, offeredAlgorithms()[0].id);
}

TEST_F(Parameters, KeepThePlaceOfEachHandle) {
  PROV_ENUMALGS item{};
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, item, CRYPT_FIRST));
  ASSERT_TRUE(readItem(machine_, PP_ENUMALGS, item, CRYPT_FIRST));
  ASSERT_TRUE(readItem(context_, PP_ENUMALGS, item, CRYPT_NEXT));
  EXPECT_EQ(item.aiAlgid, offeredAlgorithms()[1].id);
}

TEST_F(Parameters, AreNotSetButForThePin) {
  const BYTE pin[] = "1234";
  EXPECT_EQ(setParameter(machine_, PP_NAME, pin, 0).error(), NTE_BAD_TYPE);
  EXPECT_EQ(setParameter(machine_, PP_SIGNATURE_PIN, pin, 1).error(), NTE_BAD_FLAGS);
  EXPECT_EQ(setParameter(context_, PP_SIGNATURE_PIN, pin, 0).error(), NTE_NO_KEY);
  EXPECT_TRUE(setParameter(machine_, PP_SIGNATURE_PIN, pin, 0));
  EXPECT_TRUE(setParameter(machine_, PP_KEYEXCHANGE_PIN, pin, 0));
  EXPECT_TRUE(setParameter(machine_, PP_KEYEXCHANGE_PIN, nullptr, 0));
}

TEST_F(Parameters, SayThatAKeyThatIsNotThereIsNotUsable) {
  BYTE buffer[8] = {};
  DWORD size = sizeof buffer;
  EXPECT_EQ(readParameter(machine_, PP_QX_KEY_USABLE, buffer, &size, 0).error(), SCARD_W_WRONG_CHV);
  EXPECT_EQ(readParameter(context_, PP_QX_KEY_USABLE, buffer, &size, 0).error(), SCARD_W_WRONG_CHV);
}

TEST(ProviderTypes, AreFoundByNumberAndName) {
  EXPECT_EQ(findProviderType(DWORD{2}), nullptr);
  EXPECT_EQ(findProviderType(DWORD{0}), nullptr);
  EXPECT_EQ(findProviderType("no such provider"), nullptr);
  ASSERT_NE(findProviderType(DWORD{75}), nullptr);
}

}  // namespace
}  // namespace qx::parameters_test
