#include "tests/provider/message/signed_parts.h"

#include <algorithm>

#include "provider/der/reader.h"
#include "tests/provider/der/hex.h"

namespace qx::test {
namespace {

// The next element; an empty one, and a failed test, when there is none.
der::Element take(der::Reader& reader) {
  const Result<der::Element> element = reader.next();
  EXPECT_TRUE(element);
  return element ? *element : der::Element{};
}

std::vector<Octets> elementsOf(der::Bytes content) {
  std::vector<Octets> elements;
  for (der::Reader reader(content); !reader.atEnd();) {
    elements.push_back(copyOf(take(reader).whole));
    if (elements.back().empty()) {
      break;
    }
  }
  return elements;
}

std::vector<Octets> takeOptional(der::Reader& reader, unsigned tag) {
  return reader.peek() == der::contextConstructed(tag) ? elementsOf(take(reader).content)
                                                       : std::vector<Octets>{};
}

::testing::AssertionResult beginsWith(const char* what,
                                      const std::vector<Octets>& after,
                                      const std::vector<Octets>& before) {
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (i >= after.size() || after[i] != before[i]) {
      return ::testing::AssertionFailure()
             << what << ' ' << i << " was " << toHex(before[i]) << ", is "
             << (i < after.size() ? toHex(after[i]) : "gone");
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace

SignedParts partsOf(const Octets& message) {
  der::Reader outer(message);
  der::Reader contentInfo(take(outer).content);
  EXPECT_TRUE(take(contentInfo).is(der::kOid));
  der::Reader tagged(take(contentInfo).content);
  der::Reader fields(take(tagged).content);
  SignedParts parts;
  parts.version = copyOf(take(fields).whole);
  parts.hashAlgorithms = elementsOf(take(fields).content);
  parts.contentInfo = copyOf(take(fields).whole);
  parts.certificates = takeOptional(fields, 0);
  parts.crls = takeOptional(fields, 1);
  parts.signers = elementsOf(take(fields).content);
  EXPECT_TRUE(fields.atEnd());
  return parts;
}

::testing::AssertionResult keepsEveryPart(const Octets& before, const Octets& after) {
  const SignedParts was = partsOf(before);
  const SignedParts is = partsOf(after);
  if (is.contentInfo != was.contentInfo) {
    return ::testing::AssertionFailure() << "content info is " << toHex(is.contentInfo);
  }
  for (const auto& [what, set] : {std::pair{"hash algorithm", &SignedParts::hashAlgorithms},
                                  std::pair{"certificate", &SignedParts::certificates},
                                  std::pair{"CRL", &SignedParts::crls},
                                  std::pair{"signer", &SignedParts::signers}}) {
    if (auto kept = beginsWith(what, is.*set, was.*set); !kept) {
      return kept;
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace qx::test
