#ifndef QX_PLATFORM_ENCODE_H_
#define QX_PLATFORM_ENCODE_H_

/* Decoding of single ASN.1 values.
 *
 * Some of the published names are types of OpenSSL (X509_NAME): no source file includes this header
 * and those of OpenSSL.
 */

#include "platform/cert.h"

/* What a value is: small numbers in the place of an OID string. */
#define X509_CERT QX_NUMBER_AS(LPCSTR, 1)
#define X509_CERT_TO_BE_SIGNED QX_NUMBER_AS(LPCSTR, 2)
#define X509_EXTENSIONS QX_NUMBER_AS(LPCSTR, 5)
#define X509_NAME_VALUE QX_NUMBER_AS(LPCSTR, 6)
#define X509_NAME QX_NUMBER_AS(LPCSTR, 7)
#define X509_PUBLIC_KEY_INFO QX_NUMBER_AS(LPCSTR, 8)
#define X509_ALTERNATE_NAME QX_NUMBER_AS(LPCSTR, 12)
#define X509_KEY_USAGE QX_NUMBER_AS(LPCSTR, 14)
#define X509_BASIC_CONSTRAINTS2 QX_NUMBER_AS(LPCSTR, 15)
#define X509_CERT_POLICIES QX_NUMBER_AS(LPCSTR, 16)
#define PKCS_UTC_TIME QX_NUMBER_AS(LPCSTR, 17)
#define RSA_CSP_PUBLICKEYBLOB QX_NUMBER_AS(LPCSTR, 19)
#define X509_UNICODE_NAME QX_NUMBER_AS(LPCSTR, 20)
#define PKCS_ATTRIBUTE QX_NUMBER_AS(LPCSTR, 22)
#define X509_UNICODE_NAME_VALUE QX_NUMBER_AS(LPCSTR, 24)
#define X509_OCTET_STRING QX_NUMBER_AS(LPCSTR, 25)
#define X509_BITS QX_NUMBER_AS(LPCSTR, 26)
#define X509_INTEGER QX_NUMBER_AS(LPCSTR, 27)
#define X509_MULTI_BYTE_INTEGER QX_NUMBER_AS(LPCSTR, 28)
#define X509_ENUMERATED QX_NUMBER_AS(LPCSTR, 29)
#define X509_CHOICE_OF_TIME QX_NUMBER_AS(LPCSTR, 30)
#define X509_AUTHORITY_KEY_ID2 QX_NUMBER_AS(LPCSTR, 31)
#define PKCS_CONTENT_INFO QX_NUMBER_AS(LPCSTR, 33)
#define X509_SEQUENCE_OF_ANY QX_NUMBER_AS(LPCSTR, 34)
#define X509_ENHANCED_KEY_USAGE QX_NUMBER_AS(LPCSTR, 36)
#define X509_MULTI_BYTE_UINT QX_NUMBER_AS(LPCSTR, 38)
#define PKCS_ATTRIBUTES QX_NUMBER_AS(LPCSTR, 48)
#define X509_OBJECT_IDENTIFIER QX_NUMBER_AS(LPCSTR, 73)
#define X509_ALGORITHM_IDENTIFIER QX_NUMBER_AS(LPCSTR, 74)
#define PKCS7_SIGNER_INFO QX_NUMBER_AS(LPCSTR, 500)
#define CMS_SIGNER_INFO QX_NUMBER_AS(LPCSTR, 501)

/* Flags of CryptDecodeObject. */
#define CRYPT_DECODE_NOCOPY_FLAG 0x1u
#define CRYPT_DECODE_TO_BE_SIGNED_FLAG 0x2u
#define CRYPT_DECODE_SHARE_OID_STRING_FLAG 0x4u
#define CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG 0x8u
#define CRYPT_DECODE_ALLOC_FLAG 0x8000u

QX_PLATFORM_BEGIN

/** Decodes one DER value by the two-pass size protocol; the result is one piece.
 *
 * lpszStructType is one of the numbers above or an OID. What comes back:
 *  PKCS_UTC_TIME, X509_CHOICE_OF_TIME, szOID_RSA_signingTime   FILETIME
 *  X509_OCTET_STRING, szOID_SUBJECT_KEY_IDENTIFIER             CRYPT_DATA_BLOB
 *  X509_OBJECT_IDENTIFIER                                      LPSTR, a pointer to the dotted OID
 *  X509_INTEGER, X509_ENUMERATED                               int (32 bits)
 *  X509_MULTI_BYTE_INTEGER, X509_MULTI_BYTE_UINT               CRYPT_INTEGER_BLOB, little-endian
 *  X509_BITS, X509_KEY_USAGE, "2.5.29.15"                      CRYPT_BIT_BLOB
 *  X509_ALGORITHM_IDENTIFIER                                   CRYPT_ALGORITHM_IDENTIFIER
 *  X509_PUBLIC_KEY_INFO                                        CERT_PUBLIC_KEY_INFO
 *  X509_ENHANCED_KEY_USAGE, "2.5.29.37"                        CTL_USAGE
 *  X509_NAME, X509_UNICODE_NAME                                CERT_NAME_INFO; the values of the
 *      latter are wide characters with a NUL that cbData does not count
 *  PKCS_ATTRIBUTE, PKCS_ATTRIBUTES                             CRYPT_ATTRIBUTE, CRYPT_ATTRIBUTES
 * The other numbers are known to no decoder. Bytes after the value are ignored. dwFlags is not read:
 * everything is copied into the caller's buffer, nothing is allocated.
 *
 * FALSE: ERROR_FILE_NOT_FOUND (unknown type or encoding), CRYPT_E_ASN1_EOD, CRYPT_E_ASN1_BADTAG,
 * CRYPT_E_ASN1_CORRUPT, CRYPT_E_ASN1_LARGE, ERROR_MORE_DATA. Success sets the last error to 0. */
QX_MUST_USE QX_PLATFORM_API BOOL CryptDecodeObject(DWORD dwCertEncodingType,
                                                   LPCSTR lpszStructType,
                                                   const BYTE* pbEncoded,
                                                   DWORD cbEncoded,
                                                   DWORD dwFlags,
                                                   void* pvStructInfo,
                                                   DWORD* pcbStructInfo);

QX_PLATFORM_END

#endif
