#ifndef QX_PLATFORM_CRYPT_MSG_H_
#define QX_PLATFORM_CRYPT_MSG_H_

/* Cryptographic messages (PKCS #7, CMS): data, signed, enveloped and hashed.
 *
 * Every record of an encoding says its own size in cbSize. Three of them exist in a short and a long
 * form (..._LONG), which begins with the short one; a member is read only when cbSize covers it.
 */

#include "platform/cert.h"
#include "platform/crypt_msg_codes.h"

QX_PLATFORM_BEGIN

/** How a hashed message is made. cbSize is 48. hCryptProv 0: the default provider. */
typedef struct CMSG_HASHED_ENCODE_INFO {
  DWORD cbSize;
  HCRYPTPROV_LEGACY hCryptProv;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  void* pvHashAuxInfo;
} CMSG_HASHED_ENCODE_INFO, *PCMSG_HASHED_ENCODE_INFO;

QX_PIN_SIZE(CMSG_HASHED_ENCODE_INFO, 48);
QX_PIN(CMSG_HASHED_ENCODE_INFO, cbSize, 0);
QX_PIN(CMSG_HASHED_ENCODE_INFO, hCryptProv, 8);
QX_PIN(CMSG_HASHED_ENCODE_INFO, HashAlgorithm, 16);
QX_PIN(CMSG_HASHED_ENCODE_INFO, pvHashAuxInfo, 40);

/** How an enveloped message is made. cbSize is 64. rgpRecipients is an array of pointers, of which
 * issuer, serial number and public key are read. Empty parameters of the content's algorithm mean a
 * random initialisation vector. */
typedef struct CMSG_ENVELOPED_ENCODE_INFO {
  DWORD cbSize;
  HCRYPTPROV_LEGACY hCryptProv;
  CRYPT_ALGORITHM_IDENTIFIER ContentEncryptionAlgorithm;
  void* pvEncryptionAuxInfo;
  DWORD cRecipients;
  PCERT_INFO* rgpRecipients;
} CMSG_ENVELOPED_ENCODE_INFO, *PCMSG_ENVELOPED_ENCODE_INFO;

QX_PIN_SIZE(CMSG_ENVELOPED_ENCODE_INFO, 64);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO, cbSize, 0);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO, hCryptProv, 8);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO, ContentEncryptionAlgorithm, 16);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO, pvEncryptionAuxInfo, 40);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO, cRecipients, 48);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO, rgpRecipients, 56);

/** A recipient whose key transports the content's key. */
typedef struct CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO {
  DWORD cbSize;
  CRYPT_ALGORITHM_IDENTIFIER KeyEncryptionAlgorithm;
  void* pvKeyEncryptionAuxInfo;
  HCRYPTPROV_LEGACY hCryptProv;
  CRYPT_BIT_BLOB RecipientPublicKey;
  CERT_ID RecipientId;
} CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, *PCMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO;

QX_PIN_SIZE(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, 112);
QX_PIN(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, cbSize, 0);
QX_PIN(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, KeyEncryptionAlgorithm, 8);
QX_PIN(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, pvKeyEncryptionAuxInfo, 32);
QX_PIN(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, hCryptProv, 40);
QX_PIN(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, RecipientPublicKey, 48);
QX_PIN(CMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO, RecipientId, 72);

struct CMSG_KEY_AGREE_RECIPIENT_ENCODE_INFO;
struct CMSG_MAIL_LIST_RECIPIENT_ENCODE_INFO;

/** A recipient of the kind dwRecipientChoice (CMSG_KEY_TRANS_RECIPIENT, ...). */
typedef struct CMSG_RECIPIENT_ENCODE_INFO {
  DWORD dwRecipientChoice;

  union {
    PCMSG_KEY_TRANS_RECIPIENT_ENCODE_INFO pKeyTrans;
    struct CMSG_KEY_AGREE_RECIPIENT_ENCODE_INFO* pKeyAgree;
    struct CMSG_MAIL_LIST_RECIPIENT_ENCODE_INFO* pMailList;
  };
} CMSG_RECIPIENT_ENCODE_INFO, *PCMSG_RECIPIENT_ENCODE_INFO;

QX_PIN_SIZE(CMSG_RECIPIENT_ENCODE_INFO, 16);
QX_PIN(CMSG_RECIPIENT_ENCODE_INFO, dwRecipientChoice, 0);
QX_PIN(CMSG_RECIPIENT_ENCODE_INFO, pKeyTrans, 8);
QX_PIN(CMSG_RECIPIENT_ENCODE_INFO, pKeyAgree, 8);
QX_PIN(CMSG_RECIPIENT_ENCODE_INFO, pMailList, 8);

