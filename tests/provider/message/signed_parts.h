#ifndef QX_TESTS_PROVIDER_MESSAGE_SIGNED_PARTS_H_
#define QX_TESTS_PROVIDER_MESSAGE_SIGNED_PARTS_H_

#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/message/messages.h"

namespace qx::test {

/// SignedParts is what a signed message is made of, each part as it is encoded.
struct SignedParts {
  Octets version;
  std::vector<Octets> hashAlgorithms;
  Octets contentInfo;
  std::vector<Octets> certificates;
  std::vector<Octets> crls;
  std::vector<Octets> signers;
};

/// partsOf takes a message apart; the test fails when it cannot.
SignedParts partsOf(const Octets& message);

/// keepsEveryPart tells whether each part of one message stands in the other one byte for byte and at
/// its place, whatever came behind it.
::testing::AssertionResult keepsEveryPart(const Octets& before, const Octets& after);

}  // namespace qx::test

#endif
