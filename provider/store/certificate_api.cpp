#include <cstring>
#include <span>
#include <vector>

#include "platform/cert.h"

#include "provider/api.h"
#include "provider/store/certificate_context.h"
#include "provider/store/certificate_store.h"
#include "provider/store/computed_value.h"
#include "provider/support/two_pass.h"

namespace qx {
namespace {

Result<PCCERT_CONTEXT> createContext(DWORD encodingType, der::Bytes encoded) {
  if ((encodingType & X509_ASN_ENCODING) == 0) {
    return fail(E_INVALIDARG);
  }
  Result<std::shared_ptr<const CertificateData>> data = CertificateData::parse(encoded);
  if (!data) {
    return data.failure();
  }
  return CertificateContext::createFree(*std::move(data));
}

// The caller's buffer for a value: nothing but the size is asked for when `data` is null.
struct Output {
  void* data;
  DWORD* size;

  template <class Write>
  Result<void> give(std::size_t needed, Write write) const {
    const Result<std::uint8_t*> out = twoPass(data, size, needed);
    if (out && *out != nullptr) {
      write(*out);
    }
    return out ? Result<void>() : out.failure();
  }

  Result<void> give(std::span<const std::uint8_t> bytes) const {
    return give(bytes.size(),
                [bytes](void* out) { std::ranges::copy(bytes, static_cast<std::uint8_t*>(out)); });
  }

  template <class T>
  Result<void> giveRecord(const T& record) const {
    return give(sizeof record, [&](void* out) { std::memcpy(out, &record, sizeof record); });
  }
};

Result<void> readKeyContext(const Properties& properties, const Output& output) {
  const std::optional<CERT_KEY_CONTEXT> key = properties.keyContext();
  return key ? output.giveRecord(*key) : fail(CRYPT_E_NOT_FOUND);
}

Result<void> readKeyHandle(const Properties& properties, const Output& output) {
  const std::optional<CERT_KEY_CONTEXT> key = properties.keyContext();
  return key && key->hCryptProv != 0 ? output.giveRecord(key->hCryptProv) : fail(CRYPT_E_NOT_FOUND);
}

Result<void> readKeySpec(const Properties& properties, const Output& output) {
  const std::optional<DWORD> keySpec = properties.keySpec();
  return keySpec ? output.giveRecord(*keySpec) : fail(CRYPT_E_NOT_FOUND);
}

Result<void> readKeyProvInfo(const Properties& properties, const Output& output) {
  const std::optional<KeyProvInfo> info = properties.keyProvInfo();
  if (!info) {
    return fail(CRYPT_E_NOT_FOUND);
  }
  return output.give(info->size(), [&](void* out) { info->writeTo(out); });
}

// What a caller set counts, even where it contradicts the certificate.
Result<void> readBytes(const CertificateContext& context, DWORD id, const Output& output) {
  if (const std::optional<std::vector<std::uint8_t>> set = context.properties().blob(id)) {
    return output.give(*set);
  }
  const Result<std::vector<std::uint8_t>> computed = computedValue(context.data(), id);
  return computed ? output.give(*computed) : computed.failure();
}

Result<void> readProperty(const CertificateContext& context, DWORD id, const Output& output) {
  switch (id) {
    case CERT_KEY_CONTEXT_PROP_ID:
      return readKeyContext(context.properties(), output);
    case CERT_KEY_PROV_HANDLE_PROP_ID:
      return readKeyHandle(context.properties(), output);
    case CERT_KEY_SPEC_PROP_ID:
      return readKeySpec(context.properties(), output);
    case CERT_KEY_PROV_INFO_PROP_ID:
      return readKeyProvInfo(context.properties(), output);
    case CERT_ACCESS_STATE_PROP_ID:
      return output.giveRecord(context.accessState());
    default:
      return readBytes(context, id, output);
  }
}

}  // namespace
}  // namespace qx

PCCERT_CONTEXT CertCreateCertificateContext(DWORD dwCertEncodingType,
                                            const BYTE* pbCertEncoded,
                                            DWORD cbCertEncoded) {
  return qx::apiValue<PCCERT_CONTEXT>([&] {
    return qx::createContext(dwCertEncodingType,
                             {pbCertEncoded, pbCertEncoded == nullptr ? 0 : cbCertEncoded});
  });
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext) {
  if (qx::CertificateContext* context = qx::CertificateContext::from(pCertContext)) {
    context->addReference();
  }
  return pCertContext;
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  const qx::ForkWaits call;
  if (qx::CertificateContext* context = qx::CertificateContext::from(pCertContext)) {
    context->release();
  }
  return TRUE;
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext,
                                       DWORD dwPropId,
                                       void* pvData,
                                       DWORD* pcbData) {
  return qx::apiBool([&]() -> qx::Result<void> {
    const qx::CertificateContext* context = qx::CertificateContext::from(pCertContext);
    if (context == nullptr || pcbData == nullptr) {
      return qx::fail(E_INVALIDARG);
    }
    return qx::readProperty(*context, dwPropId, {.data = pvData, .size = pcbData});
  });
}

BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext,
                                       DWORD dwPropId,
                                       DWORD dwFlags,
                                       const void* pvData) {
  return qx::apiBool([&]() -> qx::Result<void> {
    qx::CertificateContext* context = qx::CertificateContext::from(pCertContext);
    if (context == nullptr) {
      return qx::fail(E_INVALIDARG);
    }
    return context->properties().set(dwPropId, dwFlags, pvData);
  });
}
