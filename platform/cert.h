#ifndef QX_PLATFORM_CERT_H_
#define QX_PLATFORM_CERT_H_

/* Certificates: decoded contents, contexts, properties, comparison and names.
 *
 * A PCCERT_CONTEXT is a counted reference: who gets one from a function owns one count and gives it
 * back with CertFreeCertificateContext. Everything that hangs on a context lives as long as it does.
 */

#include "platform/types.h"

QX_PLATFORM_BEGIN

/** One X.509 extension. Value holds the DER inside the OCTET STRING. */
typedef struct CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

QX_PIN_SIZE(CERT_EXTENSION, 32);
QX_PIN(CERT_EXTENSION, pszObjId, 0);
QX_PIN(CERT_EXTENSION, fCritical, 8);
QX_PIN(CERT_EXTENSION, Value, 16);

/** A public key: its algorithm with parameters, and the key's bits in DER order. */
typedef struct CERT_PUBLIC_KEY_INFO {
  CRYPT_ALGORITHM_IDENTIFIER Algorithm;
  CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

QX_PIN_SIZE(CERT_PUBLIC_KEY_INFO, 48);
QX_PIN(CERT_PUBLIC_KEY_INFO, Algorithm, 0);
QX_PIN(CERT_PUBLIC_KEY_INFO, PublicKey, 24);

/** The signed part of a certificate. dwVersion is CERT_V1 to CERT_V3. */
typedef struct CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  CERT_NAME_BLOB Issuer;
  FILETIME NotBefore;
  FILETIME NotAfter;
  CERT_NAME_BLOB Subject;
  CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
  CRYPT_BIT_BLOB IssuerUniqueId;
  CRYPT_BIT_BLOB SubjectUniqueId;
  DWORD cExtension;
  PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

QX_PIN_SIZE(CERT_INFO, 208);
QX_PIN(CERT_INFO, dwVersion, 0);
QX_PIN(CERT_INFO, SerialNumber, 8);
QX_PIN(CERT_INFO, SignatureAlgorithm, 24);
QX_PIN(CERT_INFO, Issuer, 48);
QX_PIN(CERT_INFO, NotBefore, 64);
QX_PIN(CERT_INFO, NotAfter, 72);
QX_PIN(CERT_INFO, Subject, 80);
QX_PIN(CERT_INFO, SubjectPublicKeyInfo, 96);
QX_PIN(CERT_INFO, IssuerUniqueId, 144);
QX_PIN(CERT_INFO, SubjectUniqueId, 168);
QX_PIN(CERT_INFO, cExtension, 192);
QX_PIN(CERT_INFO, rgExtension, 200);

/** A certificate: its encoded bytes, its decoded contents and the store it belongs to. */
typedef struct CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  PCERT_INFO pCertInfo;
  HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;

typedef const CERT_CONTEXT* PCCERT_CONTEXT;
QX_PIN_SIZE(CERT_CONTEXT, 40);
QX_PIN(CERT_CONTEXT, dwCertEncodingType, 0);
QX_PIN(CERT_CONTEXT, pbCertEncoded, 8);
QX_PIN(CERT_CONTEXT, cbCertEncoded, 16);
QX_PIN(CERT_CONTEXT, pCertInfo, 24);
QX_PIN(CERT_CONTEXT, hCertStore, 32);

/** Names a certificate by its issuer and serial number. */
typedef struct CERT_ISSUER_SERIAL_NUMBER {
  CERT_NAME_BLOB Issuer;
  CRYPT_INTEGER_BLOB SerialNumber;
} CERT_ISSUER_SERIAL_NUMBER, *PCERT_ISSUER_SERIAL_NUMBER;

QX_PIN_SIZE(CERT_ISSUER_SERIAL_NUMBER, 32);
QX_PIN(CERT_ISSUER_SERIAL_NUMBER, Issuer, 0);
QX_PIN(CERT_ISSUER_SERIAL_NUMBER, SerialNumber, 16);

/** Names a certificate in the way that dwIdChoice says (CERT_ID_...). */
typedef struct CERT_ID {
  DWORD dwIdChoice;

  union {
    CERT_ISSUER_SERIAL_NUMBER IssuerSerialNumber;
    CRYPT_HASH_BLOB KeyId;
    CRYPT_HASH_BLOB HashId;
  };
} CERT_ID, *PCERT_ID;

QX_PIN_SIZE(CERT_ID, 40);
QX_PIN(CERT_ID, dwIdChoice, 0);
QX_PIN(CERT_ID, IssuerSerialNumber, 8);
QX_PIN(CERT_ID, KeyId, 8);
QX_PIN(CERT_ID, HashId, 8);

/** One attribute of a name. Value holds the characters' bytes, or wide characters where the
 * function that made the record says so. dwValueType is one of CERT_RDN_... */
typedef struct CERT_RDN_ATTR {
  LPSTR pszObjId;
  DWORD dwValueType;
  CERT_RDN_VALUE_BLOB Value;
} CERT_RDN_ATTR, *PCERT_RDN_ATTR;

QX_PIN_SIZE(CERT_RDN_ATTR, 32);
QX_PIN(CERT_RDN_ATTR, pszObjId, 0);
QX_PIN(CERT_RDN_ATTR, dwValueType, 8);
QX_PIN(CERT_RDN_ATTR, Value, 16);

/** One relative distinguished name. */
typedef struct CERT_RDN {
  DWORD cRDNAttr;
  PCERT_RDN_ATTR rgRDNAttr;
} CERT_RDN, *PCERT_RDN;

QX_PIN_SIZE(CERT_RDN, 16);
QX_PIN(CERT_RDN, cRDNAttr, 0);
QX_PIN(CERT_RDN, rgRDNAttr, 8);

/** A name, first RDN as encoded first. */
typedef struct CERT_NAME_INFO {
  DWORD cRDN;
  PCERT_RDN rgRDN;
} CERT_NAME_INFO, *PCERT_NAME_INFO;

QX_PIN_SIZE(CERT_NAME_INFO, 16);
QX_PIN(CERT_NAME_INFO, cRDN, 0);
QX_PIN(CERT_NAME_INFO, rgRDN, 8);

/** One value of a name. */
typedef struct CERT_NAME_VALUE {
  DWORD dwValueType;
  CERT_RDN_VALUE_BLOB Value;
} CERT_NAME_VALUE, *PCERT_NAME_VALUE;

QX_PIN_SIZE(CERT_NAME_VALUE, 24);
QX_PIN(CERT_NAME_VALUE, dwValueType, 0);
QX_PIN(CERT_NAME_VALUE, Value, 8);

/** Value of CERT_KEY_CONTEXT_PROP_ID. cbSize is 24. */
typedef struct CERT_KEY_CONTEXT {
  DWORD cbSize;

  union {
    HCRYPTPROV hCryptProv;
    NCRYPT_KEY_HANDLE hNCryptKey;
  };

  DWORD dwKeySpec;
} CERT_KEY_CONTEXT, *PCERT_KEY_CONTEXT;

QX_PIN_SIZE(CERT_KEY_CONTEXT, 24);
QX_PIN(CERT_KEY_CONTEXT, cbSize, 0);
QX_PIN(CERT_KEY_CONTEXT, hCryptProv, 8);
QX_PIN(CERT_KEY_CONTEXT, dwKeySpec, 16);
QX_PIN(CERT_KEY_CONTEXT, hNCryptKey, 8);

/** One parameter that is set on a provider when a key is acquired. */
typedef struct CRYPT_KEY_PROV_PARAM {
  DWORD dwParam;
  BYTE* pbData;
  DWORD cbData;
  DWORD dwFlags;
} CRYPT_KEY_PROV_PARAM, *PCRYPT_KEY_PROV_PARAM;

QX_PIN_SIZE(CRYPT_KEY_PROV_PARAM, 24);
QX_PIN(CRYPT_KEY_PROV_PARAM, dwParam, 0);
QX_PIN(CRYPT_KEY_PROV_PARAM, pbData, 8);
QX_PIN(CRYPT_KEY_PROV_PARAM, cbData, 16);
QX_PIN(CRYPT_KEY_PROV_PARAM, dwFlags, 20);

/** Value of CERT_KEY_PROV_INFO_PROP_ID: where the private key of a certificate is found. */
typedef struct CRYPT_KEY_PROV_INFO {
  LPWSTR pwszContainerName;
  LPWSTR pwszProvName;
  DWORD dwProvType;
  DWORD dwFlags;
  DWORD cProvParam;
  PCRYPT_KEY_PROV_PARAM rgProvParam;
  DWORD dwKeySpec;
} CRYPT_KEY_PROV_INFO, *PCRYPT_KEY_PROV_INFO;

QX_PIN_SIZE(CRYPT_KEY_PROV_INFO, 48);
QX_PIN(CRYPT_KEY_PROV_INFO, pwszContainerName, 0);
QX_PIN(CRYPT_KEY_PROV_INFO, pwszProvName, 8);
QX_PIN(CRYPT_KEY_PROV_INFO, dwProvType, 16);
QX_PIN(CRYPT_KEY_PROV_INFO, dwFlags, 20);
QX_PIN(CRYPT_KEY_PROV_INFO, cProvParam, 24);
QX_PIN(CRYPT_KEY_PROV_INFO, rgProvParam, 32);
QX_PIN(CRYPT_KEY_PROV_INFO, dwKeySpec, 40);

/** Makes a context that belongs to no store, from a copy of the bytes. The encoding type must hold
 * X509_ASN_ENCODING. NULL on failure: E_INVALIDARG, CRYPT_E_ASN1_..., E_OUTOFMEMORY. */
QX_MUST_USE QX_PLATFORM_API PCCERT_CONTEXT CertCreateCertificateContext(DWORD dwCertEncodingType,
                                                                        const BYTE* pbCertEncoded,
                                                                        DWORD cbCertEncoded);

/** Adds one reference and returns the same pointer; NULL gives NULL. */
QX_PLATFORM_API PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext);

