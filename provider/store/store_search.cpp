#include "provider/store/store_search.h"

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwctype>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "provider/der/blob.h"
#include "provider/key/key_store.h"
#include "provider/name/text_cache.h"
#include "provider/store/compare.h"
#include "provider/store/computed_value.h"
#include "provider/support/utf8.h"

namespace qx {
namespace {

using Test = std::function<bool(const Candidate&)>;

bool hasValue(const CertificateData& certificate, DWORD propertyId, const CRYPT_HASH_BLOB& wanted) {
  const Result<std::vector<std::uint8_t>> value = computedValue(certificate, propertyId);
  return value && std::ranges::equal(*value, bytesOf(wanted));
}

// Names are compared letter by letter in their simple forms; which letters belong together must not
// depend on the host's locale.
class Folding {
 public:
  Folding() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {}

  ~Folding() {
    if (locale_ != nullptr) {
      freelocale(locale_);
    }
  }

  Folding(const Folding&) = delete;
  Folding& operator=(const Folding&) = delete;
  Folding(Folding&&) = delete;
  Folding& operator=(Folding&&) = delete;

  std::wstring fold(std::wstring text) const {
    for (wchar_t& letter : text) {
      letter = foldOne(letter);
    }
    return text;
  }

 private:
  wchar_t foldOne(wchar_t letter) const {
    if (locale_ == nullptr) {
      return letter >= L'A' && letter <= L'Z' ? letter + (L'a' - L'A') : letter;
    }
    return static_cast<wchar_t>(towlower_l(static_cast<wint_t>(letter), locale_));
  }

