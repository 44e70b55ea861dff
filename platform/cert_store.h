#ifndef QX_PLATFORM_CERT_STORE_H_
#define QX_PLATFORM_CERT_STORE_H_

/* Certificate stores: open, close, walk, search, add, delete. */

#include "platform/cert.h"

/* Store providers: small numbers in the place of a string. */
#define CERT_STORE_PROV_MSG QX_NUMBER_AS(LPCSTR, 1)
#define CERT_STORE_PROV_MEMORY QX_NUMBER_AS(LPCSTR, 2)
#define CERT_STORE_PROV_FILE QX_NUMBER_AS(LPCSTR, 3)
#define CERT_STORE_PROV_REG QX_NUMBER_AS(LPCSTR, 4)
#define CERT_STORE_PROV_PKCS7 QX_NUMBER_AS(LPCSTR, 5)
#define CERT_STORE_PROV_SERIALIZED QX_NUMBER_AS(LPCSTR, 6)
#define CERT_STORE_PROV_FILENAME_A QX_NUMBER_AS(LPCSTR, 7)
#define CERT_STORE_PROV_FILENAME_W QX_NUMBER_AS(LPCSTR, 8)
#define CERT_STORE_PROV_FILENAME CERT_STORE_PROV_FILENAME_W
#define CERT_STORE_PROV_SYSTEM_A QX_NUMBER_AS(LPCSTR, 9)
#define CERT_STORE_PROV_SYSTEM_W QX_NUMBER_AS(LPCSTR, 10)
#define CERT_STORE_PROV_SYSTEM CERT_STORE_PROV_SYSTEM_W
#define CERT_STORE_PROV_COLLECTION QX_NUMBER_AS(LPCSTR, 11)
#define CERT_STORE_PROV_SYSTEM_REGISTRY_A QX_NUMBER_AS(LPCSTR, 12)
#define CERT_STORE_PROV_SYSTEM_REGISTRY_W QX_NUMBER_AS(LPCSTR, 13)
#define CERT_STORE_PROV_SYSTEM_REGISTRY CERT_STORE_PROV_SYSTEM_REGISTRY_W
#define CERT_STORE_PROV_PHYSICAL_W QX_NUMBER_AS(LPCSTR, 14)
#define CERT_STORE_PROV_PHYSICAL CERT_STORE_PROV_PHYSICAL_W
#define sz_CERT_STORE_PROV_MEMORY "Memory"
#define sz_CERT_STORE_PROV_SYSTEM_W "System"
#define sz_CERT_STORE_PROV_SYSTEM sz_CERT_STORE_PROV_SYSTEM_W

/* Flags of CertOpenStore. */
#define CERT_STORE_NO_CRYPT_RELEASE_FLAG 0x1u
#define CERT_STORE_SET_LOCALIZED_NAME_FLAG 0x2u
#define CERT_STORE_DEFER_CLOSE_UNTIL_LAST_FREE_FLAG 0x4u
#define CERT_STORE_DELETE_FLAG 0x10u
#define CERT_STORE_UNSAFE_PHYSICAL_FLAG 0x20u
#define CERT_STORE_SHARE_STORE_FLAG 0x40u
#define CERT_STORE_SHARE_CONTEXT_FLAG 0x80u
#define CERT_STORE_MANIFOLD_FLAG 0x100u
#define CERT_STORE_ENUM_ARCHIVED_FLAG 0x200u
#define CERT_STORE_UPDATE_KEYID_FLAG 0x400u
#define CERT_STORE_BACKUP_RESTORE_FLAG 0x800u
#define CERT_STORE_MAXIMUM_ALLOWED_FLAG 0x1000u
#define CERT_STORE_CREATE_NEW_FLAG 0x2000u
#define CERT_STORE_OPEN_EXISTING_FLAG 0x4000u
#define CERT_STORE_READONLY_FLAG 0x8000u

