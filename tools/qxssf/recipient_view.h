#ifndef QX_TOOLS_QXSSF_RECIPIENT_VIEW_H_
#define QX_TOOLS_QXSSF_RECIPIENT_VIEW_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/cert.h"

#include "tools/common/report.h"
#include "tools/qxssf/library.h"

namespace qx::ssf {

// The library encrypts for any certificate that it finds. These tell of the ones for which nobody should.

/// validityFaults tells why a certificate does not hold now, a text for each reason: its time, its
/// revocation. Revocation lists are those that are here, nobody is asked; without one nothing is told.
std::vector<std::string> validityFaults(const Library& library, const CERT_CONTEXT& certificate);

/// isForEncryption tells whether the key usage lets keys be sent to the holder (keyEncipherment or
/// keyAgreement, RFC 5280, 4.2.1.3); a certificate without one may be used for anything.
bool isForEncryption(const Library& library, const CERT_CONTEXT& certificate);

/// warnOfRecipients warns of each recipient of an enveloped message whose certificate does not hold now
/// or is not meant for encryption. `profile` is the address book that it was enveloped from.
void warnOfRecipients(const Library& library,
                      std::span<const std::uint8_t> message,
                      const std::string& profile,
                      tools::Report& report);

}  // namespace qx::ssf

#endif
