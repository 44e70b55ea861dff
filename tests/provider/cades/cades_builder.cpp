#include "tests/provider/cades/cades_builder.h"

#include <algorithm>
#include <ctime>

#include <gtest/gtest.h>
#include <openssl/ess.h>

#include "provider/cades/references.h"
#include "provider/cades/values.h"
#include "provider/der/writer.h"
#include "provider/message/algorithm.h"
#include "provider/message/signer_info.h"

namespace qx::test {
namespace {

// The lists are made in between.
constexpr std::chrono::seconds kUntilStamp{10};
constexpr std::chrono::seconds kUntilLastStamp{120};

der::Encoding borrowed(const Octets& bytes) {
  return der::Encoding::borrowed(bytes);
}

der::Encoding all(const std::vector<Octets>& elements) {
  der::Encoding together;
  for (const Octets& element : elements) {
    together.append(borrowed(element));
  }
  return together;
}

Octets utcTime(std::chrono::seconds offset) {
  const Asn1TimePtr time(
      ASN1_UTCTIME_adj(nullptr, std::time(nullptr), 0, static_cast<long>(offset.count())));
  unsigned char* encoded = nullptr;
  const int size = i2d_ASN1_TIME(time.get(), &encoded);
  const OpensslBytes owner(encoded);
  return {encoded, encoded + size};
}

Octets signBytes(EVP_PKEY* key, const Octets& bytes) {
  const EvpMdCtxPtr context(EVP_MD_CTX_new());
  std::size_t size = 0;
  const bool sized =
      EVP_DigestSignInit(context.get(), nullptr, lab::usualDigest(key), nullptr, key) > 0 &&
      EVP_DigestSign(context.get(), nullptr, &size, bytes.data(), bytes.size()) > 0;
  Octets signature(size);
  EXPECT_TRUE(sized && EVP_DigestSign(
                           context.get(), signature.data(), &size, bytes.data(), bytes.size()) > 0);
  signature.resize(size);
  return signature;
}

std::string keyOid(const X509* certificate) {
  ASN1_OBJECT* algorithm = nullptr;
  X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(certificate));
  char text[64];
  OBJ_obj2txt(text, sizeof text, algorithm, /*no_name=*/1);
  return text;
}

std::string oidText(int nid) {
  char text[64];
  OBJ_obj2txt(text, sizeof text, OBJ_nid2obj(nid), /*no_name=*/1);
  return text;
}

MadeAttribute& find(MadeAttributes& attributes, std::string_view oid) {
  const auto found = std::ranges::find(attributes, oid, &MadeAttribute::oid);
  if (found == attributes.end()) {
    throw std::out_of_range("no such attribute");
  }
  return *found;
}

}  // namespace

Octets MadeAttribute::encoded() const {
  std::vector<der::Encoding> parts;
  std::ranges::transform(values, std::back_inserter(parts), borrowed);
  return der::sequence(*der::oid(oid), der::setOf(parts)).bytes();
}

Octets essV2(const std::vector<const X509*>& certificates) {
  der::Encoding ids;
  for (const X509* certificate : certificates) {
    const HashValue value = hashOf(HashAlgorithm::Sha256, lab::toDer(certificate));
    ids.append(der::Encoding::owned(der::sequence(der::octetString(value.bytes())).bytes()));
  }
  return der::sequence(der::sequence(std::move(ids))).bytes();
}

CadesBuilder::CadesBuilder(const VerifyWorld& world, std::string_view text)
    : content(octets(text)),
      certificates{lab::toDer(world.signer()), lab::toDer(world.issuer().certificate())},
      world_(&world),
      hash_(hashByOid(oidText(EVP_MD_get_type(lab::usualDigest(world.signerKey()))))) {
  const CertificatePtr root = dataOf(world.root().certificate());
  const CertificatePtr issuer = dataOf(world.issuer().certificate());
  referenced = {issuer, root};
  carried = {dataOf(world.signer()), issuer, root, dataOf(world.firstAuthority().certificate())};
  const RevocationEvidence ofIssuer{.crl = dataOf(world.crl(world.issuer()).get()), .ocsp = {}};
  const RevocationEvidence ofRoot{.crl = dataOf(world.crl(world.root()).get()), .ocsp = {}};
  referencedEvidence = {ofIssuer, ofRoot, {}};
  carriedEvidence = {ofIssuer, ofRoot};
  const HashValue digest = hashOf(hash_->algorithm, content);
  signedAttributes = {
      {std::string(oids::kContentType), {der::oid(contentType)->bytes()}},
      {std::string(oids::kMessageDigest), {der::octetString(digest.bytes()).bytes()}},
      {std::string(oids::kSigningTime), {utcTime(world.when())}},
      {std::string(oids::kSigningCertificateV2), {essV2({world.signer()})}}};
}

Octets CadesBuilder::signedContent() const {
  std::vector<Octets> encoded;
  std::ranges::transform(signedAttributes, std::back_inserter(encoded), &MadeAttribute::encoded);
  std::ranges::sort(encoded);
  return all(encoded).bytes();
}

CadesBuilder& CadesBuilder::sign() {
  const Octets toSign = der::wrap(der::kSet, der::Encoding::owned(signedContent())).bytes();
  signature = signBytes(world_->signerKey(), toSign);
  return *this;
}

