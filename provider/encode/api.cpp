#include "provider/api.h"

#include "platform/encode.h"

#include "provider/encode/decoder.h"

BOOL CryptDecodeObject(DWORD dwCertEncodingType,
                       LPCSTR lpszStructType,
                       const BYTE* pbEncoded,
                       DWORD cbEncoded,
                       DWORD /*dwFlags: everything is copied, nothing allocated*/,
                       void* pvStructInfo,
                       DWORD* pcbStructInfo) {
  const BOOL decoded = qx::apiBool([&]() -> qx::Result<void> {
    if (pcbStructInfo == nullptr || (pbEncoded == nullptr && cbEncoded != 0)) {
      return qx::fail(E_INVALIDARG);
    }
    const bool knownEncoding =
        (dwCertEncodingType & CERT_ENCODING_TYPE_MASK) == X509_ASN_ENCODING ||
        (dwCertEncodingType & CMSG_ENCODING_TYPE_MASK) == PKCS_7_ASN_ENCODING;
    const qx::ValueDecoder decoder = knownEncoding ? qx::decoderFor(lpszStructType) : nullptr;
    if (decoder == nullptr) {
      return qx::fail(ERROR_FILE_NOT_FOUND);
    }
    const qx::Result<qx::der::Element> element = qx::der::Reader({pbEncoded, cbEncoded}).next();
    if (!element) {
      return element.failure();
    }
    qx::ParamOutput out(pvStructInfo, pcbStructInfo);
    return decoder(*element, out);
  });
  if (decoded != FALSE) {
    SetLastError(ERROR_SUCCESS);
  }
  return decoded;
}
