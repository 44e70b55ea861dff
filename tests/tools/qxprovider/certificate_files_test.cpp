#include "tools/qxprovider/certificate_files.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"
#include "tools/lab/pki.h"

namespace qx::admin::certificate_files_test {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;
using tools::ExitCode;
using tools::expectRefusal;

std::string textOf(const lab::Bytes& der) {
  return {der.begin(), der.end()};
}

/// An authority is made once: keys cost time.
const lab::Authority& authority() {
  static const lab::Authority kAuthority =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = {{"CN", "CA"}}, .ca = true});
  return kAuthority;
}

class CertificateFiles : public ::testing::Test {
 protected:
  std::string write(const std::string& content) const { return folder_.write("file", content); }

  void expectRefused(const std::string& content, const char* reason) const {
    const std::string path = write(content);
    expectRefusal([&] { static_cast<void>(readCertificates(path)); },
                  ExitCode::Input,
                  ::testing::AllOf(HasSubstr(path + ": "), HasSubstr(reason)));
  }

  test::TempDir folder_;
  std::string pem_ = lab::toPem(authority().certificate());
  lab::Bytes der_ = lab::toDer(authority().certificate());
};

TEST_F(CertificateFiles, AreReadFromPemAndDer) {
  for (const std::string& content : {pem_, textOf(der_)}) {
    const auto read = readCertificates(write(content));
    ASSERT_THAT(read, SizeIs(1));
    EXPECT_EQ(lab::Bytes(read[0]->der().begin(), read[0]->der().end()), der_);
  }
}

TEST_F(CertificateFiles, MayHoldAnyNumber) {
  std::string bundle;
  for (int i = 0; i < 150; ++i) {
    bundle += "# certificate " + std::to_string(i) + "\n" + pem_;
  }
  EXPECT_THAT(readCertificates(write(bundle)), SizeIs(150));
}

TEST_F(CertificateFiles, MayHoldOtherThingsBeside) {
  const std::string key = lab::toPem(authority().key());
  const std::string crl = lab::toPem(authority().crl().get());
  EXPECT_THAT(readCertificates(write(key + pem_ + crl + pem_)), SizeIs(2));
  EXPECT_THAT(readCrls(write(key + pem_ + crl)), SizeIs(1));
}

TEST_F(CertificateFiles, WithoutAnyAreRefused) {
  expectRefused("", "holds no CERTIFICATE");
  expectRefused("some text\n", "holds no CERTIFICATE");
  expectRefused(lab::toPem(authority().crl().get()), "holds no CERTIFICATE");
  const std::string path = write(pem_);
  expectRefusal(
      [&] { static_cast<void>(readCrls(path)); }, ExitCode::Input, HasSubstr("holds no X509 CRL"));
}

TEST_F(CertificateFiles, WithOneThatIsDamagedAreRefusedWhole) {
  std::string damaged = pem_;
  damaged[damaged.size() / 2] = '!';
  expectRefused(pem_ + damaged, "");
  expectRefused(pem_ + pem_.substr(0, pem_.size() / 2), "");
  lab::Bytes cut = der_;
  cut.pop_back();
  expectRefused(textOf(cut), "");
}

TEST_F(CertificateFiles, AreWrittenAsTheOpensslCommandWritesThem) {
  EXPECT_EQ(certificatePem(*readCertificates(write(pem_)).at(0)), pem_);
}

TEST_F(CertificateFiles, OfCrlsAreReadFromDer) {
  const X509CrlPtr crl = authority().crl();
  const auto read = readCrls(write(textOf(lab::toDer(crl.get()))));
  ASSERT_THAT(read, SizeIs(1));
}

}  // namespace
}  // namespace qx::admin::certificate_files_test
