#include "bench/peer_side.h"

#include <openssl/cms.h>

namespace qx::bench {
namespace {

using CmsPtr = OpensslOwner<CMS_ContentInfo, CMS_ContentInfo_free>;

BioPtr reading(const std::string& text) {
  return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

std::string encoded(CMS_ContentInfo* message) {
  const int size = i2d_CMS_ContentInfo(message, nullptr);
  std::string out(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
  auto* to = reinterpret_cast<unsigned char*>(out.data());
  i2d_CMS_ContentInfo(message, &to);
  return out;
}

unsigned flags(bool detached) {
  return static_cast<unsigned>(CMS_BINARY) | (detached ? static_cast<unsigned>(CMS_DETACHED) : 0U);
}

}  // namespace

std::string peerDigest(const std::string& content, const char* digest, bool detached) {
  const BioPtr in = reading(content);
  const CmsPtr message(CMS_digest_create(in.get(), EVP_get_digestbyname(digest), flags(detached)));
  return message ? encoded(message.get()) : std::string();
}

std::string peerSign(const std::string& content, const Signer& signer, bool detached) {
  const BioPtr in = reading(content);
  const CmsPtr message(CMS_sign(signer.certificate.get(),
                                signer.key.get(),
                                nullptr,
                                in.get(),
                                flags(detached) | static_cast<unsigned>(CMS_NOATTR)));
  return message ? encoded(message.get()) : std::string();
}

bool peerVerify(const std::string& message,
                const std::string& content,
                const Signer& signer,
                std::string* out) {
  const auto* from = reinterpret_cast<const unsigned char*>(message.data());
  const CmsPtr parsed(d2i_CMS_ContentInfo(nullptr, &from, static_cast<long>(message.size())));
  const BioPtr in = content.empty() ? BioPtr() : reading(content);
  const BioPtr to(BIO_new(BIO_s_mem()));
  if (!parsed ||
      CMS_verify(parsed.get(), nullptr, signer.trust.get(), in.get(), to.get(), CMS_BINARY) != 1) {
    return false;
  }
  char* data = nullptr;
  const long size = BIO_get_mem_data(to.get(), &data);
  out->assign(data, static_cast<std::size_t>(size));
  return true;
}

std::string peerEncrypt(const std::string& content, const std::vector<const Signer*>& recipients) {
  const X509BorrowedStackPtr certificates(sk_X509_new_null());
  for (const Signer* recipient : recipients) {
    sk_X509_push(certificates.get(), recipient->certificate.get());
  }
  const BioPtr in = reading(content);
  const CmsPtr message(CMS_encrypt(
      certificates.get(), in.get(), EVP_get_cipherbyname(SN_id_Gost28147_89), CMS_BINARY));
  return message ? encoded(message.get()) : std::string();
}

std::string peerDecrypt(const std::string& message, const Signer& recipient) {
  const auto* from = reinterpret_cast<const unsigned char*>(message.data());
  const CmsPtr parsed(d2i_CMS_ContentInfo(nullptr, &from, static_cast<long>(message.size())));
  const BioPtr to(BIO_new(BIO_s_mem()));
  if (!parsed || CMS_decrypt(parsed.get(),
                             recipient.key.get(),
                             recipient.certificate.get(),
                             nullptr,
                             to.get(),
                             CMS_BINARY) != 1) {
    return {};
  }
  char* data = nullptr;
  const long size = BIO_get_mem_data(to.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

}  // namespace qx::bench
