#ifndef QX_TESTS_ABI_RECORD_LAYOUT_H_
#define QX_TESTS_ABI_RECORD_LAYOUT_H_

/* The records as SAP's side lays them out, in either language. */

#include <assert.h>
#include <stddef.h>

#include "qxsapssf/ssf.h"

static_assert(sizeof(SAP_B8) == 1, "SAP_B8");
static_assert(sizeof(SsfOctetlen) == 4, "SsfOctetlen");
static_assert(sizeof(SAPRETURN) == 4, "SAPRETURN");

#define QX_PIN_RECORD(member, at) \
  static_assert(offsetof(SigRcpSsfInformation, member) == (at), #member)

static_assert(sizeof(SigRcpSsfInformation) == 64, "SigRcpSsfInformation");
QX_PIN_RECORD(id, 0);
QX_PIN_RECORD(idLength, 8);
QX_PIN_RECORD(reserved, 16);
QX_PIN_RECORD(reservedLength, 24);
QX_PIN_RECORD(profile, 32);
QX_PIN_RECORD(profileLength, 40);
QX_PIN_RECORD(password, 48);
QX_PIN_RECORD(passwordLength, 56);
QX_PIN_RECORD(result, 60);

static_assert(sizeof(SigRcpSsfInformationListStruct) == 16, "SigRcpSsfInformationListStruct");
static_assert(offsetof(SigRcpSsfInformationListStruct, next) == 0, "next");
static_assert(offsetof(SigRcpSsfInformationListStruct, info) == 8, "info");

static_assert(SSF_API_OK == 0, "codes");
static_assert(SSF_API_INVALID_FORMAT == 2, "codes");
static_assert(SSF_API_INVALID_INPUT == 3, "codes");
static_assert(SSF_API_NO_MEMORY == 4, "codes");
static_assert(SSF_API_SIGNER_ERROR == 5, "codes");
static_assert(SSF_API_SIGNER_INFO_ERROR == 6, "codes");
static_assert(SSF_API_INVALID_PAB == 7, "codes");
static_assert(SSF_API_RECIPIENT_ERROR == 9, "codes");
static_assert(SSF_API_INVALID_HASH_ALG == 10, "codes");
static_assert(SSF_API_ENCODE_ERROR == 11, "codes");
static_assert(SSF_API_DECODE_ERROR == 12, "codes");
static_assert(SSF_API_NO_PROVIDER == 13, "codes");
static_assert(SSF_API_INVALID_ENCR_ALG == 14, "codes");
static_assert(SSF_API_INFO_NO_MEMORY == 51, "codes");
static_assert(SSF_API_INFO_INVALID_PARAMETER == 52, "codes");
static_assert(SSF_API_INFO_MISSING == 53, "codes");
static_assert(SSF_API_INFO_LIST_EMPTY == 54, "codes");

#endif
