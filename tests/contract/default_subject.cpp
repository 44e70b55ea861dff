#include "tests/contract/subject.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"

// The default provider finds certificates and keys in files.

namespace qx::test {
namespace {

class Files {
 public:
  Files() {
    const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
    const X509Ptr signer = root_.issue(
        key.get(),
        {.subject = {{"C", "RU"}, {"O", "Bank"}, {"CN", "Signer"}}, .notBefore = -2 * lab::kDay});
    folder_.addCertificate("Root", root_.certificate());
    folder_.addCertificate("My", signer.get());
    folder_.addKey(key.get());
    const EvpPkeyPtr other = lab::generateKey(lab::KeyKind::EcP256);
    subject_ = {
        .signer = lab::toDer(signer.get()),
        .root = lab::toDer(root_.certificate()),
        .stranger = lab::toDer(root_.issue(other.get(), {.subject = {{"CN", "Stranger"}}}).get())};
  }

  const Subject& subject() const { return subject_; }

 private:
  ProviderFolder folder_;
  lab::Authority root_ =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = {{"CN", "Root"}}});
  Subject subject_;
};

}  // namespace

const Subject& subject() {
  static const Files files;
  return files.subject();
}

}  // namespace qx::test
