#include "provider/chain/path_check.h"

#include <algorithm>
#include <memory>
#include <new>

#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "provider/chain/dotted.h"
#include "provider/chain/faults.h"
#include "provider/chain/proved_signatures.h"
#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

// X509_V_FLAG_X509_STRICT is not among them: it refuses certificates for formal gaps (no subject key
// identifier, no critical basic constraints) that exist in the field and that others accept.
constexpr unsigned long kFlags =
    X509_V_FLAG_CHECK_SS_SIGNATURE | X509_V_FLAG_POLICY_CHECK | X509_V_FLAG_TRUSTED_FIRST;

struct Check {
  const Path* path = nullptr;
  PathFaults faults;
  std::size_t recorded = 0;  // faults that count
  X509_STORE_CTX_verify_fn verifySignatures = nullptr;
};

Check& checkOf(X509_STORE_CTX* context) {
  return *static_cast<Check*>(X509_STORE_CTX_get_app_data(context));
}

std::size_t placeOf(const FaultMeaning& meaning, std::size_t depth, std::size_t length) {
  switch (meaning.place) {
    case FaultPlace::Subject:
      return depth == 0 ? 0 : depth - 1;
    case FaultPlace::Last:
      return length - 1;
    case FaultPlace::End:
      return 0;
    default:
      return std::min(depth, length - 1);
  }
}

void record(Check& check, int error, std::size_t depth) {
  const FaultMeaning& meaning = meaningOf(error);
  check.recorded += meaning.bits == 0 ? 0U : 1U;
  if (meaning.place == FaultPlace::Chain) {
    check.faults.chain |= meaning.bits;
    return;
  }
  check.faults.elements[placeOf(meaning, depth, check.faults.elements.size())] |= meaning.bits;
}

int onVerified(int good, X509_STORE_CTX* context) {
  if (good == 0) {
    const int depth = std::max(0, X509_STORE_CTX_get_error_depth(context));
    record(checkOf(context), X509_STORE_CTX_get_error(context), static_cast<std::size_t>(depth));
  }
  return 1;
}

// The path is made; libcrypto's own search, which looks at names and key identifiers only and takes the
// first that fits, is led along it.
int isIssuedBy(X509_STORE_CTX* context, X509* subject, X509* issuer) {
  const std::vector<CertificatePtr>& path = checkOf(context).path->certificates;
  if (subject == issuer) {
    return X509_self_signed(subject, /*verify_signature=*/0) > 0 ? 1 : 0;
  }
  const auto next = std::ranges::adjacent_find(
      path, [&](const CertificatePtr& lower, const CertificatePtr& upper) {
        return lower->x509() == subject && upper->x509() == issuer;
      });
  return next == path.end() ? 0 : 1;
}

template <class Function>
bool allLinks(const std::vector<CertificatePtr>& path, const Function& function) {
  for (std::size_t i = 0; i < path.size(); ++i) {
    const CertificateData& issuer = *path[std::min(i + 1, path.size() - 1)];
    if (!function(path[i]->der(), issuer)) {
      return false;
    }
  }
  return true;
}

// Whether libcrypto goes the whole way to a trusted root that signed itself.
bool isWholePath(X509_STORE_CTX* context, const Path& path) {
  const STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(context);
  const auto length = static_cast<std::size_t>(std::max(0, sk_X509_num(chain)));
  if (!path.trusted || length != path.certificates.size()) {
    return false;
  }
  for (std::size_t i = 0; i < length; ++i) {
    if (sk_X509_value(chain, static_cast<int>(i)) != path.certificates[i]->x509()) {
      return false;
    }
  }
  return true;
}

// Each new certificate comes with a root that is known. libcrypto leaves the root's own signature out when
// it is not asked for; nothing else of a check depends on that.
void leaveOutProvedRoot(X509_STORE_CTX* context, const CertificateData& root) {
  if (processProvedSignatures().isProved(SignedKind::Certificate, root.der(), root)) {
    X509_VERIFY_PARAM_clear_flags(X509_STORE_CTX_get0_param(context),
                                  X509_V_FLAG_CHECK_SS_SIGNATURE);
  }
}

// In this step libcrypto verifies the signatures, whether each key may sign, and the dates, which are
// compared elsewhere (faults.cpp): nothing of it is open where each certificate was found good under its
// issuer's before.
int verifyUnprovedSignatures(X509_STORE_CTX* context) {
  const Check& check = checkOf(context);
  if (!isWholePath(context, *check.path)) {
    return check.verifySignatures(context);
  }
  ProvedSignatures& proved = processProvedSignatures();
  const std::vector<CertificatePtr>& path = check.path->certificates;
  if (allLinks(path, [&proved](der::Bytes subject, const CertificateData& issuer) {
        return proved.isProved(SignedKind::Certificate, subject, issuer);
      })) {
    return 1;
  }
  leaveOutProvedRoot(context, *path.back());
  const std::size_t before = check.recorded;
  const int result = check.verifySignatures(context);
  if (result == 1 && check.recorded == before) {
    allLinks(path, [&proved](der::Bytes subject, const CertificateData& issuer) {
      proved.note(SignedKind::Certificate, subject, issuer);
      return true;
    });
  }
  return result;
}