/** Gives back one reference. Always TRUE, for NULL too. Leaves the last error alone. */
QX_PLATFORM_API BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);

/** TRUE when issuer bytes and serial numbers are equal; nothing else is read, the encoding type is
 * ignored. */
QX_MUST_USE QX_PLATFORM_API BOOL CertCompareCertificate(DWORD dwCertEncodingType,
                                                        PCERT_INFO pCertId1,
                                                        PCERT_INFO pCertId2);

/** TRUE when both names are the same bytes; two empty names are equal. */
QX_MUST_USE QX_PLATFORM_API BOOL CertCompareCertificateName(DWORD dwCertEncodingType,
                                                            PCERT_NAME_BLOB pCertName1,
                                                            PCERT_NAME_BLOB pCertName2);

/** TRUE when both little-endian integers have one value; redundant sign bytes do not matter. */
QX_MUST_USE QX_PLATFORM_API BOOL CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB pInt1,
                                                        PCRYPT_INTEGER_BLOB pInt2);

/** Renders a name as text.
 *
 * The low bits of dwStrType choose the form (CERT_SIMPLE_NAME_STR, CERT_OID_NAME_STR,
 * CERT_X500_NAME_STR), its flags separators, order and quoting. csz is the size of psz in
 * characters. Returns the characters written with the NUL; with psz NULL or csz 0 the number needed.
 * A short buffer is filled as far as it goes, ends in NUL, and csz is returned. A name that cannot
 * be decoded gives the empty string and 1, with the reason as last error; success sets it to 0.
 * A value that holds a NUL, or a backslash before a quote, is rendered as # and its hex digits, so
 * that no value can pass for another one. */
