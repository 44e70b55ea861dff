#include "provider/chain/faults.h"

#include <algorithm>
#include <iterator>

#include <openssl/x509_vfy.h>

namespace qx {
namespace {

using enum FaultPlace;

constexpr DWORD kBasicConstraints = CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
constexpr DWORD kPolicies = CERT_TRUST_INVALID_POLICY_CONSTRAINTS;
constexpr FaultMeaning kMeanings[] = {
    // The dates are not judged by libcrypto, which knows one time for certificates and CRLs: they are
    // compared beside it (path_check.cpp).
    {X509_V_ERR_CERT_NOT_YET_VALID, 0, Element},
    {X509_V_ERR_CERT_HAS_EXPIRED, 0, Element},
    {X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD, CERT_TRUST_IS_NOT_TIME_VALID, Element},
    {X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD, CERT_TRUST_IS_NOT_TIME_VALID, Element},
    // Signatures.
    {X509_V_ERR_CERT_SIGNATURE_FAILURE, CERT_TRUST_IS_NOT_SIGNATURE_VALID, Element},
    {X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE, CERT_TRUST_IS_NOT_SIGNATURE_VALID, Element},
    {X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY, CERT_TRUST_IS_NOT_SIGNATURE_VALID, Subject},
    {X509_V_ERR_EC_KEY_EXPLICIT_PARAMS, CERT_TRUST_IS_NOT_SIGNATURE_VALID, Element},
    // The end of the chain.
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, CERT_TRUST_IS_UNTRUSTED_ROOT, Last},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, CERT_TRUST_IS_UNTRUSTED_ROOT, Last},
    {X509_V_ERR_CERT_UNTRUSTED, CERT_TRUST_IS_UNTRUSTED_ROOT, Last},
    {X509_V_ERR_CERT_REJECTED, CERT_TRUST_IS_EXPLICIT_DISTRUST, Element},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, CERT_TRUST_IS_PARTIAL_CHAIN, Chain},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, CERT_TRUST_IS_PARTIAL_CHAIN, Chain},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, CERT_TRUST_IS_PARTIAL_CHAIN, Chain},
    {X509_V_ERR_CERT_CHAIN_TOO_LONG, CERT_TRUST_IS_PARTIAL_CHAIN, Chain},
    // Who may issue.
    {X509_V_ERR_INVALID_CA, kBasicConstraints, Element},
    {X509_V_ERR_INVALID_NON_CA, kBasicConstraints, Element},
    {X509_V_ERR_PATH_LENGTH_EXCEEDED, kBasicConstraints, Element},
    {X509_V_ERR_KEYUSAGE_NO_CERTSIGN, CERT_TRUST_IS_NOT_VALID_FOR_USAGE, Element},
    {X509_V_ERR_INVALID_PURPOSE, CERT_TRUST_IS_NOT_VALID_FOR_USAGE, Element},
    {X509_V_ERR_PROXY_CERTIFICATES_NOT_ALLOWED, kUnknownCriticalExtension, Element},
    {X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION, kUnknownCriticalExtension, Element},
    // Names.
    {X509_V_ERR_PERMITTED_VIOLATION, CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT, Element},
    {X509_V_ERR_EXCLUDED_VIOLATION, CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT, Element},
    {X509_V_ERR_SUBTREE_MINMAX, CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT, Element},
    {X509_V_ERR_UNSUPPORTED_CONSTRAINT_TYPE, CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT, Element},
    {X509_V_ERR_UNSUPPORTED_CONSTRAINT_SYNTAX, CERT_TRUST_INVALID_NAME_CONSTRAINTS, Element},
    {X509_V_ERR_UNSUPPORTED_NAME_SYNTAX, CERT_TRUST_HAS_NOT_DEFINED_NAME_CONSTRAINT, Element},
    // Policies. The missing one is found for the chain as a whole, on behalf of its end.
    {X509_V_ERR_INVALID_POLICY_EXTENSION, kPolicies, Element},
    {X509_V_ERR_NO_EXPLICIT_POLICY, kPolicies, End},
};

constexpr FaultMeaning kUnknownFault = {
    X509_V_ERR_UNSPECIFIED, CERT_TRUST_INVALID_EXTENSION, Element};

}  // namespace

const FaultMeaning& meaningOf(int error) {
  const auto* const found = std::ranges::find(kMeanings, error, &FaultMeaning::error);
  return found == std::end(kMeanings) ? kUnknownFault : *found;
}

}  // namespace qx
