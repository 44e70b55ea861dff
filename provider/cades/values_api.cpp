#include <memory>
#include <vector>

#include "platform/cades.h"

#include "provider/api.h"
#include "provider/cades/caller_memory.h"
#include "provider/cades/oids.h"
#include "provider/cades/signature_kind.h"
#include "provider/cades/values.h"
#include "provider/message/decoded_signed.h"

namespace {

using qx::allocateForCaller;
using qx::fail;
using qx::Result;

struct FreeArray {
  void operator()(CADES_BLOB_ARRAY* array) const { CadesFreeBlobArray(array); }
};

using ArrayPtr = std::unique_ptr<CADES_BLOB_ARRAY, FreeArray>;

// The array counts a byte string as soon as it is there: freeing is right at any time.
ArrayPtr arrayOf(const std::vector<qx::der::Bytes>& values) {
  ArrayPtr array(allocateForCaller<CADES_BLOB_ARRAY>());
  array->pBlobs = allocateForCaller<CRYPT_DATA_BLOB>(values.size());
  for (const qx::der::Bytes value : values) {
    BYTE* copy = allocateForCaller<BYTE>(value.size());
    qx::der::copyTo(copy, value);
    array->pBlobs[array->cBlob++] = {.cbData = static_cast<DWORD>(value.size()), .pbData = copy};
  }
  return array;
}

Result<const qx::SignerInfo*> signerOf(HCRYPTMSG handle, DWORD index) {
  const Result<qx::DecodedSigned*> message = qx::decodedSigned(handle);
  return message ? (*message)->data().signer(index) : message.failure();
}

Result<std::vector<qx::der::Bytes>> certificateValues(HCRYPTMSG handle, DWORD index) {
  const Result<const qx::SignerInfo*> signer = signerOf(handle, index);
  if (!signer) {
    return signer.failure();
  }
  const qx::Attribute* attribute =
      qx::findAttribute((*signer)->unsignedAttributes(), qx::oids::kCertificateValues);
  return attribute == nullptr ? fail(CRYPT_E_ATTRIBUTES_MISSING)
                              : qx::readCertificateValues(*attribute);
}

}  // namespace

BOOL CadesMsgIsType(HCRYPTMSG hCryptMsg,
                    DWORD dwSignatureIndex,
                    DWORD dwCadesType,
                    BOOL* pbResult) {
  return qx::apiBool([&]() -> Result<void> {
    if (pbResult == nullptr) {
      return fail(E_INVALIDARG);
    }
    const Result<const qx::SignerInfo*> signer = signerOf(hCryptMsg, dwSignatureIndex);
    if (!signer) {
      return signer.failure();
    }
    if (dwCadesType != CADES_TYPE_X_LONG_1) {
      return fail(ERROR_NOT_SUPPORTED);
    }
    *pbResult = qx::isXLongType1(**signer) ? TRUE : FALSE;
    return {};
  });
}

BOOL CadesMsgGetCertificateValues(HCRYPTMSG hCryptMsg,
                                  DWORD dwSignatureIndex,
                                  CADES_BLOB_ARRAY** ppValues) {
  return qx::apiBool([&]() -> Result<void> {
    if (ppValues == nullptr) {
      return fail(E_INVALIDARG);
    }
    *ppValues = nullptr;
    const auto values = certificateValues(hCryptMsg, dwSignatureIndex);
    if (!values) {
      return values.failure();
    }
    *ppValues = arrayOf(*values).release();
    return {};
  });
}

BOOL CadesFreeBlobArray(CADES_BLOB_ARRAY* pBlobArray) {
  if (pBlobArray != nullptr) {
    for (DWORD i = 0; i < pBlobArray->cBlob; ++i) {
      qx::releaseForCaller(pBlobArray->pBlobs[i].pbData);
    }
    qx::releaseForCaller(pBlobArray->pBlobs);
    qx::releaseForCaller(pBlobArray);
  }
  return TRUE;
}