/** The long form of CMSG_ENVELOPED_ENCODE_INFO. cbSize is 136. When rgCmsRecipients, an array of
 * records, is given, rgpRecipients is NULL. */
typedef struct CMSG_ENVELOPED_ENCODE_INFO_LONG {
  DWORD cbSize;
  HCRYPTPROV_LEGACY hCryptProv;
  CRYPT_ALGORITHM_IDENTIFIER ContentEncryptionAlgorithm;
  void* pvEncryptionAuxInfo;
  DWORD cRecipients;
  PCERT_INFO* rgpRecipients;
  PCMSG_RECIPIENT_ENCODE_INFO rgCmsRecipients;
  DWORD cCertEncoded;
  PCERT_BLOB rgCertEncoded;
  DWORD cCrlEncoded;
  PCRL_BLOB rgCrlEncoded;
  DWORD cAttrCertEncoded;
  PCERT_BLOB rgAttrCertEncoded;
  DWORD cUnprotectedAttr;
  PCRYPT_ATTRIBUTE rgUnprotectedAttr;
} CMSG_ENVELOPED_ENCODE_INFO_LONG, *PCMSG_ENVELOPED_ENCODE_INFO_LONG;

QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, rgpRecipients, 56);
QX_PIN_SIZE(CMSG_ENVELOPED_ENCODE_INFO_LONG, 136);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, rgCmsRecipients, 64);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, cCertEncoded, 72);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, rgCertEncoded, 80);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, cCrlEncoded, 88);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, rgCrlEncoded, 96);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, cAttrCertEncoded, 104);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, rgAttrCertEncoded, 112);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, cUnprotectedAttr, 120);
QX_PIN(CMSG_ENVELOPED_ENCODE_INFO_LONG, rgUnprotectedAttr, 128);

/** One signer. cbSize is 96. Of pCertInfo issuer, serial number and public key are read; hCryptProv
 * holds his private key of the kind dwKeySpec. contentType and messageDigest are not among his
 * signed attributes: the message adds them. */
typedef struct CMSG_SIGNER_ENCODE_INFO {
  DWORD cbSize;
  PCERT_INFO pCertInfo;

  union {
    HCRYPTPROV hCryptProv;
    NCRYPT_KEY_HANDLE hNCryptKey;
  };

  DWORD dwKeySpec;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  void* pvHashAuxInfo;
  DWORD cAuthAttr;
  PCRYPT_ATTRIBUTE rgAuthAttr;
  DWORD cUnauthAttr;
  PCRYPT_ATTRIBUTE rgUnauthAttr;
} CMSG_SIGNER_ENCODE_INFO, *PCMSG_SIGNER_ENCODE_INFO;

QX_PIN_SIZE(CMSG_SIGNER_ENCODE_INFO, 96);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, cbSize, 0);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, pCertInfo, 8);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, hCryptProv, 16);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, dwKeySpec, 24);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, HashAlgorithm, 32);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, pvHashAuxInfo, 56);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, cAuthAttr, 64);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, rgAuthAttr, 72);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, cUnauthAttr, 80);
QX_PIN(CMSG_SIGNER_ENCODE_INFO, rgUnauthAttr, 88);

/** The long form of CMSG_SIGNER_ENCODE_INFO. cbSize is 168. SignerId, when its choice is not 0, names
 * the signer; HashEncryptionAlgorithm, when its OID is set, overrides the public key's. */
typedef struct CMSG_SIGNER_ENCODE_INFO_LONG {
  DWORD cbSize;
  PCERT_INFO pCertInfo;

  union {
    HCRYPTPROV hCryptProv;
    NCRYPT_KEY_HANDLE hNCryptKey;
  };

  DWORD dwKeySpec;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  void* pvHashAuxInfo;
  DWORD cAuthAttr;
  PCRYPT_ATTRIBUTE rgAuthAttr;
  DWORD cUnauthAttr;
  PCRYPT_ATTRIBUTE rgUnauthAttr;
  CERT_ID SignerId;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  void* pvHashEncryptionAuxInfo;
} CMSG_SIGNER_ENCODE_INFO_LONG, *PCMSG_SIGNER_ENCODE_INFO_LONG;

QX_PIN(CMSG_SIGNER_ENCODE_INFO_LONG, rgUnauthAttr, 88);
QX_PIN_SIZE(CMSG_SIGNER_ENCODE_INFO_LONG, 168);
QX_PIN(CMSG_SIGNER_ENCODE_INFO_LONG, SignerId, 96);
QX_PIN(CMSG_SIGNER_ENCODE_INFO_LONG, HashEncryptionAlgorithm, 136);
QX_PIN(CMSG_SIGNER_ENCODE_INFO_LONG, pvHashEncryptionAuxInfo, 160);

