#ifndef QX_PLATFORM_CERT_CHAIN_H_
#define QX_PLATFORM_CERT_CHAIN_H_

/* Certificate chains: building, and what is said about their trust. */

#include "platform/cert.h"

/* The engines: whose stores trust and building material come from. */
#define HCCE_CURRENT_USER QX_NUMBER_AS(HCERTCHAINENGINE, 0)
#define HCCE_LOCAL_MACHINE QX_NUMBER_AS(HCERTCHAINENGINE, 1)

/* Flags of CertGetCertificateChain. */
#define CERT_CHAIN_CACHE_END_CERT 0x1u
#define CERT_CHAIN_THREAD_STORE_SYNC 0x2u
#define CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL 0x4u
#define CERT_CHAIN_USE_LOCAL_MACHINE_STORE 0x8u
#define CERT_CHAIN_ENABLE_CACHE_AUTO_UPDATE 0x10u
#define CERT_CHAIN_ENABLE_SHARE_STORE 0x20u
#define CERT_CHAIN_DISABLE_PASS1_QUALITY_FILTERING 0x40u
#define CERT_CHAIN_RETURN_LOWER_QUALITY_CONTEXTS 0x80u
#define CERT_CHAIN_DISABLE_AUTH_ROOT_AUTO_UPDATE 0x100u
#define CERT_CHAIN_TIMESTAMP_TIME 0x200u
#define CERT_CHAIN_ENABLE_PEER_TRUST 0x400u
#define CERT_CHAIN_DISABLE_MY_PEER_TRUST 0x800u
#define CERT_CHAIN_DISABLE_MD2_MD4 0x1000u
#define CERT_CHAIN_DISABLE_AIA 0x2000u
#define CERT_CHAIN_OPT_IN_WEAK_SIGNATURE 0x10000u
#define CERT_CHAIN_REVOCATION_CHECK_END_CERT 0x10000000u
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN 0x20000000u
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT 0x40000000u
#define CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY 0x80000000u
#define CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT 0x8000000u
#define CERT_CHAIN_REVOCATION_CHECK_OCSP_CERT 0x4000000u

/* Kinds of usage matching. */
#define USAGE_MATCH_TYPE_AND 0x0u
#define USAGE_MATCH_TYPE_OR 0x1u

/* What is wrong: bits of CERT_TRUST_STATUS.dwErrorStatus. */
#define CERT_TRUST_NO_ERROR 0x0u
#define CERT_TRUST_IS_NOT_TIME_VALID 0x1u
#define CERT_TRUST_IS_NOT_TIME_NESTED 0x2u
#define CERT_TRUST_IS_REVOKED 0x4u
#define CERT_TRUST_IS_NOT_SIGNATURE_VALID 0x8u
#define CERT_TRUST_IS_NOT_VALID_FOR_USAGE 0x10u
#define CERT_TRUST_IS_UNTRUSTED_ROOT 0x20u
#define CERT_TRUST_REVOCATION_STATUS_UNKNOWN 0x40u
#define CERT_TRUST_IS_CYCLIC 0x80u
#define CERT_TRUST_INVALID_EXTENSION 0x100u
#define CERT_TRUST_INVALID_POLICY_CONSTRAINTS 0x200u
#define CERT_TRUST_INVALID_BASIC_CONSTRAINTS 0x400u
#define CERT_TRUST_INVALID_NAME_CONSTRAINTS 0x800u
#define CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT 0x1000u
#define CERT_TRUST_HAS_NOT_DEFINED_NAME_CONSTRAINT 0x2000u
#define CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT 0x4000u
#define CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT 0x8000u
#define CERT_TRUST_IS_PARTIAL_CHAIN 0x10000u
#define CERT_TRUST_CTL_IS_NOT_TIME_VALID 0x20000u
#define CERT_TRUST_CTL_IS_NOT_SIGNATURE_VALID 0x40000u
#define CERT_TRUST_CTL_IS_NOT_VALID_FOR_USAGE 0x80000u
#define CERT_TRUST_HAS_WEAK_SIGNATURE 0x100000u
#define CERT_TRUST_IS_OFFLINE_REVOCATION 0x1000000u
#define CERT_TRUST_NO_ISSUANCE_CHAIN_POLICY 0x2000000u
#define CERT_TRUST_IS_EXPLICIT_DISTRUST 0x4000000u
#define CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT 0x8000000u

