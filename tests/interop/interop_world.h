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

/// InteropWorld is an authority of one kind of key with three signers below it, in a provider folder.
class InteropWorld {
 public:
  explicit InteropWorld(lab::KeyKind kind);

  const std::vector<Signer>& signers() const { return signers_; }

  /// The first `count` signers as SSF records, named by thumbprint.
  std::vector<SsfRecord> records(std::size_t count) const;

  const std::string& rootFile() const { return rootFile_; }

  /// All signers' certificates in one file.
  const std::string& certificatesFile() const { return certificatesFile_; }

  /// write puts bytes into a file of the world's and gives its path.
  std::string write(const std::string& name, const std::string& bytes) const;

  std::string path(const std::string& name) const { return files_.file(name); }

 private:
  void addSigner(const lab::Authority& authority, lab::KeyKind kind, const std::string& name);

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
std::string testName(lab::KeyKind kind);

}  // namespace qx::test

#endif
