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

/** Opens a signed message to encode, with the attributes that CAdES asks for; the rest is as for
 * CryptMsgOpenToEncode. NULL on failure. */
QX_MUST_USE QX_PLATFORM_API HCRYPTMSG CadesMsgOpenToEncode(DWORD dwMsgEncodingType,
                                                           DWORD dwFlags,
                                                           CADES_ENCODE_INFO* pvMsgEncodeInfo,
                                                           LPSTR pszInnerContentObjID,
                                                           PCMSG_STREAM_INFO pStreamInfo);

/** Adds time stamps and validation data to one signature of a decoded message. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgEnhanceSignature(HCRYPTMSG hCryptMsg,
                                                          DWORD dwSignatureIndex,
                                                          CADES_SIGN_PARA* pCadesSignPara);

/** The same for every signature. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgEnhanceSignatureAll(HCRYPTMSG hCryptMsg,
                                                             CADES_SIGN_PARA* pCadesSignPara);

/** Adds a signer to a decoded message and enhances his signature. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgAddEnhancedSignature(HCRYPTMSG hCryptMsg,
                                                              CADES_ENHANCED_SIGN_PARA* pPara);

/** Says in *pbResult whether a signature is of a type (CADES_TYPE_...). */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgIsType(HCRYPTMSG hCryptMsg,
                                                DWORD dwSignatureIndex,
                                                DWORD dwCadesType,
                                                BOOL* pbResult);

/** Verifies a signature with all that CAdES asks for. pVerificationPara NULL: the level that the
 * attributes show. *ppVerificationInfo, when it could look at the signer, is set also when it
 * returns FALSE, else NULL; the caller frees it with CadesFreeVerificationInfo. */
QX_MUST_USE QX_PLATFORM_API BOOL
CadesMsgVerifySignature(HCRYPTMSG hCryptMsg,
                        DWORD dwSignatureIndex,
                        const void* pVerificationPara,
                        CADES_VERIFICATION_INFO** ppVerificationInfo);

/** Frees a verification record with what hangs on it. NULL is accepted; success leaves the last error
 * alone. */
QX_PLATFORM_API BOOL CadesFreeVerificationInfo(CADES_VERIFICATION_INFO* pVerificationInfo);

/** The certificates that a signature carries among its validation data, each as DER. The caller frees
 * *ppValues with CadesFreeBlobArray; it is NULL on failure. */
QX_MUST_USE QX_PLATFORM_API BOOL CadesMsgGetCertificateValues(HCRYPTMSG hCryptMsg,
                                                              DWORD dwSignatureIndex,
                                                              CADES_BLOB_ARRAY** ppValues);

/** Frees an array with its byte strings. NULL is accepted; success leaves the last error alone. */
QX_PLATFORM_API BOOL CadesFreeBlobArray(CADES_BLOB_ARRAY* pBlobArray);

QX_PLATFORM_END

#endif
