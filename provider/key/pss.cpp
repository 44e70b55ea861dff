#include "provider/key/pss.h"

#include "provider/der/reader.h"
#include "provider/der/values.h"

namespace qx {
namespace {

constexpr std::uint64_t kLongestSalt = 512;
constexpr const char* kMgf1 = "1.2.840.113549.1.1.8";

Result<HashAlgorithm> readHash(const der::Element& sequence) {
  const auto algorithm = der::readAlgorithm(sequence);
  const HashInfo* hash = algorithm ? hashByOid(algorithm->oid) : nullptr;
  if (hash == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  return hash->algorithm;
}

Result<HashAlgorithm> readMaskHash(const der::Element& sequence) {
  const auto algorithm = der::readAlgorithm(sequence);
  if (!algorithm || algorithm->oid != kMgf1) {
    return fail(NTE_BAD_ALGID);
  }
  const auto hash = der::readWhole(algorithm->parameters, der::kSequence);
  return hash ? readHash(*hash) : hash.failure();
}

/// Reads the element inside the optional explicit tag; `use` stores it.
template <class Use>
Result<void> readTagged(der::Reader& reader, unsigned tag, std::uint8_t inner, Use use) {
  if (reader.peek() != der::contextConstructed(tag)) {
    return {};
  }
  const auto tagged = reader.next();
  if (!tagged) {
    return tagged.failure();
  }
  const auto element = der::readWhole(tagged->content, inner);
  return element ? use(*element) : element.failure();
}

template <class T>
Result<void> store(Result<T> value, T& into) {
  if (!value) {
    return value.failure();
  }
  into = *value;
  return {};
}

Result<void> readNumber(const der::Element& element, std::uint64_t most, int& into) {
  const auto number = der::readUnsigned(element);
  if (!number || *number > most) {
    return fail(NTE_BAD_ALGID);
  }
  into = static_cast<int>(*number);
  return {};
}

Result<PssParameters> readMembers(der::Reader reader) {
  PssParameters parameters;
  int trailer = 1;
  const Result<void> steps[] = {
      readTagged(reader,
                 0,
                 der::kSequence,
                 [&](const der::Element& e) { return store(readHash(e), parameters.hash); }),
      readTagged(
          reader,
          1,
          der::kSequence,
          [&](const der::Element& e) { return store(readMaskHash(e), parameters.maskHash); }),
      readTagged(reader,
                 2,
                 der::kInteger,
                 [&](const der::Element& e) {
                   return readNumber(e, kLongestSalt, parameters.saltLength);
                 }),
      readTagged(reader,
                 3,
                 der::kInteger,
                 [&](const der::Element& e) { return readNumber(e, 1, trailer); }),
      reader.expectEnd(),
  };
  for (const auto& step : steps) {
    if (!step) {
      return step.failure();
    }
  }
  return trailer == 1 ? Result<PssParameters>(parameters) : fail(NTE_BAD_ALGID);
}

}  // namespace

Result<PssParameters> readPssParameters(std::span<const std::uint8_t> der) {
  const auto sequence = der::readWhole(der, der::kSequence);
  if (!sequence) {
    return fail(NTE_BAD_ALGID);
  }
  const auto parameters = readMembers(der::Reader(sequence->content));
  return parameters ? parameters : fail(NTE_BAD_ALGID);
}

}  // namespace qx
