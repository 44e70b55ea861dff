#include "tests/scripted_provider/scripted_provider.h"

#include <array>
#include <cstdlib>

#include "platform/cert_store.h"
#include "platform/crypt_prov.h"
#include "platform/support.h"

#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::scripted::scripted_provider_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ScriptedProvider : public ScriptedTest {
 protected:
  static constexpr DWORD kMessageEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

  static HCRYPTMSG decoded(const std::string& encoding) {
    HCRYPTMSG message = CryptMsgOpenToDecode(kMessageEncoding, 0, 0, 0, nullptr, nullptr);
    EXPECT_TRUE(CryptMsgUpdate(message,
                               reinterpret_cast<const BYTE*>(encoding.data()),
                               static_cast<DWORD>(encoding.size()),
                               TRUE));
    return message;
  }

  static std::string contentOf(HCRYPTMSG message) {
    DWORD size = 0;
    EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));
    std::string content(size, '\0');
    EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, content.data(), &size));
    content.resize(size);
    return content;
  }

  static HCERTSTORE openMy() {
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                         0,
                         0,
                         CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG,
                         L"My");
  }
};

TEST_F(ScriptedProvider, AllocationFailuresReachMallocAndNew) {
  bool mallocFailed = false;
  bool newFailed = false;
  {
    const AllocationFailure failure(1);
    // Volatile, or the compiler leaves the pair of malloc and free out.
    void* volatile memory = std::malloc(8);
    mallocFailed = memory == nullptr;
    std::free(memory);
  }
  {
    const AllocationFailure failure(1);
    try {
      // NOLINTNEXTLINE(bugprone-unused-local-non-trivial-variable): its memory is what is asked for
      const std::string text(100, 'a');
    } catch (const std::bad_alloc&) {
      newFailed = true;
    }
  }
  EXPECT_TRUE(mallocFailed);
  EXPECT_TRUE(newFailed);
}

TEST_F(ScriptedProvider, AllocationFailuresLeaveTheProviderItselfAlone) {
  HCERTSTORE store = nullptr;
  provider().addCertificate({});
  bool happened = false;
  {
    const AllocationFailure failure(1, AllocationFailure::Extent::AllAfter);
    store = openMy();
    happened = failure.hasHappened();
  }
  EXPECT_FALSE(happened);
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(CertCloseStore(store, 0));
}

TEST_F(ScriptedProvider, LosesMemoryOnceAndNotBeforeTheCall) {
  provider().addCertificate({});
  provider().loseMemoryAfter("CertOpenStore");
  std::array<bool, 3> isLost{};
  const auto tryMemory = [&](std::size_t i) {
    void* volatile memory = std::malloc(8);
    isLost.at(i) = memory == nullptr;
    std::free(memory);
  };
  tryMemory(0);
  HCERTSTORE store = openMy();
  tryMemory(1);
  tryMemory(2);
  EXPECT_THAT(isLost, testing::ElementsAre(false, true, false));
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(CertCloseStore(store, 0));
}

TEST_F(ScriptedProvider, AWatchSeesABlockAsItWasWhenItWasFreed) {
  auto* block = static_cast<char*>(std::malloc(4));
  ASSERT_NE(block, nullptr);
  const FreeWatch watch(block, 4);
  EXPECT_FALSE(watch.wasFreed());
  volatile char* survives = block;
  for (int i = 0; i < 4; ++i) {
    survives[i] = 'x';
  }
  std::free(block);
  EXPECT_TRUE(watch.wasFreed());
  EXPECT_EQ(watch.contents(), "xxxx");
}

TEST_F(ScriptedProvider, WalksAStoreAndFreesThePreviousContext) {
  const ToyCertificate first;
  ToyCertificate second;
  second.subject = "CN=Second";
  provider().addCertificate(first);
  provider().addCertificate(second);
  HCERTSTORE store = openMy();
  PCCERT_CONTEXT context = nullptr;
  std::vector<std::string> subjects;
  while ((context = CertFindCertificateInStore(
              store, kMessageEncoding, 0, CERT_FIND_ANY, nullptr, context)) != nullptr) {
    const CERT_NAME_BLOB& name = context->pCertInfo->Subject;
    subjects.emplace_back(reinterpret_cast<const char*>(name.pbData), name.cbData);
  }
  EXPECT_THAT(subjects, ElementsAre(first.subject, "CN=Second"));
  EXPECT_EQ(GetLastError(), CRYPT_E_NOT_FOUND);
  EXPECT_TRUE(CertCloseStore(store, 0));
}

TEST_F(ScriptedProvider, FindsAThumbprintAndNoOther) {
  provider().addCertificate({});
  HCERTSTORE store = openMy();
  Bytes thumbprint(20, 0x11);
  CRYPT_HASH_BLOB hash{20, thumbprint.data()};
  PCCERT_CONTEXT found =
      CertFindCertificateInStore(store, kMessageEncoding, 0, CERT_FIND_SHA1_HASH, &hash, nullptr);
  EXPECT_NE(found, nullptr);
  EXPECT_TRUE(CertFreeCertificateContext(found));
  thumbprint[0] = 0;
  EXPECT_EQ(
      CertFindCertificateInStore(store, kMessageEncoding, 0, CERT_FIND_SHA1_HASH, &hash, nullptr),
      nullptr);
  EXPECT_TRUE(CertCloseStore(store, 0));
}

