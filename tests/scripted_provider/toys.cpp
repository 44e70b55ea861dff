#include <algorithm>
#include <cstring>
#include <ctime>

#include "tests/scripted_provider/state.h"

namespace qx::scripted {

std::string hex(std::span<const BYTE> bytes) {
  std::string text;
  for (const BYTE byte : bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string shown(std::span<const BYTE> bytes) {
  const bool isText =
      std::ranges::all_of(bytes, [](BYTE byte) { return byte >= 0x20 && byte < 0x7F; });
  return isText ? "'" + std::string(bytes.begin(), bytes.end()) + "'" : hex(bytes);
}

std::string textOf(const CRYPT_INTEGER_BLOB& blob) {
  return blob.pbData == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(blob.pbData), blob.cbData);
}

std::uint32_t checksum(std::string_view text) {
  std::uint32_t sum = 2166136261U;
  for (const char c : text) {
    sum = (sum ^ static_cast<unsigned char>(c)) * 16777619U;
  }
  return sum;
}

std::string ToyCertificate::encoded() const {
  return "certificate(" + subject + "," + hex(serial) + ")";
}

ToySigner ToySigner::of(const ToyCertificate& certificate) {
  ToySigner signer;
  signer.issuer = certificate.issuer;
  signer.serial = certificate.serial;
  signer.cades.certificate = certificate;
  return signer;
}

namespace {

std::string beginning(const ToyMessage& message) {
  switch (message.type) {
    case CMSG_HASHED:
      return "hashed(" + message.hashOid + ";";
    case CMSG_ENVELOPED:
      return "enveloped(";
    default:
      return "signed(";
  }
}

}  // namespace

std::string ToyMessage::encoded() const {
  std::string text = beginning(*this);
  text += isDetached ? "detached " + std::to_string(checksum(content)) : "\"" + content + "\"";
  for (const ToySigner& signer : signers) {
    text += ";signer " + signer.issuer + "/" + hex(signer.serial);
  }
  for (const ToyRecipient& recipient : recipients) {
    text += ";recipient " + recipient.issuer + "/" + hex(recipient.serial);
  }
  for (const ToyCertificate& certificate : certificates) {
    text += ";" + certificate.encoded();
  }
  for (const std::string& mark : marks) {
    text += ";" + mark;
  }
  return text + ")";
}

CertificateObject::CertificateObject(ToyCertificate certificate)
    : toy(std::move(certificate)),
      encoded(bytesOf(toy.encoded())),
      subject(bytesOf(toy.subject)),
      issuer(bytesOf(toy.issuer)) {
  info.SerialNumber = {static_cast<DWORD>(toy.serial.size()), toy.serial.data()};
  info.SignatureAlgorithm.pszObjId = toy.signatureOid.data();
  info.Issuer = {static_cast<DWORD>(issuer.size()), issuer.data()};
  info.Subject = {static_cast<DWORD>(subject.size()), subject.data()};
  info.SubjectPublicKeyInfo.Algorithm.pszObjId = toy.publicKeyOid.data();
  context.dwCertEncodingType = X509_ASN_ENCODING;
  context.pbCertEncoded = encoded.data();
  context.cbCertEncoded = static_cast<DWORD>(encoded.size());
  context.pCertInfo = &info;
}

const ToyCertificate* knownCertificate(std::string_view encoding) {
  const auto search =
      [&](const std::vector<ToyCertificate>& certificates) -> const ToyCertificate* {
    for (const ToyCertificate& certificate : certificates) {
      if (certificate.encoded() == encoding) {
        return &certificate;
      }
    }
    return nullptr;
  };
  const ToyCertificate* found = search(provider().otherCertificates);
  for (const ToyStore& store : provider().stores) {
    found = found == nullptr ? search(store.certificates) : found;
  }
  for (const auto& [bytes, message] : provider().messages) {
    found = found == nullptr ? search(message.certificates) : found;
    for (const ToySigner& signer : message.signers) {
      found = found == nullptr ? search(signer.certificateValues) : found;
    }
  }
  return found;
}

PCCERT_CONTEXT giveCertificate(const ToyCertificate& toy, const void* store, std::size_t index) {
  auto object = std::make_unique<CertificateObject>(toy);
  object->context.hCertStore = const_cast<void*>(store);
  object->index = index;
  const CERT_CONTEXT* context = &object->context;
  state().give(std::move(object), context, "certificate");
  return context;
}

FILETIME fileTime(int year, int month, int day, int hour, int minute, int second) {
  std::tm date{};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  date.tm_hour = hour;
  date.tm_min = minute;
  date.tm_sec = second;
  const std::int64_t units = (timegm(&date) + 11644473600LL) * 10000000LL;
  return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

Bytes encodedTime(const FILETIME& time) {
  Bytes bytes(sizeof(time));
  std::memcpy(bytes.data(), &time, sizeof(time));
  return bytes;
}

}  // namespace qx::scripted
