#include "tools/qxssf/page/evidence.h"

#include <utility>

#include "tools/common/report.h"
#include "tools/common/times.h"
#include "tools/qxssf/chain_view.h"
#include "tools/qxssf/doctor/store_view.h"
#include "tools/qxssf/message_view.h"

namespace qx::ssf {
namespace {

using Bytes = std::span<const std::uint8_t>;
using doctor::CertificatePtr;

struct FaultWords {
  DWORD bit;
  const char* words;
};

constexpr FaultWords kFaults[] = {
    {CERT_TRUST_IS_NOT_TIME_VALID, "out of its time"},
    {CERT_TRUST_IS_REVOKED, "revoked"},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, "not signed by its issuer"},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, "not meant for this use"},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, "a root that is not trusted here"},
    {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, "not known whether it is revoked"},
    {CERT_TRUST_IS_PARTIAL_CHAIN, "its issuer is not known here"},
};

std::string timeOf(const FILETIME& time) {
  return tools::isoTime(doctor::ticksOf(time));
}

CertificatePtr certificateOf(const Library& library, Bytes der) {
  return {QX_SSF_FUNCTION(library, CertCreateCertificateContext)(
              kEncoding, der.data(), static_cast<DWORD>(der.size())),
          QX_SSF_FUNCTION(library, CertFreeCertificateContext)};
}

std::vector<std::string> faultsOf(DWORD bits) {
  std::vector<std::string> faults;
  DWORD told = CERT_TRUST_IS_OFFLINE_REVOCATION;
  for (const FaultWords& row : kFaults) {
    told |= row.bit;
    if ((bits & row.bit) != 0) {
      faults.emplace_back(row.words);
    }
  }
  if ((bits & ~told) != 0) {
    faults.push_back("not good in its chain, bits " + tools::errorNumber(bits & ~told));
  }
  return faults;
}

ChainLink linkOf(const Library& library, const CERT_CONTEXT& certificate, DWORD bits) {
  const CERT_INFO& info = *certificate.pCertInfo;
  return {.subject = doctor::nameText(library, info.Subject),
          .thumbprint = doctor::thumbprintOf(library, certificate),
          .notBefore = timeOf(info.NotBefore),
          .notAfter = timeOf(info.NotAfter),
          .faults = faultsOf(bits)};
}

std::vector<ChainLink> linksOf(const Library& library,
                               const CERT_CONTEXT& certificate,
                               HCERTSTORE more) {
  const ChainPtr chain = chainOf(library, certificate, verifyFlags(), more);
  if (chain == nullptr || chain->cChain == 0) {
    return {linkOf(library, certificate, CERT_TRUST_IS_PARTIAL_CHAIN)};
  }
  std::vector<ChainLink> links;
  const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
  const DWORD whole = simple.TrustStatus.dwErrorStatus & CERT_TRUST_IS_PARTIAL_CHAIN;
  for (DWORD i = 0; i < simple.cElement; ++i) {
    const CERT_CHAIN_ELEMENT& element = *simple.rgpElement[i];
    // An issuer is missing behind the last, and with him whoever tells of its revocation.
    const bool isCut = whole != 0 && i + 1 == simple.cElement;
    const DWORD bits = element.TrustStatus.dwErrorStatus;
    links.push_back(linkOf(library,
                           *element.pCertContext,
                           isCut ? whole | (bits & ~CERT_TRUST_REVOCATION_STATUS_UNKNOWN) : bits));
  }
  return links;
}

}  // namespace

std::vector<Evidence> evidenceOf(const Library& library, Bytes message, const Records& records) {
  const MessageView view(library, message);
  const StorePtr brought = certificatesOf(library, view);
  std::vector<Evidence> all;
  DWORD signer = 0;
  for (const auto* node = records.get(); node != nullptr; node = node->next) {
    Evidence evidence{.chain = {}, .stamps = stampsOf(library, view, signer++)};
    const SigRcpSsfInformation& record = *node->info;
    const CertificatePtr certificate =
        record.passwordLength > 0
            ? certificateOf(library,
                            {record.password, static_cast<std::size_t>(record.passwordLength)})
            : nullptr;
    if (certificate != nullptr) {
      evidence.chain =
          linksOf(library, *certificate, evidence.stamps.empty() ? nullptr : brought.get());
    }
    all.push_back(std::move(evidence));
  }
  return all;
}

}  // namespace qx::ssf