std::unique_ptr<X509StorePtr> makeRules() {
  auto rules = std::make_unique<X509StorePtr>(X509_STORE_new());
  if (*rules == nullptr) {
    throw std::bad_alloc();
  }
  X509_STORE_set_check_issued(rules->get(), isIssuedBy);
  X509_STORE_set_verify_cb(rules->get(), onVerified);
  return rules;
}

// An empty store that carries our callbacks, read by all threads.
X509_STORE* verifierRules() {
  static const X509StorePtr& rules = untilUnload(makeRules());
  return rules.get();
}

template <class Owner, class Push>
void pushOrThrow(Owner& stack, Push push) {
  if (stack == nullptr || push() <= 0) {
    throw std::bad_alloc();
  }
}

X509BorrowedStackPtr borrowedStack(std::span<const CertificatePtr> certificates) {
  X509BorrowedStackPtr stack(sk_X509_new_null());
  for (const CertificatePtr& certificate : certificates) {
    pushOrThrow(stack, [&] { return sk_X509_push(stack.get(), certificate->x509()); });
  }
  return stack;
}

bool setParameters(X509_STORE_CTX* context, std::time_t now) {
  X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context);
  X509_VERIFY_PARAM_set_flags(parameters, kFlags);
  X509_VERIFY_PARAM_set_time(parameters, now);
  X509_VERIFY_PARAM_set_depth(parameters, static_cast<int>(kMaxChainLength));
  // Any policy suffices (RFC 5280, 6.1.1 c). Left out, libcrypto takes the set for empty and refuses
  // every chain that requires a policy.
  return X509_VERIFY_PARAM_add0_policy(parameters, OBJ_nid2obj(NID_any_policy)) == 1;
}

// libcrypto finds no issuer for a certificate with an extension that it cannot decode, or gives up,
// without saying why.
bool markUnreadable(Check& check) {
  bool any = false;
  for (std::size_t i = 0; i < check.path->certificates.size(); ++i) {
    if ((X509_get_extension_flags(check.path->certificates[i]->x509()) & EXFLAG_INVALID) != 0) {
      check.faults.elements[i] |= CERT_TRUST_INVALID_EXTENSION;
      any = true;
    }
  }
  return any;
}

std::vector<std::string> validPolicies(const X509_STORE_CTX* context) {
  const X509_POLICY_TREE* tree = X509_STORE_CTX_get0_policy_tree(context);
  const STACK_OF(X509_POLICY_NODE)* nodes =
      tree == nullptr ? nullptr : X509_policy_tree_get0_policies(tree);
  std::vector<std::string> policies;
  policies.reserve(static_cast<std::size_t>(std::max(0, sk_X509_POLICY_NODE_num(nodes))));
  for (int i = 0; i < sk_X509_POLICY_NODE_num(nodes); ++i) {
    policies.push_back(dotted(X509_policy_node_get0_policy(sk_X509_POLICY_NODE_value(nodes, i))));
  }
  return policies;
}

}  // namespace

std::size_t countChecked(const Path& path, RevocationScope revocation) {
  const std::size_t length = path.certificates.size();
  const bool hasRoot =
      X509_self_signed(path.certificates.back()->x509(), /*verify_signature=*/0) > 0;
  switch (revocation) {
    case RevocationScope::None:
      return 0;
    case RevocationScope::EndCertificate:
      return 1;
    case RevocationScope::ChainWithoutRoot:
      return hasRoot ? length - 1 : length;
    default:
      return length;
  }
}

Result<PathFaults> checkPath(const Path& path, std::time_t now) {
  const std::span<const CertificatePtr> certificates(path.certificates);
  Check check{.path = &path, .faults = {.elements = std::vector<DWORD>(certificates.size())}};
  const X509BorrowedStackPtr trusted =
      borrowedStack(certificates.last(path.trusted ? std::size_t{1} : std::size_t{0}));
  const X509BorrowedStackPtr untrusted = borrowedStack(certificates.subspan(1));
  const X509StoreCtxPtr context(X509_STORE_CTX_new_ex(libraryContext(), nullptr));
  if (context == nullptr ||
      X509_STORE_CTX_init(
          context.get(), verifierRules(), certificates.front()->x509(), untrusted.get()) != 1 ||
      X509_STORE_CTX_set_app_data(context.get(), &check) != 1 ||
      !setParameters(context.get(), now)) {
    return fail(E_OUTOFMEMORY);
  }
  X509_STORE_CTX_set0_trusted_stack(context.get(), trusted.get());
  check.verifySignatures = X509_STORE_CTX_get_verify(context.get());
  X509_STORE_CTX_set_verify(context.get(), verifyUnprovedSignatures);
  const bool unreadable = markUnreadable(check);
  if (X509_verify_cert(context.get()) <= 0 && !unreadable) {
    return fail(E_OUTOFMEMORY);
  }
  check.faults.policies = validPolicies(context.get());
  return check.faults;
}

}  // namespace qx