TEST_F(ScriptedProvider, ReportsWhatIsStillOutAndWhatCameBackTwice) {
  provider().addCertificate({});
  HCERTSTORE store = openMy();
  EXPECT_THAT(provider().leftovers(), ElementsAre("store#1 is still out"));
  EXPECT_TRUE(CertCloseStore(store, 0));
  EXPECT_THAT(provider().leftovers(), IsEmpty());
  EXPECT_TRUE(CertCloseStore(store, 0));
  EXPECT_THAT(provider().leftovers(), ElementsAre("CertCloseStore with a handle that is not out"));
  provider().reset();
}

TEST_F(ScriptedProvider, DecodesTheMessagesThatItKnows) {
  ToyMessage toy;
  toy.content = "the content";
  toy.signers.push_back(ToySigner::of({}));
  HCRYPTMSG message = decoded(provider().addMessage(toy));
  EXPECT_EQ(contentOf(message), "the content");
  EXPECT_TRUE(CryptMsgClose(message));

  message = CryptMsgOpenToDecode(kMessageEncoding, 0, 0, 0, nullptr, nullptr);
  EXPECT_FALSE(CryptMsgUpdate(message, reinterpret_cast<const BYTE*>("noise"), 5, TRUE));
  EXPECT_EQ(GetLastError(), CRYPT_E_ASN1_BADTAG);
  EXPECT_TRUE(CryptMsgClose(message));
}

TEST_F(ScriptedProvider, GivesSignerInformationInOnePiece) {
  ToyMessage toy;
  ToySigner signer;
  const FILETIME time = fileTime(2026, 11, 15, 17, 3, 41);
  signer.attributes = {{.oid = "1.2.3", .values = {bytesOf("a"), bytesOf("bc")}},
                       {.oid = szOID_RSA_signingTime, .values = {encodedTime(time)}}};
  toy.signers.push_back(signer);
  HCRYPTMSG message = decoded(provider().addMessage(toy));
  DWORD size = 0;
  ASSERT_TRUE(CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &size));
  std::vector<std::uint64_t> buffer(size / 8 + 1);
  ASSERT_TRUE(CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, buffer.data(), &size));
  auto* info = reinterpret_cast<CMSG_SIGNER_INFO*>(buffer.data());
  ASSERT_EQ(info->AuthAttrs.cAttr, 2U);
  EXPECT_STREQ(info->AuthAttrs.rgAttr[0].pszObjId, "1.2.3");
  ASSERT_EQ(info->AuthAttrs.rgAttr[0].cValue, 2U);
  EXPECT_EQ(info->AuthAttrs.rgAttr[0].rgValue[1].cbData, 2U);
  EXPECT_EQ(info->AuthAttrs.rgAttr[0].rgValue[1].pbData[1], 'c');
  EXPECT_TRUE(CryptMsgClose(message));
}

TEST_F(ScriptedProvider, FailsTheCallThatTheScriptNames) {
  provider().failNth("CertOpenStore", 2, ERROR_ACCESS_DENIED);
  provider().addCertificate({});
  HCERTSTORE first = openMy();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(openMy(), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(provider().failuresSeen(), 1U);
  HCERTSTORE third = openMy();
  EXPECT_NE(third, nullptr);
  EXPECT_THAT(provider().calls("CertOpenStore").at(1), HasSubstr("-> FAILED 00000005"));
  EXPECT_TRUE(CertCloseStore(first, 0));
  EXPECT_TRUE(CertCloseStore(third, 0));
}

TEST_F(ScriptedProvider, FailsAnyCallByItsNumber) {
  provider().addCertificate({});
  provider().failAny(2, ERROR_BUSY);
  HCERTSTORE first = openMy();
  EXPECT_EQ(openMy(), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
  EXPECT_EQ(provider().failableCalls(), 2U);
  EXPECT_TRUE(CertCloseStore(first, 0));
}

TEST_F(ScriptedProvider, FailsLateAfterAGoodSizeQuery) {
  ToyMessage toy;
  toy.content = "text";
  HCRYPTMSG message = decoded(provider().addMessage(toy));
  provider().failLate("CryptMsgGetParam(CMSG_CONTENT_PARAM", CRYPT_E_MSG_ERROR);
  DWORD size = 0;
  EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));
  std::array<char, 8> buffer{};
  EXPECT_FALSE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, buffer.data(), &size));
  EXPECT_EQ(GetLastError(), CRYPT_E_MSG_ERROR);
  EXPECT_TRUE(CryptMsgClose(message));
}

