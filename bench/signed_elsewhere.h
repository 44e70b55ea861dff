#ifndef QX_BENCH_SIGNED_ELSEWHERE_H_
#define QX_BENCH_SIGNED_ELSEWHERE_H_

#include <string>
#include <vector>

namespace qx::bench {

/// signedElsewhere signs the content by each of the signers, in a process of its own: this one has met
/// none of them afterwards. Throws std::runtime_error when a message is not made.
std::vector<std::string> signedElsewhere(const std::string& content,
                                         const std::vector<std::string>& signers,
                                         const std::string& pin,
                                         const std::string& format);

}  // namespace qx::bench

#endif