/* What is known: bits of CERT_TRUST_STATUS.dwInfoStatus. */
#define CERT_TRUST_HAS_EXACT_MATCH_ISSUER 0x1u
#define CERT_TRUST_HAS_KEY_MATCH_ISSUER 0x2u
#define CERT_TRUST_HAS_NAME_MATCH_ISSUER 0x4u
#define CERT_TRUST_IS_SELF_SIGNED 0x8u
#define CERT_TRUST_AUTO_UPDATE_CA_REVOCATION 0x10u
#define CERT_TRUST_AUTO_UPDATE_END_REVOCATION 0x20u
#define CERT_TRUST_NO_OCSP_FAILOVER_TO_CRL 0x40u
#define CERT_TRUST_IS_KEY_ROLLOVER 0x80u
#define CERT_TRUST_HAS_PREFERRED_ISSUER 0x100u
#define CERT_TRUST_HAS_ISSUANCE_CHAIN_POLICY 0x200u
#define CERT_TRUST_HAS_VALID_NAME_CONSTRAINTS 0x400u
#define CERT_TRUST_IS_PEER_TRUSTED 0x800u
#define CERT_TRUST_HAS_CRL_VALIDITY_EXTENDED 0x1000u
#define CERT_TRUST_IS_FROM_EXCLUSIVE_TRUST_STORE 0x2000u
#define CERT_TRUST_IS_CA_TRUSTED 0x4000u
#define CERT_TRUST_IS_COMPLEX_CHAIN 0x10000u

QX_PLATFORM_BEGIN

/** A list of usages, as dotted OIDs. */
typedef struct CTL_USAGE {
  DWORD cUsageIdentifier;
  LPSTR* rgpszUsageIdentifier;
} CTL_USAGE, *PCTL_USAGE, CERT_ENHKEY_USAGE, *PCERT_ENHKEY_USAGE;

QX_PIN_SIZE(CTL_USAGE, 16);
QX_PIN(CTL_USAGE, cUsageIdentifier, 0);
QX_PIN(CTL_USAGE, rgpszUsageIdentifier, 8);

/** Usages that a chain must be good for: all of them (USAGE_MATCH_TYPE_AND) or any (..._OR). */
typedef struct CERT_USAGE_MATCH {
  DWORD dwType;
  CTL_USAGE Usage;
} CERT_USAGE_MATCH, *PCERT_USAGE_MATCH;

QX_PIN_SIZE(CERT_USAGE_MATCH, 24);
QX_PIN(CERT_USAGE_MATCH, dwType, 0);
QX_PIN(CERT_USAGE_MATCH, Usage, 8);

/** What a chain is built for. cbSize is 32, or 96 for the long form; below 32 no usage is read. */
typedef struct CERT_CHAIN_PARA {
  DWORD cbSize;
  CERT_USAGE_MATCH RequestedUsage;
} CERT_CHAIN_PARA, *PCERT_CHAIN_PARA;

QX_PIN_SIZE(CERT_CHAIN_PARA, 32);
QX_PIN(CERT_CHAIN_PARA, cbSize, 0);
QX_PIN(CERT_CHAIN_PARA, RequestedUsage, 8);

struct CERT_STRONG_SIGN_PARA;

/** The long form of CERT_CHAIN_PARA; a member is read when cbSize covers it.
 *
 * RequestedIssuancePolicy: certificate policies that the chain must be valid for, else its end has
 * CERT_TRUST_IS_NOT_VALID_FOR_USAGE. dwUrlRetrievalTimeout: what the whole call may spend on fetching, in
 * milliseconds; 0, or more than the provider allows: as the provider is configured.
 * dwRevocationFreshnessTime, with fCheckRevocationFreshnessTime: how old in seconds what tells about
 * revocation may be; anything older leaves the status unknown, or is replaced from the network. The other
 * members are not looked at. */
typedef struct CERT_CHAIN_PARA_LONG {
  DWORD cbSize;
  CERT_USAGE_MATCH RequestedUsage;
  CERT_USAGE_MATCH RequestedIssuancePolicy;
  DWORD dwUrlRetrievalTimeout;
  BOOL fCheckRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
  LPFILETIME pftCacheResync;
  const struct CERT_STRONG_SIGN_PARA* pStrongSignPara;
  DWORD dwStrongSignFlags;
} CERT_CHAIN_PARA_LONG, *PCERT_CHAIN_PARA_LONG;

