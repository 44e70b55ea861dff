#include "tools/qxprovider/landscape_seal.h"

#include <algorithm>

#include <openssl/cms.h>

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/openssl/encoded.h"
#include "provider/openssl/errors.h"
#include "provider/openssl/owned.h"
#include "provider/support/config.h"
#include "tools/common/error.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;
using CmsPtr = OpensslOwner<CMS_ContentInfo, CMS_ContentInfo_free>;

// libcrypto derives this key with HMAC-SHA-1, for which twice the rounds of a key file are due.
constexpr unsigned kRoundsFactor = 2;
constexpr unsigned kMaxSealRounds = 10'000'000;
// What stands around the content.
constexpr std::size_t kMaxFrame = 65'536;

void requireSealed(bool good) {
  if (!good) {
    throw ToolError(ExitCode::Internal, "the file cannot be encrypted");
  }
}

BioPtr memoryOf(std::span<const std::uint8_t> bytes) {
  return BioPtr(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

// The message becomes the owner of the copy.
void addPassword(CMS_ContentInfo* message, const tools::Secret& password) {
  const std::size_t size = password.size();
  auto* copy = static_cast<unsigned char*>(OPENSSL_memdup(password.text().data(), size));
  requireSealed(copy != nullptr);
  const int rounds =
      static_cast<int>(std::min(configuration().pin.kdfRounds * kRoundsFactor, kMaxSealRounds));
  // NOLINTNEXTLINE(*-const-cast): libcrypto only reads the cipher.
  auto* wrapping = const_cast<EVP_CIPHER*>(EVP_aes_256_cbc());
  if (CMS_add0_recipient_password(message,
                                  rounds,
                                  NID_id_alg_PWRI_KEK,
                                  NID_id_pbkdf2,
                                  copy,
                                  static_cast<ossl_ssize_t>(size),
                                  wrapping) == nullptr) {
    OPENSSL_clear_free(copy, size);
    requireSealed(false);
  }
}

// What stands in the next element, which must have this identifier; empty when it is not there.
der::Bytes inside(der::Reader& reader, std::uint8_t identifier) {
  const auto element = reader.next(identifier);
  return element ? element->content : der::Bytes();
}

// The PasswordRecipientInfo (RFC 3211, 2.2) that a message of ours begins with.
der::Bytes firstRecipient(der::Bytes message) {
  der::Reader file(message);
  der::Reader contentInfo(inside(file, der::kSequence));
  inside(contentInfo, der::kOid);
  der::Reader content(inside(contentInfo, der::contextConstructed(0)));
  der::Reader enveloped(inside(content, der::kSequence));
  inside(enveloped, der::kInteger);
  der::Reader recipients(inside(enveloped, der::kSet));
  return inside(recipients, der::contextConstructed(3));
}

// Whether its key is derived by so few rounds that nobody is only kept busy.
bool isDerivedInTime(der::Bytes message) {
  der::Reader recipient(firstRecipient(message));
  inside(recipient, der::kInteger);
  der::Reader derivation(inside(recipient, der::contextConstructed(0)));
  inside(derivation, der::kOid);
  der::Reader parameters(inside(derivation, der::kSequence));
  inside(parameters, der::kOctetString);
  const auto rounds = der::readUnsigned(parameters);
  return rounds && *rounds <= kMaxSealRounds;
}

SecretBytes contentOf(CMS_ContentInfo* message, std::size_t most) {
  const BioPtr content(BIO_new(BIO_s_mem()));
  char* text = nullptr;
  if (CMS_decrypt(message, nullptr, nullptr, nullptr, content.get(), 0) != 1) {
    throw ToolError(ExitCode::Input, "the file was changed or is damaged");
  }
  const auto size = static_cast<std::size_t>(BIO_get_mem_data(content.get(), &text));
  if (size > most) {
    throw ToolError(ExitCode::Input, "the file holds too much");
  }
  return SecretBytes(std::span(reinterpret_cast<const std::uint8_t*>(text), size));
}

}  // namespace

std::vector<std::uint8_t> seal(std::span<const std::uint8_t> bytes, const tools::Secret& password) {
  const ErrorQueueGuard queue;
  const BioPtr content = memoryOf(bytes);
  constexpr unsigned kFlags = CMS_PARTIAL | CMS_BINARY;
  const CmsPtr message(CMS_encrypt(nullptr, nullptr, EVP_aes_256_gcm(), kFlags));
  requireSealed(message != nullptr && content != nullptr);
  addPassword(message.get(), password);
  requireSealed(CMS_final(message.get(), content.get(), nullptr, CMS_BINARY) == 1);
  return encodedBy<CMS_ContentInfo>(i2d_CMS_ContentInfo, message.get());
}

SecretBytes unseal(std::span<const std::uint8_t> sealed,
                   const tools::Secret& password,
                   std::size_t most) {
  const ErrorQueueGuard queue;
  if (sealed.size() > most + kMaxFrame) {
    throw ToolError(ExitCode::Input, "the file holds too much");
  }
  const unsigned char* at = sealed.data();
  const CmsPtr message(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(sealed.size())));
  if (message == nullptr || at != sealed.data() + sealed.size() ||
      OBJ_obj2nid(CMS_get0_type(message.get())) != NID_id_smime_ct_authEnvelopedData ||
      sk_CMS_RecipientInfo_num(CMS_get0_RecipientInfos(message.get())) != 1 ||
      !isDerivedInTime(sealed)) {
    throw ToolError(ExitCode::Input, "this is no file that landscape export wrote");
  }
  // NOLINTNEXTLINE(*-const-cast): libcrypto only reads the password.
  auto* text = const_cast<unsigned char*>(password.bytes().data());
  if (CMS_decrypt_set1_password(message.get(), text, static_cast<ossl_ssize_t>(password.size())) !=
      1) {
    throw ToolError(ExitCode::Key, "the password does not open the file");
  }
  return contentOf(message.get(), most);
}

}  // namespace qx::admin