lab::Imprint CadesBuilder::imprintOver(const Stamped& stamped) const {
  Octets together;
  for (const der::Bytes part : stamped) {
    together.insert(together.end(), part.begin(), part.end());
  }
  return lab::imprintOf(EVP_MD_get_type(lab::usualDigest(world_->signerKey())), together);
}

lab::TimeStampOptions CadesBuilder::at(std::chrono::seconds later,
                                       lab::TimeStampOptions options) const {
  options.offset = world_->when() + later;
  return options;
}

CadesBuilder& CadesBuilder::stamp(const lab::TimeStampOptions& options) {
  return stampBy(world_->firstAuthority(), at(kUntilStamp, options));
}

CadesBuilder& CadesBuilder::stampBy(const lab::TimeStampAuthority& authority,
                                    const lab::TimeStampOptions& options) {
  unsignedAttributes.push_back(
      {std::string(oids::kSignatureTimeStamp),
       {authority.token(imprintOver({signature}), /*nonce=*/{}, options)}});
  return *this;
}

void CadesBuilder::add(const Octets& encoded) {
  const Attribute attribute = *readAttribute(encoded);
  MadeAttribute made{.oid = attribute.oid, .values = {}};
  for (const der::Bytes value : attribute.values) {
    made.values.emplace_back(value.begin(), value.end());
  }
  unsignedAttributes.push_back(std::move(made));
}

CadesBuilder& CadesBuilder::references() {
  add(encodeCertificateRefs(hash_->algorithm, referenced));
  add(encodeRevocationRefs(hash_->algorithm, referencedEvidence));
  return *this;
}

CadesBuilder& CadesBuilder::values() {
  add(encodeCertificateValues(carried));
  add(encodeRevocationValues(carriedEvidence));
  return *this;
}

CadesBuilder& CadesBuilder::stampAll(const lab::TimeStampOptions& options) {
  return stampAllBy(world_->lastAuthority(), at(kUntilLastStamp, options));
}

CadesBuilder& CadesBuilder::stampAllBy(const lab::TimeStampAuthority& authority,
                                       const lab::TimeStampOptions& options) {
  const Octets encoded = signerInfo();
  const SignerInfo signer = *SignerInfo::read(der::Slice::borrowed(encoded));
  unsignedAttributes.push_back(
      {std::string(oids::kCadesCTimeStamp),
       {authority.token(imprintOver(*stampedByCadesCStamp(signer)), /*nonce=*/{}, options)}});
  return *this;
}

CadesBuilder& CadesBuilder::makeLong() {
  return sign().stamp().references().values().stampAll();
}

Octets CadesBuilder::signerInfo() const {
  const CertificatePtr certificate = dataOf(world_->signer());
  const CERT_INFO& info = certificate->info();
  const Octets id = *encodeIssuerAndSerial({info.Issuer.pbData, info.Issuer.cbData},
                                           {info.SerialNumber.pbData, info.SerialNumber.cbData});
  der::Encoding fields;
  fields.append(der::integer(1))
      .append(borrowed(id))
      .append(*der::algorithm(hash_->oid, der::kNullParameters));
  if (!signedAttributes.empty()) {
    fields.append(der::wrap(der::contextConstructed(0), der::Encoding::owned(signedContent())));
  }
  fields.append(*encodeSignatureAlgorithm(keyOid(world_->signer()), hash_->algorithm))
      .append(der::octetString(signature));
  if (!unsignedAttributes.empty()) {
    der::Encoding set;
    for (const MadeAttribute& attribute : unsignedAttributes) {
      set.append(der::Encoding::owned(attribute.encoded()));
    }
    fields.append(der::wrap(der::contextConstructed(1), std::move(set)));
  }
  return der::sequence(std::move(fields)).bytes();
}

Octets CadesBuilder::message() const {
  der::Encoding fields;
  fields.append(der::integer(contentType == oids::kData ? 1 : 3))
      .append(der::wrap(der::kSet, *der::algorithm(hash_->oid, der::kNullParameters)))
      .append(der::sequence(*der::oid(contentType),
                            der::wrap(der::contextConstructed(0), der::octetString(content))));
  if (!certificates.empty()) {
    fields.append(der::wrap(der::contextConstructed(0), all(certificates)));
  }
  if (!crls.empty()) {
    fields.append(der::wrap(der::contextConstructed(1), all(crls)));
  }
  fields.append(der::wrap(der::kSet, der::Encoding::owned(signerInfo())));
  return der::sequence(*der::oid(oids::kSignedData),
                       der::wrap(der::contextConstructed(0), der::sequence(std::move(fields))))
      .bytes();
}

MadeAttribute& CadesBuilder::signedAttribute(std::string_view oid) {
  return find(signedAttributes, oid);
}

MadeAttribute& CadesBuilder::unsignedAttribute(std::string_view oid) {
  return find(unsignedAttributes, oid);
}

void CadesBuilder::dropSigned(std::string_view oid) {
  std::erase_if(signedAttributes, [oid](const MadeAttribute& a) { return a.oid == oid; });
}

void CadesBuilder::dropUnsigned(std::string_view oid) {
  std::erase_if(unsignedAttributes, [oid](const MadeAttribute& a) { return a.oid == oid; });
}

}  // namespace qx::test
