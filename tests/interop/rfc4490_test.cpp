#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "provider/openssl/engine.h"
#include "tests/interop/interop_world.h"

// The sample messages of RFC 4490, 7, through the SSF functions.

namespace qx::test::rfc4490_test {
namespace {

const std::string kContent = "sample text\n";

std::string sampleFile(const std::string& name) {
  return (std::filesystem::path(QX_SOURCE_DIR) / "tests/data/rfc4490" / (name + ".pem")).string();
}

/// The octets of a sample.
std::string sample(const std::string& name) {
  const std::string pem = readFile(sampleFile(name));
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  char* title = nullptr;
  char* header = nullptr;
  unsigned char* data = nullptr;
  long length = 0;
  EXPECT_EQ(PEM_read_bio(bio.get(), &title, &header, &data, &length), 1) << name;
  const OpensslBytes owners[] = {OpensslBytes(reinterpret_cast<unsigned char*>(title)),
                                 OpensslBytes(reinterpret_cast<unsigned char*>(header)),
                                 OpensslBytes(data)};
  return {reinterpret_cast<const char*>(data), static_cast<std::size_t>(length)};
}

EvpPkeyPtr sampleKey() {
  EXPECT_TRUE(gostEngine());
  const std::string pem = readFile(sampleFile("key"));
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return EvpPkeyPtr(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

/// A provider folder in which the samples' recipient and signer is known.
class Rfc4490 : public testing::Test {
 protected:
  Rfc4490() {
    const std::string der = sample("certificate");
    const X509Ptr certificate = lab::readCertificate({der.begin(), der.end()});
    for (const char* store : {"My", "Addressbook", "Root"}) {
      folder_.addCertificate(store, certificate.get());
    }
    folder_.addKey(sampleKey().get());
    owner_.id = lab::thumbprint(certificate.get());
  }

  const SsfRecord& owner() const { return owner_; }

 private:
  ProviderFolder folder_;
  SsfRecord owner_;
};

class Rfc4490Envelope : public Rfc4490, public testing::WithParamInterface<const char*> {};

TEST_P(Rfc4490Envelope, IsOpened) {
  const SsfOutcome opened = ssfDevelope(sample(GetParam()), owner());
  EXPECT_EQ(opened.code, SSF_API_OK);
  EXPECT_EQ(opened.output, kContent);
  EXPECT_EQ(opened.records[0].result, SSF_RESULT_OK);
}

TEST_P(Rfc4490Envelope, NeverYieldsOtherContentOnceItsKeyIsChanged) {
  const std::string good = sample(GetParam());
  for (std::size_t at = 0; at < good.size() - kContent.size(); ++at) {
    std::string bad = good;
    bad[at] = static_cast<char>(bad[at] ^ 0x10);
    const SsfOutcome opened = ssfDevelope(bad, owner());
    // The initial value and the set of the content's cipher have no MAC.
    if (opened.code == SSF_API_OK && at < good.size() - kContent.size() - 32) {
      EXPECT_EQ(opened.output, kContent) << at;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Samples,
                         Rfc4490Envelope,
                         testing::Values("agreement", "transport"),
                         [](const auto& one) { return std::string(one.param); });

// The certificate is long out of date, so that nobody is trusted: that is told, not a bad signature.
TEST_F(Rfc4490, SignedMessageHasAGoodSignature) {
  const SsfOutcome verified = ssfVerify(sample("signed"));
  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(verified.output, kContent);
  ASSERT_EQ(verified.records.size(), 1U);
  EXPECT_EQ(verified.records[0].result, SSF_RESULT_UNKNOWN);
}

TEST_F(Rfc4490, SignedMessageIsRefusedOnceItsContentIsChanged) {
  std::string message = sample("signed");
  const std::size_t at = message.find(kContent);
  ASSERT_NE(at, std::string::npos);
  message[at] = 'S';
  const SsfOutcome verified = ssfVerify(message);
  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  ASSERT_EQ(verified.records.size(), 1U);
  EXPECT_EQ(verified.records[0].result, SSF_RESULT_NOT_OK);
}

}  // namespace
}  // namespace qx::test::rfc4490_test