/* Where a system store lies. */
#define CERT_SYSTEM_STORE_LOCATION_MASK 0xFF0000u
#define CERT_SYSTEM_STORE_LOCATION_SHIFT 0x10u
#define CERT_SYSTEM_STORE_CURRENT_USER 0x10000u
#define CERT_SYSTEM_STORE_LOCAL_MACHINE 0x20000u
#define CERT_SYSTEM_STORE_CURRENT_SERVICE 0x40000u
#define CERT_SYSTEM_STORE_SERVICES 0x50000u
#define CERT_SYSTEM_STORE_USERS 0x60000u
#define CERT_SYSTEM_STORE_CURRENT_USER_GROUP_POLICY 0x70000u
#define CERT_SYSTEM_STORE_LOCAL_MACHINE_GROUP_POLICY 0x80000u
#define CERT_SYSTEM_STORE_LOCAL_MACHINE_ENTERPRISE 0x90000u
#define CERT_SYSTEM_STORE_RELOCATE_FLAG 0x80000000u
#define CERT_SYSTEM_STORE_UNPROTECTED_FLAG 0x40000000u

/* Flags of CertCloseStore. */
#define CERT_CLOSE_STORE_FORCE_FLAG 0x1u
#define CERT_CLOSE_STORE_CHECK_FLAG 0x2u

/* What an addition does when the certificate is already there. */
#define CERT_STORE_ADD_NEW 0x1u
#define CERT_STORE_ADD_USE_EXISTING 0x2u
#define CERT_STORE_ADD_REPLACE_EXISTING 0x3u
#define CERT_STORE_ADD_ALWAYS 0x4u
#define CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES 0x5u
#define CERT_STORE_ADD_NEWER 0x6u
#define CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES 0x7u

/* Kinds of searches. */
#define CERT_COMPARE_SHIFT 0x10u
#define CERT_FIND_ANY 0x0u
#define CERT_FIND_SHA1_HASH 0x10000u
#define CERT_FIND_MD5_HASH 0x40000u
#define CERT_FIND_SIGNATURE_HASH 0xE0000u
#define CERT_FIND_KEY_IDENTIFIER 0xF0000u
#define CERT_FIND_HASH 0x10000u
#define CERT_FIND_PROPERTY 0x50000u
#define CERT_FIND_PUBLIC_KEY 0x60000u
#define CERT_FIND_SUBJECT_NAME 0x20007u
#define CERT_FIND_SUBJECT_ATTR 0x30007u
#define CERT_FIND_ISSUER_NAME 0x20004u
#define CERT_FIND_ISSUER_ATTR 0x30004u
#define CERT_FIND_SUBJECT_STR_A 0x70007u
#define CERT_FIND_SUBJECT_STR_W 0x80007u
#define CERT_FIND_SUBJECT_STR 0x80007u
#define CERT_FIND_ISSUER_STR_A 0x70004u
#define CERT_FIND_ISSUER_STR_W 0x80004u
#define CERT_FIND_KEY_SPEC 0x90000u
#define CERT_FIND_SUBJECT_CERT 0xB0000u
#define CERT_FIND_ISSUER_OF 0xC0000u
#define CERT_FIND_EXISTING 0xD0000u
#define CERT_FIND_CERT_ID 0x100000u
#define CERT_FIND_HAS_PRIVATE_KEY 0x150000u

QX_PLATFORM_BEGIN

/** Opens a store. NULL on failure.
 *
 * CERT_STORE_PROV_MEMORY: a new, empty store; pvPara is not read.
 * CERT_STORE_PROV_SYSTEM_W: the store that pvPara names (wide characters, compared without case) at
 * the location in dwFlags (CERT_SYSTEM_STORE_CURRENT_USER or ..._LOCAL_MACHINE). What the flags ask:
 * CERT_STORE_OPEN_EXISTING_FLAG fails when the store is absent (ERROR_FILE_NOT_FOUND),
 * CERT_STORE_CREATE_NEW_FLAG when it is there (ERROR_FILE_EXISTS), neither opens or creates;
 * CERT_STORE_READONLY_FLAG makes changes fail with E_ACCESSDENIED. Another provider fails with
 * ERROR_FILE_NOT_FOUND. Contexts and their properties belong to one open. */