/** How a signed message is made. cbSize is 48. rgSigners is an array of records whose own cbSize
 * tells their form, the same for all; no signers at all make a bag of certificates. */
typedef struct CMSG_SIGNED_ENCODE_INFO {
  DWORD cbSize;
  DWORD cSigners;
  PCMSG_SIGNER_ENCODE_INFO rgSigners;
  DWORD cCertEncoded;
  PCERT_BLOB rgCertEncoded;
  DWORD cCrlEncoded;
  PCRL_BLOB rgCrlEncoded;
} CMSG_SIGNED_ENCODE_INFO, *PCMSG_SIGNED_ENCODE_INFO;

QX_PIN_SIZE(CMSG_SIGNED_ENCODE_INFO, 48);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, cbSize, 0);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, cSigners, 4);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, rgSigners, 8);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, cCertEncoded, 16);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, rgCertEncoded, 24);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, cCrlEncoded, 32);
QX_PIN(CMSG_SIGNED_ENCODE_INFO, rgCrlEncoded, 40);

/** The long form of CMSG_SIGNED_ENCODE_INFO. cbSize is 64. */
typedef struct CMSG_SIGNED_ENCODE_INFO_LONG {
  DWORD cbSize;
  DWORD cSigners;
  PCMSG_SIGNER_ENCODE_INFO rgSigners;
  DWORD cCertEncoded;
  PCERT_BLOB rgCertEncoded;
  DWORD cCrlEncoded;
  PCRL_BLOB rgCrlEncoded;
  DWORD cAttrCertEncoded;
  PCERT_BLOB rgAttrCertEncoded;
} CMSG_SIGNED_ENCODE_INFO_LONG, *PCMSG_SIGNED_ENCODE_INFO_LONG;

QX_PIN(CMSG_SIGNED_ENCODE_INFO_LONG, rgCrlEncoded, 40);
QX_PIN_SIZE(CMSG_SIGNED_ENCODE_INFO_LONG, 64);
QX_PIN(CMSG_SIGNED_ENCODE_INFO_LONG, cAttrCertEncoded, 48);
QX_PIN(CMSG_SIGNED_ENCODE_INFO_LONG, rgAttrCertEncoded, 56);

/** Receives streamed output. FALSE stops the message. */
typedef BOOL (*PFN_CMSG_STREAM_OUTPUT)(const void* pvArg, BYTE* pbData, DWORD cbData, BOOL fFinal);

/** Streaming: cbContent is the content's length in bytes or CMSG_INDEFINITE_LENGTH. */
typedef struct CMSG_STREAM_INFO {
  DWORD cbContent;
  PFN_CMSG_STREAM_OUTPUT pfnStreamOutput;
  void* pvArg;
} CMSG_STREAM_INFO, *PCMSG_STREAM_INFO;

QX_PIN_SIZE(CMSG_STREAM_INFO, 24);
QX_PIN(CMSG_STREAM_INFO, cbContent, 0);
QX_PIN(CMSG_STREAM_INFO, pfnStreamOutput, 8);
QX_PIN(CMSG_STREAM_INFO, pvArg, 16);

/** One signer of a decoded message, CMSG_SIGNER_INFO_PARAM. Issuer and serial number stand in the
 * opposite order to CERT_INFO's. EncryptedHash is the signature as it is in the message. */
typedef struct CMSG_SIGNER_INFO {
  DWORD dwVersion;
  CERT_NAME_BLOB Issuer;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  CRYPT_DATA_BLOB EncryptedHash;
  CRYPT_ATTRIBUTES AuthAttrs;
  CRYPT_ATTRIBUTES UnauthAttrs;
} CMSG_SIGNER_INFO, *PCMSG_SIGNER_INFO;

QX_PIN_SIZE(CMSG_SIGNER_INFO, 136);
QX_PIN(CMSG_SIGNER_INFO, dwVersion, 0);
QX_PIN(CMSG_SIGNER_INFO, Issuer, 8);
QX_PIN(CMSG_SIGNER_INFO, SerialNumber, 24);
QX_PIN(CMSG_SIGNER_INFO, HashAlgorithm, 40);
QX_PIN(CMSG_SIGNER_INFO, HashEncryptionAlgorithm, 64);
QX_PIN(CMSG_SIGNER_INFO, EncryptedHash, 88);
QX_PIN(CMSG_SIGNER_INFO, AuthAttrs, 104);
QX_PIN(CMSG_SIGNER_INFO, UnauthAttrs, 120);

