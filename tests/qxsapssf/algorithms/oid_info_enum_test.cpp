#include "qxsapssf/algorithms/oid_info_enum.h"

#include "qxsapssf/algorithms/find_oid_info.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::oid_info_enum_test {
namespace {

using scripted::provider;
using testing::ElementsAre;

std::string narrow(const wchar_t* text) {
  std::string result;
  for (; *text != 0; ++text) {
    result += static_cast<char>(*text);
  }
  return result;
}

std::string line(const char* oid, const wchar_t* name, const std::vector<DWORD>& numbers) {
  std::string text = std::string(oid) + " " + narrow(name);
  for (const DWORD number : numbers) {
    text += " " + std::to_string(number);
  }
  return text;
}

class OidInfoEnumTest : public scripted::ScriptedTest {
 protected:
  void SetUp() override {
    ScriptedTest::SetUp();
    provider().oids.clear();
  }

  /// What an enumerator saw of one entry in each group, with these extra words.
  template <class Enum>
  static std::vector<std::string> seen(DWORD group, std::vector<DWORD> extra, DWORD bytes = 64) {
    provider().oids = {{group, "1.2.3", L"Name", 5, std::move(extra), bytes}};
    Enum walker;
    EXPECT_TRUE(walker.Enum(group));
    return walker.lines;
  }
};

struct Hashes : ATL2::CHashAlgorithmOidEnum {
  bool OnHashAlgorithm(const char* oid, const wchar_t* name, ALG_ID algId) override {
    lines.push_back(line(oid, name, {algId}));
    return true;
  }

  std::vector<std::string> lines;
};

struct Encryptions : ATL2::CEncryptionAlgorithmOidEnum {
  bool OnEncryptionAlgorithm(const char* oid, const wchar_t* name, ALG_ID algId) override {
    lines.push_back(line(oid, name, {algId}));
    return true;
  }

  std::vector<std::string> lines;
};

struct PublicKeys : ATL2::CPublicKeyAlgorithmOidEnum {
  bool OnPublicKeyAlgorithm(const char* oid,
                            const wchar_t* name,
                            ALG_ID algId,
                            DWORD flags) override {
    lines.push_back(line(oid, name, {algId, flags}));
    return true;
  }

  std::vector<std::string> lines;
};

struct Signatures : ATL2::CSignatureAlgorithmOidEnum {
  bool OnSignatureAlgorithm(const char* oid,
                            const wchar_t* name,
                            ALG_ID hashAlgId,
                            ALG_ID publicKeyAlgId,
                            DWORD flags,
                            DWORD providerType) override {
    lines.push_back(line(oid, name, {hashAlgId, publicKeyAlgId, flags, providerType}));
    return true;
  }

  std::vector<std::string> lines;
};

struct RdnAttributes : ATL2::CRdnAttributeOidEnum {
  bool OnRdnAttribute(const char* oid, const wchar_t* name) override {
    lines.push_back(line(oid, name, {}));
    return true;
  }

  std::vector<std::string> lines;
};

struct Extensions : ATL2::CExtensionOrAttributeOidEnum {
  bool OnExtensionOrAttribute(const char* oid, const wchar_t* name) override {
    lines.push_back(line(oid, name, {}));
    return true;
  }

  std::vector<std::string> lines;
};

struct Usages : ATL2::CEnhancedKeyUsageOidEnum {
  bool OnEnhancedKeyUsage(const char* oid, const wchar_t* name) override {
    lines.push_back(line(oid, name, {}));
    return true;
  }

  std::vector<std::string> lines;
};

struct Policies : ATL2::CPolicyOidEnum {
  bool OnPolicy(const char* oid, const wchar_t* name) override {
    lines.push_back(line(oid, name, {}));
    return true;
  }

  std::vector<std::string> lines;
};

struct Templates : ATL2::CTemplateOidEnum {
  bool OnTemplate(const char* oid, const wchar_t* name) override {
    lines.push_back(line(oid, name, {}));
    return true;
  }

