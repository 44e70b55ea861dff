#ifndef QX_PLATFORM_CADES_H_
#define QX_PLATFORM_CADES_H_

/* CAdES: signatures with time stamps and validation data on top of signed messages. */

#include "platform/crypt_msg.h"

/* Signature types. */
#define CADES_TYPE_X_LONG_1 0x5Du /* CAdES-X Long type 1 */

/* States of a verified signature, CADES_VERIFICATION_INFO.dwStatus. */
#define CADES_STATUS_GOOD 0u
#define CADES_STATUS_REVOCATION_VALUES 1u /* revocation values missing or malformed */
#define CADES_STATUS_NO_SIGNER_CERT 2u  /* the signer's certificate, or the one named, is missing */
#define CADES_STATUS_SIGNATURE_STAMP 3u /* signature time stamp bad or not trusted */
#define CADES_STATUS_REFERENCES 4u      /* references and values do not match */
#define CADES_STATUS_NO_CHAIN 5u        /* no chain to trust at the stamp's time */
#define CADES_STATUS_SIGNER_CERT 6u     /* signer's certificate revoked, expired or unknown then */
#define CADES_STATUS_OTHER_CERT 7u      /* the same for another certificate */
#define CADES_STATUS_SIGNATURE 8u       /* signature or messageDigest wrong */
#define CADES_STATUS_CADES_C_STAMP 9u   /* CAdES-C time stamp bad */
#define CADES_STATUS_CONTENT_TYPE 10u   /* contentType missing or wrong */

QX_PLATFORM_BEGIN

/** What CadesMsgOpenToEncode signs. dwSize is 48, the reserved members are 0. */
typedef struct CADES_ENCODE_INFO {
  DWORD dwSize;
  PCMSG_SIGNED_ENCODE_INFO pSignedEncodeInfo;
  void* pReserved[4];
} CADES_ENCODE_INFO, *PCADES_ENCODE_INFO;

QX_PIN_SIZE(CADES_ENCODE_INFO, 48);
QX_PIN(CADES_ENCODE_INFO, dwSize, 0);
QX_PIN(CADES_ENCODE_INFO, pSignedEncodeInfo, 8);

/** A time-stamp server. dwSize is 24; wszUri is its address, NUL-terminated. */
typedef struct CADES_TSP_SERVICE {
  DWORD dwSize;
  LPCWSTR wszUri;
  void* pReserved;
} CADES_TSP_SERVICE, *PCADES_TSP_SERVICE;

QX_PIN_SIZE(CADES_TSP_SERVICE, 24);
QX_PIN(CADES_TSP_SERVICE, dwSize, 0);
QX_PIN(CADES_TSP_SERVICE, wszUri, 8);
QX_PIN(CADES_TSP_SERVICE, pReserved, 16);

/** How a signature is enhanced. dwSize is 56; pTspService NULL means the configured server. */
typedef struct CADES_SIGN_PARA {
  DWORD dwSize;
  DWORD dwCadesType;
  void* pReserved1[3];
  PCADES_TSP_SERVICE pTspService;
  void* pReserved2[2];
} CADES_SIGN_PARA, *PCADES_SIGN_PARA;

QX_PIN_SIZE(CADES_SIGN_PARA, 56);
QX_PIN(CADES_SIGN_PARA, dwSize, 0);
QX_PIN(CADES_SIGN_PARA, dwCadesType, 4);
QX_PIN(CADES_SIGN_PARA, pReserved1, 8);
QX_PIN(CADES_SIGN_PARA, pTspService, 32);
QX_PIN(CADES_SIGN_PARA, pReserved2, 40);

/** A signer to add and how to enhance his signature. dwSize is 24. */
typedef struct CADES_ENHANCED_SIGN_PARA {
  DWORD dwSize;
  PCMSG_SIGNER_ENCODE_INFO pSignerInfo;
  PCADES_SIGN_PARA pCadesSignPara;
} CADES_ENHANCED_SIGN_PARA, *PCADES_ENHANCED_SIGN_PARA;

QX_PIN_SIZE(CADES_ENHANCED_SIGN_PARA, 24);
QX_PIN(CADES_ENHANCED_SIGN_PARA, dwSize, 0);
QX_PIN(CADES_ENHANCED_SIGN_PARA, pSignerInfo, 8);
QX_PIN(CADES_ENHANCED_SIGN_PARA, pCadesSignPara, 16);

/** What the verification of one signature found. dwSize is 40. Pointers may be NULL and belong to
 * the record. */
typedef struct CADES_VERIFICATION_INFO {
  DWORD dwSize;
  DWORD dwStatus; /* CADES_STATUS_... */
  PCCERT_CONTEXT pSignerCert;
  LPFILETIME pSigningTime;
  LPFILETIME pSignatureTimeStampTime;
  void* pReserved;
} CADES_VERIFICATION_INFO, *PCADES_VERIFICATION_INFO;

