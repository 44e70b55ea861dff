#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/cades.h"

#include "provider/cades/signature_kind.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/message/changes.h"
#include "tools/lab/services.h"

namespace qx::test::enhance_api_test {
namespace {

using lab::KeyKind;
using ::testing::ElementsAre;

const Octets kContent = octets("What is written here is signed.");

/// SignPara is the caller's records for a server.
struct SignPara {
  explicit SignPara(const std::string& url) : uri(url.begin(), url.end()) {
    service = {.dwSize = sizeof service, .wszUri = uri.c_str()};
    para.dwSize = sizeof para;
    para.dwCadesType = CADES_TYPE_X_LONG_1;
    para.pTspService = &service;
  }

  SignPara(const SignPara&) = delete;
  SignPara& operator=(const SignPara&) = delete;
  SignPara(SignPara&&) = delete;
  SignPara& operator=(SignPara&&) = delete;
  ~SignPara() = default;

  std::wstring uri;
  CADES_TSP_SERVICE service{};
  CADES_SIGN_PARA para{};
};

class EnhanceApi : public ::testing::Test {
 protected:
  EnhanceApi() : world_(&sharedWorld()), message_(decode(signBes({&world_->signer()}, kContent))) {
    services_.offerTimeStamps("/stamp", world_->sharedAuthority());
  }

  SignPara para() const { return SignPara(services_.url("/stamp")); }

  DWORD enhanceError(CADES_SIGN_PARA* para, DWORD index = 0) const {
    return errorOf([&] { return CadesMsgEnhanceSignature(message_.get(), index, para); });
  }

  DWORD addError(CADES_ENHANCED_SIGN_PARA* para) const {
    return errorOf([&] { return CadesMsgAddEnhancedSignature(message_.get(), para); });
  }

  EnhanceWorld* world_;
  MessageHandle message_;
  lab::Services services_;
};

TEST_F(EnhanceApi, EnhancesOverTheNetwork) {
  SignPara there = para();
  EXPECT_EQ(enhanceError(&there.para), ERROR_SUCCESS);
  EXPECT_THAT(services_.requests(), ElementsAre("/stamp", "/stamp"));
  EXPECT_TRUE(isXLongType1(dataOf(message_).signers().front()));
  EXPECT_TRUE(cadesVerifies(changedMessage(message_), {&world_->signer()}));
}

TEST_F(EnhanceApi, EnhancesAllOverTheNetwork) {
  Signer& two = world_->signer(KeyKind::Gost2012_256);
  const MessageHandle message = decode(signBes({&world_->signer(), &two}, kContent));
  SignPara there = para();
  EXPECT_EQ(errorOf([&] { return CadesMsgEnhanceSignatureAll(message.get(), &there.para); }),
            ERROR_SUCCESS);
  EXPECT_EQ(services_.requests().size(), 4U);
  EXPECT_TRUE(cadesVerifies(changedMessage(message), {&world_->signer(), &two}));
}

TEST_F(EnhanceApi, AddsAnEnhancedSignerOverTheNetwork) {
  Signer& two = world_->signer(KeyKind::Rsa2048);
  testFolder().addCertificate("My", two.certificate());
  SignPara there = para();
  CMSG_SIGNER_ENCODE_INFO record = two.encodeInfo();
  CADES_ENHANCED_SIGN_PARA all{
      .dwSize = sizeof all, .pSignerInfo = &record, .pCadesSignPara = &there.para};
  EXPECT_EQ(addError(&all), ERROR_SUCCESS);
  EXPECT_TRUE(isXLongType1(dataOf(message_).signers()[1]));
  EXPECT_TRUE(cadesVerifies(changedMessage(message_), {&world_->signer(), &two}));
}

TEST_F(EnhanceApi, ChangesNothingWhenTheServerLies) {
  lab::TimeStampOptions wrong;
  wrong.wrongImprint = true;
  services_.offerTimeStamps("/stamp", world_->sharedAuthority(), wrong);
  const Octets before = changedMessage(message_);
  SignPara there = para();
  EXPECT_EQ(enhanceError(&there.para), TRUST_E_TIME_STAMP);
  EXPECT_EQ(changedMessage(message_), before);
  EXPECT_EQ(services_.requests().size(), 1U);
}

TEST_F(EnhanceApi, RefusesRecordsThatAreNotWhatTheySay) {
  EXPECT_EQ(enhanceError(nullptr), E_INVALIDARG);
  SignPara shortRecord = para();
  shortRecord.para.dwSize -= 1;
  EXPECT_EQ(enhanceError(&shortRecord.para), E_INVALIDARG);
  SignPara otherType = para();
  otherType.para.dwCadesType = 0x01;
  EXPECT_EQ(enhanceError(&otherType.para), ERROR_NOT_SUPPORTED);
  SignPara shortService = para();
  shortService.service.dwSize -= 1;
  EXPECT_EQ(enhanceError(&shortService.para), E_INVALIDARG);
  SignPara endless("http://127.0.0.1/" + std::string(5'000, 'x'));
  EXPECT_EQ(enhanceError(&endless.para), E_INVALIDARG);
  EXPECT_THAT(services_.requests(), ElementsAre());
}

TEST_F(EnhanceApi, RefusesSignersThatAreNotThere) {
  SignPara there = para();
  EXPECT_EQ(enhanceError(&there.para, 1), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(errorOf([&] { return CadesMsgEnhanceSignature(nullptr, 0, &there.para); }),
            ERROR_INVALID_HANDLE);
  EXPECT_EQ(errorOf([&] { return CadesMsgEnhanceSignatureAll(nullptr, &there.para); }),
            ERROR_INVALID_HANDLE);
  EXPECT_THAT(services_.requests(), ElementsAre());
}

TEST_F(EnhanceApi, RefusesAdditionsThatAreNotWhatTheySay) {
  EXPECT_EQ(addError(nullptr), E_INVALIDARG);
  SignPara there = para();
  CMSG_SIGNER_ENCODE_INFO record = world_->signer().encodeInfo();
  CADES_ENHANCED_SIGN_PARA all{
      .dwSize = sizeof all - 1, .pSignerInfo = &record, .pCadesSignPara = &there.para};
  EXPECT_EQ(addError(&all), E_INVALIDARG);
  all.dwSize = sizeof all;
  all.pSignerInfo = nullptr;
  EXPECT_EQ(addError(&all), E_INVALIDARG);
  all.pSignerInfo = &record;
  all.pCadesSignPara = nullptr;
  EXPECT_EQ(addError(&all), E_INVALIDARG);
  EXPECT_EQ(errorOf([&] { return CadesMsgAddEnhancedSignature(nullptr, &all); }),
            ERROR_INVALID_HANDLE);
}

// Nobody named a server, neither here nor in the configuration.
TEST_F(EnhanceApi, SaysWhenThereIsNoServer) {
  SignPara nowhere = para();
  nowhere.para.pTspService = nullptr;
  EXPECT_EQ(enhanceError(&nowhere.para), ERROR_SERVICE_NOT_FOUND);
  SignPara unnamed = para();
  unnamed.service.wszUri = nullptr;
  EXPECT_EQ(enhanceError(&unnamed.para), ERROR_SERVICE_NOT_FOUND);
  SignPara empty("");
  EXPECT_EQ(enhanceError(&empty.para), ERROR_SERVICE_NOT_FOUND);
}

}  // namespace
}  // namespace qx::test::enhance_api_test