QX_PIN(CERT_CHAIN_PARA_LONG, RequestedUsage, 8);
QX_PIN_SIZE(CERT_CHAIN_PARA_LONG, 96);
QX_PIN(CERT_CHAIN_PARA_LONG, RequestedIssuancePolicy, 32);
QX_PIN(CERT_CHAIN_PARA_LONG, dwUrlRetrievalTimeout, 56);
QX_PIN(CERT_CHAIN_PARA_LONG, fCheckRevocationFreshnessTime, 60);
QX_PIN(CERT_CHAIN_PARA_LONG, dwRevocationFreshnessTime, 64);
QX_PIN(CERT_CHAIN_PARA_LONG, pftCacheResync, 72);
QX_PIN(CERT_CHAIN_PARA_LONG, pStrongSignPara, 80);
QX_PIN(CERT_CHAIN_PARA_LONG, dwStrongSignFlags, 88);

/** What is wrong (CERT_TRUST_IS_...) and what is known (CERT_TRUST_HAS_...). */
typedef struct CERT_TRUST_STATUS {
  DWORD dwErrorStatus;
  DWORD dwInfoStatus;
} CERT_TRUST_STATUS, *PCERT_TRUST_STATUS;

QX_PIN_SIZE(CERT_TRUST_STATUS, 8);
QX_PIN(CERT_TRUST_STATUS, dwErrorStatus, 0);
QX_PIN(CERT_TRUST_STATUS, dwInfoStatus, 4);

struct CERT_REVOCATION_CRL_INFO;

/** The outcome of the revocation check of one element. Freshness is in seconds. */
typedef struct CERT_REVOCATION_INFO {
  DWORD cbSize;
  DWORD dwRevocationResult;
  LPCSTR pszRevocationOid;
  LPVOID pvOidSpecificInfo;
  BOOL fHasFreshnessTime;
  DWORD dwFreshnessTime;
  struct CERT_REVOCATION_CRL_INFO* pCrlInfo;
} CERT_REVOCATION_INFO, *PCERT_REVOCATION_INFO;

QX_PIN_SIZE(CERT_REVOCATION_INFO, 40);
QX_PIN(CERT_REVOCATION_INFO, cbSize, 0);
QX_PIN(CERT_REVOCATION_INFO, dwRevocationResult, 4);
QX_PIN(CERT_REVOCATION_INFO, pszRevocationOid, 8);
QX_PIN(CERT_REVOCATION_INFO, pvOidSpecificInfo, 16);
QX_PIN(CERT_REVOCATION_INFO, fHasFreshnessTime, 24);
QX_PIN(CERT_REVOCATION_INFO, dwFreshnessTime, 28);
QX_PIN(CERT_REVOCATION_INFO, pCrlInfo, 32);

/** One certificate of a chain. pRevocationInfo is NULL when revocation was not asked for. */
typedef struct CERT_CHAIN_ELEMENT {
  DWORD cbSize;
  PCCERT_CONTEXT pCertContext;
  CERT_TRUST_STATUS TrustStatus;
  PCERT_REVOCATION_INFO pRevocationInfo;
  PCERT_ENHKEY_USAGE pIssuanceUsage;
  PCERT_ENHKEY_USAGE pApplicationUsage;
  LPCWSTR pwszExtendedErrorInfo;
} CERT_CHAIN_ELEMENT, *PCERT_CHAIN_ELEMENT;

typedef const CERT_CHAIN_ELEMENT* PCCERT_CHAIN_ELEMENT;
QX_PIN_SIZE(CERT_CHAIN_ELEMENT, 56);
QX_PIN(CERT_CHAIN_ELEMENT, cbSize, 0);
QX_PIN(CERT_CHAIN_ELEMENT, pCertContext, 8);
QX_PIN(CERT_CHAIN_ELEMENT, TrustStatus, 16);
QX_PIN(CERT_CHAIN_ELEMENT, pRevocationInfo, 24);
QX_PIN(CERT_CHAIN_ELEMENT, pIssuanceUsage, 32);
QX_PIN(CERT_CHAIN_ELEMENT, pApplicationUsage, 40);
QX_PIN(CERT_CHAIN_ELEMENT, pwszExtendedErrorInfo, 48);

struct CERT_TRUST_LIST_INFO;

