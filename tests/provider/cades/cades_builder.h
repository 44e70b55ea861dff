#ifndef QX_TESTS_PROVIDER_CADES_CADES_BUILDER_H_
#define QX_TESTS_PROVIDER_CADES_CADES_BUILDER_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "provider/cades/imprint.h"
#include "provider/cades/oids.h"
#include "provider/hash/hash.h"
#include "provider/message/oids.h"
#include "tests/provider/cades/verify_world.h"

namespace qx::test {

/// An attribute that is going to be written.
struct MadeAttribute {
  std::string oid;
  std::vector<Octets> values;

  Octets encoded() const;
};

using MadeAttributes = std::vector<MadeAttribute>;

/// CadesBuilder makes the message of one signer step by step; between the steps everything can be
/// changed. It owes nothing to the provider's own encoder of messages.
class CadesBuilder {
 public:
  /// For the world's signer, with contentType, messageDigest, signingTime and a signing-certificate-v2
  /// among the signed attributes, and the certificates of signer and issuer in the message.
  explicit CadesBuilder(const VerifyWorld& world, std::string_view text = "content");

  // What is written. Change it before sign().
  std::string contentType{oids::kData};
  Octets content;
  MadeAttributes signedAttributes;
  std::vector<Octets> certificates;
  std::vector<Octets> crls;
  // What references and values are made of: the signer's chain without him and the lists about it, and
  // whole chains with the lists about them. Change them before references() and values().
  std::vector<CertificatePtr> referenced;
  std::vector<RevocationEvidence> referencedEvidence;
  std::vector<CertificatePtr> carried;
  std::vector<RevocationEvidence> carriedEvidence;
  // What sign() and the later steps made.
  Octets signature;
  MadeAttributes unsignedAttributes;

  /// The hash of the signer's key.
  const HashInfo& hash() const { return *hash_; }

  /// sign signs the attributes as they are now.
  CadesBuilder& sign();

  /// stamp adds a signature time stamp.
  CadesBuilder& stamp(const lab::TimeStampOptions& options = {});
  CadesBuilder& stampBy(const lab::TimeStampAuthority& authority,
                        const lab::TimeStampOptions& options = {});

  /// references and values add the two attributes of each.
  CadesBuilder& references();
  CadesBuilder& values();

  /// stampAll adds a CAdES-C time stamp.
  CadesBuilder& stampAll(const lab::TimeStampOptions& options = {});
  CadesBuilder& stampAllBy(const lab::TimeStampAuthority& authority,
                           const lab::TimeStampOptions& options = {});

  /// makeLong does all of it: X Long type 1.
  CadesBuilder& makeLong();

  Octets message() const;

  /// The SignerInfo as it stands in the message.
  Octets signerInfo() const;

  /// The attributes of a type; the test fails when there are none.
  MadeAttribute& signedAttribute(std::string_view oid);
  MadeAttribute& unsignedAttribute(std::string_view oid);
  void dropSigned(std::string_view oid);
  void dropUnsigned(std::string_view oid);

  /// The options of a stamp in the world's moment, `later` after the signature.
  lab::TimeStampOptions at(std::chrono::seconds later, lab::TimeStampOptions options = {}) const;

 private:
  void add(const Octets& encoded);
  lab::Imprint imprintOver(const Stamped& stamped) const;
  Octets signedContent() const;

  const VerifyWorld* world_;
  const HashInfo* hash_;
};

/// essV2 makes the value of a signing-certificate-v2 that names certificates by SHA-256.
Octets essV2(const std::vector<const X509*>& certificates);

}  // namespace qx::test

#endif
