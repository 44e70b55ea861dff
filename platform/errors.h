#ifndef QX_PLATFORM_ERRORS_H_
#define QX_PLATFORM_ERRORS_H_

/* Error codes, the last error of a thread, and the texts of the codes.
 *
 * The codes are unsigned 32-bit numbers, so they compare as they are with what GetLastError()
 * returns.
 */

#include <stdarg.h>

#include "platform/types.h"

QX_PLATFORM_BEGIN

/** The last error of the calling thread. Every function of the platform that returns FALSE or NULL
 * sets it; one that succeeds leaves it alone, but for CertNameToStrW, CryptDecodeObject and
 * CryptAcquireCertificatePrivateKey, which set it to 0. Releases, closes and the qxsup_ functions
 * never change it when they succeed. */
QX_PLATFORM_API DWORD GetLastError(void);

/** Sets the last error of the calling thread. */
QX_PLATFORM_API void SetLastError(DWORD dwErrCode);

/** Frees memory that a function of the platform allocated for its caller (malloc's heap).
 * Returns NULL; NULL is accepted. Leaves the last error alone. */
QX_PLATFORM_API HLOCAL LocalFree(HLOCAL hMem);

/** Gives the text of an error code, in ASCII with a terminating NUL.
 *
 * dwFlags holds FORMAT_MESSAGE_FROM_SYSTEM (other sources are not offered) and may hold
 * FORMAT_MESSAGE_ALLOCATE_BUFFER: lpBuffer is then the address of a char*, nSize the least number of
 * characters to allocate, and the caller frees the result with LocalFree. FORMAT_MESSAGE_IGNORE_INSERTS
 * makes no difference: the texts have no inserts, and Arguments is not read. dwLanguageId is 0.
 *
 * Returns the number of characters without the NUL. On failure 0, and an allocated buffer's pointer
 * is NULL: ERROR_MR_MID_NOT_FOUND for a code without text, ERROR_RESOURCE_LANG_NOT_FOUND for another
 * language, ERROR_INSUFFICIENT_BUFFER when the caller's buffer of nSize characters is too small,
 * ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY. Texts end in a full stop, a blank, CR and LF. */
QX_MUST_USE QX_PLATFORM_API DWORD FormatMessageA(DWORD dwFlags,
                                                 LPCVOID lpSource,
                                                 DWORD dwMessageId,
                                                 DWORD dwLanguageId,
                                                 LPSTR lpBuffer,
                                                 DWORD nSize,
                                                 va_list* Arguments);
#define FormatMessage FormatMessageA

QX_PLATFORM_END

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x200u
#define FORMAT_MESSAGE_FROM_STRING 0x400u
#define FORMAT_MESSAGE_FROM_HMODULE 0x800u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x1000u
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x2000u
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0xFFu

/* Win32 codes. */
#define ERROR_SUCCESS 0x0u               /* The operation succeeded */
#define ERROR_FILE_NOT_FOUND 0x2u        /* The file or object cannot be found */
#define ERROR_PATH_NOT_FOUND 0x3u        /* The path cannot be found */
#define ERROR_TOO_MANY_OPEN_FILES 0x4u   /* Too many files are open */
#define ERROR_ACCESS_DENIED 0x5u         /* Access is denied */
#define ERROR_INVALID_HANDLE 0x6u        /* The handle is not valid */
#define ERROR_NOT_ENOUGH_MEMORY 0x8u     /* There is not enough memory for this operation */
#define ERROR_INVALID_DATA 0xDu          /* The data is not valid */
#define ERROR_OUTOFMEMORY 0xEu           /* The memory is exhausted */
#define ERROR_NO_MORE_FILES 0x12u        /* There are no more files */
#define ERROR_WRITE_FAULT 0x1Du          /* Writing failed */
#define ERROR_READ_FAULT 0x1Eu           /* Reading failed */
#define ERROR_NOT_SUPPORTED 0x32u        /* This request is not supported */
#define ERROR_FILE_EXISTS 0x50u          /* The file already exists */
#define ERROR_INVALID_PARAMETER 0x57u    /* A parameter is not valid */
#define ERROR_DISK_FULL 0x70u            /* The disk is full */
#define ERROR_CALL_NOT_IMPLEMENTED 0x78u /* This function is not implemented */
#define ERROR_INSUFFICIENT_BUFFER 0x7Au  /* The buffer passed to the call is too small */
#define ERROR_INVALID_NAME 0x7Bu         /* The name is not valid */
#define ERROR_MOD_NOT_FOUND 0x7Eu        /* A module cannot be found */
#define ERROR_PROC_NOT_FOUND 0x7Fu       /* A procedure cannot be found in its module */
#define ERROR_BUSY 0xAAu                 /* The resource is in use */
#define ERROR_ALREADY_EXISTS 0xB7u       /* The object already exists */
#define ERROR_MORE_DATA 0xEAu            /* More data is available than the buffer can hold */
#define ERROR_NO_MORE_ITEMS 0x103u       /* There are no more items */
#define ERROR_ARITHMETIC_OVERFLOW 0x216u /* An arithmetic result is out of range */
#define ERROR_OPERATION_ABORTED 0x3E3u   /* The operation was aborted */
#define ERROR_MR_MID_NOT_FOUND 0x13Du    /* There is no text for this message number */
#define ERROR_INVALID_FLAGS 0x3ECu       /* The flags are not valid */
#define ERROR_NO_UNICODE_TRANSLATION \
  0x459u                            /* A character cannot be converted between these code pages */
