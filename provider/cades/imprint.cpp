#include "provider/cades/imprint.h"

#include <string_view>

#include "provider/cades/oids.h"

namespace qx {
namespace {

// Adds every attribute of a type; there must be one.
Result<void> append(const Attributes& attributes, std::string_view oid, Stamped& stamped) {
  const std::size_t before = stamped.size();
  for (const Attribute& attribute : attributes) {
    if (attribute.oid != oid) {
      continue;
    }
    const Result<der::Element> sequence = der::readWhole(attribute.whole, der::kSequence);
    if (!sequence) {
      return sequence.failure();
    }
    stamped.push_back(sequence->content);
  }
  return stamped.size() == before ? fail(CRYPT_E_ATTRIBUTES_MISSING) : Result<void>{};
}

}  // namespace

Stamped stampedBySignatureStamp(const SignerInfo& signer) {
  return {signer.signature()};
}

Result<Stamped> stampedByCadesCStamp(const SignerInfo& signer) {
  Stamped stamped = stampedBySignatureStamp(signer);
  for (const std::string_view oid :
       {oids::kSignatureTimeStamp, oids::kCertificateRefs, oids::kRevocationRefs}) {
    if (const Result<void> added = append(signer.unsignedAttributes(), oid, stamped); !added) {
      return added.failure();
    }
  }
  return stamped;
}

HashValue imprintOf(HashAlgorithm hash, const Stamped& stamped) {
  Hasher hasher(hash);
  for (const der::Bytes part : stamped) {
    hasher.update(part);
  }
  return hasher.finish();
}

}  // namespace qx
