#ifndef QX_QXSAPSSF_SSF_H_
#define QX_QXSAPSSF_SSF_H_

/* SAP Secure Store and Forward (SSF) for Linux: signed, enveloped and hashed PKCS #7 / CMS messages.
 *
 * Rules that hold for every function below. A function's own comment says only what is special to it.
 *
 *  1. Strings are counted: a pointer to bytes and a length in bytes (SsfOctetlen, signed). No
 *     terminating NUL is read and none is written. A string of length 0 may have a NULL pointer.
 *
 *  2. Who frees. Every byte string that a function hands out is the caller's and comes from malloc:
 *     free it with SsfDELSsfOctetstring. Records and lists are freed with SsfDELSigRcpSsfInfo and
 *     SsfDELSigRcpSsfInfoList; both overwrite the password with spaces first. A list owns its
 *     records. Arguments that go in stay the caller's and are not kept beyond the call.
 *
 *  3. Return codes are the SSF_API_ values below; each says what it means. Nothing else is ever
 *     returned, and no exception leaves a function. Judge success by the code alone, 0.
 *
 *  4. The output length is set to 0 before anything can fail and stays 0 on failure, and the output
 *     pointer is set on success only. What differs from that:
 *       SsfSign, SsfAddSign, SsfDevelope   the output pointer is NULL after a failure
 *       SsfVerify                          the output is set as soon as the content has been read: with 3
 *                                          (content differs), 5, 6 and with 2, 4, 12 from then on it may
 *                                          be set; free it whenever it is not what it was. Signer
 *                                          records may have been appended with 0, 3, 5 and 6
 *       SsfQueryProperties                 the output length keeps its value on failure
 *       SsfPRI..., SsfNEW...               see there
 *
 *  5. A result of its own is stored in each signer or recipient record (SSF_RESULT_ values) by the
 *     functions that use it, also when the call fails.
 *
 *  6. A required output pointer that is NULL is refused with 3 (52 or 53 by the record functions, 54
 *     for the address of a list), a NULL input of positive length with 3, a NULL format name with 2. A
 *     NULL string in a hand-made record counts as an empty string.
 *
 *  7. Booleans are ints of which the low byte is tested, as SAP's one-byte booleans arrive. An argument
 *     that is called ignored is one word, never read.
 *
 *  8. Format names are "PKCS7", "CADES", "PKCS7_CADES" and "PKCS7_ANY", exactly so. CADES and
 *     PKCS7_CADES make and expect CAdES messages; PKCS7_ANY verifies both kinds.
 *
 *  9. A record's id is a distinguished name ("CN=Ivan Petrov, O=Bank, C=RU") or a certificate's SHA-1
 *     thumbprint in hexadecimal; its profile names a certificate store, "My" when empty, with a leading
 *     "m" for the local machine or "u" for the current user; its password is the private key's PIN.
 *
 * 10. Threads: every function may run in several threads at once on distinct records, lists and
 *     buffers. The library keeps no state from call to call; its environment is read once, at load.
 */

#include <stdint.h>

#ifdef __cplusplus
#define SSF_NOEXCEPT noexcept
#define SSF_BEGIN extern "C" {
#define SSF_END }
#else
#define SSF_NOEXCEPT
#define SSF_BEGIN
#define SSF_END
#endif
#define SSF_EXPORT __attribute__((visibility("default")))

SSF_BEGIN

/* NOLINTBEGIN(modernize-use-using): C has no using */

typedef unsigned char SAP_B8; /* one byte */
typedef int32_t SsfOctetlen;  /* the length of a byte string, in bytes */
typedef int32_t SAPRETURN;    /* a return code */

/** Return codes. */
enum SsfApiCode {
  SSF_API_OK = 0,                /* success */
  SSF_API_INVALID_FORMAT = 2,    /* format name invalid, or message not of that format */
  SSF_API_INVALID_INPUT = 3,     /* input missing or invalid, or not what was signed */
  SSF_API_NO_MEMORY = 4,         /* an allocation inside an operation failed */
  SSF_API_SIGNER_ERROR = 5,      /* signers could not be used or did not verify */
  SSF_API_SIGNER_INFO_ERROR = 6, /* a signer's information could not be read */
  SSF_API_INVALID_PAB = 7,       /* the recipients' address book cannot be opened */
  SSF_API_RECIPIENT_ERROR = 9,   /* recipients could not be used */
  SSF_API_INVALID_HASH_ALG = 10, /* hash algorithm name unknown or empty */
  SSF_API_ENCODE_ERROR = 11,     /* building a message failed */
  SSF_API_DECODE_ERROR = 12,     /* reading a message failed */
  SSF_API_NO_PROVIDER = 13,      /* no cryptographic provider, or no message could be opened */
  SSF_API_INVALID_ENCR_ALG = 14, /* encryption algorithm name unknown */
  SSF_API_INFO_NO_MEMORY = 51,   /* an allocation failed: records, lists, SsfVersion */
  SSF_API_INFO_INVALID_PARAMETER = 52, /* SsfNEWSigRcpSsfInfo: invalid length or pointer */
  SSF_API_INFO_MISSING = 53,           /* no record, or no place for the answer */
  SSF_API_INFO_LIST_EMPTY = 54         /* the list is empty (NULL) */
};

