#include "qxsapssf/qx_algorithms.h"

#include "platform/crypt_prov.h"

#include "qxsapssf/platform_handles.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::qx_algorithms_test {
namespace {

using scripted::AllocationFailure;
using scripted::provider;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kGost2001 = "1.2.643.2.2.19";
constexpr const char* kGost256 = "1.2.643.7.1.1.1.1";
constexpr const char* kGost512 = "1.2.643.7.1.1.1.2";
constexpr const char* kUnknown = "1.2.3.4";

class AlgorithmsTest : public scripted::ScriptedTest {
 protected:
  static std::string oid(const CRYPT_OID_INFO* info) {
    return info == nullptr ? "none" : info->pszOID;
  }
};

TEST_F(AlgorithmsTest, GostKeysHaveTheirHashWithoutAskingAnybody) {
  EXPECT_EQ(QXGetDefaultGostHashAlgId(kGost2001), 0x801EU);
  EXPECT_EQ(QXGetDefaultGostHashAlgId(kGost256), 0x8021U);
  EXPECT_EQ(QXGetDefaultGostHashAlgId(kGost512), 0x8022U);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(AlgorithmsTest, OtherKeysHaveNoGostHash) {
  for (const char* name : {szOID_RSA_RSA,
                           szOID_ECC_PUBLIC_KEY,
                           kUnknown,
                           "",
                           "1.2.643.2.2.1",
                           "1.2.643.2.2.190",
                           " 1.2.643.2.2.19"}) {
    EXPECT_EQ(QXGetDefaultGostHashAlgId(name), 0U) << name;
  }
  EXPECT_EQ(QXGetDefaultGostHashAlgId(nullptr), 0U);
}

TEST_F(AlgorithmsTest, APublicKeyEntryDependsOnTheUse) {
  ASSERT_NE(QXCryptGetPublicKeyOIDInfo(szOID_RSA_RSA, AT_KEYEXCHANGE), nullptr);
  EXPECT_EQ(QXCryptGetPublicKeyOIDInfo(szOID_RSA_RSA, AT_KEYEXCHANGE)->Algid, CALG_RSA_KEYX);
  EXPECT_EQ(QXCryptGetPublicKeyOIDInfo(szOID_RSA_RSA, AT_SIGNATURE)->Algid, CALG_RSA_SIGN);
}

TEST_F(AlgorithmsTest, APublicKeyEntryHasNoOtherUse) {
  for (const DWORD keySpec : {DWORD{0}, DWORD{3}, DWORD{0xFFFFFFFF}}) {
    EXPECT_EQ(QXCryptGetPublicKeyOIDInfo(szOID_RSA_RSA, keySpec), nullptr);
  }
  EXPECT_THAT(provider().calls("CryptEnumOIDInfo"), IsEmpty());
}

TEST_F(AlgorithmsTest, AnUnknownPublicKeyHasNoEntry) {
  EXPECT_EQ(QXCryptGetPublicKeyOIDInfo(kUnknown, AT_SIGNATURE), nullptr);
  EXPECT_EQ(QXCryptGetPublicKeyOIDInfo(nullptr, AT_SIGNATURE), nullptr);
  EXPECT_EQ(QXCryptGetPublicKeyOIDInfo(szOID_ECC_PUBLIC_KEY, AT_KEYEXCHANGE), nullptr);
}

TEST_F(AlgorithmsTest, ASignatureIsMadeOfKeyAndHash) {
  EXPECT_EQ(oid(QXCryptGetSignatureOIDInfo(szOID_RSA_RSA, szOID_NIST_sha256)), szOID_RSA_SHA256RSA);
  EXPECT_THAT(provider().calls("CryptFindOIDInfo"),
              ElementsAre("CryptFindOIDInfo(4, 0x800c with 0x2400, 4)"));
  EXPECT_EQ(oid(QXCryptGetSignatureOIDInfo(szOID_RSA_RSA, "1.2.643.2.2.9")), "none");
  EXPECT_EQ(oid(QXCryptGetSignatureOIDInfo(kUnknown, szOID_NIST_sha256)), "none");
  EXPECT_EQ(oid(QXCryptGetSignatureOIDInfo(szOID_RSA_RSA, nullptr)), "none");
  EXPECT_EQ(oid(QXCryptGetSignatureOIDInfo(nullptr, szOID_NIST_sha256)), "none");
}

TEST_F(AlgorithmsTest, TheDefaultSignatureIsTheOneWithTheGostHash) {
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo(kGost2001)), "1.2.643.2.2.3");
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo(kGost256)), "1.2.643.7.1.1.3.2");
  EXPECT_THAT(provider().calls("CryptFindOIDInfo"),
              ElementsAre("CryptFindOIDInfo(4, 0x801e with 0x2e01, 4)",
                          "CryptFindOIDInfo(4, 0x8021 with 0x2e02, 4)"));
}