  std::vector<std::string> lines;
};

TEST_F(OidInfoEnumTest, EachClassReceivesTypedValues) {
  EXPECT_THAT(seen<Hashes>(CRYPT_HASH_ALG_OID_GROUP_ID, {}), ElementsAre("1.2.3 Name 5"));
  EXPECT_THAT(seen<Encryptions>(CRYPT_ENCRYPT_ALG_OID_GROUP_ID, {7}), ElementsAre("1.2.3 Name 5"));
  EXPECT_THAT(seen<PublicKeys>(CRYPT_PUBKEY_ALG_OID_GROUP_ID, {7}), ElementsAre("1.2.3 Name 5 7"));
  EXPECT_THAT(seen<Signatures>(CRYPT_SIGN_ALG_OID_GROUP_ID, {7, 8, 9}),
              ElementsAre("1.2.3 Name 5 7 8 9"));
  EXPECT_THAT(seen<RdnAttributes>(CRYPT_RDN_ATTR_OID_GROUP_ID, {}), ElementsAre("1.2.3 Name"));
  EXPECT_THAT(seen<Extensions>(CRYPT_EXT_OR_ATTR_OID_GROUP_ID, {}), ElementsAre("1.2.3 Name"));
  EXPECT_THAT(seen<Usages>(CRYPT_ENHKEY_USAGE_OID_GROUP_ID, {}), ElementsAre("1.2.3 Name"));
  EXPECT_THAT(seen<Policies>(CRYPT_POLICY_OID_GROUP_ID, {}), ElementsAre("1.2.3 Name"));
  EXPECT_THAT(seen<Templates>(CRYPT_TEMPLATE_OID_GROUP_ID, {}), ElementsAre("1.2.3 Name"));
}

TEST_F(OidInfoEnumTest, ExtraWordsThatAreNotThereAreZero) {
  EXPECT_THAT(seen<PublicKeys>(3, {}), ElementsAre("1.2.3 Name 5 0"));
  EXPECT_THAT(seen<PublicKeys>(3, {7}, 3), ElementsAre("1.2.3 Name 5 0"));
  EXPECT_THAT(seen<Signatures>(4, {7, 8}), ElementsAre("1.2.3 Name 5 7 8 0"));
  EXPECT_THAT(seen<Signatures>(4, {7, 8, 9}, 11), ElementsAre("1.2.3 Name 5 7 8 0"));
  EXPECT_THAT(seen<Signatures>(4, {7, 8, 9}, 4), ElementsAre("1.2.3 Name 5 7 0 0"));
  EXPECT_THAT(seen<Signatures>(4, {7}, 0), ElementsAre("1.2.3 Name 5 0 0 0"));
}

TEST_F(OidInfoEnumTest, ACallbackThatAnswersFalseEndsTheWalk) {
  struct FirstOnly : ATL2::COidInfoEnum {
    bool OnOidInfo(const CRYPT_OID_INFO* info) override {
      names.emplace_back(info->pszOID);
      return false;
    }

    std::vector<std::string> names;
  };

  provider().oids = {{3, "1.1", L"", 1, {}}, {3, "1.2", L"", 2, {}}};
  FirstOnly walker;
  EXPECT_FALSE(walker.Enum(3));
  EXPECT_THAT(walker.names, ElementsAre("1.1"));
}

TEST_F(OidInfoEnumTest, TheCallbackCallsTheEnumeratorBehindItsArgument) {
  Hashes walker;
  CRYPT_OID_INFO info{};
  info.pszOID = "1.2.3";
  info.pwszName = L"Name";
  info.Algid = 9;
  ATL2::COidInfoEnum* base = &walker;
  EXPECT_TRUE(ATL2::COidInfoEnum::EnumOIDInfoCallback(&info, base));
  EXPECT_THAT(walker.lines, ElementsAre("1.2.3 Name 9"));
}

TEST_F(OidInfoEnumTest, APublicKeyIsFoundByOidAndClass) {
  provider().oids = {{3, "1.2.3", L"", 0xA401, {}},
                     {3, "1.2.34", L"", 0x2401, {}},
                     {3, "1.2.3", L"", 0x2402, {}},
                     {3, "1.2.3", L"", 0x2403, {}}};
  CFindPubKeyAlgId signature("1.2.3", ALG_CLASS_SIGNATURE);
  EXPECT_FALSE(signature.Enum(3));
  EXPECT_EQ(signature.algId(), 0x2402U);
  EXPECT_EQ(signature.info()->Algid, 0x2402U);
  CFindPubKeyAlgId exchange("1.2.3", ALG_CLASS_KEY_EXCHANGE);
  exchange.Enum(3);
  EXPECT_EQ(exchange.algId(), 0xA401U);
}

TEST_F(OidInfoEnumTest, APublicKeyThatIsNotThereIsNotFound) {
  provider().oids = {{3, "1.2.3", L"", 0xA401, {}}};
  CFindPubKeyAlgId finder("1.2.3", ALG_CLASS_SIGNATURE);
  EXPECT_TRUE(finder.Enum(3));
  EXPECT_EQ(finder.algId(), 0U);
  EXPECT_EQ(finder.info(), nullptr);
}

TEST_F(OidInfoEnumTest, ASignatureIsFoundByItsPublicKeyOfTheSignatureClass) {
  provider().oids = {{4, "1.1", L"", 0x8004, {}},
                     {4, "1.2", L"", 0x8004, {0x2402}, 3},
                     {4, "1.3", L"", 0x8004, {0xA402}},
                     {4, "1.4", L"", 0x8004, {0x2401}},
                     {4, "1.5", L"", 0x8004, {0x2402}},
                     {4, "1.6", L"", 0x8004, {0x2402}}};
  CFindSignatureOidInfo finder(0x2402);
  EXPECT_FALSE(finder.Enum(4));
  EXPECT_STREQ(finder.info()->pszOID, "1.5");
  CFindSignatureOidInfo exchange(0xA402);
  EXPECT_TRUE(exchange.Enum(4));
  EXPECT_EQ(exchange.info(), nullptr);
}

}  // namespace
}  // namespace qx::oid_info_enum_test
