#include <algorithm>
#include <string>
#include <vector>

#include "platform/cert_chain.h"
#include "platform/types.h"

#include "provider/der/values.h"
#include "provider/encode/decoder.h"

namespace qx {
namespace {

Result<void> expect(const der::Element& element, std::uint8_t identifier) {
  return element.is(identifier) ? Result<void>() : fail(CRYPT_E_ASN1_BADTAG);
}

// 1950-01-01 and 2050-01-01: outside of these a UTCTime cannot speak.
bool fitsUtcTime(const FILETIME& time) {
  constexpr std::uint64_t kFrom = 110'133'216'000'000'000;
  constexpr std::uint64_t kTo = 141'690'816'000'000'000;
  const std::uint64_t ticks =
      static_cast<std::uint64_t>(time.dwHighDateTime) << 32U | time.dwLowDateTime;
  return ticks >= kFrom && ticks < kTo;
}

Result<void> putTime(const FILETIME& time, ParamOutput& out) {
  return out.putRecord<FILETIME>([&](FILETIME& record, OnePiece&) { record = time; });
}

Result<void> putSmallInteger(const der::Element& element,
                             std::uint8_t identifier,
                             ParamOutput& out) {
  if (const Result<void> good = expect(element, identifier); !good) {
    return good;
  }
  if (element.content.empty()) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  if (element.content.size() > sizeof(std::int32_t)) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  std::uint32_t value = (element.content.front() & 0x80U) != 0 ? 0xFFFFFFFFU : 0;
  for (const std::uint8_t octet : element.content) {
    value = value << 8U | octet;
  }
  return out.putNumber(value);
}

Result<void> putLongInteger(der::Bytes content, ParamOutput& out) {
  return out.putRecord<CRYPT_INTEGER_BLOB>(
      [&](CRYPT_INTEGER_BLOB& record, OnePiece& piece) { record = piece.integer(content); });
}

void fillBits(CRYPT_BIT_BLOB& record, const der::BitString& bits, OnePiece& piece) {
  const CRYPT_DATA_BLOB octets = piece.blob(bits.octets);
  record = {.cbData = octets.cbData, .pbData = octets.pbData, .cUnusedBits = bits.unusedBits};
}

void fillAlgorithm(CRYPT_ALGORITHM_IDENTIFIER& record,
                   const der::AlgorithmIdentifier& algorithm,
                   OnePiece& piece) {
  record.pszObjId = piece.text(algorithm.oid);
  record.Parameters = piece.blob(algorithm.parameters);
}

}  // namespace

Result<void> decodeAnyTime(const der::Element& element, ParamOutput& out) {
  const Result<FILETIME> time = der::readTime(element);
  return time ? putTime(*time, out) : time.failure();
}

Result<void> decodeUtcTime(const der::Element& element, ParamOutput& out) {
  const Result<FILETIME> time = der::readTime(element);
  if (!time) {
    return time.failure();
  }
  return fitsUtcTime(*time) ? putTime(*time, out) : fail(CRYPT_E_ASN1_BADTAG);
}

Result<void> decodeOctets(const der::Element& element, ParamOutput& out) {
  const Result<std::vector<std::uint8_t>> octets = der::readOctets(element);
  if (!octets) {
    return octets.failure();
  }
  return out.putRecord<CRYPT_DATA_BLOB>(
      [&](CRYPT_DATA_BLOB& record, OnePiece& piece) { record = piece.blob(*octets); });
}

Result<void> decodeOid(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kOid); !good) {
    return good;
  }
  const Result<std::string> oid = der::readOid(element);
  if (!oid) {
    return oid.failure();
  }
  return out.putRecord<LPSTR>([&](LPSTR& record, OnePiece& piece) { record = piece.text(*oid); });
}

Result<void> decodeInteger(const der::Element& element, ParamOutput& out) {
  return putSmallInteger(element, der::kInteger, out);
}

Result<void> decodeEnumerated(const der::Element& element, ParamOutput& out) {
  return putSmallInteger(element, der::kEnumerated, out);
}

Result<void> decodeLongInteger(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kInteger); !good) {
    return good;
  }
  return element.content.empty() ? fail(CRYPT_E_ASN1_CORRUPT)
                                 : putLongInteger(element.content, out);
}

Result<void> decodeLongUnsigned(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kInteger); !good) {
    return good;
  }
  der::Bytes content = element.content;
  if (content.empty()) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  if (content.size() > 1 && content.front() == 0) {
    content = content.subspan(1);
  }
  return putLongInteger(content, out);
}

Result<void> decodeBits(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kBitString); !good) {
    return good;
  }
  const Result<der::BitString> bits = der::readBitString(element);
  if (!bits) {
    return bits.failure();
  }
  return out.putRecord<CRYPT_BIT_BLOB>(
      [&](CRYPT_BIT_BLOB& record, OnePiece& piece) { fillBits(record, *bits, piece); });
}

Result<void> decodeAlgorithm(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kSequence); !good) {
    return good;
  }
  const Result<der::AlgorithmIdentifier> algorithm = der::readAlgorithm(element);
  if (!algorithm) {
    return algorithm.failure();
  }
  return out.putRecord<CRYPT_ALGORITHM_IDENTIFIER>(
      [&](CRYPT_ALGORITHM_IDENTIFIER& record, OnePiece& piece) {
        fillAlgorithm(record, *algorithm, piece);
      });
}

Result<void> decodePublicKey(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kSequence); !good) {
    return good;
  }
  der::Reader reader(element.content);
  const Result<der::Element> sequence = reader.next(der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  const Result<der::Element> string = reader.next(der::kBitString);
  if (!string) {
    return string.failure();
  }
  const Result<der::AlgorithmIdentifier> algorithm = der::readAlgorithm(*sequence);
  if (!algorithm) {
    return algorithm.failure();
  }
  const Result<der::BitString> bits = der::readBitString(*string);
  if (!bits) {
    return bits.failure();
  }
  return out.putRecord<CERT_PUBLIC_KEY_INFO>([&](CERT_PUBLIC_KEY_INFO& record, OnePiece& piece) {
    fillAlgorithm(record.Algorithm, *algorithm, piece);
    fillBits(record.PublicKey, *bits, piece);
  });
}

Result<void> decodeUsages(const der::Element& element, ParamOutput& out) {
  if (const Result<void> good = expect(element, der::kSequence); !good) {
    return good;
  }
  std::vector<std::string> usages;
  for (der::Reader reader(element.content); !reader.atEnd();) {
    Result<std::string> oid = der::readOid(reader);
    if (!oid) {
      return oid.failure();
    }
    usages.push_back(*std::move(oid));
  }
  return out.putRecord<CTL_USAGE>([&](CTL_USAGE& record, OnePiece& piece) {
    record.cUsageIdentifier = static_cast<DWORD>(usages.size());
    record.rgpszUsageIdentifier = piece.array<LPSTR>(
        usages.size(), [&](LPSTR& usage, std::size_t i) { usage = piece.text(usages[i]); });
  });
}

}  // namespace qx
