#ifndef QX_PLATFORM_CRYPT_PROV_H_
#define QX_PLATFORM_CRYPT_PROV_H_

/* Providers and private keys. */

#include "platform/cert.h"
#include "platform/oid_info.h"

/* Provider types. */
#define PROV_RSA_FULL 0x1u
#define PROV_RSA_SIG 0x2u
#define PROV_DSS 0x3u
#define PROV_RSA_AES 0x18u

/* Kinds of keys. */
#define AT_KEYEXCHANGE 0x1u
#define AT_SIGNATURE 0x2u
#define CERT_NCRYPT_KEY_SPEC 0xFFFFFFFFu

/* Flags of CryptAcquireContext. */
#define CRYPT_VERIFYCONTEXT 0xF0000000u
#define CRYPT_NEWKEYSET 0x8u
#define CRYPT_DELETEKEYSET 0x10u
#define CRYPT_MACHINE_KEYSET 0x20u
#define CRYPT_SILENT 0x40u
#define CRYPT_DEFAULT_CONTAINER_OPTIONAL 0x80u

/* Flags and parameters of CryptGetProvParam and CryptSetProvParam. */
#define CRYPT_FIRST 0x1u
#define CRYPT_NEXT 0x2u
#define PP_ENUMALGS 0x1u
#define PP_ENUMCONTAINERS 0x2u
#define PP_IMPTYPE 0x3u
#define PP_NAME 0x4u
#define PP_VERSION 0x5u
#define PP_CONTAINER 0x6u
#define PP_PROVTYPE 0x10u
#define PP_ENUMALGS_EX 0x16u
#define PP_KEYSET_TYPE 0x1Bu
#define PP_ADMIN_PIN 0x1Fu
#define PP_KEYEXCHANGE_PIN 0x20u
#define PP_SIGNATURE_PIN 0x21u
#define PP_UNIQUE_CONTAINER 0x24u
#define PP_KEYSPEC 0x27u
#define PP_CLIENT_HWND 0x1u

/* Values of PP_IMPTYPE. */
#define CRYPT_IMPL_HARDWARE 0x1u
#define CRYPT_IMPL_SOFTWARE 0x2u
#define CRYPT_IMPL_MIXED 0x3u
#define CRYPT_IMPL_UNKNOWN 0x4u
#define CRYPT_IMPL_REMOVABLE 0x8u

/* Flags of CryptAcquireCertificatePrivateKey. */
#define CRYPT_ACQUIRE_CACHE_FLAG 0x1u
#define CRYPT_ACQUIRE_USE_PROV_INFO_FLAG 0x2u
#define CRYPT_ACQUIRE_COMPARE_KEY_FLAG 0x4u
#define CRYPT_ACQUIRE_NO_HEALING 0x8u
#define CRYPT_ACQUIRE_SILENT_FLAG 0x40u
#define CRYPT_ACQUIRE_WINDOW_HANDLE_FLAG 0x80u
#define CRYPT_ACQUIRE_NCRYPT_KEY_FLAGS_MASK 0x70000u
#define CRYPT_ACQUIRE_ALLOW_NCRYPT_KEY_FLAG 0x10000u
#define CRYPT_ACQUIRE_PREFER_NCRYPT_KEY_FLAG 0x20000u
#define CRYPT_ACQUIRE_ONLY_NCRYPT_KEY_FLAG 0x40000u
/** The provider type of GOST R 34.10-2001. */
#define PROV_GOST_2001_DH 0x4Bu
/** Parameter of CryptGetProvParam: the read succeeds exactly when the private key behind the handle
 * can be used now, with the PIN that was set if it needs one; else SCARD_W_WRONG_CHV. The value read,
 * at most 8 bytes, has no meaning. */
#define PP_QX_KEY_USABLE 0x6Du

QX_PLATFORM_BEGIN

/** One item of PP_ENUMALGS. dwBitLen is in bits; dwNameLen counts the name's NUL. */
typedef struct PROV_ENUMALGS {
  ALG_ID aiAlgid;
  DWORD dwBitLen;
  DWORD dwNameLen;
  CHAR szName[20];
} PROV_ENUMALGS;

QX_PIN_SIZE(PROV_ENUMALGS, 32);
QX_PIN(PROV_ENUMALGS, aiAlgid, 0);
QX_PIN(PROV_ENUMALGS, dwBitLen, 4);
QX_PIN(PROV_ENUMALGS, dwNameLen, 8);
QX_PIN(PROV_ENUMALGS, szName, 12);

