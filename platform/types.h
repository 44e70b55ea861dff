#ifndef QX_PLATFORM_TYPES_H_
#define QX_PLATFORM_TYPES_H_

/* Plain types, handles and the small records that every other platform header builds on.
 *
 * The names are those of CryptoAPI 2.0, the sizes those of Linux on x86-64 (LP64): a DWORD has 32
 * bits, a WCHAR is the platform's wchar_t of 4 bytes. No type here is `long`, whose width would
 * differ, so every record keeps the member offsets that the 64-bit interface publishes; the pins
 * below each record prove it at compile time.
 *
 * Rules that hold for every header of this folder (README.md tells them at length):
 *  1. BOOL functions return TRUE or FALSE; after FALSE or NULL the reason is in GetLastError().
 *  2. Functions that fill a caller's buffer follow the two-pass size protocol.
 *  3. A record that comes back in a caller's buffer is one piece: its pointers lead into that
 *     buffer, nothing in it is freed, and copying it elsewhere breaks it.
 *  4. Sizes named cb... count bytes, those named cch... or csz... count characters.
 *  5. Integers in CRYPT_INTEGER_BLOB are little-endian two's complement; names, attribute values
 *     and algorithm parameters are whole DER values.
 */

#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
#define QX_PLATFORM_BEGIN extern "C" {
#define QX_PLATFORM_END }
/** Marks a function whose answer must be looked at. */
#define QX_MUST_USE [[nodiscard]]
/** A small number in the place of a pointer, as the published interface passes identifiers. */
#define QX_NUMBER_AS(type, number) \
  (reinterpret_cast<type>(static_cast<uintptr_t>(number))) /* NOLINT(performance-no-int-to-ptr) */
#else
#define QX_PLATFORM_BEGIN
#define QX_PLATFORM_END
/** Marks a function whose answer must be looked at. */
#define QX_MUST_USE __attribute__((warn_unused_result))
/** A small number in the place of a pointer, as the published interface passes identifiers. */
#define QX_NUMBER_AS(type, number) ((type)(uintptr_t)(number))
#endif

/** Marks a function that the provider's shared library exports. */
#define QX_PLATFORM_API __attribute__((visibility("default")))

/** Pins the size of a record, in bytes. */
#define QX_PIN_SIZE(type, size) static_assert(sizeof(type) == (size), "size of " #type)
/** Pins the offset of a member, in bytes. */
#define QX_PIN(type, member, offset) \
  static_assert(offsetof(type, member) == (offset), "offset of " #type "." #member)

typedef uint8_t BYTE;
typedef BYTE* LPBYTE;
typedef BYTE* PBYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef DWORD* LPDWORD;
typedef DWORD* PDWORD;
typedef uint32_t UINT;
typedef uint32_t ULONG;
typedef int32_t LONG;
typedef int32_t BOOL;
typedef BOOL* LPBOOL;
typedef int32_t HRESULT;
typedef char CHAR;
typedef wchar_t WCHAR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef wchar_t* LPWSTR;
typedef const wchar_t* LPCWSTR;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef void* HANDLE;
typedef void* HLOCAL;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

static_assert(sizeof(WCHAR) == 4, "the platform's wide characters have 32 bits");
static_assert(sizeof(void*) == 8, "the records are laid out for 64-bit pointers");

/** An algorithm identifier of the CALG_ family. */
typedef unsigned int ALG_ID;

/** Handles of providers and keys: integers of pointer size, 0 is no handle. */
typedef uintptr_t HCRYPTPROV;
typedef uintptr_t HCRYPTPROV_LEGACY;
typedef uintptr_t HCRYPTKEY;
typedef uintptr_t HCRYPTHASH;
typedef uintptr_t NCRYPT_KEY_HANDLE;
typedef uintptr_t HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;

/** Handles of messages, stores and chain engines: pointers, NULL is no handle. */
typedef void* HCRYPTMSG;
typedef void* HCERTSTORE;
typedef void* HCERTCHAINENGINE;

/** A point in time: 100 ns units since 1601-01-01 00:00 UTC, in two halves. */
typedef struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

QX_PIN_SIZE(FILETIME, 8);
QX_PIN(FILETIME, dwLowDateTime, 0);
QX_PIN(FILETIME, dwHighDateTime, 4);

/** A point in time as a calendar shows it; no time zone. wDayOfWeek counts from Sunday, 0. */
typedef struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth; /* 1 to 12 */
  WORD wDayOfWeek;
  WORD wDay; /* 1 to 31 */
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

QX_PIN_SIZE(SYSTEMTIME, 16);
QX_PIN(SYSTEMTIME, wYear, 0);
QX_PIN(SYSTEMTIME, wMonth, 2);
QX_PIN(SYSTEMTIME, wDayOfWeek, 4);
QX_PIN(SYSTEMTIME, wDay, 6);
QX_PIN(SYSTEMTIME, wHour, 8);
QX_PIN(SYSTEMTIME, wMinute, 10);
QX_PIN(SYSTEMTIME, wSecond, 12);
QX_PIN(SYSTEMTIME, wMilliseconds, 14);

/** A 128-bit identifier. */
typedef struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} GUID;

