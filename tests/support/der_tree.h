#ifndef QX_TESTS_SUPPORT_DER_TREE_H_
#define QX_TESTS_SUPPORT_DER_TREE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace qx::test {

/// DerNode is one element taken apart, to be changed and put together again with lengths that are right.
struct DerNode {
  std::uint8_t identifier = 0;
  /// Of a primitive element.
  std::string content;
  /// Of a constructed one.
  std::vector<DerNode> children;

  bool constructed() const;

  /// encoded is the element with definite lengths.
  std::string encoded() const;

  /// all gives this element and every one below it, parents first. The pointers hold until a list of
  /// children changes.
  std::vector<DerNode*> all();
};

/// derTree takes an element apart. Throws std::runtime_error for what is not one element with definite
/// lengths.
DerNode derTree(const std::string& encoded);

}  // namespace qx::test

#endif