/** What became of one signer or recipient: the member `result` of a record. */
enum SsfResultCode {
  SSF_RESULT_OK = 0,
  SSF_RESULT_INVALID_NAMESPACE = 21,
  SSF_RESULT_UNKNOWN = 22, /* identity unusable, or nobody found by it */
  SSF_RESULT_UNKNOWN_PROFILE = 23,
  SSF_RESULT_INVALID_PROFILE = 24,  /* store or key cannot be opened */
  SSF_RESULT_INVALID_PASSWORD = 25, /* PIN refused */
  SSF_RESULT_NOCERTIFICATE = 26,    /* no certificate */
  SSF_RESULT_NOT_OK = 27,           /* a check failed */
  SSF_RESULT_UNDEFINED = 28         /* could not be determined */
};

/** One signer or recipient. The record owns its four buffers (malloc), each exactly as long as its
 * length says and without a terminator; NULL when the length is 0. In the records that SsfVerify
 * appends, id is the signer's name, profile his signing time as text and password his certificate in
 * DER. */
typedef struct SigRcpSsfInformation {
  SAP_B8* id;
  SsfOctetlen idLength;
  SAP_B8* reserved;
  SsfOctetlen reservedLength;
  SAP_B8* profile;
  SsfOctetlen profileLength;
  SAP_B8* password;
  SsfOctetlen passwordLength;
  SAPRETURN result; /* SSF_RESULT_... */
} SigRcpSsfInformation;

/** A list of records, in order of insertion; the empty list is NULL. */
typedef struct SigRcpSsfInformationListStruct {
  struct SigRcpSsfInformationListStruct* next;
  SigRcpSsfInformation* info;
} SigRcpSsfInformationListStruct;

/* NOLINTEND(modernize-use-using) */

/* ---- Operations ------------------------------------------------------------------------------- */

/** Signs bytes for one or more signers; *ostrSignedData receives the SignedData message.
 * hashAlgName is ignored: each signer's key decides. detached: the content is left out.
 * includeCertificates: the signers' certificates go into the message. CAdES formats add time stamps.
 * Each record's result is set. Codes: 0, 2, 3, 4, 5 (no list; certificate or key not found), 11, 13. */
SSF_EXPORT SAPRETURN SsfSign(SAP_B8* format,
                             SsfOctetlen formatLength,
                             SAP_B8* hashAlgName,
                             SsfOctetlen hashAlgNameLength,
                             int includeCertificates,
                             int detached,
                             SAP_B8* ostrInputData,
                             SsfOctetlen ostrInputDataL,
                             SigRcpSsfInformationListStruct* signerList,
                             SAP_B8** ostrSignedData,
                             SsfOctetlen* ostrSignedDataL) SSF_NOEXCEPT;

/** Adds a signer to a signed message. inputData is the content, needed when the message is detached;
 * otherwise, when given, it must be the message's content. includeCertificate matters for plain
 * messages. signer->result is set. Codes: 0, 2, 3, 4, 5, 11, 12, 13. */
SSF_EXPORT SAPRETURN SsfAddSign(SAP_B8* format,
                                SsfOctetlen formatLength,
                                void* ignored3,
                                void* ignored4,
                                int includeCertificate,
                                SAP_B8* ostrSignedData,
                                SsfOctetlen ostrSignedDataL,
                                SAP_B8* ostrInputData,
                                SsfOctetlen ostrInputDataL,
                                SigRcpSsfInformation* signer,
                                SAP_B8** ostrOutputData,
                                SsfOctetlen* ostrOutputDataL) SSF_NOEXCEPT;

