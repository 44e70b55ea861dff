/* Every header of the interface, seen by a C compiler: the pins in them hold there too. */
#include "platform/cades.h"
#include "platform/cert.h"
#include "platform/cert_chain.h"
#include "platform/cert_store.h"
#include "platform/crypt_msg.h"
#include "platform/crypt_prov.h"
#include "platform/encode.h"
#include "platform/errors.h"
#include "platform/oid_info.h"
#include "platform/strings.h"
#include "platform/support.h"
#include "platform/types.h"

DWORD qxSizesSeenByC(DWORD index);

/* What sizeof says in C, for the C++ test to compare with its own; 0 ends the list. */
DWORD qxSizesSeenByC(DWORD index) {
  static const size_t kSizes[] = {sizeof(CERT_INFO),
                                  sizeof(CERT_CONTEXT),
                                  sizeof(CERT_ID),
                                  sizeof(CMSG_SIGNER_ENCODE_INFO),
                                  sizeof(CMSG_SIGNER_ENCODE_INFO_LONG),
                                  sizeof(CMSG_SIGNER_INFO),
                                  sizeof(CERT_CHAIN_CONTEXT),
                                  sizeof(CRYPT_OID_INFO_LONG),
                                  sizeof(PROV_ENUMALGS_EX),
                                  sizeof(CADES_SIGN_PARA),
                                  0};
  return (DWORD)kSizes[index];
}
