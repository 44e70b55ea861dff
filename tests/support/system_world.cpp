#include "tests/support/system_world.h"

namespace qx::test {

SystemWorld::SystemWorld(lab::KeyKind kind)
    : kind_(kind),
      authority_(lab::Authority::selfSigned(kind, {.subject = {{"C", "RU"}, {"CN", "Root"}}})) {
  folder_.addCertificate("Root", authority_.certificate());
  folder_.addCrl("Root", authority_.crl().get(), "root.crl");
}

Person SystemWorld::enrol(const std::string& commonName, const std::string& pin) const {
  return enrol(lab::CertificateOptions{.subject = {{"C", "RU"}, {"O", "Bank"}, {"CN", commonName}},
                                       .keyUsage = "digitalSignature,nonRepudiation"},
               pin);
}

Person SystemWorld::enrol(const lab::CertificateOptions& options, const std::string& pin) const {
  Person person;
  person.key = lab::generateKey(kind_);
  person.certificate = authority_.issue(person.key.get(), options);
  person.thumbprint = lab::thumbprint(person.certificate.get());
  folder_.addCertificate("My", person.certificate.get());
  folder_.addKey(person.key.get(), pin);
  return person;
}

}  // namespace qx::test