/** The same with the signer's identifier as it is in the message, CMSG_CMS_SIGNER_INFO_PARAM. */
typedef struct CMSG_CMS_SIGNER_INFO {
  DWORD dwVersion;
  CERT_ID SignerId;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  CRYPT_DATA_BLOB EncryptedHash;
  CRYPT_ATTRIBUTES AuthAttrs;
  CRYPT_ATTRIBUTES UnauthAttrs;
} CMSG_CMS_SIGNER_INFO, *PCMSG_CMS_SIGNER_INFO;

QX_PIN_SIZE(CMSG_CMS_SIGNER_INFO, 144);
QX_PIN(CMSG_CMS_SIGNER_INFO, dwVersion, 0);
QX_PIN(CMSG_CMS_SIGNER_INFO, SignerId, 8);
QX_PIN(CMSG_CMS_SIGNER_INFO, HashAlgorithm, 48);
QX_PIN(CMSG_CMS_SIGNER_INFO, HashEncryptionAlgorithm, 72);
QX_PIN(CMSG_CMS_SIGNER_INFO, EncryptedHash, 96);
QX_PIN(CMSG_CMS_SIGNER_INFO, AuthAttrs, 112);
QX_PIN(CMSG_CMS_SIGNER_INFO, UnauthAttrs, 128);

/** Parameter of CMSG_CTRL_DECRYPT. cbSize is 24. The caller chooses the recipient. */
typedef struct CMSG_CTRL_DECRYPT_PARA {
  DWORD cbSize;

  union {
    HCRYPTPROV hCryptProv;
    NCRYPT_KEY_HANDLE hNCryptKey;
  };

  DWORD dwKeySpec;
  DWORD dwRecipientIndex;
} CMSG_CTRL_DECRYPT_PARA, *PCMSG_CTRL_DECRYPT_PARA;

QX_PIN_SIZE(CMSG_CTRL_DECRYPT_PARA, 24);
QX_PIN(CMSG_CTRL_DECRYPT_PARA, cbSize, 0);
QX_PIN(CMSG_CTRL_DECRYPT_PARA, hCryptProv, 8);
QX_PIN(CMSG_CTRL_DECRYPT_PARA, dwKeySpec, 16);
QX_PIN(CMSG_CTRL_DECRYPT_PARA, dwRecipientIndex, 20);
QX_PIN(CMSG_CTRL_DECRYPT_PARA, hNCryptKey, 8);

struct CMSG_KEY_TRANS_RECIPIENT_INFO;

/** Parameter of CMSG_CTRL_KEY_TRANS_DECRYPT. cbSize is 40. */
typedef struct CMSG_CTRL_KEY_TRANS_DECRYPT_PARA {
  DWORD cbSize;
  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProv;
  DWORD dwKeySpec;
  struct CMSG_KEY_TRANS_RECIPIENT_INFO* pKeyTrans;
  DWORD dwRecipientIndex;
} CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, *PCMSG_CTRL_KEY_TRANS_DECRYPT_PARA;

QX_PIN_SIZE(CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, 40);
QX_PIN(CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, cbSize, 0);
QX_PIN(CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, hCryptProv, 8);
QX_PIN(CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, dwKeySpec, 16);
QX_PIN(CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, pKeyTrans, 24);
QX_PIN(CMSG_CTRL_KEY_TRANS_DECRYPT_PARA, dwRecipientIndex, 32);

/** Parameter of CMSG_CTRL_VERIFY_SIGNATURE_EX. cbSize is 32. pvSigner is what dwSignerType says:
 * PCERT_PUBLIC_KEY_INFO, PCCERT_CONTEXT, PCCERT_CHAIN_CONTEXT or NULL. */
typedef struct CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA {
  DWORD cbSize;
  HCRYPTPROV_LEGACY hCryptProv;
  DWORD dwSignerIndex;
  DWORD dwSignerType;
  void* pvSigner;
} CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, *PCMSG_CTRL_VERIFY_SIGNATURE_EX_PARA;

QX_PIN_SIZE(CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, 32);
QX_PIN(CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, cbSize, 0);
QX_PIN(CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, hCryptProv, 8);
QX_PIN(CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, dwSignerIndex, 16);
QX_PIN(CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, dwSignerType, 20);
QX_PIN(CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, pvSigner, 24);

/** Parameter of CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR; blob is one DER attribute (OID and set). */
typedef struct CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA {
  DWORD cbSize;
  DWORD dwSignerIndex;
  CRYPT_DATA_BLOB blob;
} CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, *PCMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA;

