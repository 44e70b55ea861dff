#include "provider/hash/nettle_hash.h"

#include <nettle/gosthash94.h>
#include <nettle/md2.h>
#include <nettle/streebog.h>

namespace qx {
namespace {

// The functions of nettle differ in the type of their context only.
template <class Context, auto kInit, auto kUpdate, auto kDigest, std::size_t kLength>
class NettleHash final : public HashState {
 public:
  NettleHash() { kInit(&context_); }

  void update(der::Bytes bytes) override { kUpdate(&context_, bytes.size(), bytes.data()); }

  void finish(std::uint8_t* out) override { kDigest(&context_, kLength, out); }

 private:
  Context context_{};
};

using Md2 = NettleHash<md2_ctx, md2_init, md2_update, md2_digest, MD2_DIGEST_SIZE>;
using Gost94 = NettleHash<gosthash94_ctx,
                          gosthash94_init,
                          gosthash94cp_update,
                          gosthash94cp_digest,
                          GOSTHASH94_DIGEST_SIZE>;
using Streebog256 = NettleHash<streebog256_ctx,
                               streebog256_init,
                               streebog256_update,
                               streebog256_digest,
                               STREEBOG256_DIGEST_SIZE>;
using Streebog512 = NettleHash<streebog512_ctx,
                               streebog512_init,
                               streebog512_update,
                               streebog512_digest,
                               STREEBOG512_DIGEST_SIZE>;

}  // namespace

std::unique_ptr<HashState> nettleMd2() {
  return std::make_unique<Md2>();
}

std::unique_ptr<HashState> nettleGost94() {
  return std::make_unique<Gost94>();
}

std::unique_ptr<HashState> nettleStreebog256() {
  return std::make_unique<Streebog256>();
}

std::unique_ptr<HashState> nettleStreebog512() {
  return std::make_unique<Streebog512>();
}

}  // namespace qx
