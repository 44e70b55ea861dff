// A data table: the text of each error code, without full stop and line end.
#include "provider/support/error_texts.h"

#include "platform/errors.h"

namespace qx {
namespace {

struct TextRow {
  DWORD code;
  const char* text;
};

// clang-format off
constexpr TextRow kTexts[] = {
    // Win32 codes.
    {ERROR_SUCCESS, "The operation succeeded"},
    {ERROR_FILE_NOT_FOUND, "The file or object cannot be found"},
    {ERROR_PATH_NOT_FOUND, "The path cannot be found"},
    {ERROR_TOO_MANY_OPEN_FILES, "Too many files are open"},
    {ERROR_ACCESS_DENIED, "Access is denied"},
    {ERROR_INVALID_HANDLE, "The handle is not valid"},
    {ERROR_NOT_ENOUGH_MEMORY, "There is not enough memory for this operation"},
    {ERROR_INVALID_DATA, "The data is not valid"},
    {ERROR_OUTOFMEMORY, "The memory is exhausted"},
    {ERROR_NO_MORE_FILES, "There are no more files"},
    {ERROR_WRITE_FAULT, "Writing failed"},
    {ERROR_READ_FAULT, "Reading failed"},
    {ERROR_NOT_SUPPORTED, "This request is not supported"},
    {ERROR_FILE_EXISTS, "The file already exists"},
    {ERROR_INVALID_PARAMETER, "A parameter is not valid"},
    {ERROR_DISK_FULL, "The disk is full"},
    {ERROR_CALL_NOT_IMPLEMENTED, "This function is not implemented"},
    {ERROR_INSUFFICIENT_BUFFER, "The buffer passed to the call is too small"},
    {ERROR_INVALID_NAME, "The name is not valid"},
    {ERROR_MOD_NOT_FOUND, "A module cannot be found"},
    {ERROR_PROC_NOT_FOUND, "A procedure cannot be found in its module"},
    {ERROR_BUSY, "The resource is in use"},
    {ERROR_ALREADY_EXISTS, "The object already exists"},
    {ERROR_MORE_DATA, "More data is available than the buffer can hold"},
    {ERROR_NO_MORE_ITEMS, "There are no more items"},
    {ERROR_ARITHMETIC_OVERFLOW, "An arithmetic result is out of range"},
    {ERROR_OPERATION_ABORTED, "The operation was aborted"},
    {ERROR_MR_MID_NOT_FOUND, "There is no text for this message number"},
    {ERROR_INVALID_FLAGS, "The flags are not valid"},
    {ERROR_NO_UNICODE_TRANSLATION, "A character cannot be converted between these code pages"},
    {ERROR_IO_DEVICE, "An input or output device failed"},
    {ERROR_NOT_FOUND, "The element cannot be found"},
    {ERROR_CANCELLED, "The operation was cancelled by the user"},
    {ERROR_TIMEOUT, "The operation timed out"},
    {ERROR_INTERNAL_ERROR, "An internal error occurred"},
    {ERROR_RESOURCE_LANG_NOT_FOUND, "There are no texts in this language"},
    // Win32 codes of the network.
    {ERROR_CONNECTION_REFUSED, "The server refused the connection"},
    {ERROR_HOST_UNREACHABLE, "The server cannot be reached"},
    {ERROR_SERVICE_NOT_FOUND, "The service does not exist"},
    {ERROR_REQUEST_REFUSED, "The request was refused"},
    {ERROR_WINHTTP_INVALID_URL, "The URL is not valid"},
    {ERROR_WINHTTP_NAME_NOT_RESOLVED, "The server's name cannot be resolved"},
    {ERROR_WINHTTP_LOGIN_FAILURE, "The server did not accept the credentials"},
    {ERROR_WINHTTP_CONNECTION_ERROR, "The connection ended too early"},
    {ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "The server's answer is not valid"},
    {ERROR_WINHTTP_REDIRECT_FAILED, "The server redirects to a place that is not allowed"},
    {ERROR_WINHTTP_SECURE_FAILURE, "The secure connection failed"},
    {ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW, "The server's answer is too large"},
    // General results.
    {E_NOTIMPL, "This function is not implemented"},
    {E_FAIL, "The operation failed for an unspecified reason"},
    {E_UNEXPECTED, "An unexpected failure occurred"},
    {E_ACCESSDENIED, "Access to the object is denied"},
    {E_OUTOFMEMORY, "There is not enough memory to finish the operation"},
    {E_INVALIDARG, "An argument is not valid"},
    // Providers and keys.
    {NTE_BAD_UID, "The provider handle is not valid"},
    {NTE_BAD_HASH, "The hash object is not valid"},
    {NTE_BAD_KEY, "The key is not valid"},
    {NTE_BAD_LEN, "A length is not valid"},
    {NTE_BAD_DATA, "The data given to the provider is not valid"},
    {NTE_BAD_SIGNATURE, "The signature is not valid"},
    {NTE_BAD_VER, "The version of the provider's data is not supported"},
    {NTE_BAD_ALGID, "The algorithm is not valid or not supported here"},
    {NTE_BAD_FLAGS, "The flags given to the provider are not valid"},
    {NTE_BAD_TYPE, "The type of the parameter is not valid"},
    {NTE_BAD_KEY_STATE, "The key cannot be used in its present state"},
    {NTE_BAD_HASH_STATE, "The hash cannot be used in its present state"},
    {NTE_NO_KEY, "The key does not exist"},
    {NTE_NO_MEMORY, "The provider has not enough memory"},
    {NTE_EXISTS, "The object already exists"},
    {NTE_PERM, "The provider denied the access"},
    {NTE_NOT_FOUND, "The object was not found by the provider"},
    {NTE_DOUBLE_ENCRYPT, "The data is already encrypted"},
    {NTE_BAD_PROVIDER, "The provider is not valid"},
    {NTE_BAD_PROV_TYPE, "The provider type is not valid"},
    {NTE_BAD_PUBLIC_KEY, "The public key is not valid or belongs to another private key"},
    {NTE_BAD_KEYSET, "The key container does not exist"},
    {NTE_PROV_TYPE_NOT_DEF, "No provider is defined for this type"},
    {NTE_PROV_TYPE_ENTRY_BAD, "The entry of this provider type is damaged"},
    {NTE_KEYSET_NOT_DEF, "The named provider is not defined"},
    {NTE_KEYSET_ENTRY_BAD, "The entry of the named provider is damaged"},
    {NTE_PROV_TYPE_NO_MATCH, "The provider is not of the given type"},
    {NTE_PROV_DLL_NOT_FOUND, "The provider's library cannot be found"},
    {NTE_BAD_KEYSET_PARAM, "The name of the key container is not valid"},
    {NTE_FAIL, "The provider failed internally"},
    {NTE_SYS_ERR, "The provider met a system error"},
    {NTE_SILENT_CONTEXT, "The user would have to be asked, but the call is silent"},
    {SCARD_W_WRONG_CHV, "The PIN is wrong"},
    {SCARD_W_CHV_BLOCKED, "The PIN is blocked"},
    {SCARD_W_CANCELLED_BY_USER, "The user cancelled the PIN prompt"},
    // Messages.
    {CRYPT_E_MSG_ERROR, "The message cannot be processed in its present state"},
    {CRYPT_E_UNKNOWN_ALGO, "The algorithm is unknown"},
    {CRYPT_E_OID_FORMAT, "The object identifier is badly formed"},
    {CRYPT_E_INVALID_MSG_TYPE, "The type of the message is not valid for this operation"},
    {CRYPT_E_UNEXPECTED_ENCODING, "The message is encoded in an unexpected way"},
    {CRYPT_E_AUTH_ATTR_MISSING, "A signed attribute that is required is missing"},
    {CRYPT_E_HASH_VALUE, "The hash value does not match"},
    {CRYPT_E_INVALID_INDEX, "The index is out of range"},
    {CRYPT_E_ALREADY_DECRYPTED, "The message is already decrypted"},
    {CRYPT_E_NOT_DECRYPTED, "The message is not decrypted yet"},
    {CRYPT_E_RECIPIENT_NOT_FOUND, "The recipient is not among those of the message"},
    {CRYPT_E_CONTROL_TYPE, "The control type is not valid"},
    {CRYPT_E_ISSUER_SERIALNUMBER, "The issuer or the serial number is not valid"},
    {CRYPT_E_SIGNER_NOT_FOUND, "The signer is not among those of the message"},
    {CRYPT_E_ATTRIBUTES_MISSING, "The message has no such attributes"},
    {CRYPT_E_STREAM_MSG_NOT_READY, "The streamed message is not complete enough for this request"},
    {CRYPT_E_STREAM_INSUFFICIENT_DATA, "The streamed message needs more data"},
    // Certificates and stores.
    {CRYPT_E_BAD_LEN, "The length of the output is not sufficient"},
    {CRYPT_E_BAD_ENCODE, "Encoding or decoding failed"},
    {CRYPT_E_FILE_ERROR, "A file could not be read or written"},
    {CRYPT_E_NOT_FOUND, "The object or property was not found"},
    {CRYPT_E_EXISTS, "The object or property already exists"},
    {CRYPT_E_NO_PROVIDER, "No provider is set for this object"},
    {CRYPT_E_SELF_SIGNED, "The certificate is self-signed"},
    {CRYPT_E_DELETED_PREV, "The previous element was deleted"},
    {CRYPT_E_NO_MATCH, "No object matches"},
    {CRYPT_E_UNEXPECTED_MSG_TYPE, "The type of the message was not expected"},
    {CRYPT_E_NO_KEY_PROPERTY, "There is no private key for this certificate"},
    {CRYPT_E_NO_DECRYPT_CERT, "No certificate can decrypt the message"},
    {CRYPT_E_BAD_MSG, "The message is damaged"},
    {CRYPT_E_NO_SIGNER, "The message has no such signer"},
    {CRYPT_E_PENDING_CLOSE, "The store will be closed when its last context is released"},
    {CRYPT_E_REVOKED, "The certificate is revoked"},
    {CRYPT_E_NO_REVOCATION_DLL, "Revocation cannot be checked: nothing is installed for it"},
    {CRYPT_E_NO_REVOCATION_CHECK, "Revocation could not be checked"},
    {CRYPT_E_REVOCATION_OFFLINE, "Revocation could not be checked: no revocation data is at hand"},
    {CRYPT_E_INVALID_X500_STRING, "The text of the name is not valid"},
    {CRYPT_E_NOT_CHAR_STRING, "The value is not a character string"},
    {CRYPT_E_SECURITY_SETTINGS, "The operation is refused by the security settings"},
    {CRYPT_E_NO_TRUSTED_SIGNER, "None of the signers is trusted"},
    // ASN.1.
    {CRYPT_E_OSS_ERROR, "The ASN.1 decoder failed"},
    {CRYPT_E_ASN1_ERROR, "The ASN.1 decoder failed internally"},
    {CRYPT_E_ASN1_EOD, "The encoded data ends unexpectedly"},
    {CRYPT_E_ASN1_CORRUPT, "The encoded data is damaged"},
    {CRYPT_E_ASN1_LARGE, "The encoded value is too large"},
    {CRYPT_E_ASN1_MEMORY, "The ASN.1 decoder has not enough memory"},
    {CRYPT_E_ASN1_BADTAG, "The encoded data has an unexpected tag"},
    {CRYPT_E_ASN1_NOEOD, "The end of the encoded data is missing"},
    // Trust.
    {TRUST_E_CERT_SIGNATURE, "The signature of the certificate cannot be verified"},
    {TRUST_E_TIME_STAMP, "The time stamp is malformed or not to be trusted"},
    {TRUST_E_BASIC_CONSTRAINTS, "A certificate in the chain is no authority"},
    {TRUST_E_NOSIGNATURE, "There is no signature"},
    {CERT_E_EXPIRED, "A certificate is expired or not yet valid"},
    {CERT_E_CRITICAL, "A critical extension is not understood or malformed"},
    {CERT_E_UNTRUSTEDROOT, "The chain ends in a root that is not trusted"},
    {CERT_E_CHAINING, "The chain cannot be built to a trusted root"},
    {TRUST_E_FAIL, "The chain is not to be trusted"},
    {CERT_E_WRONG_USAGE, "The certificate is not good for this usage"},
    {CERT_E_INVALID_POLICY, "A certificate policy is violated"},
    {CERT_E_INVALID_NAME, "A name in the chain is not permitted"},
};
// clang-format on

// The results that stand for a plain Win32 code carry it in their low half.
constexpr DWORD kWin32Result = 0x80070000;
constexpr DWORD kLowHalf = 0xFFFF;

const char* find(DWORD code) {
  for (const TextRow& row : kTexts) {
    if (row.code == code) {
      return row.text;
    }
  }
  return nullptr;
}

}  // namespace

const char* errorText(DWORD code) {
  const char* text = find(code);
  const bool wrapped = (code & ~kLowHalf) == kWin32Result;
  return text == nullptr && wrapped ? find(code & kLowHalf) : text;
}

}  // namespace qx