/** From the certificate itself (element 0) to its root, or as far as issuers were found. */
typedef struct CERT_SIMPLE_CHAIN {
  DWORD cbSize;
  CERT_TRUST_STATUS TrustStatus;
  DWORD cElement;
  PCERT_CHAIN_ELEMENT* rgpElement;
  struct CERT_TRUST_LIST_INFO* pTrustListInfo;
  BOOL fHasRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
} CERT_SIMPLE_CHAIN, *PCERT_SIMPLE_CHAIN;

typedef const CERT_SIMPLE_CHAIN* PCCERT_SIMPLE_CHAIN;
QX_PIN_SIZE(CERT_SIMPLE_CHAIN, 40);
QX_PIN(CERT_SIMPLE_CHAIN, cbSize, 0);
QX_PIN(CERT_SIMPLE_CHAIN, TrustStatus, 4);
QX_PIN(CERT_SIMPLE_CHAIN, cElement, 12);
QX_PIN(CERT_SIMPLE_CHAIN, rgpElement, 16);
QX_PIN(CERT_SIMPLE_CHAIN, pTrustListInfo, 24);
QX_PIN(CERT_SIMPLE_CHAIN, fHasRevocationFreshnessTime, 32);
QX_PIN(CERT_SIMPLE_CHAIN, dwRevocationFreshnessTime, 36);

struct CERT_CHAIN_CONTEXT;
typedef const struct CERT_CHAIN_CONTEXT* PCCERT_CHAIN_CONTEXT;

/** A chain as it was built: one simple chain, with the whole's trust status. */
typedef struct CERT_CHAIN_CONTEXT {
  DWORD cbSize;
  CERT_TRUST_STATUS TrustStatus;
  DWORD cChain;
  PCERT_SIMPLE_CHAIN* rgpChain;
  DWORD cLowerQualityChainContext;
  PCCERT_CHAIN_CONTEXT* rgpLowerQualityChainContext;
  BOOL fHasRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
  DWORD dwCreateFlags;
  GUID ChainId;
} CERT_CHAIN_CONTEXT, *PCERT_CHAIN_CONTEXT;

QX_PIN_SIZE(CERT_CHAIN_CONTEXT, 72);
QX_PIN(CERT_CHAIN_CONTEXT, cbSize, 0);
QX_PIN(CERT_CHAIN_CONTEXT, TrustStatus, 4);
QX_PIN(CERT_CHAIN_CONTEXT, cChain, 12);
QX_PIN(CERT_CHAIN_CONTEXT, rgpChain, 16);
QX_PIN(CERT_CHAIN_CONTEXT, cLowerQualityChainContext, 24);
QX_PIN(CERT_CHAIN_CONTEXT, rgpLowerQualityChainContext, 32);
QX_PIN(CERT_CHAIN_CONTEXT, fHasRevocationFreshnessTime, 40);
QX_PIN(CERT_CHAIN_CONTEXT, dwRevocationFreshnessTime, 44);
QX_PIN(CERT_CHAIN_CONTEXT, dwCreateFlags, 48);
QX_PIN(CERT_CHAIN_CONTEXT, ChainId, 52);

/** Builds the chain of a certificate and checks it at pTime (NULL: now).
 *
 * TRUE says that a chain context was made, not that it is trusted: read its TrustStatus. The caller
 * frees it with CertFreeCertificateChain. hAdditionalStore gives building material, not trust.
 * Revocation is looked at only with a CERT_CHAIN_REVOCATION_CHECK_ flag. FALSE for misuse:
 * E_INVALIDARG (no certificate, no parameters, pvReserved not NULL), ERROR_INVALID_DATA (the
 * certificate's key is unusable). */
QX_MUST_USE QX_PLATFORM_API BOOL CertGetCertificateChain(HCERTCHAINENGINE hChainEngine,
                                                         PCCERT_CONTEXT pCertContext,
                                                         LPFILETIME pTime,
                                                         HCERTSTORE hAdditionalStore,
                                                         PCERT_CHAIN_PARA pChainPara,
                                                         DWORD dwFlags,
                                                         LPVOID pvReserved,
                                                         PCCERT_CHAIN_CONTEXT* ppChainContext);

/** Gives a chain context back; NULL is accepted. Leaves the last error alone. */
QX_PLATFORM_API void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext);

QX_PLATFORM_END

#endif
