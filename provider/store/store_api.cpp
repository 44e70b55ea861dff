#include <strings.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/cert_store.h"

#include "provider/api.h"
#include "provider/store/certificate_store.h"
#include "provider/store/folder_store.h"
#include "provider/store/store_files.h"

namespace qx {
namespace {

enum class StoreProvider : std::uint8_t { Memory, SystemWide, SystemNarrow, Unknown };

// A provider is a small number in the place of a pointer, or a name.
StoreProvider providerOf(LPCSTR provider) {
  constexpr std::uintptr_t kHighestNumber = 0xFFFF;
  if (reinterpret_cast<std::uintptr_t>(provider) > kHighestNumber) {
    if (strcasecmp(provider, sz_CERT_STORE_PROV_MEMORY) == 0) {
      return StoreProvider::Memory;
    }
    return strcasecmp(provider, sz_CERT_STORE_PROV_SYSTEM) == 0 ? StoreProvider::SystemWide
                                                                : StoreProvider::Unknown;
  }
  if (provider == CERT_STORE_PROV_MEMORY) {
    return StoreProvider::Memory;
  }
  if (provider == CERT_STORE_PROV_SYSTEM_W) {
    return StoreProvider::SystemWide;
  }
  return provider == CERT_STORE_PROV_SYSTEM_A ? StoreProvider::SystemNarrow
                                              : StoreProvider::Unknown;
}

Result<Location> locationOf(DWORD flags) {
  switch (flags & CERT_SYSTEM_STORE_LOCATION_MASK) {
    case CERT_SYSTEM_STORE_CURRENT_USER:
      return Location::CurrentUser;
    case CERT_SYSTEM_STORE_LOCAL_MACHINE:
      return Location::LocalMachine;
    default:
      return fail(E_INVALIDARG);
  }
}

Result<StoreName> nameOf(StoreProvider provider, DWORD flags, const void* parameter) {
  const Result<Location> location = locationOf(flags);
  if (!location) {
    return location.failure();
  }
  if (parameter == nullptr) {
    return fail(E_INVALIDARG);
  }
  return provider == StoreProvider::SystemWide
             ? StoreName::fromWide(*location, static_cast<LPCWSTR>(parameter))
             : StoreName::make(*location, static_cast<LPCSTR>(parameter));
}

// Without OPEN_EXISTING a store that is absent is made, unless it is only to be read.
Result<std::shared_ptr<const StoreSnapshot>> openFolderStore(const StoreName& name, DWORD flags) {
  const bool existing = (flags & CERT_STORE_OPEN_EXISTING_FLAG) != 0;
  const bool createNew = (flags & CERT_STORE_CREATE_NEW_FLAG) != 0;
  if (existing && createNew) {
    return fail(E_INVALIDARG);
  }
  Result<std::shared_ptr<const StoreSnapshot>> present = snapshot(name);
  if (present && createNew) {
    return fail(ERROR_FILE_EXISTS);
  }
  const bool readOnly = (flags & CERT_STORE_READONLY_FLAG) != 0;
  if (present || existing || readOnly || present.error() != ERROR_FILE_NOT_FOUND) {
    return present;
  }
  const Result<void> created = makeStore(name);
  return created ? snapshot(name) : created.failure();
}

Result<CertificateStore*> openSystemStore(StoreProvider provider,
                                          DWORD flags,
                                          const void* parameter) {
  Result<StoreName> name = nameOf(provider, flags, parameter);
  if (!name) {
    return name.failure();
  }
  Result<std::shared_ptr<const StoreSnapshot>> content = openFolderStore(*name, flags);
  if (!content) {
    return content.failure();
  }
  return CertificateStore::openSystem(*std::move(name), *std::move(content), flags);
}

Result<HCERTSTORE> openStore(LPCSTR providerName, DWORD flags, const void* parameter) {
  const StoreProvider provider = providerOf(providerName);
  if (provider == StoreProvider::Unknown) {
    return fail(ERROR_FILE_NOT_FOUND);
  }
  if ((flags & CERT_STORE_DELETE_FLAG) != 0) {
    return fail(ERROR_CALL_NOT_IMPLEMENTED);
  }
  if (provider == StoreProvider::Memory) {
    return CertificateStore::openMemory(flags);
  }
  const Result<CertificateStore*> store = openSystemStore(provider, flags, parameter);
  return store ? Result<HCERTSTORE>(*store) : store.failure();
}

Result<void> closeStore(HCERTSTORE handle, DWORD flags) {
  if (handle == nullptr) {
    return {};
  }
  CertificateStore* store = CertificateStore::from(handle);
  if (store == nullptr) {
    return fail(ERROR_INVALID_HANDLE);
  }
  if (store->isNone()) {
    return {};
  }
  const Result<bool> contextsOut = store->close();
  if (!contextsOut) {
    return contextsOut.failure();
  }
  const bool check = (flags & CERT_CLOSE_STORE_CHECK_FLAG) != 0;
  return check && *contextsOut ? fail(CRYPT_E_PENDING_CLOSE) : Result<void>();
}

// The previous context goes whatever happens.
Result<PCCERT_CONTEXT> findNext(HCERTSTORE handle,
                                DWORD findType,
                                const void* parameter,
                                PCCERT_CONTEXT previousContext) {
  const ContextReference previous(CertificateContext::from(previousContext));
  const Result<StoreSearch> search = StoreSearch::of(findType, parameter);
  if (!search) {
    return search.failure();
  }
  CertificateStore* store = CertificateStore::from(handle);
  const bool foreign = previousContext != nullptr && previous == nullptr;
  if (store == nullptr || foreign) {
    return fail(E_INVALIDARG);
  }
  return store->next(*search, previous.get());
}

Result<PCCERT_CONTEXT> addEncoded(HCERTSTORE handle,
                                  DWORD encodingType,
                                  der::Bytes encoded,
                                  DWORD disposition) {
  const bool known =
      disposition >= CERT_STORE_ADD_NEW && disposition <= CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES;
  if (!known || (encodingType & X509_ASN_ENCODING) == 0) {
    return fail(E_INVALIDARG);
  }
  CertificateStore* store = CertificateStore::from(handle);
  if (store == nullptr && handle != nullptr) {
    return fail(ERROR_INVALID_HANDLE);
  }
  Result<std::shared_ptr<const CertificateData>> data = CertificateData::parse(encoded);
  if (!data) {
    return data.failure();
  }
  return store == nullptr ? CertificateContext::createFree(*std::move(data))
                          : store->add(*std::move(data), disposition);
}

Result<void> deleteFromStore(PCCERT_CONTEXT context) {
  const ContextReference object(CertificateContext::from(context));
  if (object == nullptr) {
    return fail(E_INVALIDARG);
  }
  CertificateStore* store = object->store();
  return store == nullptr ? Result<void>() : store->remove(*object);
}

}  // namespace
}  // namespace qx

HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider,
                         DWORD /*dwEncodingType*/,
                         HCRYPTPROV_LEGACY /*hCryptProv*/,
                         DWORD dwFlags,
                         const void* pvPara) {
  return qx::apiValue<HCERTSTORE>(
      [&] { return qx::openStore(lpszStoreProvider, dwFlags, pvPara); });
}

BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
  return qx::apiBool([&] { return qx::closeStore(hCertStore, dwFlags); });
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore,
                                          DWORD /*dwCertEncodingType*/,
                                          DWORD /*dwFindFlags*/,
                                          DWORD dwFindType,
                                          const void* pvFindPara,
                                          PCCERT_CONTEXT pPrevCertContext) {
  return qx::apiValue<PCCERT_CONTEXT>(
      [&] { return qx::findNext(hCertStore, dwFindType, pvFindPara, pPrevCertContext); });
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
  return qx::apiValue<PCCERT_CONTEXT>(
      [&] { return qx::findNext(hCertStore, CERT_FIND_ANY, nullptr, pPrevCertContext); });
}

PCCERT_CONTEXT CertGetSubjectCertificateFromStore(HCERTSTORE hCertStore,
                                                  DWORD /*dwCertEncodingType*/,
                                                  PCERT_INFO pCertId) {
  return qx::apiValue<PCCERT_CONTEXT>(
      [&] { return qx::findNext(hCertStore, CERT_FIND_SUBJECT_CERT, pCertId, nullptr); });
}

BOOL CertAddEncodedCertificateToStore(HCERTSTORE hCertStore,
                                      DWORD dwCertEncodingType,
                                      const BYTE* pbCertEncoded,
                                      DWORD cbCertEncoded,
                                      DWORD dwAddDisposition,
                                      PCCERT_CONTEXT* ppCertContext) {
  const auto* context = qx::apiValue<PCCERT_CONTEXT>([&] {
    return qx::addEncoded(hCertStore,
                          dwCertEncodingType,
                          {pbCertEncoded, pbCertEncoded == nullptr ? 0 : cbCertEncoded},
                          dwAddDisposition);
  });
  if (ppCertContext != nullptr) {
    *ppCertContext = context;
  } else {
    CertFreeCertificateContext(context);
  }
  return context == nullptr ? FALSE : TRUE;
}

BOOL CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
  return qx::apiBool([&] { return qx::deleteFromStore(pCertContext); });
}
