// The reader of encodings beside libcrypto's: what both accept means the same to both.

#include <algorithm>
#include <array>
#include <ctime>
#include <vector>

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include "fuzz/input.h"
#include "provider/der/values.h"
#include "provider/openssl/owned.h"

namespace {

using qx::der::Bytes;
using qx::der::Element;
using qx::fuzz::expect;

template <class T, auto kDecode, auto kFree>
qx::OpensslOwner<T, kFree> decoded(Bytes whole) {
  const unsigned char* at = whole.data();
  qx::OpensslOwner<T, kFree> object(kDecode(nullptr, &at, static_cast<long>(whole.size())));
  if (object && at != whole.data() + whole.size()) {
    object.reset();
  }
  return object;
}

Bytes bytesOf(const ASN1_STRING* string) {
  return {ASN1_STRING_get0_data(string), static_cast<std::size_t>(ASN1_STRING_length(string))};
}

void compareHeader(Bytes input) {
  const unsigned char* at = input.data();
  long length = 0;
  int tag = 0;
  int tagClass = 0;
  const int flags = ASN1_get_object(&at, &length, &tag, &tagClass, static_cast<long>(input.size()));
  const auto header = qx::der::readHeader(input);
  if ((flags & 0x80) != 0 || !header) {
    return;
  }
  expect(header->number == static_cast<std::uint32_t>(tag), "one tag number");
  expect((header->identifier & qx::der::kClassMask) == tagClass, "one class");
  expect((header->identifier & qx::der::kConstructed) == (flags & V_ASN1_CONSTRUCTED), "one form");
  expect(header->size == static_cast<std::size_t>(at - input.data()), "one header");
  expect(header->indefinite == ((flags & 1) != 0), "one kind of length");
  expect(header->indefinite || header->contentSize == static_cast<std::size_t>(length),
         "one length");
}

void compareInteger(const Element& element) {
  const auto theirs = decoded<ASN1_INTEGER, d2i_ASN1_INTEGER, ASN1_INTEGER_free>(element.whole);
  const auto ours = qx::der::readUnsigned(element);
  std::uint64_t value = 0;
  if (theirs && ours && ASN1_INTEGER_get_uint64(&value, theirs.get()) == 1) {
    expect(*ours == value, "one integer");
  }
}

void compareOid(const Element& element) {
  const auto theirs = decoded<ASN1_OBJECT, d2i_ASN1_OBJECT, ASN1_OBJECT_free>(element.whole);
  const auto ours = qx::der::readOid(element);
  std::array<char, 2048> text{};
  const int length = theirs ? OBJ_obj2txt(text.data(), text.size(), theirs.get(), 1) : -1;
  // libcrypto writes out no identifier of more than 586 octets.
  if (ours && length >= 0 && length < static_cast<int>(text.size())) {
    expect(*ours == text.data(), "one object identifier");
  }
}

void compareBits(const Element& element) {
  const auto theirs =
      decoded<ASN1_BIT_STRING, d2i_ASN1_BIT_STRING, ASN1_BIT_STRING_free>(element.whole);
  const auto ours = qx::der::readBitString(element);
  if (!theirs || !ours) {
    return;
  }
  expect((theirs->flags & 7) == static_cast<long>(ours->unusedBits), "one number of bits");
  // libcrypto clears the bits that do not count.
  std::vector<std::uint8_t> octets(ours->octets.begin(), ours->octets.end());
  if (!octets.empty()) {
    octets.back() = static_cast<std::uint8_t>(octets.back() & (0xFFU << ours->unusedBits));
  }
  expect(std::ranges::equal(octets, bytesOf(theirs.get())), "the same bits");
}

void compareOctets(const Element& element) {
  const auto theirs =
      decoded<ASN1_OCTET_STRING, d2i_ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>(element.whole);
  const auto ours = qx::der::readOctets(element);
  if (theirs && ours) {
    expect(std::ranges::equal(*ours, bytesOf(theirs.get())), "the same octets");
  }
}

// Zones other than Z are read as the published decoder reads them, and that is not libcrypto's way.
void compareTime(const Element& element) {
  const auto theirs = decoded<ASN1_TIME, d2i_ASN1_TIME, ASN1_TIME_free>(element.whole);
  const auto ours = qx::der::readTime(element);
  std::tm broken{};
  if (!theirs || !ours || element.content.back() != 'Z' ||
      ASN1_TIME_to_tm(theirs.get(), &broken) != 1) {
    return;
  }
  constexpr std::int64_t kFrom1601To1970 = 11'644'473'600;
  const auto ticks = (std::uint64_t{ours->dwHighDateTime} << 32U) | ours->dwLowDateTime;
  expect(static_cast<std::int64_t>(ticks / 10'000'000) - kFrom1601To1970 == timegm(&broken),
         "the same second");
}

void compareAlgorithm(const Element& element) {
  const auto theirs = decoded<X509_ALGOR, d2i_X509_ALGOR, X509_ALGOR_free>(element.whole);
  const auto ours = qx::der::readAlgorithm(element);
  if (theirs && ours) {
    const ASN1_OBJECT* object = nullptr;
    int type = V_ASN1_UNDEF;
    X509_ALGOR_get0(&object, &type, nullptr, theirs.get());
    expect((type == V_ASN1_UNDEF) == ours->parameters.empty(), "parameters in both or in none");
  }
}

struct Comparison {
  std::uint8_t identifier;
  void (*compare)(const Element&);
};

constexpr Comparison kComparisons[] = {
    {qx::der::kInteger, compareInteger},
    {qx::der::kOid, compareOid},
    {qx::der::kBitString, compareBits},
    {qx::der::kOctetString, compareOctets},
    {qx::der::kOctetString | qx::der::kConstructed, compareOctets},
    {qx::der::kUtcTime, compareTime},
    {qx::der::kGeneralizedTime, compareTime},
    {qx::der::kSequence, compareAlgorithm},
};

void compareValue(const Element& element) {
  const auto* found = std::ranges::find(kComparisons, element.identifier, &Comparison::identifier);
  if (found != std::end(kComparisons)) {
    found->compare(element);
  }
}

// Whatever is constructed is gone into, breadth first.
void compareAll(Bytes input) {
  std::vector<Bytes> open = {input};
  for (std::size_t i = 0; i < open.size() && i < 1000; ++i) {
    compareHeader(open[i]);
    qx::der::Reader reader(open[i]);
    while (const auto element = reader.next()) {
      expect(element->whole.size() >= element->content.size(), "content within the element");
      compareValue(*element);
      if (element->constructed()) {
        open.push_back(element->content);
      }
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  compareAll({data, size});
  return 0;
}
