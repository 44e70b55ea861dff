#ifndef QX_PROVIDER_MESSAGE_SIGNER_ID_H_
#define QX_PROVIDER_MESSAGE_SIGNER_ID_H_

#include <cstdint>
#include <vector>

#include "platform/cert.h"

#include "provider/der/reader.h"
#include "provider/message/one_piece.h"
#include "provider/result.h"

namespace qx {

/// SignerId names a signer (RFC 5652, 5.3) over the bytes it was read from.
struct SignerId {
  der::Bytes whole;
  der::Bytes issuer;  ///< Name, whole; empty when the signer is named by his key
  der::Bytes serial;  ///< content octets of the INTEGER
  der::Bytes keyId;   ///< subject key identifier

  bool isKeyId() const { return issuer.empty(); }
};

/// readSignerId reads SignerIdentifier: IssuerAndSerialNumber or [0] SubjectKeyIdentifier.
Result<SignerId> readSignerId(const der::Element& element);

/// encodeIssuerAndSerial makes an IssuerAndSerialNumber; the serial number is little-endian.
/// E_INVALIDARG when one is empty or the issuer is not one element.
Result<std::vector<std::uint8_t>> encodeIssuerAndSerial(der::Bytes issuer, der::Bytes serial);

/// encodeSignerId makes the SignerIdentifier of a caller's CERT_ID.
Result<std::vector<std::uint8_t>> encodeSignerId(const CERT_ID& id);

/// issuerOf is the signer's issuer; for a signer named by his key a name made up of that key's
/// identifier, as the published interface shows it.
std::vector<std::uint8_t> issuerOf(const SignerId& id);

/// serialOf is the content octets of the signer's serial number; one 00 for a signer named by his key.
der::Bytes serialOf(const SignerId& id);

/// namesSigner tells whether a certificate's issuer and serial number are the signer's.
bool namesSigner(const CERT_INFO& certificate, const SignerId& id);

/// layOutSignerId writes the identifier as a record.
CERT_ID layOutSignerId(const SignerId& id, OnePiece& piece);

}  // namespace qx

#endif
