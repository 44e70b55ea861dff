#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "provider/message/enveloped_data.h"
#include "provider/message/limits.h"
#include "provider/openssl/engine.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/envelopes.h"

namespace qx::test::envelope_vector_test {
namespace {

std::string dataFile(const std::string& name) {
  return readFile(std::string(QX_SOURCE_DIR) + "/tests/data/r1323565_cms/" + name + ".pem");
}

Octets fromPem(const std::string& pem) {
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  char* name = nullptr;
  char* header = nullptr;
  unsigned char* data = nullptr;
  long length = 0;
  EXPECT_EQ(PEM_read_bio(bio.get(), &name, &header, &data, &length), 1);
  const OpensslBytes owners[] = {OpensslBytes(reinterpret_cast<unsigned char*>(name)),
                                 OpensslBytes(reinterpret_cast<unsigned char*>(header)),
                                 OpensslBytes(data)};
  return {data, data + length};
}

Octets message(const std::string& name) {
  return fromPem(dataFile(name));
}

EvpPkeyPtr readKey(const std::string& name) {
  EXPECT_TRUE(gostEngine());
  const std::string pem = dataFile(name);
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return EvpPkeyPtr(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

/// A key of the samples, as the provider knows it.
std::unique_ptr<KeyContext> keyContext(const std::string& name) {
  const EvpPkeyPtr key = readKey(name);
  testFolder().addKey(key.get());
  const std::string file = keyFileName(key.get());
  return std::make_unique<KeyContext>(
      PROV_GOST_2001_DH,
      KeyReference{.location = Location::CurrentUser, .id = file.substr(0, file.rfind('.'))});
}

DWORD decryptWith(const MessageHandle& message, KeyContext& key) {
  CMSG_CTRL_DECRYPT_PARA para{};
  para.cbSize = sizeof para;
  para.hCryptProv = key.handle();
  return control(message, CMSG_CTRL_DECRYPT, &para);
}

// "The sample contains a structure EnvelopedData." in Russian, CP1251.
const Octets kContent = fromHex(
    "caeeedf2f0eeebfcedfbe920eff0e8ece5f020e4ebff20f1f2f0f3eaf2f3f0fb"
    "20456e76656c6f706564446174612e");

struct Sample {
  const char* message;
  const char* recipient;
};

class SampleMessage : public ::testing::TestWithParam<Sample> {};

TEST_P(SampleMessage, IsDecrypted) {
  testFolder().addCertificate("Addressbook", lab::readCertificate(message("sender256_cert")).get());
  const MessageHandle decoded = decode(message(GetParam().message));
  ASSERT_EQ(numberParam(decoded, CMSG_RECIPIENT_COUNT_PARAM), 1U);
  const auto key = keyContext(std::string(GetParam().recipient) + "_key");
  ASSERT_EQ(decryptWith(decoded, *key), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent);
}

TEST_P(SampleMessage, NamesItsRecipient) {
  const MessageHandle decoded = decode(message(GetParam().message));
  const RecordParam<CERT_INFO> named(decoded, CMSG_RECIPIENT_INFO_PARAM);
  const Octets certificate = message(std::string(GetParam().recipient) + "_cert");
  PCCERT_CONTEXT context = CertCreateCertificateContext(
      kEncoding, certificate.data(), static_cast<DWORD>(certificate.size()));
  ASSERT_NE(context, nullptr);
  EXPECT_TRUE(CertCompareCertificate(kEncoding, writable(&*named), context->pCertInfo));
  CertFreeCertificateContext(context);
}

TEST_P(SampleMessage, IsNotDecryptedWithAnotherKeyOfTheKind) {
  testFolder().addCertificate("Addressbook", lab::readCertificate(message("sender256_cert")).get());
  const bool is512 = std::string_view(GetParam().recipient) == "recipient512";
  const auto kind = is512 ? lab::KeyKind::Gost2012_512 : lab::KeyKind::Gost2012_256;
  const MessageHandle decoded = decode(message(GetParam().message));
  EXPECT_NE(decryptError(decoded, 0, signer(kind)), ERROR_SUCCESS);
  EXPECT_NE(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent);
}

std::string sampleText(const ::testing::TestParamInfo<Sample>& parameter) {
  std::string name = parameter.param.message;
  std::erase(name, '_');
  return name;
}

constexpr Sample kSamples[] = {
    {.message = "agreement_kuznyechik_omac", .recipient = "recipient512"},
    {.message = "agreement_magma", .recipient = "recipient256"},
    {.message = "transport_kuznyechik", .recipient = "recipient256"},
    {.message = "transport_magma_omac", .recipient = "recipient512"},
};

INSTANTIATE_TEST_SUITE_P(All, SampleMessage, ::testing::ValuesIn(kSamples), sampleText);

}  // namespace
}  // namespace qx::test::envelope_vector_test
