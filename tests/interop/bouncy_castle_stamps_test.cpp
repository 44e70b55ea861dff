#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/interop/bouncy_castle.h"
#include "tests/interop/interop_world.h"
#include "tests/support/kind_name.h"
#include "tools/lab/services.h"

// Bouncy Castle reads the time stamps, references and values of our signatures that can be checked years
// later, and proves what they say.

namespace qx::test::bouncy_castle_stamps_test {
namespace {

using lab::KeyKind;

const std::string kContent = "Keep this for ten years.\n";
constexpr const char* kStampPath = "/stamps";

// The last numbers of the attributes' identifiers (RFC 5126).
constexpr char kSignatureStamp = 14;
constexpr char kCertificateRefs = 21;
constexpr char kRevocationRefs = 22;
constexpr char kCadesCStamp = 25;

// Which server is asked is read once in a process: this one serves all tests.
class StampServer : public testing::Environment {
 public:
  static lab::Services& services() {
    static lab::Services services;
    return services;
  }

  void SetUp() override {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): before the first test
    setenv("QXPROVIDER_TSP_DEFAULT_URL", services().url(kStampPath).c_str(), 1);
  }
};

// NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the framework owns it
const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new StampServer);

// A root, a signer and a time-stamp authority, the latter two with keys of one kind.
class StampWorld {
 public:
  explicit StampWorld(KeyKind kind) {
    folder_.addCertificate("Root", root_.certificate());
    folder_.addCrl("Root", root_.crl().get(), "root.crl");
    const EvpPkeyPtr key = newKey(kind);
    const X509Ptr certificate = root_.issue(
        key.get(), {.subject = {{"CN", "Signer"}}, .keyUsage = "digitalSignature,nonRepudiation"});
    folder_.addCertificate("My", certificate.get());
    folder_.addKey(key.get());
    signer_.id = lab::thumbprint(certificate.get());
    EvpPkeyPtr stampKey = newKey(kind);
    X509Ptr stampCertificate = root_.issue(stampKey.get(),
                                           {.subject = {{"CN", "Time Stamps"}},
                                            .keyUsage = "digitalSignature",
                                            .extendedKeyUsage = "critical,timeStamping"});
    StampServer::services().offerTimeStamps(kStampPath,
                                            std::make_shared<lab::TimeStampAuthority>(
                                                std::move(stampKey), std::move(stampCertificate)));
  }

  std::string sign() const {
    const SsfOutcome made = ssfSign(kContent, {signer_}, {.format = "CADES"});
    EXPECT_EQ(made.code, SSF_API_OK);
    return made.output;
  }

 private:
  static EvpPkeyPtr newKey(KeyKind kind) { return std::move(widelyKnownKeys({kind}).front()); }

  ProviderFolder folder_;
  lab::Authority root_ =
      lab::Authority::selfSigned(KeyKind::EcP256, {.subject = {{"CN", "Stamp Root"}}});
  SsfRecord signer_;
};

/// The attribute 1.2.840.113549.1.9.16.2.`last`: where its value begins.
std::size_t placeOf(const std::string& message, char last) {
  const std::string oid = std::string("\x06\x0B\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02") + last;
  return message.rfind(oid) + oid.size();
}

/// The message with the first hash of an attribute changed in one bit.
std::string withAnotherHash(std::string message, char attribute) {
  std::size_t at = placeOf(message, attribute);
  const auto isHash = [&](std::size_t place) {
    return message.at(place) == 0x04 &&
           (message.at(place + 1) == 32 || message.at(place + 1) == 64);
  };
  while (!isHash(at)) {
    ++at;
  }
  message.at(at + 2) = static_cast<char>(message.at(at + 2) ^ 1);
  return message;
}

/// The message with the time of a stamp changed in its last digit: what is stamped stays the same.
std::string withAnotherTime(std::string message, char attribute) {
  constexpr const char* kTime =
      "\x18\x0F"
      "20";
  const std::size_t at = message.find(kTime, placeOf(message, attribute));
  char& digit = message.at(at + 15);
  digit = static_cast<char>(digit ^ 1);
  return message;
}

class BouncyCastleStamps : public BouncyCastle {
 protected:
  void askAbout(const std::string& name, const std::string& message) {
    ask("cades", name, {write(name + ".p7s", message), "1"});
  }
};

TEST_F(BouncyCastleStamps, AreVerifiedWithTheReferences) {
  for (const KeyKind kind : kAllKinds) {
    askAbout(kindText(kind), StampWorld(kind).sign());
  }
  expectAllGood();
}

TEST_F(BouncyCastleStamps, AreNotVerifiedOnceTheyAreChanged) {
  std::map<std::string, std::string> expected;
  const auto askWith = [&](const std::string& name, const std::string& message, const char* fault) {
    askAbout(name, message);
    expected[name] = fault;
  };
  for (const KeyKind kind : {KeyKind::Gost2012_256, KeyKind::Rsa2048, KeyKind::EcP256}) {
    const std::string message = StampWorld(kind).sign();
    for (const char attribute :
         {kSignatureStamp, kCertificateRefs, kRevocationRefs, kCadesCStamp}) {
      askWith(kindText(kind) + "Hash" + std::to_string(attribute),
              withAnotherHash(message, attribute),
              "a stamp over something else");
    }
    for (const char attribute : {kSignatureStamp, kCadesCStamp}) {
      askWith(kindText(kind) + "Time" + std::to_string(attribute),
              withAnotherTime(message, attribute),
              "CMSSignerDigestMismatchException");
    }
  }
  for (const auto& [name, answer] : answers()) {
    EXPECT_NE(answer.find(expected[name]), std::string::npos) << name << ": " << answer;
  }
}

}  // namespace
}  // namespace qx::test::bouncy_castle_stamps_test
