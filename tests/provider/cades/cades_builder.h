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
  explicit CadesBuilder(const VerifyWorld& world, std::string_view content = "content");

  // What is written. Change it before sign().
  std::string contentType{oids::kData};
  Octets content;
  MadeAttributes signedAttributes;
  std::vector<Octets> certificates;
  std::vector<Octets> crls;
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

  Octets message() const;

  /// The attributes of a type; the test fails when there are none.
  MadeAttribute& signedAttribute(std::string_view oid);
  MadeAttribute& unsignedAttribute(std::string_view oid);
  void dropSigned(std::string_view oid);
  void dropUnsigned(std::string_view oid);

  /// The options of a stamp in the world's moment, `later` after the signature.
  lab::TimeStampOptions at(std::chrono::seconds later, lab::TimeStampOptions options = {}) const;

 protected:
  const VerifyWorld& world() const { return *world_; }

  lab::Imprint imprintOver(const Octets& bytes) const;

 private:
  Octets signerInfo() const;
  Octets signedContent() const;

  const VerifyWorld* world_;
  const HashInfo* hash_;
};

/// essV2 makes the value of a signing-certificate-v2 that names a certificate by SHA-256.
Octets essV2(const X509* certificate);

}  // namespace qx::test

#endif
