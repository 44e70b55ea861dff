/* How each export is tried: one call with a known answer that needs no certificate. */
#include <string.h>

#include "qxsapssf/qx_algorithms.h"
#include "qxsapssf/ssf.h"
#include "tests/abi/every_export.h"

void* gDeleteOctetstring;
void* gDeleteList;

/* What dlsym gives becomes a function by its bytes: C has no cast for it. The types are those of the
 * header, so that a changed prototype does not compile. */
#define AS_FUNCTION(name, symbol)  \
  __typeof__(&(name)) call = NULL; \
  memcpy((void*)&call, (const void*)&(symbol), sizeof(call))

#define REQUIRE(condition) \
  do {                     \
    if (!(condition)) {    \
      return __LINE__;     \
    }                      \
  } while (0)

static SAP_B8 kFormat[] = "PKCS7";
static SAP_B8 kInput[] = "some input";
static SAP_B8 kHash[] = "GOST3411";
static SAP_B8 kCipher[] = "GOST28147";

enum { kFormatLength = 5, kInputLength = 10, kHashLength = 8, kCipherLength = 9 };

static void delete_octets(SAP_B8** data, SsfOctetlen* length) {
  AS_FUNCTION(SsfDELSsfOctetstring, gDeleteOctetstring);
  call(data, length);
}

static SigRcpSsfInformation make_record(void) {
  SigRcpSsfInformation record;
  memset(&record, 0, sizeof(record));
  record.id = kInput;
  record.idLength = kInputLength;
  return record;
}

static int try_sign(void* symbol) {
  AS_FUNCTION(SsfSign, symbol);
  SAP_B8* output = kInput;
  SsfOctetlen length = 7;
  REQUIRE(
      call(kFormat, kFormatLength, NULL, 0, 1, 0, kInput, kInputLength, NULL, &output, &length) ==
      SSF_API_SIGNER_ERROR);
  REQUIRE(output == NULL && length == 0);
  return 0;
}

static int try_add_sign(void* symbol) {
  AS_FUNCTION(SsfAddSign, symbol);
  SAP_B8* output = kInput;
  SsfOctetlen length = 7;
  REQUIRE(call(kFormat,
               kFormatLength,
               NULL,
               NULL,
               0,
               kInput,
               kInputLength,
               NULL,
               0,
               NULL,
               &output,
               &length) == SSF_API_SIGNER_ERROR);
  REQUIRE(output == NULL && length == 0);
  return 0;
}

static int try_verify(void* symbol) {
  AS_FUNCTION(SsfVerify, symbol);
  SAP_B8* output = NULL;
  SsfOctetlen length = 7;
  SigRcpSsfInformationListStruct* list = NULL;
  REQUIRE(call(kFormat,
               kFormatLength,
               NULL,
               kInput,
               kInputLength,
               NULL,
               0,
               NULL,
               0,
               NULL,
               0,
               &list,
               &output,
               &length) == SSF_API_DECODE_ERROR);
  REQUIRE(output == NULL && length == 0 && list == NULL);
  return 0;
}

static int try_envelope(void* symbol) {
  AS_FUNCTION(SsfEnvelope, symbol);
  SAP_B8* output = NULL;
  SsfOctetlen length = 7;
  REQUIRE(call(kFormat,
               kFormatLength,
               kCipher,
               kCipherLength,
               kInput,
               kInputLength,
               NULL,
               0,
               NULL,
               0,
               NULL,
               &output,
               &length) == SSF_API_RECIPIENT_ERROR);
  REQUIRE(output == NULL && length == 0);
  return 0;
}

static int try_develope(void* symbol) {
  AS_FUNCTION(SsfDevelope, symbol);
  SAP_B8* output = kInput;
  SsfOctetlen length = 7;
  REQUIRE(call(kFormat, kFormatLength, kInput, kInputLength, NULL, &output, &length) ==
          SSF_API_RECIPIENT_ERROR);
  REQUIRE(output == NULL && length == 0);
  return 0;
}

static int try_digest(void* symbol) {
  AS_FUNCTION(SsfDigest, symbol);
  SAP_B8* output = NULL;
  SsfOctetlen length = 0;
  REQUIRE(
      call(kFormat, kFormatLength, 1, kInput, kInputLength, kHash, kHashLength, &output, &length) ==
      SSF_API_OK);
  REQUIRE(output != NULL && length > 0);
  delete_octets(&output, &length);
  REQUIRE(output == NULL && length == 0);
  return 0;
}

