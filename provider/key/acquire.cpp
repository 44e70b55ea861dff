#include "provider/key/acquire.h"

#include <memory>
#include <mutex>
#include <string>

#include <openssl/bio.h>
#include <openssl/x509.h>

#include "provider/key/key_context.h"
#include "provider/key/key_store.h"
#include "provider/key/provider_types.h"
#include "provider/key/unlock.h"
#include "provider/store/certificate_context.h"
#include "provider/support/fork.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr DWORD kMaxProviderType = 999;
constexpr DWORD kContextFlags = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET |
                                CRYPT_MACHINE_KEYSET | CRYPT_SILENT |
                                CRYPT_DEFAULT_CONTAINER_OPTIONAL;
constexpr DWORD kAcquireFlags =
    CRYPT_ACQUIRE_CACHE_FLAG | CRYPT_ACQUIRE_USE_PROV_INFO_FLAG | CRYPT_ACQUIRE_COMPARE_KEY_FLAG |
    CRYPT_ACQUIRE_NO_HEALING | CRYPT_ACQUIRE_SILENT_FLAG | CRYPT_ACQUIRE_WINDOW_HANDLE_FLAG |
    CRYPT_ACQUIRE_ALLOW_NCRYPT_KEY_FLAG | CRYPT_ACQUIRE_PREFER_NCRYPT_KEY_FLAG;

using KeyContextPtr = std::unique_ptr<KeyContext>;

bool isGiven(LPCSTR text) {
  return text != nullptr && *text != '\0';
}

Result<void> checkProvider(LPCSTR provider, DWORD type) {
  if (type == 0 || type > kMaxProviderType) {
    return fail(NTE_BAD_PROV_TYPE);
  }
  if (isGiven(provider)) {
    const ProviderType* named = findProviderType(std::string_view(provider));
    if (named == nullptr) {
      return fail(NTE_KEYSET_NOT_DEF);
    }
    return named->type == type ? Result<void>() : fail(NTE_PROV_TYPE_NO_MATCH);
  }
  return findProviderType(type) != nullptr ? Result<void>() : fail(NTE_PROV_TYPE_NOT_DEF);
}

Result<HCRYPTPROV> openContainer(const std::string& container, DWORD type, DWORD flags) {
  const Location location =
      (flags & CRYPT_MACHINE_KEYSET) != 0 ? Location::LocalMachine : Location::CurrentUser;
  const bool isThere = !idFromFileName(container).empty() && findKey(location, container);
  if ((flags & CRYPT_NEWKEYSET) != 0 && isThere) {
    return fail(NTE_EXISTS);
  }
  // Keys come and go by the administrator's hand only.
  if ((flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)) != 0) {
    return fail(ERROR_CALL_NOT_IMPLEMENTED);
  }
  if (!isThere) {
    return fail(NTE_BAD_KEYSET);
  }
  auto* context = new KeyContext(type, {.location = location, .id = container});
  return context->handle();
}

/// The subject, as the user is shown it.
std::string describe(const CertificateData& certificate) {
  const BioPtr text(BIO_new(BIO_s_mem()));
  const X509* x509 = certificate.x509();
  if (text == nullptr || x509 == nullptr ||
      X509_NAME_print_ex(
          text.get(), X509_get_subject_name(x509), 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB) <
          0) {
    return certificate.keyFileName();
  }
  char* data = nullptr;
  const long length = BIO_get_mem_data(text.get(), &data);
  return {data, static_cast<std::size_t>(length)};
}

/// The handle that the context keeps, if it keeps one.
std::optional<AcquiredKey> keptKey(const CertificateContext& certificate) {
  const auto kept = certificate.properties().keyContext();
  if (!kept || kept->hCryptProv == 0) {
    return std::nullopt;
  }
  return AcquiredKey{.handle = kept->hCryptProv, .keySpec = kept->dwKeySpec, .callerFrees = false};
}

/// The key that the found file holds, as far as it can be told without a PIN.
Result<void> compareKey(const KeyFile& file) {
  if (file.hasPin()) {
    return {};
  }
  const auto key = unlock(file, {});
  return key || key.error() != NTE_BAD_PUBLIC_KEY ? Result<void>() : fail(NTE_BAD_PUBLIC_KEY);
}

struct FoundKey {
  KeyContextPtr context;
  DWORD keySpec;
};