QX_PIN_SIZE(CADES_VERIFICATION_INFO, 40);
QX_PIN(CADES_VERIFICATION_INFO, dwSize, 0);
QX_PIN(CADES_VERIFICATION_INFO, dwStatus, 4);
QX_PIN(CADES_VERIFICATION_INFO, pSignerCert, 8);
QX_PIN(CADES_VERIFICATION_INFO, pSigningTime, 16);
QX_PIN(CADES_VERIFICATION_INFO, pSignatureTimeStampTime, 24);
QX_PIN(CADES_VERIFICATION_INFO, pReserved, 32);

/** A list of byte strings. */
typedef struct CADES_BLOB_ARRAY {
  DWORD cBlob;
  PCRYPT_DATA_BLOB pBlobs;
} CADES_BLOB_ARRAY, *PCADES_BLOB_ARRAY;

QX_PIN_SIZE(CADES_BLOB_ARRAY, 16);
QX_PIN(CADES_BLOB_ARRAY, cBlob, 0);
QX_PIN(CADES_BLOB_ARRAY, pBlobs, 8);

/** Opens a signed message to encode, with the attributes that CAdES asks for: contentType,
 * messageDigest, signingTime and the signing certificate (RFC 5126, 5.7 and 5.8), unless a signer's
 * record has them already; the rest is as for CryptMsgOpenToEncode. A signer's certificate is looked for
 * among those that go into the message, then with his key, then in the stores:
 * CRYPT_E_SIGNER_NOT_FOUND. NULL on failure. */
QX_MUST_USE QX_PLATFORM_API HCRYPTMSG CadesMsgOpenToEncode(DWORD dwMsgEncodingType,
                                                           DWORD dwFlags,
                                                           CADES_ENCODE_INFO* pvMsgEncodeInfo,
                                                           LPSTR pszInnerContentObjID,
                                                           PCMSG_STREAM_INFO pStreamInfo);

/** Adds time stamps and validation data to one signature of a decoded message, which makes it one of the
 * type in *pCadesSignPara: ERROR_NOT_SUPPORTED for any but CADES_TYPE_X_LONG_1. No byte that was received
 * is encoded anew, and nothing is changed when the call fails. A signature of that type is left as it is;
 * one that has some of the attributes already: CRYPT_E_EXISTS. The chains of the signer and of the
 * time-stamp authority have to be good now, with their revocation known: CERT_E_..., CRYPT_E_REVOKED,
 * CRYPT_E_NO_REVOCATION_CHECK, CRYPT_E_REVOCATION_OFFLINE. A signer who does not name his certificate by
 * a signed attribute: CRYPT_E_ATTRIBUTES_MISSING; one whose certificate is not at hand:
 * CRYPT_E_SIGNER_NOT_FOUND. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgEnhanceSignature(HCRYPTMSG hCryptMsg,
                                                          DWORD dwSignatureIndex,
                                                          CADES_SIGN_PARA* pCadesSignPara);

/** The same for every signature, or for none when it fails for one. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgEnhanceSignatureAll(HCRYPTMSG hCryptMsg,
                                                             CADES_SIGN_PARA* pCadesSignPara);

/** Adds a signer, as CMSG_CTRL_ADD_SIGNER does but with the attributes of CadesMsgOpenToEncode, to a
 * decoded message and enhances his signature. His certificate is not put beside those of the message: it
 * is among the validation data. Nothing is changed when the call fails. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgAddEnhancedSignature(HCRYPTMSG hCryptMsg,
                                                              CADES_ENHANCED_SIGN_PARA* pPara);

/** Says in *pbResult whether a signature has all attributes of a type: ERROR_NOT_SUPPORTED for any but
 * CADES_TYPE_X_LONG_1. What is in them is not looked at. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgIsType(HCRYPTMSG hCryptMsg,
                                                DWORD dwSignatureIndex,
                                                DWORD dwCadesType,
                                                BOOL* pbResult);

/** Verifies a signature with all that CAdES asks for. pVerificationPara NULL: the level that the
 * attributes show; there are no others (E_INVALIDARG). *ppVerificationInfo, when it could look at
 * the signer, is set also when it returns FALSE, else NULL; the caller frees it with
 * CadesFreeVerificationInfo. */
QX_MUST_USE QX_PLATFORM_API BOOL
CadesMsgVerifySignature(HCRYPTMSG hCryptMsg,
                        DWORD dwSignatureIndex,
                        const void* pVerificationPara,
                        CADES_VERIFICATION_INFO** ppVerificationInfo);

/** Frees a verification record with what hangs on it. NULL is accepted; success leaves the last error
 * alone. */
QX_PLATFORM_API BOOL CadesFreeVerificationInfo(CADES_VERIFICATION_INFO* pVerificationInfo);

/** The certificates that a signature carries among its validation data, each as DER;
 * CRYPT_E_ATTRIBUTES_MISSING when it carries no such data. The caller frees *ppValues with
 * CadesFreeBlobArray; it is NULL on failure. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgGetCertificateValues(HCRYPTMSG hCryptMsg,
                                                              DWORD dwSignatureIndex,
                                                              CADES_BLOB_ARRAY** ppValues);

/** Frees an array with its byte strings. NULL is accepted; success leaves the last error alone. */
QX_PLATFORM_API BOOL CadesFreeBlobArray(CADES_BLOB_ARRAY* pBlobArray);

QX_PLATFORM_END

#endif