QX_MUST_USE QX_PLATFORM_API HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider,
                                                     DWORD dwEncodingType,
                                                     HCRYPTPROV_LEGACY hCryptProv,
                                                     DWORD dwFlags,
                                                     const void* pvPara);

/** Closes a store; contexts that are still out stay valid until they are freed. TRUE, for NULL too;
 * with CERT_CLOSE_STORE_CHECK_FLAG FALSE and CRYPT_E_PENDING_CLOSE when contexts are out, the store
 * being closed all the same. A close that succeeds leaves the last error alone. */
QX_PLATFORM_API BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags);

/** The next certificate that matches, a new reference. pPrevCertContext (NULL: start) is always
 * freed. NULL at the end or when nothing matches: CRYPT_E_NOT_FOUND; E_INVALIDARG for an unknown
 * dwFindType or a context of another store. dwFindFlags is 0. What pvFindPara is: CERT_FIND_SHA1_HASH
 * CRYPT_HASH_BLOB* of 20 bytes; CERT_FIND_SUBJECT_CERT CERT_INFO* (issuer and serial number are
 * read); CERT_FIND_SUBJECT_NAME, ..._ISSUER_NAME CERT_NAME_BLOB*; CERT_FIND_SUBJECT_STR_W,
 * ..._ISSUER_STR_W wide string (any case, part of the name's simple form); CERT_FIND_ISSUER_OF,
 * CERT_FIND_EXISTING PCCERT_CONTEXT; CERT_FIND_PUBLIC_KEY CERT_PUBLIC_KEY_INFO*. */
QX_MUST_USE QX_PLATFORM_API PCCERT_CONTEXT
CertFindCertificateInStore(HCERTSTORE hCertStore,
                           DWORD dwCertEncodingType,
                           DWORD dwFindFlags,
                           DWORD dwFindType,
                           const void* pvFindPara,
                           PCCERT_CONTEXT pPrevCertContext);

/** The next certificate, a new reference; pPrevCertContext (NULL: start) is always freed. NULL at the
 * end, with CRYPT_E_NOT_FOUND. */
QX_MUST_USE QX_PLATFORM_API PCCERT_CONTEXT
CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext);

/** Adds a copy of an encoded certificate in the way dwAddDisposition says (CERT_STORE_ADD_...); two
 * certificates are the same when their SHA-1 is. ppCertContext, when not NULL, receives a reference
 * to what now stands in the store. A NULL store gives a free-standing context. Errors: E_INVALIDARG
 * (disposition 0), CRYPT_E_EXISTS, CRYPT_E_ASN1_..., E_ACCESSDENIED. */
QX_MUST_USE QX_PLATFORM_API BOOL CertAddEncodedCertificateToStore(HCERTSTORE hCertStore,
                                                                  DWORD dwCertEncodingType,
                                                                  const BYTE* pbCertEncoded,
                                                                  DWORD cbCertEncoded,
                                                                  DWORD dwAddDisposition,
                                                                  PCCERT_CONTEXT* ppCertContext);

/** Deletes a certificate from its store; the context is always freed, on failure too. E_ACCESSDENIED
 * when the store is read-only. */
QX_MUST_USE QX_PLATFORM_API BOOL CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext);

/** The certificate with the issuer and serial number in pCertId, a new reference. NULL: E_INVALIDARG
 * (pCertId NULL), CRYPT_E_NOT_FOUND. */
QX_MUST_USE QX_PLATFORM_API PCCERT_CONTEXT CertGetSubjectCertificateFromStore(
    HCERTSTORE hCertStore, DWORD dwCertEncodingType, PCERT_INFO pCertId);

QX_PLATFORM_END

#endif