  locale_t locale_;
};

std::wstring folded(std::wstring text) {
  static const Folding folding;
  return folding.fold(std::move(text));
}

bool nameHolds(const CERT_NAME_BLOB& name, const std::wstring& wanted) {
  const auto text = cachedNameText(bytesOf(name), CERT_SIMPLE_NAME_STR);
  return text && folded(**text).find(wanted) != std::wstring::npos;
}

using NameMember = CERT_NAME_BLOB CERT_INFO::*;

Test nameTest(NameMember member, const void* parameter) {
  const auto* wanted = static_cast<const CERT_NAME_BLOB*>(parameter);
  return [member, wanted](const Candidate& candidate) {
    return sameBytes(candidate.data->info().*member, *wanted);
  };
}

Test textTest(NameMember member, const std::wstring& text) {
  return [member, wanted = folded(text)](const Candidate& candidate) {
    return nameHolds(candidate.data->info().*member, wanted);
  };
}

Test wideTextTest(NameMember member, const void* parameter) {
  const auto* text = static_cast<LPCWSTR>(parameter);
  return textTest(member, text == nullptr ? std::wstring() : text);
}

Test narrowTextTest(NameMember member, const void* parameter) {
  const auto* text = static_cast<LPCSTR>(parameter);
  return textTest(member, text == nullptr ? std::wstring() : fromUtf8(text));
}

Test valueTest(DWORD propertyId, const void* parameter) {
  const auto* wanted = static_cast<const CRYPT_HASH_BLOB*>(parameter);
  return [propertyId, wanted](const Candidate& candidate) {
    return hasValue(*candidate.data, propertyId, *wanted);
  };
}

// A certificate without a serial number is none: an empty one finds nothing.
Test issuerAndSerialTest(const CERT_NAME_BLOB& issuer, const CRYPT_INTEGER_BLOB& serial) {
  return [issuer, serial](const Candidate& candidate) {
    return serial.cbData != 0 && sameInteger(candidate.data->info().SerialNumber, serial) &&
           sameBytes(candidate.data->info().Issuer, issuer);
  };
}

Test subjectCertificateTest(const void* parameter) {
  const auto* wanted = static_cast<const CERT_INFO*>(parameter);
  return issuerAndSerialTest(wanted->Issuer, wanted->SerialNumber);
}

Test issuerTest(const void* parameter) {
  const auto* subject = static_cast<PCCERT_CONTEXT>(parameter);
  return nameTest(&CERT_INFO::Subject, &subject->pCertInfo->Issuer);
}

bool samePublicKey(const CERT_PUBLIC_KEY_INFO& left, const CERT_PUBLIC_KEY_INFO& right) {
  const std::span leftBits(left.PublicKey.pbData, left.PublicKey.cbData);
  const std::span rightBits(right.PublicKey.pbData, right.PublicKey.cbData);
  return right.Algorithm.pszObjId != nullptr &&
         std::strcmp(left.Algorithm.pszObjId, right.Algorithm.pszObjId) == 0 &&
         std::ranges::equal(leftBits, rightBits);
}

Test publicKeyTest(const void* parameter) {
  const auto* wanted = static_cast<const CERT_PUBLIC_KEY_INFO*>(parameter);
  return [wanted](const Candidate& candidate) {
    return samePublicKey(candidate.data->info().SubjectPublicKeyInfo, *wanted);
  };
}

Test existingTest(const void* parameter) {
  const auto* wanted = static_cast<PCCERT_CONTEXT>(parameter);
  return [wanted](const Candidate& candidate) {
    return std::ranges::equal(candidate.data->der(),
                              std::span(wanted->pbCertEncoded, wanted->cbCertEncoded));
  };
}

Test certIdTest(const void* parameter) {
  const auto* id = static_cast<const CERT_ID*>(parameter);
  switch (id->dwIdChoice) {
    case CERT_ID_ISSUER_SERIAL_NUMBER:
      return issuerAndSerialTest(id->IssuerSerialNumber.Issuer,
                                 id->IssuerSerialNumber.SerialNumber);
    case CERT_ID_KEY_IDENTIFIER:
      return valueTest(CERT_KEY_IDENTIFIER_PROP_ID, &id->KeyId);
    case CERT_ID_SHA1_HASH:
      return valueTest(CERT_SHA1_HASH_PROP_ID, &id->HashId);
    default:
      return nullptr;
  }
}

Test propertyTest(const void* parameter) {
  const DWORD id = *static_cast<const DWORD*>(parameter);
  return [id](const Candidate& candidate) { return candidate.properties->has(id); };
}

Test keySpecTest(const void* parameter) {
  const DWORD keySpec = *static_cast<const DWORD*>(parameter);
  return
      [keySpec](const Candidate& candidate) { return candidate.properties->keySpec() == keySpec; };
}

// A key belongs to a certificate by a property, or because the location's key folder has it.
bool hasPrivateKey(const Candidate& candidate) {
  return candidate.properties->has(CERT_KEY_PROV_INFO_PROP_ID) ||
         candidate.properties->has(CERT_KEY_CONTEXT_PROP_ID) ||
         (candidate.location && findKey(*candidate.location, candidate.data->keyFileName()));
}

Test privateKeyTest(const void* /*parameter*/) {
  return hasPrivateKey;
}

using MakeTest = Test (*)(const void* parameter);

struct SearchKind {
  DWORD findType;
  bool needsParameter;
  MakeTest make;
};

template <DWORD kProperty>
Test valueTestOf(const void* parameter) {
  return valueTest(kProperty, parameter);
}

template <auto kMake, NameMember kMember>
Test withMember(const void* parameter) {
  return kMake(kMember, parameter);
}

constexpr NameMember kSubject = &CERT_INFO::Subject;
constexpr NameMember kIssuer = &CERT_INFO::Issuer;

constexpr SearchKind kKinds[] = {
    {.findType = CERT_FIND_MD5_HASH,
     .needsParameter = true,
     .make = valueTestOf<CERT_MD5_HASH_PROP_ID>},
    {.findType = CERT_FIND_SIGNATURE_HASH,
     .needsParameter = true,
     .make = valueTestOf<CERT_SIGNATURE_HASH_PROP_ID>},
    {.findType = CERT_FIND_KEY_IDENTIFIER,
     .needsParameter = true,
     .make = valueTestOf<CERT_KEY_IDENTIFIER_PROP_ID>},
    {.findType = CERT_FIND_SUBJECT_NAME,
     .needsParameter = true,
     .make = withMember<nameTest, kSubject>},
    {.findType = CERT_FIND_ISSUER_NAME,
     .needsParameter = true,
     .make = withMember<nameTest, kIssuer>},
    {.findType = CERT_FIND_SUBJECT_STR_W,
     .needsParameter = false,
     .make = withMember<wideTextTest, kSubject>},
    {.findType = CERT_FIND_SUBJECT_STR_A,
     .needsParameter = false,
     .make = withMember<narrowTextTest, kSubject>},
    {.findType = CERT_FIND_ISSUER_STR_W,
     .needsParameter = false,
     .make = withMember<wideTextTest, kIssuer>},
    {.findType = CERT_FIND_ISSUER_STR_A,
     .needsParameter = false,
     .make = withMember<narrowTextTest, kIssuer>},
    {.findType = CERT_FIND_SUBJECT_CERT, .needsParameter = true, .make = subjectCertificateTest},
    {.findType = CERT_FIND_ISSUER_OF, .needsParameter = true, .make = issuerTest},
    {.findType = CERT_FIND_EXISTING, .needsParameter = true, .make = existingTest},
    {.findType = CERT_FIND_PUBLIC_KEY, .needsParameter = true, .make = publicKeyTest},
    {.findType = CERT_FIND_CERT_ID, .needsParameter = true, .make = certIdTest},
    {.findType = CERT_FIND_PROPERTY, .needsParameter = true, .make = propertyTest},
    {.findType = CERT_FIND_KEY_SPEC, .needsParameter = true, .make = keySpecTest},
    {.findType = CERT_FIND_HAS_PRIVATE_KEY, .needsParameter = false, .make = privateKeyTest},
};

}  // namespace

StoreSearch StoreSearch::byThumbprint(const Thumbprint& sha1) {
  StoreSearch search([sha1](const Candidate& candidate) { return candidate.data->sha1() == sha1; });
  search.thumbprint_ = sha1;
  return search;
}

Result<StoreSearch> StoreSearch::of(DWORD findType, const void* parameter) {
  if (findType == CERT_FIND_ANY) {
    return all();
  }
  if (findType == CERT_FIND_SHA1_HASH && parameter != nullptr) {
    return byHash(*static_cast<const CRYPT_HASH_BLOB*>(parameter));
  }
  const auto* kind = std::ranges::find(kKinds, findType, &SearchKind::findType);
  if (kind == std::end(kKinds) || (kind->needsParameter && parameter == nullptr)) {
    return fail(E_INVALIDARG);
  }
  Test test = kind->make(parameter);
  if (test == nullptr) {
    return fail(E_INVALIDARG);
  }
  return StoreSearch(std::move(test));
}

// A hash of another length is nobody's.
StoreSearch StoreSearch::byHash(const CRYPT_HASH_BLOB& hash) {
  Thumbprint sha1{};
  if (hash.pbData == nullptr || hash.cbData != sha1.size()) {
    return StoreSearch([](const Candidate&) { return false; });
  }
  std::copy_n(hash.pbData, sha1.size(), sha1.begin());
  return byThumbprint(sha1);
}

}  // namespace qx