TEST_F(AlgorithmsTest, TheDefaultSignatureOfOtherKeysIsTheOneWithSha1) {
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo(szOID_RSA_RSA)), szOID_RSA_SHA1RSA);
  EXPECT_THAT(provider().calls("CryptEnumOIDInfo(4"), IsEmpty());
}

TEST_F(AlgorithmsTest, TheDefaultSignatureIsElseTheFirstOfTheKey) {
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo(szOID_ECC_PUBLIC_KEY)), szOID_ECDSA_SHA256);
  EXPECT_THAT(provider().calls("CryptEnumOIDInfo(4"), SizeIs(1));
}

TEST_F(AlgorithmsTest, AKeyWithoutAnySignatureHasNoDefault) {
  provider().oids = {{3, "1.9", L"", 0x2777, {}}};
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo("1.9")), "none");
  EXPECT_EQ(oid(QXCryptGetDefaultHashOIDInfo("1.9")), "none");
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo(kUnknown)), "none");
  EXPECT_EQ(oid(QXCryptGetDefaultSignatureOIDInfo(nullptr)), "none");
}

TEST_F(AlgorithmsTest, TheDefaultHashIsTheOneOfTheDefaultSignature) {
  EXPECT_EQ(oid(QXCryptGetDefaultHashOIDInfo(kGost2001)), "1.2.643.2.2.9");
  EXPECT_EQ(oid(QXCryptGetDefaultHashOIDInfo(szOID_RSA_RSA)), szOID_OIWSEC_sha1);
  EXPECT_EQ(oid(QXCryptGetDefaultHashOIDInfo(szOID_ECC_PUBLIC_KEY)), szOID_NIST_sha256);
  EXPECT_EQ(oid(QXCryptGetDefaultHashOIDInfo(kUnknown)), "none");
  EXPECT_EQ(oid(QXCryptGetDefaultHashOIDInfo(nullptr)), "none");
}

class ProviderHashTest : public AlgorithmsTest {
 protected:
  void SetUp() override {
    AlgorithmsTest::SetUp();
    ASSERT_TRUE(CryptAcquireContextA(
        handle_.put(), nullptr, nullptr, PROV_GOST_2001_DH, CRYPT_VERIFYCONTEXT));
  }

  void TearDown() override {
    handle_.reset();
    AlgorithmsTest::TearDown();
  }

  ALG_ID hashFor(const char* publicKey) {
    return QXCryptGetProviderHashAlgId(handle_.get(), publicKey);
  }

  Provider handle_;
};

TEST_F(ProviderHashTest, OfAGostKeyIsKnownWithoutAskingTheProvider) {
  EXPECT_EQ(hashFor(kGost2001), 0x801EU);
  EXPECT_EQ(hashFor(kGost256), 0x8021U);
  EXPECT_EQ(hashFor(kGost512), 0x8022U);
  EXPECT_THAT(provider().calls("CryptGetProvParam"), IsEmpty());
  EXPECT_THAT(provider().calls("CryptEnumOIDInfo"), IsEmpty());
}

