#include "tests/soak/world.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <random>
#include <utility>

namespace qx::soak {
namespace {

constexpr std::array kKinds = {lab::KeyKind::Gost2001,
                               lab::KeyKind::Gost2012_256,
                               lab::KeyKind::Gost2012_512,
                               lab::KeyKind::Rsa2048,
                               lab::KeyKind::EcP256};

constexpr std::array kStores = {"My", "Addressbook"};

bool isForRecipients(lab::KeyKind kind) {
  return kind != lab::KeyKind::EcP256;
}

std::string makeMaterial() {
  std::mt19937_64 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): any bytes will do
  std::string material(World::kMaterial, '\0');
  std::ranges::generate(material, [&] { return static_cast<char>(random() & 0xffU); });
  return material;
}

lab::Authority newRoot(const std::string& name) {
  return lab::Authority::selfSigned(
      lab::KeyKind::Gost2012_256,
      {.subject = {{.type = "C", .value = "RU"}, {.type = "CN", .value = name}}});
}

Answerers answerersOf(const lab::Authority& stamping, const lab::Authority& asked) {
  constexpr lab::KeyKind kKind = lab::KeyKind::Gost2012_256;
  return {.stamps = std::make_shared<const lab::TimeStampAuthority>(
              lab::TimeStampAuthority::issuedBy(stamping, kKind)),
          .responder = std::make_shared<const lab::OcspResponder>(
              lab::OcspResponder::issuedBy(asked, kKind)),
          .issuer = asked.certificate()};
}

}  // namespace

World::World()
    : authority_(newRoot("Soak Root")),
      listless_(newRoot("Soak Root Without List")),
      services_(answerersOf(authority_, listless_)),
      material_(makeMaterial()) {
  useServices();
  oldGostDigest_ = lab::usualDigest(lab::generateKey(lab::KeyKind::Gost2001).get());
  folder_.addCertificate("Root", authority_.certificate());
  folder_.addCertificate("Root", listless_.certificate());
  for (const std::uint64_t number : {1U, 2U}) {
    const lab::CrlOptions options{.number = number};
    crls_.push_back({"stores/Root/root.crl", lab::toPem(authority_.crl(options).get())});
  }
  put(crls_.front(), 0);
  for (const lab::KeyKind kind : kKinds) {
    enrol(kind, std::string("Signer ") + lab::kindName(kind), {&authority_, {}});
  }
  enrol(lab::KeyKind::Gost2012_256, "Signer asked about", {&listless_, services_.ocspUrl()});
  for (std::size_t number = 0; number < kGuests; ++number) {
    prepareGuest(number);
  }
}

// An answer that does not come in this time has been swallowed.
void World::useServices() const {
  // NOLINTBEGIN(concurrency-mt-unsafe): before the first thread
  setenv("QXPROVIDER_TSP_DEFAULT_URL", services_.stampUrl().c_str(), 1);
  setenv("QXPROVIDER_TSP_TIMEOUT_MS", "2000", 1);
  setenv("QXPROVIDER_REVOCATION_ONLINE", "yes", 1);
  // NOLINTEND(concurrency-mt-unsafe)
}

Identity World::certify(EVP_PKEY* key,
                        const std::string& name,
                        const Issuer& issuer,
                        std::vector<File>& certificates) {
  const X509Ptr certificate =
      issuer.authority->issue(key,
                              {.subject = {{"C", "RU"}, {"O", "Bank"}, {"CN", name}},
                               .keyUsage = "digitalSignature,nonRepudiation,keyEncipherment",
                               .ocspUrl = issuer.ocspUrl});
  Identity identity{.thumbprint = lab::thumbprint(certificate.get()),
                    .name = "CN=" + name + ", O=Bank, C=RU",
                    .pin = {}};
  for (const std::string store : kStores) {
    certificates.push_back(
        {"stores/" + store + "/" + identity.thumbprint + ".pem", lab::toPem(certificate.get())});
  }
  return identity;
}

void World::enrol(lab::KeyKind kind, const std::string& name, const Issuer& issuer) {
  const EvpPkeyPtr key = lab::generateKey(kind);
  std::vector<File> certificates;
  Identity identity = certify(key.get(), name, issuer, certificates);
  identity.pin = "pin of " + name;
  identity.receives = isForRecipients(kind);
  folder_.addKey(key.get(), identity.pin);
  for (const File& file : certificates) {
    put(file, 0);
  }
  identities_.push_back(identity);
}

void World::prepareGuest(std::size_t number) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::Gost2012_256);
  Identity guest = certify(key.get(),
                           "Guest " + std::to_string(number),
                           {&authority_, {}},
                           certificates_.emplace_back());
  guest.receives = true;
  guests_.push_back(guest);
  keys_.push_back({"keys/" + test::keyFileName(key.get()), lab::toPem(key.get())});
}

void World::change(std::size_t guest, unsigned number) const {
  const std::vector<File>& certificates = certificates_.at(guest);
  switch (number % kChanges) {
    case 0:
      put(keys_.at(guest), guest);
      break;
    case 1:
      std::ranges::for_each(certificates, [&](const File& file) { put(file, guest); });
      break;
    case kRenews:
      put(crls_.at(number / kChanges % crls_.size()), guest);
      break;
    case 3:
      std::ranges::for_each(certificates, [&](const File& file) { remove(file); });
      break;
    case kForgets:
      forgetAnswers();
      break;
    default:
      remove(keys_.at(guest));
  }
}

std::vector<std::filesystem::path> World::keptAnswers() const {
  std::vector<std::filesystem::path> answers;
  std::error_code noFolderYet;
  for (const auto& file :
       std::filesystem::directory_iterator(folder_.path() + "/cache", noFolderYet)) {
    if (file.path().extension() == ".ocsp") {
      answers.push_back(file.path());
    }
  }
  return answers;
}

void World::forgetAnswers() const {
  for (const std::filesystem::path& answer : keptAnswers()) {
    std::filesystem::remove(answer);
  }
}

// Readers find the old file, or the new one, or none, never a part.
void World::put(const File& file, std::size_t guest) const {
  const std::string made = folder_.path() + "/coming." + std::to_string(guest);
  const std::filesystem::path place = folder_.path() + "/" + file.name;
  test::writeFile(made, file.content);
  std::filesystem::permissions(
      made, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  std::filesystem::create_directories(place.parent_path());
  std::filesystem::rename(made, place);
}

void World::remove(const File& file) const {
  std::filesystem::remove(folder_.path() + "/" + file.name);
}

}  // namespace qx::soak