QX_PIN_SIZE(GUID, 16);

/** Counted bytes; what they mean is told by the name under which the record is used. */
typedef struct CRYPT_INTEGER_BLOB {
  DWORD cbData;
  BYTE* pbData;
} CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB;

QX_PIN_SIZE(CRYPT_INTEGER_BLOB, 16);
QX_PIN(CRYPT_INTEGER_BLOB, cbData, 0);
QX_PIN(CRYPT_INTEGER_BLOB, pbData, 8);
typedef CRYPT_INTEGER_BLOB CRYPT_UINT_BLOB, *PCRYPT_UINT_BLOB;
typedef CRYPT_INTEGER_BLOB CRYPT_DATA_BLOB, *PCRYPT_DATA_BLOB;
typedef CRYPT_INTEGER_BLOB CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB;
typedef CRYPT_INTEGER_BLOB CRYPT_DIGEST_BLOB, *PCRYPT_DIGEST_BLOB;
typedef CRYPT_INTEGER_BLOB CRYPT_OBJID_BLOB, *PCRYPT_OBJID_BLOB;
typedef CRYPT_INTEGER_BLOB CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;
typedef CRYPT_INTEGER_BLOB CRYPT_DER_BLOB, *PCRYPT_DER_BLOB;
typedef CRYPT_INTEGER_BLOB CERT_NAME_BLOB, *PCERT_NAME_BLOB;
typedef CRYPT_INTEGER_BLOB CERT_RDN_VALUE_BLOB, *PCERT_RDN_VALUE_BLOB;
typedef CRYPT_INTEGER_BLOB CERT_BLOB, *PCERT_BLOB;
typedef CRYPT_INTEGER_BLOB CRL_BLOB, *PCRL_BLOB;

/** A bit string: its bytes in DER order and the number of unused bits in the last one. */
typedef struct CRYPT_BIT_BLOB {
  DWORD cbData;
  BYTE* pbData;
  DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

QX_PIN_SIZE(CRYPT_BIT_BLOB, 24);
QX_PIN(CRYPT_BIT_BLOB, cbData, 0);
QX_PIN(CRYPT_BIT_BLOB, pbData, 8);
QX_PIN(CRYPT_BIT_BLOB, cUnusedBits, 16);

/** An algorithm: its dotted OID and its parameters, one whole DER value or empty. */
typedef struct CRYPT_ALGORITHM_IDENTIFIER {
  LPSTR pszObjId;
  CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

QX_PIN_SIZE(CRYPT_ALGORITHM_IDENTIFIER, 24);
QX_PIN(CRYPT_ALGORITHM_IDENTIFIER, pszObjId, 0);
QX_PIN(CRYPT_ALGORITHM_IDENTIFIER, Parameters, 8);

/** An attribute: its dotted OID and its values, each one whole DER value. */
typedef struct CRYPT_ATTRIBUTE {
  LPSTR pszObjId;
  DWORD cValue;
  PCRYPT_ATTR_BLOB rgValue;
} CRYPT_ATTRIBUTE, *PCRYPT_ATTRIBUTE;

QX_PIN_SIZE(CRYPT_ATTRIBUTE, 24);
QX_PIN(CRYPT_ATTRIBUTE, pszObjId, 0);
QX_PIN(CRYPT_ATTRIBUTE, cValue, 8);
QX_PIN(CRYPT_ATTRIBUTE, rgValue, 16);

/** A list of attributes. */
typedef struct CRYPT_ATTRIBUTES {
  DWORD cAttr;
  PCRYPT_ATTRIBUTE rgAttr;
} CRYPT_ATTRIBUTES, *PCRYPT_ATTRIBUTES;

QX_PIN_SIZE(CRYPT_ATTRIBUTES, 16);
QX_PIN(CRYPT_ATTRIBUTES, cAttr, 0);
QX_PIN(CRYPT_ATTRIBUTES, rgAttr, 8);

/* Encoding types: the low word says how certificates are encoded, the high word how messages are. */
#define X509_ASN_ENCODING 0x1u
#define PKCS_7_ASN_ENCODING 0x10000u
#define CRYPT_ASN_ENCODING 0x1u
#define CERT_ENCODING_TYPE_MASK 0xFFFFu
#define CMSG_ENCODING_TYPE_MASK 0xFFFF0000u

#endif
