// Every allocation of the exports fails once. Enhancing and verifying allocate thousands of times and take
// milliseconds: there, each n-th allocation is taken, with n a prime so that no loop hides behind it.
#include "tests/provider/message/heap.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "platform/cades.h"

#include "provider/cades/enhance.h"
#include "provider/cades/signature_kind.h"
#include "provider/store/folder_store.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/message/changes.h"
#include "tools/lab/services.h"

namespace qx::test::heap_test {
namespace {

const Octets kContent = octets("What is written here is signed.");

DWORD lastErrorUnless(BOOL done) {
  return done != FALSE ? ERROR_SUCCESS : GetLastError();
}

class CadesOutOfMemory : public ::testing::Test {
 protected:
  CadesOutOfMemory()
      : world_(sharedWorld()),
        signer_(world_.signer()),
        uri_(wide(services_.url("/stamp"))),
        plain_(signBes({&signer_}, kContent)) {
    services_.offerTimeStamps("/stamp", world_.sharedAuthority());
    service_ = {.dwSize = sizeof service_, .wszUri = uri_.c_str()};
    para_.dwSize = sizeof para_;
    para_.dwCadesType = CADES_TYPE_X_LONG_1;
    para_.pTspService = &service_;
  }

  static std::wstring wide(const std::string& text) { return {text.begin(), text.end()}; }

  Octets enhanced() const {
    const MessageHandle message = decode(plain_);
    LabTimeStamps stamps(world_.authority());
    EXPECT_TRUE(enhance(dataOf(message), 0, stamps));
    return changedMessage(message);
  }

  /// Calls something on a fresh message, with nothing read from the stores yet, while an allocation
  /// fails: the first, the one `stride` behind it, and so on until none is left. Then the message is as
  /// it was, and the same call works. Gives the number of failures.
  static std::size_t sweep(const Octets& bytes,
                           std::size_t stride,
                           const std::function<DWORD(HCRYPTMSG)>& call) {
    std::size_t failures = 0;
    for (std::size_t n = 1;; n += stride) {
      const MessageHandle message = decode(bytes);
      forgetSnapshots();
      DWORD error = ERROR_SUCCESS;
      bool happened = false;
      {
        const HeapFailure failure(n);
        error = call(message.get());
        happened = failure.hasHappened();
      }
      if (!happened) {
        EXPECT_EQ(error, ERROR_SUCCESS);
        break;
      }
      ++failures;
      EXPECT_EQ(error, E_OUTOFMEMORY) << "allocation " << n;
      EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), bytes) << "allocation " << n;
      EXPECT_EQ(call(message.get()), ERROR_SUCCESS) << "after allocation " << n;
    }
    return failures;
  }

  EnhanceWorld& world_;
  Signer& signer_;
  lab::Services services_;
  std::wstring uri_;
  Octets plain_;
  CADES_TSP_SERVICE service_{};
  CADES_SIGN_PARA para_{};
};

TEST_F(CadesOutOfMemory, IsToldByOpeningToEncode) {
  const CMSG_SIGNER_ENCODE_INFO record = signer_.encodeInfo();
  const Octets der = signer_.der();
  CERT_BLOB certificate = blob(der);
  CMSG_SIGNED_ENCODE_INFO info{.cbSize = sizeof info,
                               .cSigners = 1,
                               .rgSigners = writable(&record),
                               .cCertEncoded = 1,
                               .rgCertEncoded = &certificate};
  CADES_ENCODE_INFO cades{.dwSize = sizeof cades, .pSignedEncodeInfo = &info};
  expectEveryFailureToBeTold([&] {
    HCRYPTMSG message = CadesMsgOpenToEncode(kEncoding, 0, &cades, nullptr, nullptr);
    if (message == nullptr) {
      return GetLastError();
    }
    std::uint8_t out[4096];
    DWORD size = sizeof out;
    const DWORD error = lastErrorUnless(static_cast<BOOL>(
        CryptMsgUpdate(message, kContent.data(), static_cast<DWORD>(kContent.size()), TRUE) !=
            FALSE &&
        CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, out, &size) != FALSE));
    CryptMsgClose(message);
    return error;
  });
}

TEST_F(CadesOutOfMemory, IsToldByEnhancingOneSigner) {
  const std::size_t failures = sweep(plain_, 17, [&](HCRYPTMSG message) {
    return lastErrorUnless(CadesMsgEnhanceSignature(message, 0, &para_));
  });
  EXPECT_GT(failures, 25U);
}

TEST_F(CadesOutOfMemory, IsToldByEnhancingAll) {
  const std::size_t failures = sweep(plain_, 29, [&](HCRYPTMSG message) {
    return lastErrorUnless(CadesMsgEnhanceSignatureAll(message, &para_));
  });
  EXPECT_GT(failures, 25U);
}

TEST_F(CadesOutOfMemory, IsToldByAddingAnEnhancedSigner) {
  Signer& second = world_.signer(lab::KeyKind::EcP256, 1);
  testFolder().addCertificate("My", second.certificate());
  CMSG_SIGNER_ENCODE_INFO record = second.encodeInfo();
  CADES_ENHANCED_SIGN_PARA added{
      .dwSize = sizeof added, .pSignerInfo = &record, .pCadesSignPara = &para_};
  const std::size_t failures = sweep(plain_, 23, [&](HCRYPTMSG message) {
    return lastErrorUnless(CadesMsgAddEnhancedSignature(message, &added));
  });
  EXPECT_GT(failures, 25U);
}

TEST_F(CadesOutOfMemory, IsNoConcernOfAskingForTheType) {
  const std::size_t failures = sweep(enhanced(), 1, [](HCRYPTMSG message) {
    BOOL isLong = FALSE;
    const DWORD error = lastErrorUnless(CadesMsgIsType(message, 0, CADES_TYPE_X_LONG_1, &isLong));
    EXPECT_EQ(isLong != FALSE, error == ERROR_SUCCESS);
    return error;
  });
  EXPECT_EQ(failures, 0U);
}

TEST_F(CadesOutOfMemory, IsToldByVerifying) {
  const std::size_t failures = sweep(enhanced(), 11, [](HCRYPTMSG message) {
    CADES_VERIFICATION_INFO* info = nullptr;
    const DWORD error = lastErrorUnless(CadesMsgVerifySignature(message, 0, nullptr, &info));
    EXPECT_EQ(info != nullptr, error == ERROR_SUCCESS);
    EXPECT_TRUE(CadesFreeVerificationInfo(info));
    return error;
  });
  EXPECT_GT(failures, 25U);
}

TEST_F(CadesOutOfMemory, IsToldByGivingTheCertificates) {
  const std::size_t failures = sweep(enhanced(), 1, [](HCRYPTMSG message) {
    CADES_BLOB_ARRAY* values = nullptr;
    const DWORD error = lastErrorUnless(CadesMsgGetCertificateValues(message, 0, &values));
    EXPECT_EQ(values != nullptr, error == ERROR_SUCCESS);
    EXPECT_TRUE(CadesFreeBlobArray(values));
    return error;
  });
  EXPECT_GT(failures, 1U);
}

}  // namespace
}  // namespace qx::test::heap_test