#define ERROR_IO_DEVICE 0x45Du      /* An input or output device failed */
#define ERROR_NOT_FOUND 0x490u      /* The element cannot be found */
#define ERROR_CANCELLED 0x4C7u      /* The operation was cancelled by the user */
#define ERROR_TIMEOUT 0x5B4u        /* The operation timed out */
#define ERROR_INTERNAL_ERROR 0x54Fu /* An internal error occurred */
#define ERROR_RESOURCE_LANG_NOT_FOUND 0x717u /* There are no texts in this language */

/* Win32 codes of the network. */
#define ERROR_CONNECTION_REFUSED 0x4C9u         /* The server refused the connection */
#define ERROR_HOST_UNREACHABLE 0x4D0u           /* The server cannot be reached */
#define ERROR_SERVICE_NOT_FOUND 0x4DBu          /* The service does not exist */
#define ERROR_REQUEST_REFUSED 0x10E0u           /* The request was refused */
#define ERROR_WINHTTP_INVALID_URL 0x2EE5u       /* The URL is not valid */
#define ERROR_WINHTTP_NAME_NOT_RESOLVED 0x2EE7u /* The server's name cannot be resolved */
#define ERROR_WINHTTP_LOGIN_FAILURE 0x2EEFu     /* The server did not accept the credentials */
#define ERROR_WINHTTP_CONNECTION_ERROR 0x2EFEu  /* The connection ended too early */
#define ERROR_WINHTTP_INVALID_SERVER_RESPONSE 0x2F78u /* The server's answer is not valid */
#define ERROR_WINHTTP_REDIRECT_FAILED \
  0x2F7Cu /* The server redirects to a place that is not allowed */
#define ERROR_WINHTTP_SECURE_FAILURE 0x2F8Fu          /* The secure connection failed */
#define ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW 0x2F98u /* The server's answer is too large */

/* General results. */
#define E_NOTIMPL 0x80004001u      /* This function is not implemented */
#define E_FAIL 0x80004005u         /* The operation failed for an unspecified reason */
#define E_UNEXPECTED 0x8000FFFFu   /* An unexpected failure occurred */
#define E_ACCESSDENIED 0x80070005u /* Access to the object is denied */
#define E_OUTOFMEMORY 0x8007000Eu  /* There is not enough memory to finish the operation */
#define E_INVALIDARG 0x80070057u   /* An argument is not valid */

/* Providers and keys. */
#define NTE_BAD_UID 0x80090001u        /* The provider handle is not valid */
#define NTE_BAD_HASH 0x80090002u       /* The hash object is not valid */
#define NTE_BAD_KEY 0x80090003u        /* The key is not valid */
#define NTE_BAD_LEN 0x80090004u        /* A length is not valid */
#define NTE_BAD_DATA 0x80090005u       /* The data given to the provider is not valid */
#define NTE_BAD_SIGNATURE 0x80090006u  /* The signature is not valid */
#define NTE_BAD_VER 0x80090007u        /* The version of the provider's data is not supported */
#define NTE_BAD_ALGID 0x80090008u      /* The algorithm is not valid or not supported here */
#define NTE_BAD_FLAGS 0x80090009u      /* The flags given to the provider are not valid */
#define NTE_BAD_TYPE 0x8009000Au       /* The type of the parameter is not valid */
#define NTE_BAD_KEY_STATE 0x8009000Bu  /* The key cannot be used in its present state */
#define NTE_BAD_HASH_STATE 0x8009000Cu /* The hash cannot be used in its present state */
#define NTE_NO_KEY 0x8009000Du         /* The key does not exist */
#define NTE_NO_MEMORY 0x8009000Eu      /* The provider has not enough memory */
#define NTE_EXISTS 0x8009000Fu         /* The object already exists */
#define NTE_PERM 0x80090010u           /* The provider denied the access */
#define NTE_NOT_FOUND 0x80090011u      /* The object was not found by the provider */
#define NTE_DOUBLE_ENCRYPT 0x80090012u /* The data is already encrypted */
#define NTE_BAD_PROVIDER 0x80090013u   /* The provider is not valid */
#define NTE_BAD_PROV_TYPE 0x80090014u  /* The provider type is not valid */
#define NTE_BAD_PUBLIC_KEY \
  0x80090015u /* The public key is not valid or belongs to another private key */