/** One item of PP_ENUMALGS_EX. */
typedef struct PROV_ENUMALGS_EX {
  ALG_ID aiAlgid;
  DWORD dwDefaultLen;
  DWORD dwMinLen;
  DWORD dwMaxLen;
  DWORD dwProtocols;
  DWORD dwNameLen;
  CHAR szName[20];
  DWORD dwLongNameLen;
  CHAR szLongName[40];
} PROV_ENUMALGS_EX;

QX_PIN_SIZE(PROV_ENUMALGS_EX, 88);
QX_PIN(PROV_ENUMALGS_EX, aiAlgid, 0);
QX_PIN(PROV_ENUMALGS_EX, dwDefaultLen, 4);
QX_PIN(PROV_ENUMALGS_EX, dwMinLen, 8);
QX_PIN(PROV_ENUMALGS_EX, dwMaxLen, 12);
QX_PIN(PROV_ENUMALGS_EX, dwProtocols, 16);
QX_PIN(PROV_ENUMALGS_EX, dwNameLen, 20);
QX_PIN(PROV_ENUMALGS_EX, szName, 24);
QX_PIN(PROV_ENUMALGS_EX, dwLongNameLen, 44);
QX_PIN(PROV_ENUMALGS_EX, szLongName, 48);

/** Opens a key container, or with CRYPT_VERIFYCONTEXT (szContainer NULL) a provider without keys.
 * szProvider NULL: the default provider of dwProvType. The caller releases *phProv with
 * CryptReleaseContext. Errors: NTE_BAD_KEYSET, NTE_EXISTS, NTE_BAD_PROV_TYPE, NTE_PROV_TYPE_NOT_DEF,
 * NTE_KEYSET_NOT_DEF, NTE_PROV_TYPE_NO_MATCH, NTE_BAD_FLAGS, NTE_BAD_KEYSET_PARAM,
 * ERROR_INVALID_PARAMETER. */
QX_MUST_USE QX_PLATFORM_API BOOL CryptAcquireContextA(
    HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider, DWORD dwProvType, DWORD dwFlags);
#define CryptAcquireContext CryptAcquireContextA

/** Releases a provider handle. FALSE: ERROR_INVALID_PARAMETER (no handle), NTE_BAD_FLAGS (dwFlags not
 * 0; the handle is released all the same). Success leaves the last error alone. */
QX_PLATFORM_API BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

/** Finds the private key of a certificate. The key is not unlocked by it.
 *
 * pdwKeySpec and pfCallerFreeProvOrNCryptKey may be NULL. *pfCallerFree... is TRUE when the caller
 * releases the handle, FALSE when the certificate's context keeps it (CRYPT_ACQUIRE_CACHE_FLAG).
 * On failure no handle is given and *pfCallerFree... is FALSE: CRYPT_E_NO_KEY_PROPERTY,
 * NTE_BAD_PUBLIC_KEY (CRYPT_ACQUIRE_COMPARE_KEY_FLAG), NTE_SILENT_CONTEXT, and what
 * CryptAcquireContextA says. Success sets the last error to 0. */
QX_MUST_USE QX_PLATFORM_API BOOL
CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert,
                                  DWORD dwFlags,
                                  void* pvParameters,
                                  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                  DWORD* pdwKeySpec,
                                  BOOL* pfCallerFreeProvOrNCryptKey);

/** Sets a parameter of a provider handle. PP_KEYEXCHANGE_PIN and PP_SIGNATURE_PIN: pbData is the PIN,
 * NUL-terminated, copied; whether it is right shows when the key is used or PP_QX_KEY_USABLE is read.
 * dwFlags is 0. Errors: NTE_BAD_TYPE, NTE_BAD_FLAGS, ERROR_INVALID_HANDLE. */
QX_MUST_USE QX_PLATFORM_API BOOL CryptSetProvParam(HCRYPTPROV hProv,
                                                   DWORD dwParam,
                                                   const BYTE* pbData,
                                                   DWORD dwFlags);

/** Reads a parameter of a provider handle by the two-pass size protocol.
 *
 * PP_ENUMALGS: one algorithm a call as PROV_ENUMALGS, the first with CRYPT_FIRST, the following with
 * CRYPT_NEXT or 0, then ERROR_NO_MORE_ITEMS; asking the size does not advance. Names and containers
 * are strings with their NUL, PP_PROVTYPE and PP_IMPTYPE a DWORD. NTE_BAD_TYPE for an unknown
 * parameter. */
QX_MUST_USE QX_PLATFORM_API BOOL
CryptGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen, DWORD dwFlags);

QX_PLATFORM_END

#endif