QX_PIN_SIZE(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, 24);
QX_PIN(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, cbSize, 0);
QX_PIN(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, dwSignerIndex, 4);
QX_PIN(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, blob, 8);

/** Parameter of CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR. */
typedef struct CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA {
  DWORD cbSize;
  DWORD dwSignerIndex;
  DWORD dwUnauthAttrIndex;
} CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, *PCMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA;

QX_PIN_SIZE(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, 12);
QX_PIN(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, cbSize, 0);
QX_PIN(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, dwSignerIndex, 4);
QX_PIN(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, dwUnauthAttrIndex, 8);

/** Opens a message to encode. Everything that the records hold is copied.
 *
 * dwMsgType is CMSG_DATA, CMSG_SIGNED, CMSG_ENVELOPED or CMSG_HASHED, pvMsgEncodeInfo its record
 * (NULL for data). pszInnerContentObjID NULL: the content is plain data; else the bytes given are one
 * DER value of that type. NULL on failure: E_INVALIDARG, CRYPT_E_INVALID_MSG_TYPE,
 * CRYPT_E_UNKNOWN_ALGO, E_OUTOFMEMORY. With CMSG_CRYPT_RELEASE_CONTEXT_FLAG a message that was opened
 * releases the signers' provider handles. */
QX_MUST_USE QX_PLATFORM_API HCRYPTMSG CryptMsgOpenToEncode(DWORD dwMsgEncodingType,
                                                           DWORD dwFlags,
                                                           DWORD dwMsgType,
                                                           void const* pvMsgEncodeInfo,
                                                           LPSTR pszInnerContentObjID,
                                                           PCMSG_STREAM_INFO pStreamInfo);

/** Opens a message to decode. dwMsgType 0: the input is a ContentInfo and tells its type; else the
 * input is the bare content of that type. pRecipientInfo is NULL. NULL on failure. */
QX_MUST_USE QX_PLATFORM_API HCRYPTMSG CryptMsgOpenToDecode(DWORD dwMsgEncodingType,
                                                           DWORD dwFlags,
                                                           DWORD dwMsgType,
                                                           HCRYPTPROV_LEGACY hCryptProv,
                                                           PCERT_INFO pRecipientInfo,
                                                           PCMSG_STREAM_INFO pStreamInfo);

/** Gives bytes to a message. They are borrowed, not copied: the caller keeps them alive and unchanged
 * until CryptMsgClose.
 *
 * One final call; only a detached message takes its content in several calls, of which the last is
 * final (when decoding, the message itself comes first, in a final call of its own). Signing and
 * encrypting happen in the final call. FALSE: CRYPT_E_MSG_ERROR for a call too many or a missing
 * final mark, CRYPT_E_ASN1_... for input that cannot be decoded, NTE_... for keys. */
QX_MUST_USE QX_PLATFORM_API BOOL CryptMsgUpdate(HCRYPTMSG hCryptMsg,
                                                const BYTE* pbData,
                                                DWORD cbData,
                                                BOOL fFinal);

/** Reads a parameter (CMSG_..._PARAM) by the two-pass size protocol; records come in one piece.
 * FALSE: CRYPT_E_INVALID_MSG_TYPE (does not fit the message), CRYPT_E_INVALID_INDEX,
 * CRYPT_E_ATTRIBUTES_MISSING, ERROR_MORE_DATA. */
QX_MUST_USE QX_PLATFORM_API BOOL CryptMsgGetParam(
    HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData, DWORD* pcbData);

/** Verifies, decrypts or changes a decoded message (CMSG_CTRL_...). What changes show in
 * CMSG_ENCODED_MESSAGE. FALSE: CRYPT_E_CONTROL_TYPE, CRYPT_E_INVALID_MSG_TYPE,
 * CRYPT_E_SIGNER_NOT_FOUND, NTE_BAD_SIGNATURE, CRYPT_E_HASH_VALUE, CRYPT_E_INVALID_INDEX, ... */
QX_MUST_USE QX_PLATFORM_API BOOL CryptMsgControl(HCRYPTMSG hCryptMsg,
                                                 DWORD dwFlags,
                                                 DWORD dwCtrlType,
                                                 void const* pvCtrlPara);

/** Gives one reference of a message back. TRUE, for NULL too; success leaves the last error alone. */
QX_PLATFORM_API BOOL CryptMsgClose(HCRYPTMSG hCryptMsg);

/** Adds one reference and returns the same handle. */
QX_PLATFORM_API HCRYPTMSG CryptMsgDuplicate(HCRYPTMSG hCryptMsg);

QX_PLATFORM_END

#endif
