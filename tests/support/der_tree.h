#ifndef QX_TESTS_SUPPORT_DER_TREE_H_
#define QX_TESTS_SUPPORT_DER_TREE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qx::test {

/// DerElement is one element of a tree.
struct DerElement {
  std::uint8_t identifier = 0;
  /// How many elements it stands in.
  std::size_t depth = 0;
  /// Of a primitive element; what is in a constructed one follows it in the tree.
  std::string content;

  bool constructed() const;
};

/// DerTree is an encoding taken apart, to be changed and put together again with lengths that are right.
/// Elements are numbered parents first; a change renumbers what stands behind it.
class DerTree {
 public:
  /// Throws std::runtime_error for what is not one element with definite lengths.
  explicit DerTree(const std::string& encoded);

  std::size_t size() const { return elements_.size(); }

  DerElement& operator[](std::size_t i) { return elements_.at(i); }

  const DerElement& operator[](std::size_t i) const { return elements_.at(i); }

  std::vector<std::size_t> childrenOf(std::size_t i) const;

  /// Each takes an element with all that is in it.
  void remove(std::size_t i);
  void replace(std::size_t i, const DerTree& other, std::size_t otherElement);
  /// append puts a copy behind the last child of `parent`.
  void append(std::size_t parent, const DerTree& other, std::size_t otherElement);

  std::string encoded() const;

 private:
  /// Behind the last element that is in element `i`.
  std::size_t endOf(std::size_t i) const;
  void insert(std::size_t at, std::size_t depth, const DerTree& other, std::size_t otherElement);

  std::vector<DerElement> elements_;
};

}  // namespace qx::test

#endif
