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

// The engine wants the key's context while a recipient is added, which only this flag makes.
constexpr auto kRecipientFlags = static_cast<unsigned>(CMS_KEY_PARAM);

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
  const BioPtr in = reading(content);
  const CmsPtr message(CMS_encrypt(
      nullptr, in.get(), EVP_get_cipherbyname(SN_id_Gost28147_89), CMS_BINARY | CMS_PARTIAL));
  for (const Signer* recipient : recipients) {
    if (CMS_add1_recipient_cert(message.get(), recipient->certificate.get(), kRecipientFlags) ==
        nullptr) {
      return {};
    }
  }
  return CMS_final(message.get(), in.get(), nullptr, CMS_BINARY) == 1 ? encoded(message.get())
                                                                      : std::string();
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