static int check_copy(SAPRETURN code, SAP_B8** output, SsfOctetlen* length) {
  REQUIRE(code == SSF_API_OK && *length == kInputLength);
  REQUIRE(memcmp(*output, kInput, kInputLength) == 0);
  delete_octets(output, length);
  return 0;
}

static int try_encode(void* symbol) {
  AS_FUNCTION(SsfEncode, symbol);
  SAP_B8* output = NULL;
  SsfOctetlen length = 0;
  const SAPRETURN code = call(kFormat, kFormatLength, kInput, kInputLength, &output, &length);
  return check_copy(code, &output, &length);
}

static int try_decode(void* symbol) {
  AS_FUNCTION(SsfDecode, symbol);
  SAP_B8* output = NULL;
  SsfOctetlen length = 0;
  const SAPRETURN code = call(kFormat, kFormatLength, kInput, kInputLength, &output, &length);
  return check_copy(code, &output, &length);
}

static int try_version(void* symbol) {
  AS_FUNCTION(SsfVersion, symbol);
  SAP_B8* version = NULL;
  SsfOctetlen length = 0;
  REQUIRE(call(&version, &length) == SSF_API_OK);
  REQUIRE(length == 39 && memcmp(version, "Qorvex SSF library for SAP Version 1.01", 39) == 0);
  delete_octets(&version, &length);
  return 0;
}

static int try_query_properties(void* symbol) {
  AS_FUNCTION(SsfQueryProperties, symbol);
  SAP_B8 name[] = "SSF_POPUPS";
  SAP_B8* value = NULL;
  SsfOctetlen length = 0;
  REQUIRE(call(name, 10, NULL, NULL, &value, &length) == SSF_API_OK);
  REQUIRE(length == 1 && value[0] == '1');
  delete_octets(&value, &length);
  return 0;
}

static int try_new_record(void* symbol) {
  AS_FUNCTION(SsfNEWSigRcpSsfInfo, symbol);
  SigRcpSsfInformation* record = NULL;
  REQUIRE(call(kInput, 0, NULL, 0, NULL, 0, NULL, 0, 0, &record) == SSF_API_INFO_INVALID_PARAMETER);
  REQUIRE(record == NULL);
  return 0;
}

static int try_delete_record(void* symbol) {
  AS_FUNCTION(SsfDELSigRcpSsfInfo, symbol);
  SigRcpSsfInformation* record = NULL;
  REQUIRE(call(&record) == SSF_API_INFO_MISSING);
  return 0;
}

static int try_insert_record(void* symbol) {
  AS_FUNCTION(SsfINSSigRcpSsfInfo, symbol);
  SigRcpSsfInformationListStruct* list = NULL;
  REQUIRE(call(NULL, &list) == SSF_API_INFO_MISSING);
  REQUIRE(list == NULL);
  return 0;
}

static int try_delete_list(void* symbol) {
  AS_FUNCTION(SsfDELSigRcpSsfInfoList, symbol);
  SigRcpSsfInformationListStruct* list = NULL;
  REQUIRE(call(&list) == SSF_API_INFO_LIST_EMPTY);
  return 0;
}

static int try_print_record(void* symbol) {
  AS_FUNCTION(SsfPRISigRcpSsfInfo, symbol);
  SigRcpSsfInformation record = make_record();
  SAP_B8* text = NULL;
  SsfOctetlen length = 0;
  REQUIRE(call(&record, &text, &length) == SSF_API_OK);
  REQUIRE(length > 40 && text[length] == 0 && strlen((const char*)text) == (size_t)length);
  delete_octets(&text, &length);
  return 0;
}

static int try_print_list(void* symbol) {
  AS_FUNCTION(SsfPRISigRcpSsfInfoList, symbol);
  SigRcpSsfInformation record = make_record();
  SigRcpSsfInformationListStruct node = {NULL, &record};
  SAP_B8* text = NULL;
  SsfOctetlen length = 0;
  REQUIRE(call(&node, &text, &length) == SSF_API_OK);
  REQUIRE(strstr((const char*)text, "Signer/Recipient : 1\n") != NULL);
  delete_octets(&text, &length);
  return 0;
}

static int try_delete_octetstring(void* symbol) {
  AS_FUNCTION(SsfDELSsfOctetstring, symbol);
  SAP_B8* data = NULL;
  SsfOctetlen length = 7;
  REQUIRE(call(&data, &length) == SSF_API_OK);
  REQUIRE(length == 7);
  return 0;
}

static const char* const kGostKey = "1.2.643.7.1.1.1.1";

