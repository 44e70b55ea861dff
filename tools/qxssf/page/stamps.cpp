#include "tools/qxssf/page/stamps.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/cert_store.h"
#include "platform/encode.h"

#include "tools/common/times.h"
#include "tools/qxssf/doctor/store_view.h"

namespace qx::ssf {
namespace {

using Bytes = std::span<const std::uint8_t>;
using doctor::CertificatePtr;

struct StampKind {
  std::string_view attribute;
  const char* what;
};

// RFC 3161, appendix A; RFC 5126, 6.3.5, 6.3.6 and 6.4.1.
constexpr StampKind kStamps[] = {
    {"1.2.840.113549.1.9.16.2.14", "the signature"},
    {"1.2.840.113549.1.9.16.2.25", "the signature with what proves it"},
    {"1.2.840.113549.1.9.16.2.26", "what proves the signature"},
    {"1.2.840.113549.1.9.16.2.27", "the archived signature"},
    {"1.2.840.113549.1.9.16.2.48", "the archived signature"},
};

std::string authorityOf(const Library& library, const MessageView& token) {
  std::vector<std::uint8_t> signer = token.parameter(CMSG_SIGNER_CERT_INFO_PARAM);
  const StorePtr store = certificatesOf(library, token);
  if (signer.empty() || store == nullptr) {
    return "";
  }
  const CertificatePtr found(
      QX_SSF_FUNCTION(library, CertGetSubjectCertificateFromStore)(
          store.get(), kEncoding, reinterpret_cast<CERT_INFO*>(signer.data())),
      QX_SSF_FUNCTION(library, CertFreeCertificateContext));
  return found == nullptr ? "" : doctor::nameText(library, found->pCertInfo->Subject);
}

Stamp stampOf(const Library& library, const char* what, Bytes der) {
  const MessageView token(library, der);
  return {.time = stampTime(library, token.parameter(CMSG_CONTENT_PARAM)),
          .what = what,
          .authority = authorityOf(library, token)};
}

// The whole first element of some DER (X.690, 8.1), or nothing.
std::optional<Bytes> firstElement(Bytes der, std::size_t& header) {
  if (der.size() < 2) {
    return std::nullopt;
  }
  std::size_t length = der[1];
  header = 2;
  if (length >= 0x80) {
    const std::size_t octets = length & 0x7FU;
    if (octets == 0 || octets > 4 || der.size() < header + octets) {
      return std::nullopt;
    }
    length = 0;
    for (const std::uint8_t octet : der.subspan(header, octets)) {
      length = (length << 8U) | octet;
    }
    header += octets;
  }
  return der.size() - header < length ? std::nullopt : std::optional(der.first(header + length));
}

}  // namespace

std::vector<Stamp> stampsOf(const Library& library, const MessageView& message, DWORD signer) {
  std::vector<Stamp> stamps;
  const std::vector<std::uint8_t> record = message.parameter(CMSG_SIGNER_UNAUTH_ATTR_PARAM, signer);
  if (record.empty()) {
    return stamps;
  }
  const auto& attributes = *reinterpret_cast<const CRYPT_ATTRIBUTES*>(record.data());
  for (const CRYPT_ATTRIBUTE& attribute : std::span(attributes.rgAttr, attributes.cAttr)) {
    const auto* const kind =
        std::ranges::find(kStamps, std::string_view(attribute.pszObjId), &StampKind::attribute);
    if (kind != std::end(kStamps)) {
      for (const CRYPT_ATTR_BLOB& value : std::span(attribute.rgValue, attribute.cValue)) {
        stamps.push_back(stampOf(library, kind->what, {value.pbData, value.cbData}));
      }
    }
  }
  return stamps;
}

std::string stampTime(const Library& library, Bytes info) {
  // The time is the fifth: version, policy, imprint and serial number stand before it.
  constexpr int kBefore = 4;
  std::size_t header = 0;
  const auto sequence = firstElement(info, header);
  if (!sequence) {
    return "";
  }
  Bytes rest = sequence->subspan(header);
  for (int i = 0; i < kBefore; ++i) {
    const auto element = firstElement(rest, header);
    if (!element) {
      return "";
    }
    rest = rest.subspan(element->size());
  }
  const auto time = firstElement(rest, header);
  FILETIME decoded{};
  DWORD size = sizeof decoded;
  return time && QX_SSF_FUNCTION(library, CryptDecodeObject)(kEncoding,
                                                             X509_CHOICE_OF_TIME,
                                                             time->data(),
                                                             static_cast<DWORD>(time->size()),
                                                             /*dwFlags=*/0,
                                                             &decoded,
                                                             &size) != FALSE
             ? tools::isoTime(doctor::ticksOf(decoded))
             : "";
}

}  // namespace qx::ssf
