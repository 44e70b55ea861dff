#include "tools/qxssf/certificate_view.h"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/x509.h>

#include "tests/support/command.h"
#include "tests/support/kind_name.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::ssf::certificate_view_test {
namespace {

using ::testing::HasSubstr;

/// The library keeps loaded what it is asked from, as in the tool.
const Library& library() {
  static const Library kLibrary(QX_LIBRARY);
  return kLibrary;
}

lab::CertificateOptions named(const char* name) {
  return {.subject = {{.type = "CN", .value = name}}};
}

class CertificateViews : public ::testing::TestWithParam<lab::KeyKind> {};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         CertificateViews,
                         ::testing::Values(lab::KeyKind::Gost2001,
                                           lab::KeyKind::Gost2012_256,
                                           lab::KeyKind::Gost2012_512,
                                           lab::KeyKind::Rsa2048,
                                           lab::KeyKind::EcP256,
                                           lab::KeyKind::EcP384),
                         test::kindOf);

TEST_P(CertificateViews, ShowWhatTheOpensslCommandShows) {
  const EvpPkeyPtr key = lab::generateKey(GetParam());
  const X509Ptr certificate = lab::selfSigned(key.get(), named("Signer"));
  const test::TempDir folder;
  const std::string shown = test::run({"openssl",
                                       "x509",
                                       "-in",
                                       folder.write("c.pem", lab::toPem(certificate.get())),
                                       "-noout",
                                       "-fingerprint",
                                       "-startdate",
                                       "-enddate",
                                       "-dateopt",
                                       "iso_8601"})
                                .out;
  const auto view = viewCertificate(library(), lab::toDer(certificate.get()));
  ASSERT_TRUE(view);
  std::string print;
  for (const char c : view->thumbprint) {
    print += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    print += print.size() % 3 == 2 ? ":" : "";
  }
  print.pop_back();
  EXPECT_THAT(shown, HasSubstr("Fingerprint=" + print + "\n"));
  const auto spaced = [](std::string time) {
    time[10] = ' ';
    return time;
  };
  EXPECT_THAT(shown, HasSubstr("notBefore=" + spaced(view->notBefore) + "\n"));
  EXPECT_THAT(shown, HasSubstr("notAfter=" + spaced(view->notAfter) + "\n"));
}

// The times of a certificate, written as the standard writes them: in two digits of the year up to
// 2049, in four from then on (RFC 5280, 4.1.2.5).
struct TimeCase {
  const char* name;
  const char* written;
  const char* shown;
};

class CertificateTimes : public ::testing::TestWithParam<TimeCase> {};

INSTANTIATE_TEST_SUITE_P(
    Edges,
    CertificateTimes,
    ::testing::Values(TimeCase{"FirstOfTwoDigits", "19500101000000Z", "1950-01-01T00:00:00Z"},
                      TimeCase{"LastCentury", "19991231235959Z", "1999-12-31T23:59:59Z"},
                      TimeCase{"LeapDay", "20000229120000Z", "2000-02-29T12:00:00Z"},
                      TimeCase{"LastOfTwoDigits", "20491231235959Z", "2049-12-31T23:59:59Z"},
                      TimeCase{"FirstOfFourDigits", "20500101000000Z", "2050-01-01T00:00:00Z"},
                      TimeCase{"NoEnd", "99991231235959Z", "9999-12-31T23:59:59Z"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(CertificateTimes, AreShownInUtc) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const X509Ptr certificate = lab::selfSigned(key.get(), named("Signer"));
  ASSERT_EQ(ASN1_TIME_set_string_X509(X509_getm_notAfter(certificate.get()), GetParam().written),
            1);
  ASSERT_GT(X509_sign(certificate.get(), key.get(), EVP_sha256()), 0);
  const auto view = viewCertificate(library(), lab::toDer(certificate.get()));
  ASSERT_TRUE(view);
  EXPECT_EQ(view->notAfter, GetParam().shown);
}

TEST(CertificateView, OfWhatIsNoneIsNothing) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const lab::Bytes der = lab::toDer(lab::selfSigned(key.get(), named("Signer")).get());
  for (std::size_t size = 0; size < der.size(); ++size) {
    EXPECT_FALSE(viewCertificate(library(), std::span(der).first(size))) << size;
  }
  EXPECT_TRUE(viewCertificate(library(), der));
  const lab::Bytes keyDer = lab::toDer(key.get());
  EXPECT_FALSE(viewCertificate(library(), keyDer));
}

TEST(CertificateView, SurvivesEveryChangedBit) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const lab::Bytes der = lab::toDer(lab::selfSigned(key.get(), named("Signer")).get());
  const std::string thumbprint = viewCertificate(library(), der)->thumbprint;
  for (std::size_t bit = 0; bit < der.size() * 8; ++bit) {
    lab::Bytes changed = der;
    changed[bit / 8] = static_cast<std::uint8_t>(changed[bit / 8] ^ 1U << bit % 8);
    const auto view = viewCertificate(library(), changed);
    EXPECT_TRUE(!view || view->thumbprint != thumbprint) << bit;
  }
}

}  // namespace
}  // namespace qx::ssf::certificate_view_test
