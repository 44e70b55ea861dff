#include "bench/bare_signatures.h"

#include <algorithm>
#include <memory>
#include <span>
#include <stdexcept>

#include <openssl/cms.h>
#include <openssl/ocsp.h>

#include "provider/der/reader.h"
#include "provider/openssl/owned.h"

namespace qx::bench {
namespace {

using Octets = std::span<const unsigned char>;

[[noreturn]] void lacks(const char* what) {
  throw std::runtime_error(std::string("the message has no ") + what);
}

// A signature's check shares the parsed object that it is about.
template <class T, void (*kFree)(T*)>
std::shared_ptr<T> parse(T* (*read)(T**, const unsigned char**, long), Octets encoded) {
  const unsigned char* from = encoded.data();
  T* parsed = read(nullptr, &from, static_cast<long>(encoded.size()));
  if (parsed == nullptr) {
    lacks("readable value");
  }
  return {parsed, kFree};
}

std::shared_ptr<CMS_ContentInfo> parseMessage(Octets encoded) {
  auto message = parse<CMS_ContentInfo, CMS_ContentInfo_free>(d2i_CMS_ContentInfo, encoded);
  if (CMS_set1_signers_certs(message.get(), nullptr, 0) != 1) {
    lacks("certificate of its signer");
  }
  return message;
}

CMS_SignerInfo* signerOf(CMS_ContentInfo* message) {
  return sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message), 0);
}

Octets unsignedValue(CMS_SignerInfo* signer, int nid) {
  const int place = CMS_unsigned_get_attr_by_NID(signer, nid, -1);
  X509_ATTRIBUTE* attribute = CMS_unsigned_get_attr(signer, place);
  const auto* value =
      static_cast<ASN1_STRING*>(X509_ATTRIBUTE_get0_data(attribute, 0, V_ASN1_SEQUENCE, nullptr));
  if (value == nullptr) {
    lacks(OBJ_nid2ln(nid));
  }
  return {ASN1_STRING_get0_data(value), static_cast<std::size_t>(ASN1_STRING_length(value))};
}

// The elements of the SEQUENCE OF that stands under a tag in a SEQUENCE; none without it.
std::vector<Octets> valuesUnder(Octets sequence, std::uint8_t tag) {
  std::vector<Octets> values;
  der::Reader fields(der::readWhole(sequence, der::kSequence)->content);
  while (!fields.atEnd()) {
    const der::Element field = *fields.next();
    if (!field.is(tag)) {
      continue;
    }
    der::Reader list(der::readWhole(field.content, der::kSequence)->content);
    while (!list.atEnd()) {
      values.push_back(list.next()->whole);
    }
  }
  return values;
}

std::function<bool()> signerCheck(std::shared_ptr<CMS_ContentInfo> message) {
  return [message = std::move(message)] {
    return CMS_SignerInfo_verify(signerOf(message.get())) == 1;
  };
}

std::function<bool()> crlCheck(Octets encoded, X509* root) {
  return [crl = parse<X509_CRL, X509_CRL_free>(d2i_X509_CRL, encoded),
          key = X509_get0_pubkey(root)] { return X509_CRL_verify(crl.get(), key) == 1; };
}

std::function<bool()> answerCheck(Octets encoded) {
  return [answer = parse<OCSP_BASICRESP, OCSP_BASICRESP_free>(d2i_OCSP_BASICRESP, encoded)] {
    return OCSP_basic_verify(answer.get(), nullptr, nullptr, OCSP_NOVERIFY) == 1;
  };
}

}  // namespace

BareSignatures::BareSignatures(const std::string& message, X509* root) {
  const auto parsed =
      parseMessage({reinterpret_cast<const unsigned char*>(message.data()), message.size()});
  CMS_SignerInfo* signer = signerOf(parsed.get());
  each_.push_back(signerCheck(parsed));
  for (const int nid : {NID_id_smime_aa_timeStampToken, NID_id_smime_aa_ets_escTimeStamp}) {
    each_.push_back(signerCheck(parseMessage(unsignedValue(signer, nid))));
  }
  const Octets revocation = unsignedValue(signer, NID_id_smime_aa_ets_revocationValues);
  for (const Octets crl : valuesUnder(revocation, der::contextConstructed(0))) {
    each_.push_back(crlCheck(crl, root));
  }
  for (const Octets answer : valuesUnder(revocation, der::contextConstructed(1))) {
    each_.push_back(answerCheck(answer));
  }
}

// Those behind the signer's.
bool BareSignatures::verifyStamps() const {
  return each_.at(1)() && each_.at(2)();
}

bool BareSignatures::verify() const {
  return std::ranges::all_of(each_, [](const auto& check) { return check(); });
}

}  // namespace qx::bench