QX_PLATFORM_API DWORD CertNameToStrW(
    DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPWSTR psz, DWORD csz);
#define CertNameToStr CertNameToStrW

/** The first attribute with this OID, a pointer into rgAttr; NULL when there is none (the last error
 * is left alone). */
QX_MUST_USE QX_PLATFORM_API PCRYPT_ATTRIBUTE CertFindAttribute(LPCSTR pszObjId,
                                                               DWORD cAttr,
                                                               CRYPT_ATTRIBUTE rgAttr[]);

/** Reads a property by the two-pass size protocol; CRYPT_E_NOT_FOUND when it is unknown or unset.
 * Hash properties come as raw bytes, CERT_KEY_PROV_INFO_PROP_ID as one piece, blobs as their bytes,
 * handles and numbers by value. */
QX_MUST_USE QX_PLATFORM_API BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext,
                                                                   DWORD dwPropId,
                                                                   void* pvData,
                                                                   DWORD* pcbData);

/** Sets a property from a deep copy of its value; pvData NULL deletes it. E_INVALIDARG for an id of 0
 * or above 0xFFFF and for a CERT_KEY_CONTEXT of another size. Properties belong to the context (and
 * its duplicates), never to other contexts of the same certificate. */
QX_MUST_USE QX_PLATFORM_API BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext,
                                                                   DWORD dwPropId,
                                                                   DWORD dwFlags,
                                                                   const void* pvData);

QX_PLATFORM_END

/* Certificate versions. */
#define CERT_V1 0x0u
#define CERT_V2 0x1u
#define CERT_V3 0x2u

/* Choices of CERT_ID. */
#define CERT_ID_ISSUER_SERIAL_NUMBER 0x1u
#define CERT_ID_KEY_IDENTIFIER 0x2u
#define CERT_ID_SHA1_HASH 0x3u

