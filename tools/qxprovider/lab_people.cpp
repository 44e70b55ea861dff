#include "tools/qxprovider/lab_people.h"

namespace qx::admin {
namespace {

using lab::KeyKind;

constexpr LabAuthority kAuthorities[] = {
    {.name = "gost", .title = "Lab GOST", .kind = KeyKind::Gost2012_256},
    {.name = "rsa", .title = "Lab RSA", .kind = KeyKind::Rsa2048},
    {.name = "ec", .title = "Lab EC", .kind = KeyKind::EcP256},
};

// clang-format off
constexpr LabPerson kPeople[] = {
    {"ivan",     "Ivan Petrov",    "gost", KeyKind::Gost2012_256, LabRole::Signer,     "ivan-4711",   LabState::Good},
    {"anna",     "Anna Orlova",    "gost", KeyKind::Gost2012_256, LabRole::Signer,     nullptr,       LabState::Good},
    {"boris",    "Boris Sokolov",  "gost", KeyKind::Gost2012_512, LabRole::Signer,     nullptr,       LabState::Good},
    {"galina",   "Galina Lebedeva", "gost", KeyKind::Gost2001,    LabRole::Signer,     "galina-0815", LabState::Good},
    {"igor",     "Igor Belov",     "gost", KeyKind::Gost2012_256, LabRole::Signer,     nullptr,       LabState::Revoked},
    {"elena",    "Elena Vorobeva", "gost", KeyKind::Gost2012_256, LabRole::Signer,     nullptr,       LabState::Expired},
    {"olga",     "Olga Smirnova",  "gost", KeyKind::Gost2012_256, LabRole::Recipient,  "olga-2718",   LabState::Good},
    {"pavel",    "Pavel Fedorov",  "gost", KeyKind::Gost2012_256, LabRole::Recipient,  nullptr,       LabState::Good},
    {"robert",   "Robert Stein",   "rsa",  KeyKind::Rsa2048,      LabRole::Signer,     "robert-3141", LabState::Good},
    {"rita",     "Rita Berg",      "rsa",  KeyKind::Rsa2048,      LabRole::Signer,     nullptr,       LabState::Good},
    {"rosa",     "Rosa Lang",      "rsa",  KeyKind::Rsa2048,      LabRole::Recipient,  "rosa-1618",   LabState::Good},
    {"rolf",     "Rolf Kern",      "rsa",  KeyKind::Rsa2048,      LabRole::Recipient,  nullptr,       LabState::Good},
    {"erik",     "Erik Holm",      "ec",   KeyKind::EcP256,       LabRole::Signer,     "erik-1414",   LabState::Good},
    {"eva",      "Eva Lund",       "ec",   KeyKind::EcP384,       LabRole::Signer,     nullptr,       LabState::Good},
    {"tsa-gost", "Lab GOST Time Stamps", "gost", KeyKind::Gost2012_256, LabRole::TimeStamps, nullptr, LabState::Good},
    {"tsa-rsa",  "Lab RSA Time Stamps",  "rsa",  KeyKind::Rsa2048,      LabRole::TimeStamps, nullptr, LabState::Good},
    {"ocsp-gost", "Lab GOST OCSP", "gost", KeyKind::Gost2012_256, LabRole::Ocsp,       nullptr,       LabState::Good},
    {"ocsp-rsa", "Lab RSA OCSP",   "rsa",  KeyKind::Rsa2048,      LabRole::Ocsp,       nullptr,       LabState::Good},
    {"ocsp-ec",  "Lab EC OCSP",    "ec",   KeyKind::EcP256,       LabRole::Ocsp,       nullptr,       LabState::Good},
};
// clang-format on

}  // namespace

std::span<const LabAuthority> labAuthorities() {
  return kAuthorities;
}

std::span<const LabPerson> labPeople() {
  return kPeople;
}

const char* roleName(LabRole role) {
  switch (role) {
    case LabRole::Signer:
      return "signer";
    case LabRole::Recipient:
      return "recipient";
    case LabRole::TimeStamps:
      return "time-stamps";
    case LabRole::Ocsp:
      return "ocsp";
  }
  return "";
}

const char* stateName(LabState state) {
  switch (state) {
    case LabState::Good:
      return "good";
    case LabState::Expired:
      return "expired";
    case LabState::Revoked:
      return "revoked";
  }
  return "";
}

}  // namespace qx::admin