/** Verifies every signature of a message. ostrInputData is the content of a detached message;
 * otherwise, when given, it must equal the message's content. profile names the store that is searched
 * for certificates which the message lacks ("Addressbook" when empty). One record a signer is appended
 * to *signerList (which may be empty, NULL); ostrOutputData receives the content. 0 says that every
 * signature is good and every signer's certificate is trusted. Codes: 0, 2, 3, 4, 5, 6, 12, 13. */
SSF_EXPORT SAPRETURN SsfVerify(SAP_B8* format,
                               SsfOctetlen formatLength,
                               void* ignored3,
                               SAP_B8* ostrSignedData,
                               SsfOctetlen ostrSignedDataL,
                               SAP_B8* ostrInputData,
                               SsfOctetlen ostrInputDataL,
                               SAP_B8* profile,
                               SsfOctetlen profileLength,
                               SAP_B8* ignoredPassword,
                               SsfOctetlen ignoredPasswordLength,
                               SigRcpSsfInformationListStruct** signerList,
                               SAP_B8** ostrOutputData,
                               SsfOctetlen* ostrOutputDataL) SSF_NOEXCEPT;

/** Encrypts bytes for a list of recipients, whose certificates are found in the store that profile
 * names ("Addressbook" when empty). encrAlgName is "GOST28147" or "GOST-28147-89" or the beginning of
 * one. Each record's result is set. Codes: 0, 2, 3, 4, 7, 9, 11, 13, 14. */
SSF_EXPORT SAPRETURN SsfEnvelope(SAP_B8* format,
                                 SsfOctetlen formatLength,
                                 SAP_B8* encrAlgName,
                                 SsfOctetlen encrAlgNameLength,
                                 SAP_B8* ostrInputData,
                                 SsfOctetlen ostrInputDataL,
                                 SAP_B8* profile,
                                 SsfOctetlen profileLength,
                                 SAP_B8* ignoredPassword,
                                 SsfOctetlen ignoredPasswordLength,
                                 SigRcpSsfInformationListStruct* recipientList,
                                 SAP_B8** ostrEnvelopedData,
                                 SsfOctetlen* ostrEnvelopedDataL) SSF_NOEXCEPT;

/** Decrypts an enveloped message for one recipient. recipient->result is set.
 * Codes: 0, 2, 3, 4, 9, 12, 13. */
SSF_EXPORT SAPRETURN SsfDevelope(SAP_B8* format,
                                 SsfOctetlen formatLength,
                                 SAP_B8* ostrEnvelopedData,
                                 SsfOctetlen ostrEnvelopedDataL,
                                 SigRcpSsfInformation* recipient,
                                 SAP_B8** ostrOutputData,
                                 SsfOctetlen* ostrOutputDataL) SSF_NOEXCEPT;

/** Makes a hashed message (PKCS #7 digested data) of bytes. detached: the content is left out.
 * hashAlgName is "SHA1", "GOST3411", "GOST-R-34.11-94", "MD2" or "MD5" or the beginning of one; the
 * first that begins so is taken. Codes: 0, 2, 3, 4, 10, 11, 13. */
SSF_EXPORT SAPRETURN SsfDigest(SAP_B8* format,
                               SsfOctetlen formatLength,
                               int detached,
                               SAP_B8* ostrInputData,
                               SsfOctetlen ostrInputDataL,
                               SAP_B8* hashAlgName,
                               SsfOctetlen hashAlgNameLength,
                               SAP_B8** ostrDigest,
                               SsfOctetlen* ostrDigestL) SSF_NOEXCEPT;

/** Transfer encoding, which here is the identity: the output is a copy. Codes: 0, 2, 3, 4. */
SSF_EXPORT SAPRETURN SsfEncode(SAP_B8* format,
                               SsfOctetlen formatLength,
                               SAP_B8* ostrInputData,
                               SsfOctetlen ostrInputDataL,
                               SAP_B8** ostrEncodedData,
                               SsfOctetlen* ostrEncodedDataL) SSF_NOEXCEPT;

/** The reverse of SsfEncode, also a copy. Codes: 0, 2, 3, 4. */
SSF_EXPORT SAPRETURN SsfDecode(SAP_B8* format,
                               SsfOctetlen formatLength,
                               SAP_B8* ostrEncodedData,
                               SsfOctetlen ostrEncodedDataL,
                               SAP_B8** ostrOutputData,
                               SsfOctetlen* ostrOutputDataL) SSF_NOEXCEPT;

/* ---- Information ------------------------------------------------------------------------------ */