/* Properties. The hash of a certificate is its SHA-1. */
#define CERT_KEY_PROV_HANDLE_PROP_ID 0x1u
#define CERT_KEY_PROV_INFO_PROP_ID 0x2u
#define CERT_SHA1_HASH_PROP_ID 0x3u
#define CERT_MD5_HASH_PROP_ID 0x4u
#define CERT_HASH_PROP_ID 0x3u
#define CERT_KEY_CONTEXT_PROP_ID 0x5u
#define CERT_KEY_SPEC_PROP_ID 0x6u
#define CERT_FRIENDLY_NAME_PROP_ID 0xBu
#define CERT_ACCESS_STATE_PROP_ID 0xEu
#define CERT_SIGNATURE_HASH_PROP_ID 0xFu
#define CERT_ARCHIVED_PROP_ID 0x13u
#define CERT_KEY_IDENTIFIER_PROP_ID 0x14u
#define CERT_DESCRIPTION_PROP_ID 0xDu
#define CERT_SUBJECT_PUBLIC_KEY_MD5_HASH_PROP_ID 0x19u
#define CERT_SUBJECT_PUB_KEY_BIT_LENGTH_PROP_ID 0x5Cu
#define CERT_FIRST_USER_PROP_ID 0x8000u
#define CERT_LAST_USER_PROP_ID 0xFFFFu
#define CERT_FIRST_RESERVED_PROP_ID 0x6Bu
#define CERT_LAST_RESERVED_PROP_ID 0x7FFFu
#define CERT_SHA256_HASH_PROP_ID 0x6Bu

/* Flags around properties. */
#define CERT_ACCESS_STATE_WRITE_PERSIST_FLAG 0x1u
#define CERT_SET_KEY_PROV_HANDLE_PROP_ID 0x1u
#define CERT_SET_KEY_CONTEXT_PROP_ID 0x1u
#define CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG 0x80000000u
#define CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG 0x40000000u

/* Forms of the text of a name. */
#define CERT_SIMPLE_NAME_STR 0x1u
#define CERT_OID_NAME_STR 0x2u
#define CERT_X500_NAME_STR 0x3u
#define CERT_XML_NAME_STR 0x4u

/* Flags of the text of a name. */
#define CERT_NAME_STR_SEMICOLON_FLAG 0x40000000u
#define CERT_NAME_STR_NO_PLUS_FLAG 0x20000000u
#define CERT_NAME_STR_NO_QUOTING_FLAG 0x10000000u
#define CERT_NAME_STR_CRLF_FLAG 0x8000000u
#define CERT_NAME_STR_COMMA_FLAG 0x4000000u
#define CERT_NAME_STR_REVERSE_FLAG 0x2000000u
#define CERT_NAME_STR_FORWARD_FLAG 0x1000000u
#define CERT_NAME_STR_DISABLE_IE4_UTF8_FLAG 0x10000u
#define CERT_NAME_STR_ENABLE_T61_UNICODE_FLAG 0x20000u
#define CERT_NAME_STR_ENABLE_UTF8_UNICODE_FLAG 0x40000u
#define CERT_NAME_STR_FORCE_UTF8_DIR_STR_FLAG 0x80000u
#define CERT_NAME_STR_DISABLE_UTF8_DIR_STR_FLAG 0x100000u
#define CERT_NAME_STR_ENABLE_PUNYCODE_FLAG 0x200000u

/* Types of the values of a name. */
#define CERT_RDN_ANY_TYPE 0x0u
#define CERT_RDN_ENCODED_BLOB 0x1u
#define CERT_RDN_OCTET_STRING 0x2u
#define CERT_RDN_NUMERIC_STRING 0x3u
#define CERT_RDN_PRINTABLE_STRING 0x4u
#define CERT_RDN_TELETEX_STRING 0x5u
#define CERT_RDN_T61_STRING 0x5u
#define CERT_RDN_VIDEOTEX_STRING 0x6u
#define CERT_RDN_IA5_STRING 0x7u
#define CERT_RDN_GRAPHIC_STRING 0x8u
#define CERT_RDN_VISIBLE_STRING 0x9u
#define CERT_RDN_ISO646_STRING 0x9u
#define CERT_RDN_GENERAL_STRING 0xAu
#define CERT_RDN_UNIVERSAL_STRING 0xBu
#define CERT_RDN_INT4_STRING 0xBu
#define CERT_RDN_BMP_STRING 0xCu
#define CERT_RDN_UNICODE_STRING 0xCu
#define CERT_RDN_UTF8_STRING 0xDu
#define CERT_RDN_TYPE_MASK 0xFFu

/* Identifiers of name attributes and extensions that the platform itself gives a meaning. */
#define szOID_KEYID_RDN "1.3.6.1.4.1.311.10.7.1"
#define szOID_SUBJECT_KEY_IDENTIFIER "2.5.29.14"

#endif
