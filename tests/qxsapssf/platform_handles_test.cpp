#include "qxsapssf/platform_handles.h"

#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::platform_handles_test {
namespace {

using scripted::provider;
using testing::IsEmpty;
using testing::SizeIs;

class PlatformHandles : public scripted::ScriptedTest {
 protected:
  static Message openMessage() {
    return Message(
        CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr));
  }
};

TEST_F(PlatformHandles, CloseWhatTheyOwnExactlyOnce) {
  {
    const Message message = openMessage();
    EXPECT_TRUE(message);
  }
  EXPECT_THAT(provider().calls("CryptMsgClose"), SizeIs(1));
}

TEST_F(PlatformHandles, CloseNothingWhenEmpty) {
  {
    Message message;
    const Store store;
    const Provider none;
    EXPECT_FALSE(message);
    EXPECT_TRUE(message.close());
  }
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(PlatformHandles, TellThatACloseFailed) {
  Message message = openMessage();
  provider().failFirst("CryptMsgClose", CRYPT_E_MSG_ERROR);
  EXPECT_FALSE(message.close());
  EXPECT_EQ(GetLastError(), CRYPT_E_MSG_ERROR);
  EXPECT_FALSE(message);
  EXPECT_TRUE(message.close());
  EXPECT_THAT(provider().calls("CryptMsgClose"), SizeIs(1));
}

TEST_F(PlatformHandles, MoveWithoutClosing) {
  Message first = openMessage();
  HCRYPTMSG handle = first.get();
  Message second = std::move(first);
  EXPECT_EQ(second.get(), handle);
  Message third;
  third = std::move(second);
  EXPECT_EQ(third.get(), handle);
  EXPECT_THAT(provider().calls("CryptMsgClose"), IsEmpty());
}

TEST_F(PlatformHandles, CloseTheOldHandleBeforeTakingANewOne) {
  Message message = openMessage();
  message.reset(openMessage().release());
  EXPECT_THAT(provider().calls("CryptMsgClose"), SizeIs(1));
  EXPECT_TRUE(message);
}

TEST_F(PlatformHandles, ReleaseGivesTheHandleUp) {
  HCRYPTMSG handle = openMessage().release();
  EXPECT_THAT(provider().calls("CryptMsgClose"), IsEmpty());
  EXPECT_TRUE(CryptMsgClose(handle));
}

TEST_F(PlatformHandles, TakeHandlesFromOutputArguments) {
  Provider handle;
  ASSERT_TRUE(
      CryptAcquireContextA(handle.put(), nullptr, nullptr, PROV_GOST_2001_DH, CRYPT_VERIFYCONTEXT));
  EXPECT_TRUE(handle);
  ASSERT_TRUE(
      CryptAcquireContextA(handle.put(), nullptr, nullptr, PROV_GOST_2001_DH, CRYPT_VERIFYCONTEXT));
  EXPECT_THAT(provider().calls("CryptReleaseContext"), SizeIs(1));
}

TEST_F(PlatformHandles, EveryKindGivesBackWhatItOwns) {
  provider().addCertificate({});
  scripted::ToyMessage toy;
  toy.signers.push_back(scripted::ToySigner::of({}));
  const std::string encoding = provider().addMessage(toy);
  {
    const Store store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                                    0,
                                    0,
                                    CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG,
                                    L"My"));
    const Certificate certificate(CertFindCertificateInStore(
        store.get(), X509_ASN_ENCODING, 0, CERT_FIND_ANY, nullptr, nullptr));
    CERT_CHAIN_PARA para{};
    Chain chain;
    ASSERT_TRUE(CertGetCertificateChain(
        nullptr, certificate.get(), nullptr, nullptr, &para, 0, nullptr, chain.put()));
    const Message message = openMessage();
    ASSERT_TRUE(CryptMsgUpdate(message.get(),
                               reinterpret_cast<const BYTE*>(encoding.data()),
                               static_cast<DWORD>(encoding.size()),
                               TRUE));
    CadesInfo info;
    ASSERT_TRUE(CadesMsgVerifySignature(message.get(), 0, nullptr, info.put()));
    CadesBlobs blobs;
    ASSERT_TRUE(CadesMsgGetCertificateValues(message.get(), 0, blobs.put()));
    LocalText text;
    ASSERT_NE(FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM,
                             nullptr,
                             ERROR_BUSY,
                             0,
                             reinterpret_cast<LPSTR>(text.put()),
                             0,
                             nullptr),
              0U);
    EXPECT_THAT(provider().leftovers(), SizeIs(8));
  }
  EXPECT_THAT(provider().leftovers(), IsEmpty());
}

TEST_F(PlatformHandles, DestructorsDoNotReadTheLastErrorNorChangeIt) {
  SetLastError(ERROR_BUSY);
  {
    const Message message = openMessage();
  }
  EXPECT_EQ(provider().lastErrorReads(), 0U);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

}  // namespace
}  // namespace qx::platform_handles_test
