#ifndef QX_PROVIDER_CHAIN_LIMITS_H_
#define QX_PROVIDER_CHAIN_LIMITS_H_

#include <cstddef>

namespace qx {

/// What a chain costs at most. Material may come from a message, made by somebody who wants us to work
/// for ever. Good chains stay far below these; what reaches one goes on with what it has.
inline constexpr std::size_t kMaxPaths = 16;
inline constexpr std::size_t kMaxCandidates = 200;
/// Of certificates, and as many of CRLs and answers.
inline constexpr std::size_t kMaxSignatureChecks = 256;

/// CRLs and OCSP answers of one authority: it has one CRL, a few while it changes them, some dozens when
/// it splits them.
inline constexpr std::size_t kMaxObjects = 100;

}  // namespace qx

#endif
