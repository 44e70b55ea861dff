#include "provider/chain/crl_scope.h"

#include <openssl/x509v3.h>

#include "provider/openssl/owned.h"

namespace qx {
namespace {

constexpr int kAbsent = -1;  // as X509_CRL_get_ext_d2i says it

bool haveCommonName(const GENERAL_NAMES* left, const GENERAL_NAMES* right) {
  for (int i = 0; i < sk_GENERAL_NAME_num(left); ++i) {
    for (int j = 0; j < sk_GENERAL_NAME_num(right); ++j) {
      if (GENERAL_NAME_cmp(sk_GENERAL_NAME_value(left, i), sk_GENERAL_NAME_value(right, j)) == 0) {
        return true;
      }
    }
  }
  return false;
}

bool hasName(const GENERAL_NAMES* names, const X509_NAME* directoryName) {
  for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
    const GENERAL_NAME* name = sk_GENERAL_NAME_value(names, i);
    if (name->type == GEN_DIRNAME && X509_NAME_cmp(name->d.directoryName, directoryName) == 0) {
      return true;
    }
  }
  return false;
}

// The name is one below the CRL's issuer; libcrypto puts the whole one into `dpname`.
bool isRelative(const DIST_POINT_NAME& name) {
  return name.type == 1;
}

bool samePoint(DIST_POINT_NAME& left, DIST_POINT_NAME& right, const X509_NAME* issuer) {
  if (DIST_POINT_set_dpname(&left, issuer) != 1 || DIST_POINT_set_dpname(&right, issuer) != 1) {
    return false;
  }
  if (isRelative(left)) {
    return isRelative(right) ? X509_NAME_cmp(left.dpname, right.dpname) == 0
                             : hasName(right.name.fullname, left.dpname);
  }
  return isRelative(right) ? hasName(left.name.fullname, right.dpname)
                           : haveCommonName(left.name.fullname, right.name.fullname);
}

/// One of the places where the certificate's issuer puts CRLs about it is the one the CRL names.
bool isListedPoint(DIST_POINT_NAME& point, X509* subject) {
  const DistributionPointsPtr points(static_cast<CRL_DIST_POINTS*>(
      X509_get_ext_d2i(subject, NID_crl_distribution_points, nullptr, nullptr)));
  for (int i = 0; i < sk_DIST_POINT_num(points.get()); ++i) {
    DIST_POINT_NAME* name = sk_DIST_POINT_value(points.get(), i)->distpoint;
    if (name != nullptr && samePoint(point, *name, X509_get_issuer_name(subject))) {
      return true;
    }
  }
  return false;
}

const char* whyOutOfScope(const ISSUING_DIST_POINT& scope, X509* subject) {
  if (scope.indirectCRL > 0) {
    return "it is an indirect one";
  }
  if (scope.onlysomereasons != nullptr) {
    return "it is about some reasons only";
  }
  const bool isAuthority = (X509_get_extension_flags(subject) & EXFLAG_CA) != 0;
  if (scope.onlyattr > 0 || (isAuthority ? scope.onlyuser : scope.onlyCA) > 0) {
    return "it is about other kinds of certificate";
  }
  return scope.distpoint != nullptr && !isListedPoint(*scope.distpoint, subject)
             ? "it is about another distribution point"
             : nullptr;
}

}  // namespace

const char* whyNotAbout(const CrlData& crl, const CertificateData& subject) {
  if (X509_CRL_get_ext_by_NID(crl.crl(), NID_delta_crl, -1) >= 0) {
    return "it is a delta";
  }
  int presence = kAbsent;
  const IssuingPointPtr scope(static_cast<ISSUING_DIST_POINT*>(
      X509_CRL_get_ext_d2i(crl.crl(), NID_issuing_distribution_point, &presence, nullptr)));
  if (scope != nullptr) {
    return whyOutOfScope(*scope, subject.x509());
  }
  return presence == kAbsent ? nullptr : "its scope cannot be read";
}

}  // namespace qx
