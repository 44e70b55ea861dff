#include "tests/provider/message/signers.h"

#include <map>
#include <stdexcept>

#include <gtest/gtest.h>
#include <openssl/cms.h>
#include <openssl/err.h>

#include "provider/openssl/engine.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test {
namespace {

using lab::KeyKind;
using CmsPtr = OpensslOwner<CMS_ContentInfo, CMS_ContentInfo_free>;

lab::CertificateOptions namedOptions(const std::string& name) {
  return {.subject = {{.type = "CN", .value = name}, {.type = "O", .value = "Signers"}},
          .keyUsage = "digitalSignature"};
}

BioPtr memory(const Octets& bytes) {
  return BioPtr(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

std::string newestError() {
  char reason[256];
  ERR_error_string_n(ERR_peek_last_error(), reason, sizeof reason);
  ERR_clear_error();
  return reason;
}

}  // namespace

const ProviderFolder& testFolder() {
  static const ProviderFolder theFolder;
  return theFolder;
}

Signer::Signer(KeyKind kind, const std::string& name, const std::string& pin)
    : kind_(kind),
      key_(lab::generateKey(kind)),
      certificate_(lab::selfSigned(key_.get(), namedOptions(name))) {
  open(pin);
}

Signer::Signer(KeyKind kind, EvpPkeyPtr key, X509Ptr certificate, const std::string& pin)
    : kind_(kind), key_(std::move(key)), certificate_(std::move(certificate)) {
  open(pin);
}

void Signer::open(const std::string& pin) {
  der_ = lab::toDer(certificate_.get());
  keyFile_ = keyFileName(key_.get());
  context_ = CertCreateCertificateContext(kEncoding, der_.data(), static_cast<DWORD>(der_.size()));
  if (context_ == nullptr) {
    throw std::runtime_error("no certificate context");
  }
  testFolder().addKey(key_.get(), pin);
  provider_ = newContext();
}

Signer::~Signer() {
  CertFreeCertificateContext(context_);
}

HCRYPTPROV Signer::provider() {
  return provider_->handle();
}

std::unique_ptr<KeyContext> Signer::newContext() const {
  const std::string id = keyFile_.substr(0, keyFile_.rfind('.'));
  return std::make_unique<KeyContext>(PROV_GOST_2001_DH,
                                      KeyReference{.location = Location::CurrentUser, .id = id});
}

Octets Signer::keyId() const {
  const ASN1_OCTET_STRING* id = X509_get0_subject_key_id(certificate_.get());
  return {ASN1_STRING_get0_data(id), ASN1_STRING_get0_data(id) + ASN1_STRING_length(id)};
}

const char* Signer::hashOid() const {
  switch (kind_) {
    case KeyKind::Gost2001:
      return "1.2.643.2.2.9";
    case KeyKind::Gost2012_256:
      return "1.2.643.7.1.1.2.2";
    case KeyKind::Gost2012_512:
      return "1.2.643.7.1.1.2.3";
    case KeyKind::EcP384:
      return "2.16.840.1.101.3.4.2.2";
    default:
      return "2.16.840.1.101.3.4.2.1";
  }
}

CMSG_SIGNER_ENCODE_INFO Signer::encodeInfo() {
  CMSG_SIGNER_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.pCertInfo = context_->pCertInfo;
  info.hCryptProv = provider();
  info.dwKeySpec = AT_SIGNATURE;
  info.HashAlgorithm.pszObjId = writable(hashOid());
  return info;
}

Signer& signer(KeyKind kind, int number) {
  // Never destroyed: at exit libcrypto goes before static objects do.
  static auto& signers = *new std::map<std::pair<KeyKind, int>, std::unique_ptr<Signer>>;
  std::unique_ptr<Signer>& entry = signers[{kind, number}];
  if (entry == nullptr) {
    entry = std::make_unique<Signer>(
        kind, std::string(lab::kindName(kind)) + " " + std::to_string(number));
  }
  return *entry;
}

MessageHandle openEncoder(std::vector<CMSG_SIGNER_ENCODE_INFO> signers,
                          const SignOptions& options,
                          const std::vector<Octets>& certificates) {
  std::vector<CERT_BLOB> certificateBlobs;
  std::vector<CRL_BLOB> crlBlobs;
  certificateBlobs.reserve(certificates.size());
  crlBlobs.reserve(options.crls.size());
  for (const Octets& certificate : certificates) {
    certificateBlobs.push_back(blob(certificate));
  }
  for (const Octets& crl : options.crls) {
    crlBlobs.push_back(blob(crl));
  }
  const CMSG_SIGNED_ENCODE_INFO info{.cbSize = sizeof info,
                                     .cSigners = static_cast<DWORD>(signers.size()),
                                     .rgSigners = signers.data(),
                                     .cCertEncoded = static_cast<DWORD>(certificateBlobs.size()),
                                     .rgCertEncoded = certificateBlobs.data(),
                                     .cCrlEncoded = static_cast<DWORD>(crlBlobs.size()),
                                     .rgCrlEncoded = crlBlobs.data()};
  return MessageHandle(CryptMsgOpenToEncode(
      kEncoding, options.flags, CMSG_SIGNED, &info, writable(options.innerType), nullptr));
}

MessageHandle openEncoder(const std::vector<Signer*>& signers, const SignOptions& options) {
  std::vector<CMSG_SIGNER_ENCODE_INFO> infos;
  std::vector<Octets> certificates;
  for (Signer* one : signers) {
    infos.push_back(one->encodeInfo());
    if (options.certificates) {
      certificates.push_back(one->der());
    }
  }
  return openEncoder(std::move(infos), options, certificates);
}

Octets sign(const std::vector<Signer*>& signers, der::Bytes content, const SignOptions& options) {
  const MessageHandle message = openEncoder(signers, options);
  EXPECT_TRUE(message) << GetLastError();
  EXPECT_EQ(update(message, content), ERROR_SUCCESS);
  return bytesParam(message, CMSG_CONTENT_PARAM);
}

DWORD verify(const MessageHandle& message, DWORD index, PCCERT_CONTEXT certificate) {
  const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{.cbSize = sizeof para,
                                                .hCryptProv = 0,
                                                .dwSignerIndex = index,
                                                .dwSignerType = CMSG_VERIFY_SIGNER_CERT,
                                                .pvSigner = writable(certificate)};
  return control(message, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para);
}

::testing::AssertionResult cmsVerifies(const Octets& message,
                                       const std::vector<Signer*>& signers,
                                       const Octets* content) {
  if (!gostEngine()) {
    return ::testing::AssertionFailure() << "no engine";
  }
  const unsigned char* next = message.data();
  const CmsPtr cms(d2i_CMS_ContentInfo(nullptr, &next, static_cast<long>(message.size())));
  if (cms == nullptr) {
    return ::testing::AssertionFailure() << "not read: " << newestError();
  }
  const X509StackPtr certificates(sk_X509_new_null());
  for (const Signer* one : signers) {
    X509_up_ref(one->certificate());
    sk_X509_push(certificates.get(), one->certificate());
  }
  const BioPtr detached = content == nullptr ? nullptr : memory(*content);
  if (CMS_verify(cms.get(),
                 certificates.get(),
                 nullptr,
                 detached.get(),
                 nullptr,
                 CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) != 1) {
    return ::testing::AssertionFailure() << newestError();
  }
  const int count = sk_CMS_SignerInfo_num(CMS_get0_SignerInfos(cms.get()));
  if (count != static_cast<int>(signers.size())) {
    return ::testing::AssertionFailure() << count << " signers";
  }
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult opensslVerifies(const Octets& message,
                                           const std::vector<Signer*>& signers,
                                           const Octets* content,
                                           const std::vector<std::string>& options) {
  const TempDir files;
  std::string certificates;
  for (const Signer* one : signers) {
    certificates += lab::toPem(one->certificate());
  }
  std::vector<std::string> arguments = {"openssl",
                                        "cms",
                                        "-verify",
                                        "-engine",
                                        "gost",
                                        "-binary",
                                        "-certfile",
                                        files.write("certificates", certificates),
                                        "-inform",
                                        "DER",
                                        "-in",
                                        files.write("message", text(message)),
                                        "-out",
                                        files.file("out")};
  if (content != nullptr) {
    arguments.insert(arguments.end(), {"-content", files.write("content", text(*content))});
  }
  arguments.insert(arguments.end(), options.begin(), options.end());
  const CommandResult result = run(arguments);
  return result.exitCode == 0 ? ::testing::AssertionSuccess()
                              : ::testing::AssertionFailure() << result.err;
}

Octets opensslSign(const std::vector<Signer*>& signers,
                   const Octets& content,
                   const std::vector<std::string>& options) {
  const TempDir files;
  std::vector<std::string> arguments = {"openssl", "cms", "-sign", "-engine", "gost", "-binary"};
  for (std::size_t i = 0; i < signers.size(); ++i) {
    const std::string base = std::to_string(i);
    arguments.insert(arguments.end(),
                     {"-signer",
                      files.write(base + ".pem", lab::toPem(signers[i]->certificate())),
                      "-inkey",
                      files.write(base + ".key", lab::toPem(signers[i]->key()))});
  }
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(),
                   {"-in",
                    files.write("content", text(content)),
                    "-out",
                    files.file("message"),
                    "-outform",
                    "DER"});
  const CommandResult result = run(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return octets(readFile(files.file("message")));
}

}  // namespace qx::test
