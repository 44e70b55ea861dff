#ifndef QX_TESTS_SUPPORT_KIND_NAME_H_
#define QX_TESTS_SUPPORT_KIND_NAME_H_

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/lab/pki.h"

namespace qx::test {

/// allKinds gives every kind of key that the lab makes.
inline std::vector<lab::KeyKind> allKinds() {
  using enum lab::KeyKind;
  return {Gost2001, Gost2012_256, Gost2012_512, Rsa2048, EcP256, EcP384};
}

/// kindText is lab::kindName in the letters and digits that the name of a test may have.
inline std::string kindText(lab::KeyKind kind) {
  std::string name = lab::kindName(kind);
  std::erase(name, '-');
  return name;
}

/// kindOf names the tests over kinds of keys, for INSTANTIATE_TEST_SUITE_P.
inline std::string kindOf(const ::testing::TestParamInfo<lab::KeyKind>& parameter) {
  return kindText(parameter.param);
}

}  // namespace qx::test

#endif
