#ifndef QX_PROVIDER_CHAIN_CHAIN_CONTEXT_H_
#define QX_PROVIDER_CHAIN_CHAIN_CONTEXT_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/cert_chain.h"

#include "provider/chain/verify.h"
#include "provider/handle.h"

namespace qx {

/// ChainContext is what a PCCERT_CHAIN_CONTEXT points at: the published record first, behind it the
/// parts that the record points to.
class ChainContext : public CERT_CHAIN_CONTEXT, public Tagged<HandleTag::Chain> {
 public:
  /// The chain of `end`: its first element is this very context, with one more reference; the others
  /// are contexts of their own.
  ChainContext(PCCERT_CONTEXT end, const ChainVerdict& verdict, DWORD flags);

  ~ChainContext() = default;
  ChainContext(const ChainContext&) = delete;
  ChainContext& operator=(const ChainContext&) = delete;
  ChainContext(ChainContext&&) = delete;
  ChainContext& operator=(ChainContext&&) = delete;

  /// from gives the object behind a chain, or null for NULL and for what is none of ours.
  static ChainContext* from(PCCERT_CHAIN_CONTEXT chain);

 private:
  struct ContextRelease {
    void operator()(PCCERT_CONTEXT context) const;
  };

  struct Element {
    std::unique_ptr<const CERT_CONTEXT, ContextRelease> certificate;
    CERT_CHAIN_ELEMENT record{};
    CERT_REVOCATION_INFO revocation{};
  };

  void fill(std::size_t i, const ChainElement& from);

  std::vector<Element> elements_;
  std::vector<PCERT_CHAIN_ELEMENT> elementPointers_;
  CERT_SIMPLE_CHAIN chain_{};
  PCERT_SIMPLE_CHAIN chainPointer_ = &chain_;
};

}  // namespace qx

#endif