#define NTE_BAD_KEYSET 0x80090016u          /* The key container does not exist */
#define NTE_PROV_TYPE_NOT_DEF 0x80090017u   /* No provider is defined for this type */
#define NTE_PROV_TYPE_ENTRY_BAD 0x80090018u /* The entry of this provider type is damaged */
#define NTE_KEYSET_NOT_DEF 0x80090019u      /* The named provider is not defined */
#define NTE_KEYSET_ENTRY_BAD 0x8009001Au    /* The entry of the named provider is damaged */
#define NTE_PROV_TYPE_NO_MATCH 0x8009001Bu  /* The provider is not of the given type */
#define NTE_PROV_DLL_NOT_FOUND 0x8009001Eu  /* The provider's library cannot be found */
#define NTE_BAD_KEYSET_PARAM 0x8009001Fu    /* The name of the key container is not valid */
#define NTE_FAIL 0x80090020u                /* The provider failed internally */
#define NTE_SYS_ERR 0x80090021u             /* The provider met a system error */
#define NTE_SILENT_CONTEXT 0x80090022u /* The user would have to be asked, but the call is silent */
#define SCARD_W_WRONG_CHV 0x8010006Bu  /* The PIN is wrong */
#define SCARD_W_CHV_BLOCKED 0x8010006Cu       /* The PIN is blocked */
#define SCARD_W_CANCELLED_BY_USER 0x8010006Eu /* The user cancelled the PIN prompt */

/* Messages. */
#define CRYPT_E_MSG_ERROR 0x80091001u    /* The message cannot be processed in its present state */
#define CRYPT_E_UNKNOWN_ALGO 0x80091002u /* The algorithm is unknown */
#define CRYPT_E_OID_FORMAT 0x80091003u   /* The object identifier is badly formed */
#define CRYPT_E_INVALID_MSG_TYPE \
  0x80091004u /* The type of the message is not valid for this operation */
#define CRYPT_E_UNEXPECTED_ENCODING 0x80091005u /* The message is encoded in an unexpected way */
#define CRYPT_E_AUTH_ATTR_MISSING 0x80091006u   /* A signed attribute that is required is missing */
#define CRYPT_E_HASH_VALUE 0x80091007u          /* The hash value does not match */
#define CRYPT_E_INVALID_INDEX 0x80091008u       /* The index is out of range */
#define CRYPT_E_ALREADY_DECRYPTED 0x80091009u   /* The message is already decrypted */
#define CRYPT_E_NOT_DECRYPTED 0x8009100Au       /* The message is not decrypted yet */
#define CRYPT_E_RECIPIENT_NOT_FOUND \
  0x8009100Bu                            /* The recipient is not among those of the message */
#define CRYPT_E_CONTROL_TYPE 0x8009100Cu /* The control type is not valid */
#define CRYPT_E_ISSUER_SERIALNUMBER 0x8009100Du /* The issuer or the serial number is not valid */
#define CRYPT_E_SIGNER_NOT_FOUND 0x8009100Eu    /* The signer is not among those of the message */
#define CRYPT_E_ATTRIBUTES_MISSING 0x8009100Fu  /* The message has no such attributes */
#define CRYPT_E_STREAM_MSG_NOT_READY \
  0x80091010u /* The streamed message is not complete enough for this request */
#define CRYPT_E_STREAM_INSUFFICIENT_DATA 0x80091011u /* The streamed message needs more data */

