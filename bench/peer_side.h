#ifndef QX_BENCH_PEER_SIDE_H_
#define QX_BENCH_PEER_SIDE_H_

#include <string>
#include <vector>

#include "bench/world.h"

namespace qx::bench {

/// The same work straight on libcrypto's CMS functions, with keys and certificates held in memory.
/// An empty string or false tells that it failed.
std::string peerDigest(const std::string& content, const char* digest, bool detached);
std::string peerSign(const std::string& content, const Signer& signer, bool detached);
bool peerVerify(const std::string& message,
                const std::string& content,
                const Signer& signer,
                std::string* out);
std::string peerEncrypt(const std::string& content, const std::vector<const Signer*>& recipients);
std::string peerDecrypt(const std::string& message, const Signer& recipient);

}  // namespace qx::bench

#endif
