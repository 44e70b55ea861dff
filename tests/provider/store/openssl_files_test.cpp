#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "provider/store/folder_store.h"
#include "tests/provider/store/store_support.h"
#include "tests/support/command.h"

namespace qx::test::openssl_files_test {
namespace {

// Files that the openssl command wrote, in all its forms.
class OpensslFilesTest : public StoreTest {
 protected:
  OpensslFilesTest() {
    std::filesystem::create_directories(storePath("My"));
    const X509Ptr certificate = makeCertificate("Written by openssl");
    der_ = lab::toDer(certificate.get());
    source_ = folder().path() + "/source.pem";
    writeFile(source_, lab::toPem(certificate.get()));
  }

  static void openssl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "openssl");
    const CommandResult result = run(std::move(arguments));
    EXPECT_EQ(0, result.exitCode) << result.err;
  }

  std::string inStore(const std::string& file) const { return storePath("My") + "/" + file; }

  void expectTheCertificate() const {
    const auto store = snapshot(Location::CurrentUser, "My");
    ASSERT_TRUE(store);
    ASSERT_EQ(1U, (*store)->certificates().size());
    const der::Bytes got = (*store)->certificates().front().data->der();
    EXPECT_EQ(der_, Bytes(got.begin(), got.end()));
  }

  const std::string& source() const { return source_; }

 private:
  Bytes der_;
  std::string source_;
};

TEST_F(OpensslFilesTest, AreReadAsDer) {
  openssl({"x509", "-in", source(), "-outform", "DER", "-out", inStore("a.der")});
  expectTheCertificate();
}

TEST_F(OpensslFilesTest, AreReadAsPem) {
  openssl({"x509", "-in", source(), "-out", inStore("a.pem")});
  expectTheCertificate();
}

TEST_F(OpensslFilesTest, AreReadWithTheTextInFront) {
  openssl({"x509", "-in", source(), "-text", "-out", inStore("a.crt")});
  expectTheCertificate();
}

TEST_F(OpensslFilesTest, AreLeftOutWithTrustSettingsOfTheirOwn) {
  openssl({"x509",
           "-in",
           source(),
           "-trustout",
           "-addreject",
           "emailProtection",
           "-out",
           inStore("a.pem")});
  const auto store = snapshot(Location::CurrentUser, "My");
  ASSERT_TRUE(store);
  EXPECT_TRUE((*store)->certificates().empty());
}

TEST_F(OpensslFilesTest, AreReadAsRevocationLists) {
  const std::string list = folder().path() + "/source.crl";
  writeFile(list, lab::toPem(authority().crl().get()));
  openssl({"crl", "-in", list, "-text", "-out", inStore("a.crl")});
  openssl({"crl", "-in", list, "-outform", "DER", "-out", inStore("b.crl")});
  const auto store = snapshot(Location::CurrentUser, "My");
  ASSERT_TRUE(store);
  ASSERT_EQ(2U, (*store)->crls().size());
  EXPECT_EQ((*store)->crls()[0].data->subject(), (*store)->crls()[1].data->subject());
}

// The order of a store against libcrypto's reading of the dates.
TEST_F(OpensslFilesTest, StandInTheOrderOfTheirDates) {
  std::map<std::string, X509Ptr> written;
  for (int i = 0; i < 40; ++i) {
    // Dates of both encodings: UTCTime until 2049, GeneralizedTime from 2050 on.
    const auto age =
        std::chrono::seconds(((i * 7919) % 41) * 1'000'003) - 800 * lab::kDay * (i % 5);
    lab::CertificateOptions options = named("Order " + std::to_string(i), age);
    options.notBefore += (i % 3 == 0 ? 30 * 365 : 0) * lab::kDay;
    options.notAfter = 60 * 365 * lab::kDay;
    const std::string file = std::to_string(i) + ".pem";
    written[file] = makeCertificate(options);
    writeFile(inStore(file), lab::toPem(written[file].get()));
  }
  const auto store = snapshot(Location::CurrentUser, "My");
  ASSERT_TRUE(store);
  const auto& certificates = (*store)->certificates();
  ASSERT_EQ(written.size(), certificates.size());
  for (std::size_t i = 1; i < certificates.size(); ++i) {
    const X509* before = written[certificates[i - 1].fileName].get();
    const X509* after = written[certificates[i].fileName].get();
    EXPECT_LE(0, ASN1_TIME_compare(X509_get0_notBefore(before), X509_get0_notBefore(after))) << i;
  }
}

}  // namespace
}  // namespace qx::test::openssl_files_test