/* Certificates and stores. */
#define CRYPT_E_BAD_LEN 0x80092001u             /* The length of the output is not sufficient */
#define CRYPT_E_BAD_ENCODE 0x80092002u          /* Encoding or decoding failed */
#define CRYPT_E_FILE_ERROR 0x80092003u          /* A file could not be read or written */
#define CRYPT_E_NOT_FOUND 0x80092004u           /* The object or property was not found */
#define CRYPT_E_EXISTS 0x80092005u              /* The object or property already exists */
#define CRYPT_E_NO_PROVIDER 0x80092006u         /* No provider is set for this object */
#define CRYPT_E_SELF_SIGNED 0x80092007u         /* The certificate is self-signed */
#define CRYPT_E_DELETED_PREV 0x80092008u        /* The previous element was deleted */
#define CRYPT_E_NO_MATCH 0x80092009u            /* No object matches */
#define CRYPT_E_UNEXPECTED_MSG_TYPE 0x8009200Au /* The type of the message was not expected */
#define CRYPT_E_NO_KEY_PROPERTY 0x8009200Bu     /* There is no private key for this certificate */
#define CRYPT_E_NO_DECRYPT_CERT 0x8009200Cu     /* No certificate can decrypt the message */
#define CRYPT_E_BAD_MSG 0x8009200Du             /* The message is damaged */
#define CRYPT_E_NO_SIGNER 0x8009200Eu           /* The message has no such signer */
#define CRYPT_E_PENDING_CLOSE \
  0x8009200Fu                       /* The store will be closed when its last context is released */
#define CRYPT_E_REVOKED 0x80092010u /* The certificate is revoked */
#define CRYPT_E_NO_REVOCATION_DLL \
  0x80092011u /* Revocation cannot be checked: nothing is installed for it */
#define CRYPT_E_NO_REVOCATION_CHECK 0x80092012u /* Revocation could not be checked */
#define CRYPT_E_REVOCATION_OFFLINE \
  0x80092013u /* Revocation could not be checked: no revocation data is at hand */
#define CRYPT_E_INVALID_X500_STRING 0x80092023u /* The text of the name is not valid */
#define CRYPT_E_NOT_CHAR_STRING 0x80092024u     /* The value is not a character string */
#define CRYPT_E_SECURITY_SETTINGS \
  0x80092026u /* The operation is refused by the security settings */
#define CRYPT_E_NO_TRUSTED_SIGNER 0x8009202Bu /* None of the signers is trusted */

/* ASN.1. */
#define CRYPT_E_OSS_ERROR 0x80093000u    /* The ASN.1 decoder failed */
#define CRYPT_E_ASN1_ERROR 0x80093100u   /* The ASN.1 decoder failed internally */
#define CRYPT_E_ASN1_EOD 0x80093102u     /* The encoded data ends unexpectedly */
#define CRYPT_E_ASN1_CORRUPT 0x80093103u /* The encoded data is damaged */
#define CRYPT_E_ASN1_LARGE 0x80093104u   /* The encoded value is too large */
#define CRYPT_E_ASN1_MEMORY 0x80093106u  /* The ASN.1 decoder has not enough memory */
#define CRYPT_E_ASN1_BADTAG 0x8009310Bu  /* The encoded data has an unexpected tag */
#define CRYPT_E_ASN1_NOEOD 0x80093202u   /* The end of the encoded data is missing */

/* Trust. */
#define TRUST_E_CERT_SIGNATURE 0x80096004u /* The signature of the certificate cannot be verified */
#define TRUST_E_TIME_STAMP 0x80096005u     /* The time stamp is malformed or not to be trusted */
#define TRUST_E_BASIC_CONSTRAINTS 0x80096019u /* A certificate in the chain is no authority */
#define TRUST_E_NOSIGNATURE 0x800B0100u       /* There is no signature */
#define CERT_E_EXPIRED 0x800B0101u            /* A certificate is expired or not yet valid */
#define CERT_E_CRITICAL 0x800B0105u       /* A critical extension is not understood or malformed */
#define CERT_E_UNTRUSTEDROOT 0x800B0109u  /* The chain ends in a root that is not trusted */
#define CERT_E_CHAINING 0x800B010Au       /* The chain cannot be built to a trusted root */
#define TRUST_E_FAIL 0x800B010Bu          /* The chain is not to be trusted */
#define CERT_E_WRONG_USAGE 0x800B0110u    /* The certificate is not good for this usage */
#define CERT_E_INVALID_POLICY 0x800B0113u /* A certificate policy is violated */
#define CERT_E_INVALID_NAME 0x800B0114u   /* A name in the chain is not permitted */

#endif
