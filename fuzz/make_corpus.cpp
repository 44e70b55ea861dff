// make_fuzz_corpus FOLDER: makes FOLDER/world, a throw-away PKI whose keys stand there for everybody to
// read, and the corpora of FOLDER/corpus whose files need it. Those written by hand stay as they are.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/world.h"
#include "tests/support/provider_folder.h"
#include "tests/support/ssf_calls.h"
#include "tools/lab/services.h"

namespace {

namespace fs = std::filesystem;
namespace lab = qx::lab;
using qx::test::SsfOutcome;

const std::string kDocument = qx::fuzz::kContent;

std::string textOf(const lab::Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

std::string good(const SsfOutcome& outcome) {
  if (outcome.code != SSF_API_OK) {
    throw std::runtime_error("an operation failed with " + std::to_string(outcome.code));
  }
  return outcome.output;
}

// What the targets for messages read first: which format, and the content of a detached message.
std::string headOf(char format, const std::string& content = {}) {
  return format + std::string(1, static_cast<char>(content.size())) + content;
}

class Corpus {
 public:
  explicit Corpus(std::string folder) : folder_(std::move(folder)) {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }

  void add(const std::string& name, const std::string& bytes) const {
    qx::test::writeFile(folder_ + "/" + name, bytes);
  }

 private:
  std::string folder_;
};

class Maker {
 public:
  explicit Maker(std::string target) : target_(std::move(target)) {
    folder_.addCertificate("Root", root_.certificate(), "root.pem");
    folder_.addCrl("Root", root_.crl().get(), "root.crl");
    enrol("Gost", lab::KeyKind::Gost2012_256);
    enrol("Rsa", lab::KeyKind::Rsa2048);
    enrol("Ec", lab::KeyKind::EcP256);
    services_.offerTimeStamps("/tsp", authority_);
    const std::string url = services_.url("/tsp");
    setenv("QXPROVIDER_TSP_DEFAULT_URL", url.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  }

  void make() const {
    fs::remove_all(target_ + "/world");
    fs::create_directories(target_ + "/world");
    fs::copy(folder_.path() + "/stores", target_ + "/world/stores", fs::copy_options::recursive);
    fs::copy(folder_.path() + "/keys", target_ + "/world/keys", fs::copy_options::recursive);
    makeSigned();
    makeEnveloped();
    makeFiles();
    makeAnswers();
  }

 private:
  void enrol(const std::string& name, lab::KeyKind kind) {
    const qx::EvpPkeyPtr key = lab::generateKey(kind);
    const qx::X509Ptr certificate =
        root_.issue(key.get(),
                    {.subject = {{"C", "RU"}, {"CN", name}},
                     .keyUsage = "digitalSignature,nonRepudiation,keyEncipherment,keyAgreement"});
    folder_.addCertificate("My", certificate.get(), name + ".pem");
    folder_.addKey(key.get());
    certificates_.push_back(lab::readCertificate(lab::toDer(certificate.get())));
  }

  static std::string sign(const std::string& name,
                          const std::string& format = "PKCS7",
                          bool detached = false) {
    return good(qx::test::ssfSign(kDocument,
                                  {{.id = "CN=" + name, .profile = {}, .password = {}}},
                                  {.format = format, .detached = detached}));
  }

  void makeSigned() const {
    const Corpus verify(target_ + "/corpus/verify");
    const Corpus addsign(target_ + "/corpus/addsign");
    const auto both = [&](const std::string& name,
                          char format,
                          const std::string& message,
                          const std::string& content = {}) {
      verify.add(name, headOf(format, content) + message);
      addsign.add(name, headOf(format, content) + message);
    };
    for (const std::string name : {"Gost", "Rsa", "Ec"}) {
      both("plain-" + name, 0, sign(name));
      both("detached-" + name, 0, sign(name, "PKCS7", true), kDocument);
      both("enhanced-" + name, 1, sign(name, "CADES"));
    }
    both("enhanced-detached", 1, sign("Ec", "CADES", true), kDocument);
    both("two-signers",
         3,
         good(qx::test::ssfAddSign(
             sign("Gost"), {}, {.id = "CN=Ec", .profile = {}, .password = {}})));
    both("digested", 0, good(qx::test::ssfDigest(kDocument, "GOST3411", false)));
  }

  void makeEnveloped() const {
    const Corpus corpus(target_ + "/corpus/develope");
    const auto envelope = [](const std::vector<qx::test::SsfRecord>& recipients) {
      return good(qx::test::ssfEnvelope(kDocument, recipients, "My"));
    };
    const qx::test::SsfRecord gost = {.id = "CN=Gost", .profile = {}, .password = {}};
    const qx::test::SsfRecord rsa = {.id = "CN=Rsa", .profile = {}, .password = {}};
    corpus.add("gost", '\0' + envelope({gost}));
    corpus.add("rsa", '\1' + envelope({rsa}));
    corpus.add("both", '\1' + envelope({gost, rsa}));
    corpus.add("signed", '\0' + sign("Ec"));
  }

  void makeFiles() const {
    const Corpus files(target_ + "/corpus/store_file");
    const Corpus readers(target_ + "/corpus/der_reader");
    for (std::size_t i = 0; i < certificates_.size(); ++i) {
      const std::string der = textOf(lab::toDer(certificates_[i].get()));
      files.add("certificate-" + std::to_string(i), '\0' + der);
      readers.add("certificate-" + std::to_string(i), der);
    }
    files.add("certificate-pem", '\0' + lab::toPem(certificates_.front().get()));
    const qx::X509CrlPtr crl = root_.crl(
        {.revoked = {{.serial = lab::serialOf(certificates_.front().get()), .reason = 1}}});
    files.add("crl", '\1' + textOf(lab::toDer(crl.get())));
    files.add("crl-pem", '\1' + lab::toPem(crl.get()));
    readers.add("crl", textOf(lab::toDer(crl.get())));
    readers.add("message", sign("Ec"));
  }

  void makeAnswers() const {
    const Corpus stamps(target_ + "/corpus/time_stamp");
    const lab::Bytes token = authority_->token(lab::imprintOf(NID_sha256, {1, 2, 3}), {7});
    stamps.add("token", textOf(token));
    stamps.add("granted", textOf(timeStampResponse(lab::TimeStampStatus::Granted, token)));
    stamps.add("rejected", textOf(timeStampResponse(lab::TimeStampStatus::Rejection, {})));

    const Corpus answers(target_ + "/corpus/ocsp_answer");
    const lab::OcspResponder responder = lab::OcspResponder::issuedBy(root_, lab::KeyKind::EcP256);
    const lab::Bytes id = lab::ocspCertId(certificates_.back().get(), root_.certificate());
    answers.add("good", textOf(responder.response({{.certId = id}})));
    answers.add("revoked",
                textOf(responder.response({{.certId = id, .status = lab::OcspStatus::Revoked}})));
    answers.add("basic", textOf(responder.basic({{.certId = id}}, {.byKey = true, .nonce = {1}})));
    answers.add("error", textOf(lab::ocspError(1)));
  }

  std::string target_;
  qx::test::ProviderFolder folder_;
  lab::Authority root_ =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = {{"C", "RU"}, {"CN", "Root"}}});
  std::vector<qx::X509Ptr> certificates_;
  std::shared_ptr<const lab::TimeStampAuthority> authority_ =
      std::make_shared<lab::TimeStampAuthority>(
          lab::TimeStampAuthority::issuedBy(root_, lab::KeyKind::EcP256));
  lab::Services services_;
};

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 2) {
      std::fputs("usage: make_fuzz_corpus FOLDER\n", stderr);
      return 1;
    }
    Maker(argv[1]).make();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_fuzz_corpus: %s\n", error.what());
    return 1;
  }
}