TEST_F(ScriptedProvider, LetsAnObjectGrowBetweenQueryAndRead) {
  ToyMessage toy;
  toy.content = "text";
  HCRYPTMSG message = decoded(provider().addMessage(toy));
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", 3);
  DWORD size = 0;
  EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));
  EXPECT_EQ(size, 4U);
  std::array<char, 8> buffer{};
  EXPECT_FALSE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, buffer.data(), &size));
  EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
  EXPECT_EQ(size, 7U);
  EXPECT_TRUE(CryptMsgClose(message));
}

TEST_F(ScriptedProvider, TellsOneSizeWrong) {
  ToyMessage toy;
  toy.content = "text";
  HCRYPTMSG message = decoded(provider().addMessage(toy));
  provider().missizeAny(provider().failableCalls() + 2, -1);
  for (const DWORD told : {4U, 3U, 4U}) {
    DWORD size = 0;
    EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));
    EXPECT_EQ(size, told);
  }
  EXPECT_EQ(provider().failuresSeen(), 1U);
  EXPECT_TRUE(CryptMsgClose(message));
}

TEST_F(ScriptedProvider, UnlocksAKeyWithItsPinOnly) {
  ToyCertificate certificate;
  certificate.pin = "1234";
  provider().addCertificate(certificate);
  HCERTSTORE store = openMy();
  PCCERT_CONTEXT context =
      CertFindCertificateInStore(store, kMessageEncoding, 0, CERT_FIND_ANY, nullptr, nullptr);
  HCRYPTPROV key = 0;
  DWORD keySpec = 0;
  BOOL callerFrees = TRUE;
  ASSERT_TRUE(
      CryptAcquireCertificatePrivateKey(context, 0x45, nullptr, &key, &keySpec, &callerFrees));
  EXPECT_FALSE(callerFrees);
  std::array<BYTE, 8> value{};
  DWORD size = 8;
  EXPECT_FALSE(CryptGetProvParam(key, PP_QX_KEY_USABLE, value.data(), &size, 0));
  EXPECT_EQ(GetLastError(), SCARD_W_WRONG_CHV);
  EXPECT_TRUE(CryptSetProvParam(key, PP_KEYEXCHANGE_PIN, reinterpret_cast<const BYTE*>("1234"), 0));
  size = 8;
  EXPECT_TRUE(CryptGetProvParam(key, PP_QX_KEY_USABLE, value.data(), &size, 0));
  EXPECT_THAT(provider().pinsSet(), ElementsAre("1234"));
  for (const std::string& line : provider().journal()) {
    EXPECT_THAT(line, testing::Not(HasSubstr("1234")));
  }
  EXPECT_TRUE(CertFreeCertificateContext(context));
  EXPECT_TRUE(CertCloseStore(store, 0));
}

TEST_F(ScriptedProvider, TellsInTheFullJournalWhatWasGivenAndHandedOut) {
  ToyMessage toy;
  toy.content = "text";
  HCRYPTMSG message = decoded(provider().addMessage(toy));
  EXPECT_EQ(contentOf(message), "text");
  EXPECT_TRUE(CryptMsgClose(message));
  EXPECT_THAT(
      provider().fullJournal(),
      ElementsAre("CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL) {= message#1}",
                  "CryptMsgUpdate(message#1, 14 bytes, 1) {'signed(\"text\")'}",
                  "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size) {message#1, = 4 bytes}",
                  "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read) {message#1, room 4, = 4 bytes}",
                  "CryptMsgClose(message#1)"));
}

TEST_F(ScriptedProvider, ShowsBytesThatAreNoTextAsHexadecimalDigits) {
  HCRYPTMSG message = CryptMsgOpenToDecode(kMessageEncoding, 0, 0, 0, nullptr, nullptr);
  EXPECT_FALSE(CryptMsgUpdate(message, reinterpret_cast<const BYTE*>("\x30\x80"), 2, TRUE));
  EXPECT_TRUE(CryptMsgClose(message));
  EXPECT_EQ(provider().fullJournal().at(1),
            "CryptMsgUpdate(message#1, 2 bytes, 1) {3080} -> FAILED 8009310b");
}

TEST_F(ScriptedProvider, TellsTheLevelOfATraceLine) {
  QX_TRACE_CONTEXT* context = nullptr;
  qxsup_trace_register("a test", &context);
  EXPECT_EQ(qxsup_trace_enabled(context, 8), 1);
  qxsup_trace_print(context, "line\n", "", 12, "Function");
  EXPECT_THAT(provider().fullJournal(), ElementsAre("trace 8 Function: line\n"));
}

TEST_F(ScriptedProvider, CapturesTraceLinesFormatted) {
  QX_TRACE_CONTEXT* context = nullptr;
  qxsup_trace_register("a test", &context);
  qxsup_trace_print(context, "#info# %s %d\n", "", 12, "Function", "number", 7);
  ASSERT_EQ(provider().trace().size(), 1U);
  EXPECT_EQ(provider().trace()[0].text, "#info# number 7\n");
  EXPECT_EQ(provider().trace()[0].format, "#info# %s %d\n");
  EXPECT_EQ(provider().trace()[0].line, 12);
  EXPECT_THAT(provider().journal(), ElementsAre("trace Function: #info# number 7\n"));
}

}  // namespace
}  // namespace qx::scripted::scripted_provider_test