/** The library's name and version, 39 bytes. Codes: 0, 3, 51. */
SSF_EXPORT SAPRETURN SsfVersion(SAP_B8** version, SsfOctetlen* versionLength) SSF_NOEXCEPT;

/** A property's value, entries separated by ";". name is "PROPERTIES", "FORMATS", "HASHALGS",
 * "ENCRALGS" or "SSF_POPUPS" or the beginning of one (length 0: the first); a name that is longer
 * must have a NUL behind it. Codes: 0, 3 (unknown name, negative length, NULL), 4. */
SSF_EXPORT SAPRETURN SsfQueryProperties(SAP_B8* name,
                                        SsfOctetlen nameLength,
                                        void* ignored3,
                                        void* ignored4,
                                        SAP_B8** value,
                                        SsfOctetlen* valueLength) SSF_NOEXCEPT;

/* ---- Records and lists ------------------------------------------------------------------------ */

/** Makes a record with copies of the four strings. idLength is at least 1, the others at least 0.
 * Codes: 0; 51 and 52 with *record NULL. */
SSF_EXPORT SAPRETURN SsfNEWSigRcpSsfInfo(const SAP_B8* id,
                                         SsfOctetlen idLength,
                                         const SAP_B8* reserved,
                                         SsfOctetlen reservedLength,
                                         const SAP_B8* profile,
                                         SsfOctetlen profileLength,
                                         const SAP_B8* password,
                                         SsfOctetlen passwordLength,
                                         SAPRETURN result,
                                         SigRcpSsfInformation** record) SSF_NOEXCEPT;

/** Frees a record, its password overwritten first, and sets *record to NULL. Codes: 0, 53. */
SSF_EXPORT SAPRETURN SsfDELSigRcpSsfInfo(SigRcpSsfInformation** record) SSF_NOEXCEPT;

/** Appends a record at the tail of a list, which then owns it. On failure the record stays the
 * caller's. Codes: 0, 51, 53. */
SSF_EXPORT SAPRETURN SsfINSSigRcpSsfInfo(SigRcpSsfInformation* record,
                                         SigRcpSsfInformationListStruct** list) SSF_NOEXCEPT;

/** Frees a list with its records and sets *list to NULL. Codes: 0, 54. */
SSF_EXPORT SAPRETURN SsfDELSigRcpSsfInfoList(SigRcpSsfInformationListStruct** list) SSF_NOEXCEPT;

/** Renders a record as text, without its password. A NUL follows the text and is not counted. On
 * failure the outputs are untouched. Codes: 0, 51, 53. */
SSF_EXPORT SAPRETURN SsfPRISigRcpSsfInfo(SigRcpSsfInformation* record,
                                         SAP_B8** text,
                                         SsfOctetlen* textLength) SSF_NOEXCEPT;

/** Renders a list (the list itself, not its address). A NUL follows the text and is not counted. On
 * failure the outputs are untouched. Codes: 0, 51, 53 (a node without record), 54. */
SSF_EXPORT SAPRETURN SsfPRISigRcpSsfInfoList(SigRcpSsfInformationListStruct* list,
                                             SAP_B8** text,
                                             SsfOctetlen* textLength) SSF_NOEXCEPT;

/** Frees a byte string that any function handed out and sets *data to NULL and *length to 0; when
 * there is nothing to free, nothing changes. Always 0. */
SSF_EXPORT SAPRETURN SsfDELSsfOctetstring(SAP_B8** data, SsfOctetlen* length) SSF_NOEXCEPT;

/* ---- Diagnostics ------------------------------------------------------------------------------ */

/** Sets RusCodePage when the LC_MESSAGES locale is one of ru_RU.iso88595, ru_RU.cp1251, ru_RU.cp866,
 * ru_RU.koi8r and ru_RU.utf8, spelled exactly so. It never clears it. */
SSF_EXPORT void check_rus(void) SSF_NOEXCEPT;

/* NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): they are part of the interface */
/** Non-zero: messages go to standard output in the locale's charset instead of the trace. */
extern SSF_EXPORT unsigned char RusCodePage;

/** Not read by the library; kept for hosts that link against it. */
extern SSF_EXPORT int32_t NoRev;

/** The library's trace context, set at load; NULL when tracing is off. */
extern SSF_EXPORT struct QX_TRACE_CONTEXT* qxsapssf_db_ctx;
/* NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables) */

/* The fourth global, gConfig, is a C++ object: qxsapssf/config/config.h. */

SSF_END

#endif