static int try_gost_hash(void* symbol) {
  AS_FUNCTION(QXGetDefaultGostHashAlgId, symbol);
  REQUIRE(call(kGostKey) == 0x8021 && call("1.2.3") == 0);
  return 0;
}

static int try_public_key_info(void* symbol) {
  AS_FUNCTION(QXCryptGetPublicKeyOIDInfo, symbol);
  const CRYPT_OID_INFO* info = call(kGostKey, 2);
  REQUIRE(info != NULL && strcmp(info->pszOID, kGostKey) == 0);
  REQUIRE(call(kGostKey, 3) == NULL);
  return 0;
}

static int try_signature_info(void* symbol) {
  AS_FUNCTION(QXCryptGetSignatureOIDInfo, symbol);
  const CRYPT_OID_INFO* info = call(kGostKey, "1.2.643.7.1.1.2.2");
  REQUIRE(info != NULL && strcmp(info->pszOID, "1.2.643.7.1.1.3.2") == 0);
  return 0;
}

static int try_default_signature_info(void* symbol) {
  AS_FUNCTION(QXCryptGetDefaultSignatureOIDInfo, symbol);
  const CRYPT_OID_INFO* info = call(kGostKey);
  REQUIRE(info != NULL && strcmp(info->pszOID, "1.2.643.7.1.1.3.2") == 0);
  return 0;
}

static int try_default_hash_info(void* symbol) {
  AS_FUNCTION(QXCryptGetDefaultHashOIDInfo, symbol);
  const CRYPT_OID_INFO* info = call(kGostKey);
  REQUIRE(info != NULL && strcmp(info->pszOID, "1.2.643.7.1.1.2.2") == 0);
  return 0;
}

static int try_provider_hash(void* symbol) {
  AS_FUNCTION(QXCryptGetProviderHashAlgId, symbol);
  REQUIRE(call(0, kGostKey) == 0x8021 && call(0, "1.2.3") == 0);
  return 0;
}

static int try_check_rus(void* symbol) {
  AS_FUNCTION(check_rus, symbol);
  call();
  return 0;
}

/* The globals: what they are after load. gConfig's first word is the flags of the chain check. */
static int try_config(void* symbol) {
  REQUIRE(*(const uint32_t*)symbol == 0x40000000);
  return 0;
}

static int try_trace_context(void* symbol) {
  const void* context = NULL;
  memcpy((void*)&context, symbol, sizeof(context));
  (void)context; /* NULL or not, as the provider's tracing is configured */
  return 0;
}

static int try_rus_code_page(void* symbol) {
  REQUIRE(*(const unsigned char*)symbol <= 1);
  return 0;
}

static int try_no_rev(void* symbol) {
  REQUIRE(*(const int32_t*)symbol == 0);
  return 0;
}

const struct export_trial kExportTrials[] = {
    {"SsfSign", try_sign},
    {"SsfAddSign", try_add_sign},
    {"SsfVerify", try_verify},
    {"SsfEnvelope", try_envelope},
    {"SsfDevelope", try_develope},
    {"SsfDigest", try_digest},
    {"SsfEncode", try_encode},
    {"SsfDecode", try_decode},
    {"SsfVersion", try_version},
    {"SsfQueryProperties", try_query_properties},
    {"SsfNEWSigRcpSsfInfo", try_new_record},
    {"SsfDELSigRcpSsfInfo", try_delete_record},
    {"SsfINSSigRcpSsfInfo", try_insert_record},
    {"SsfDELSigRcpSsfInfoList", try_delete_list},
    {"SsfPRISigRcpSsfInfo", try_print_record},
    {"SsfPRISigRcpSsfInfoList", try_print_list},
    {"SsfDELSsfOctetstring", try_delete_octetstring},
    {"QXGetDefaultGostHashAlgId", try_gost_hash},
    {"QXCryptGetPublicKeyOIDInfo", try_public_key_info},
    {"QXCryptGetSignatureOIDInfo", try_signature_info},
    {"QXCryptGetDefaultSignatureOIDInfo", try_default_signature_info},
    {"QXCryptGetDefaultHashOIDInfo", try_default_hash_info},
    {"QXCryptGetProviderHashAlgId", try_provider_hash},
    {"check_rus", try_check_rus},
    {"gConfig", try_config},
    {"qxsapssf_db_ctx", try_trace_context},
    {"RusCodePage", try_rus_code_page},
    {"NoRev", try_no_rev},
};

const size_t kExportTrialCount = sizeof(kExportTrials) / sizeof(kExportTrials[0]);
