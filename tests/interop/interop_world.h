#ifndef QX_TESTS_INTEROP_INTEROP_WORLD_H_
#define QX_TESTS_INTEROP_INTEROP_WORLD_H_

#include <string>
#include <vector>

#include "tests/support/command.h"
#include "tests/support/provider_folder.h"
#include "tests/support/ssf_calls.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// A signer that both sides know: in the provider's stores (My with its key, Addressbook), and as PEM
/// files for the other side.
struct Signer {
  std::string name;
  EvpPkeyPtr key;
  X509Ptr certificate;
  std::string thumbprint;
  std::string certificateFile;
  std::string keyFile;
};

/// InteropWorld is an authority with signers below it, who are recipients, too, in a provider folder.
class InteropWorld {
 public:
  /// Three signers with keys of the authority's kind.
  explicit InteropWorld(lab::KeyKind kind);

  /// A signer for each of these kinds, in their order, below an authority of the first one.
  explicit InteropWorld(const std::vector<lab::KeyKind>& kinds);

  /// A signer for each of these keys.
  InteropWorld(lab::KeyKind authority, std::vector<EvpPkeyPtr> keys);

  const std::vector<Signer>& signers() const { return signers_; }

  /// The first `count` signers as SSF records, named by thumbprint.
  std::vector<SsfRecord> records(std::size_t count) const;

  SsfRecord record(std::size_t index) const { return {.id = signers_.at(index).thumbprint}; }

  const std::string& rootFile() const { return rootFile_; }

  /// All signers' certificates in one file.
  const std::string& certificatesFile() const { return certificatesFile_; }

  /// write puts bytes into a file of the world's and gives its path.
  std::string write(const std::string& name, const std::string& bytes) const;

  std::string path(const std::string& name) const { return files_.file(name); }

  const ProviderFolder& folder() const { return folder_; }

 private:
  lab::Authority addAuthority(lab::KeyKind kind);
  void addSigner(const lab::Authority& authority, EvpPkeyPtr key, const std::string& name);

  ProviderFolder folder_;
  TempDir files_;
  std::vector<Signer> signers_;
  std::string rootFile_;
  std::string certificatesFile_;
};

/// openssl runs the openssl command with the GOST engine: openssl({"cms", "-verify", ...}).
CommandResult openssl(const std::string& command, std::vector<std::string> arguments);

/// Every kind of key, for parameterized tests, and its name for theirs.
inline constexpr lab::KeyKind kAllKinds[] = {lab::KeyKind::Gost2001,
                                             lab::KeyKind::Gost2012_256,
                                             lab::KeyKind::Gost2012_512,
                                             lab::KeyKind::Rsa2048,
                                             lab::KeyKind::EcP256,
                                             lab::KeyKind::EcP384};

/// The kinds of key that content can be encrypted for.
inline constexpr lab::KeyKind kRecipientKinds[] = {lab::KeyKind::Gost2001,
                                                   lab::KeyKind::Gost2012_256,
                                                   lab::KeyKind::Gost2012_512,
                                                   lab::KeyKind::Rsa2048};
std::string testName(lab::KeyKind kind);

/// Keys that every implementation here can read. Neither Bouncy Castle 1.72 (whose parser wants a digest
/// among the parameters) nor GnuTLS 3.7 knows the curve of TC 26 that keys of R 34.10-2012 with 256 bits
/// have here: theirs are over the older curve A.
std::vector<EvpPkeyPtr> widelyKnownKeys(const std::vector<lab::KeyKind>& kinds);

}  // namespace qx::test

#endif
