#ifndef QX_TESTS_SUPPORT_KIND_NAME_H_
#define QX_TESTS_SUPPORT_KIND_NAME_H_

#include <string>

#include <gtest/gtest.h>

#include "tools/lab/pki.h"

namespace qx::test {

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