TEST_F(ProviderHashTest, IsTheFirstHashThatSignsWithTheKey) {
  provider().algorithms = {CALG_AES_256, CALG_MD2, CALG_SHA_256, CALG_SHA1};
  EXPECT_EQ(hashFor(szOID_RSA_RSA), CALG_SHA_256);
  EXPECT_THAT(provider().calls("CryptGetProvParam"),
              ElementsAre("CryptGetProvParam(provider#1, 1, 32 bytes, 0x1)",
                          "CryptGetProvParam(provider#1, 1, 32 bytes, 0x0)",
                          "CryptGetProvParam(provider#1, 1, 32 bytes, 0x0)"));
  EXPECT_THAT(provider().calls("CryptFindOIDInfo"),
              ElementsAre("CryptFindOIDInfo(4, 0x8001 with 0x2400, 4)",
                          "CryptFindOIDInfo(4, 0x800c with 0x2400, 4)"));
}

TEST_F(ProviderHashTest, WithoutAKeyIsTheProvidersFirst) {
  provider().algorithms = {CALG_AES_256, CALG_RSA_SIGN, CALG_MD2, CALG_SHA_256};
  EXPECT_EQ(hashFor(nullptr), CALG_MD2);
  EXPECT_THAT(provider().calls("CryptFindOIDInfo"), IsEmpty());
}

TEST_F(ProviderHashTest, IsNoneWhenTheProviderHasNoHash) {
  provider().algorithms = {CALG_AES_256, CALG_RSA_SIGN};
  EXPECT_EQ(hashFor(nullptr), 0U);
  EXPECT_EQ(hashFor(szOID_RSA_RSA), 0U);
  provider().algorithms = {};
  EXPECT_EQ(hashFor(nullptr), 0U);
}

TEST_F(ProviderHashTest, IsNoneWhenNoHashSignsWithTheKey) {
  provider().algorithms = {CALG_MD2, CALG_MD5};
  EXPECT_EQ(hashFor(szOID_RSA_RSA), 0U);
}

TEST_F(ProviderHashTest, IsNoneForAnUnknownKey) {
  EXPECT_EQ(hashFor(kUnknown), 0U);
  EXPECT_THAT(provider().calls("CryptGetProvParam"), IsEmpty());
}

TEST_F(ProviderHashTest, IsNoneWhenTheProviderFailsAtOnce) {
  provider().failFirst("CryptGetProvParam", NTE_BAD_UID);
  EXPECT_EQ(hashFor(nullptr), 0U);
}

TEST_F(ProviderHashTest, IsNoneWhenTheProviderFailsOnTheWay) {
  provider().failNth("CryptGetProvParam", 2, NTE_BAD_UID);
  provider().algorithms = {CALG_AES_256, CALG_SHA1};
  EXPECT_EQ(hashFor(nullptr), 0U);
  EXPECT_EQ(provider().failuresSeen(), 1U);
}

TEST_F(AlgorithmsTest, WantOfMemoryAnswersNothing) {
  // Longer than a string holds without memory of its own.
  const char* longOid = "1.2.840.113549.1.1.1.99999.99999.99999";
  provider().oids = {{3, longOid, L"", 0x2401, {}}, {4, "1.2", L"", 0x8004, {0x2401}}};
  const CRYPT_OID_INFO* info = nullptr;
  {
    const AllocationFailure failure(1);
    info = QXCryptGetPublicKeyOIDInfo(longOid, AT_SIGNATURE);
  }
  EXPECT_EQ(info, nullptr);
  {
    const AllocationFailure failure(1);
    info = QXCryptGetSignatureOIDInfo(longOid, szOID_NIST_sha256);
  }
  EXPECT_EQ(info, nullptr);
  {
    const AllocationFailure failure(1);
    info = QXCryptGetDefaultSignatureOIDInfo(longOid);
  }
  EXPECT_EQ(info, nullptr);
  {
    const AllocationFailure failure(1);
    info = QXCryptGetDefaultHashOIDInfo(longOid);
  }
  EXPECT_EQ(info, nullptr);
  ALG_ID hash = 1;
  {
    const AllocationFailure failure(1);
    hash = QXCryptGetProviderHashAlgId(1, longOid);
  }
  EXPECT_EQ(hash, 0U);
  EXPECT_NE(QXCryptGetDefaultSignatureOIDInfo(longOid), nullptr);
}

}  // namespace
}  // namespace qx::qx_algorithms_test