Result<FoundKey> findCertificateKey(const CertificateContext& certificate, DWORD flags) {
  const CertificateData& data = certificate.data();
  const KeyTypeInfo* type = keyTypeByOid(data.info().SubjectPublicKeyInfo.Algorithm.pszObjId);
  if (type == nullptr) {
    return fail(CRYPT_E_NO_KEY_PROPERTY);
  }
  KeyReference reference{.location = certificate.location().value_or(Location::CurrentUser),
                         .id = data.keyFileName()};
  const auto file = findKey(reference.location, reference.id);
  if (!file) {
    return file.error() == ERROR_FILE_NOT_FOUND ? fail(CRYPT_E_NO_KEY_PROPERTY) : file.failure();
  }
  if ((flags & CRYPT_ACQUIRE_COMPARE_KEY_FLAG) != 0) {
    if (const auto same = compareKey(**file); !same) {
      return same.failure();
    }
  }
  auto context = std::make_unique<KeyContext>(type->providerType, std::move(reference));
  context->setCertificate(certificate.sharedData());
  return FoundKey{.context = std::move(context), .keySpec = type->keySpec};
}

/// Two threads that ask at once for the key of one context get one handle.
ForkSafeMutex& keepingMutex() {
  static ForkSafeMutex& mutex = untilUnload(std::make_unique<ForkSafeMutex>());
  return mutex;
}

AcquiredKey keep(CertificateContext& certificate, FoundKey found) {
  const std::scoped_lock lock(keepingMutex());
  if (const auto kept = keptKey(certificate)) {
    return *kept;
  }
  KeyContext* context = found.context.release();
  certificate.properties().setKeyContext(context->handle(),
                                         found.keySpec,
                                         /*releaseWithContext=*/true);
  return {.handle = context->handle(), .keySpec = found.keySpec, .callerFrees = false};
}

Result<void> askUnlessSilent(KeyContext* context, const CertificateData& certificate, DWORD flags) {
  const bool silent = (flags & CRYPT_ACQUIRE_SILENT_FLAG) != 0;
  // A handle that another provider made is its own affair.
  return silent || context == nullptr ? Result<void>()
                                      : context->unlockByPrompt(describe(certificate));
}

}  // namespace

Result<HCRYPTPROV> acquireContext(LPCSTR container, LPCSTR provider, DWORD type, DWORD flags) {
  if (const auto good = checkProvider(provider, type); !good) {
    return good.failure();
  }
  if ((flags & ~kContextFlags) != 0) {
    return fail(NTE_BAD_FLAGS);
  }
  const bool withoutKey = (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT ||
                          (!isGiven(container) && (flags & CRYPT_DEFAULT_CONTAINER_OPTIONAL) != 0);
  if (!withoutKey) {
    // There is no default container: a key belongs to its certificate.
    return isGiven(container) ? openContainer(container, type, flags) : fail(NTE_BAD_KEYSET);
  }
  if (isGiven(container)) {
    return fail(NTE_BAD_KEYSET_PARAM);
  }
  auto* context = new KeyContext(type);
  return context->handle();
}

Result<AcquiredKey> acquireCertificateKey(PCCERT_CONTEXT certificate, DWORD flags) {
  CertificateContext* context = CertificateContext::from(certificate);
  if (context == nullptr) {
    return fail(E_INVALIDARG);
  }
  if ((flags & ~kAcquireFlags) != 0) {
    return fail(NTE_BAD_FLAGS);
  }
  const bool keeps = (flags & CRYPT_ACQUIRE_CACHE_FLAG) != 0;
  if (const auto kept = keeps ? keptKey(*context) : std::nullopt) {
    const auto asked =
        askUnlessSilent(fromHandle<KeyContext>(kept->handle), context->data(), flags);
    return asked ? Result<AcquiredKey>(*kept) : asked.failure();
  }
  auto found = findCertificateKey(*context, flags);
  if (!found) {
    return found.failure();
  }
  const auto asked = askUnlessSilent(found->context.get(), context->data(), flags);
  if (!asked) {
    return asked.failure();
  }
  if (keeps) {
    return keep(*context, std::move(*found));
  }
  KeyContext* key = found->context.release();
  return AcquiredKey{.handle = key->handle(), .keySpec = found->keySpec, .callerFrees = true};
}

}  // namespace qx
