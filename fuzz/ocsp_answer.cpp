// The answer of a status responder, about a certificate of the world.

#include <string>

#include "fuzz/input.h"
#include "fuzz/world.h"
#include "provider/chain/ocsp_status.h"
#include "provider/store/certificate_data.h"
#include "provider/store/file_content.h"
#include "tests/support/temp_dir.h"

namespace {

qx::CertificatePtr certificateOf(const std::string& store, const std::string& name) {
  const std::string text =
      qx::test::readFile(qx::fuzz::enterWorld() + "/stores/" + store + "/" + name + ".pem");
  const auto der = qx::derFromFile(qx::FileKind::Certificate, {text.begin(), text.end()});
  qx::fuzz::expect(bool{der}, "the world's certificates are good");
  auto certificate = qx::CertificateData::parse(*der);
  qx::fuzz::expect(bool{certificate}, "the world's certificates are good");
  return *std::move(certificate);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const qx::CertificatePtr subject = certificateOf("My", "Ec");
  static const qx::CertificatePtr issuer = certificateOf("Root", "root");
  const auto answer = qx::OcspData::parse({data, size});
  if (!answer) {
    return 0;
  }
  constexpr std::time_t kNow = 1'800'000'000;
  qx::readAnswer(*answer, *subject, *issuer, {.now = kNow, .asOf = {}});
  qx::readAnswer(*answer, *subject, *issuer, {.now = kNow, .asOf = kNow / 2});
  return 0;
}
