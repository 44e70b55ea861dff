#include "tests/support/der_tree.h"

#include <algorithm>
#include <ranges>
#include <stdexcept>

#include "provider/der/reader.h"
#include "provider/der/writer.h"

namespace qx::test {
namespace {

std::string wrapped(std::uint8_t identifier, const std::string& content) {
  const std::vector<std::uint8_t> bytes =
      der::wrap(identifier, der::Encoding::owned({content.begin(), content.end()})).bytes();
  return {bytes.begin(), bytes.end()};
}

}  // namespace

bool DerElement::constructed() const {
  return (identifier & der::kConstructed) != 0;
}

DerTree::DerTree(const std::string& encoded) {
  std::vector<der::Reader> open = {der::Reader(
      der::Bytes(reinterpret_cast<const std::uint8_t*>(encoded.data()), encoded.size()))};
  while (!open.empty()) {
    if (open.back().atEnd()) {
      open.pop_back();
      continue;
    }
    const Result<der::Element> element = open.back().next();
    const std::size_t depth = open.size() - 1;
    if (!element || element->indefinite || (depth == 0 && !elements_.empty())) {
      throw std::runtime_error("not one element with definite lengths");
    }
    elements_.push_back({element->identifier, depth, {}});
    if (element->constructed()) {
      open.emplace_back(element->content);
    } else {
      elements_.back().content.assign(element->content.begin(), element->content.end());
    }
  }
  if (elements_.empty()) {
    throw std::runtime_error("no element");
  }
}

std::size_t DerTree::endOf(std::size_t i) const {
  std::size_t end = i + 1;
  while (end < elements_.size() && elements_[end].depth > elements_[i].depth) {
    ++end;
  }
  return end;
}

std::vector<std::size_t> DerTree::childrenOf(std::size_t i) const {
  std::vector<std::size_t> children;
  for (std::size_t child = i + 1; child < endOf(i); child = endOf(child)) {
    children.push_back(child);
  }
  return children;
}

void DerTree::remove(std::size_t i) {
  const auto first = elements_.begin();
  elements_.erase(first + static_cast<std::ptrdiff_t>(i),
                  first + static_cast<std::ptrdiff_t>(endOf(i)));
}

void DerTree::insert(std::size_t at,
                     std::size_t depth,
                     const DerTree& other,
                     std::size_t otherElement) {
  const auto first = other.elements_.begin();
  std::vector<DerElement> copies(first + static_cast<std::ptrdiff_t>(otherElement),
                                 first + static_cast<std::ptrdiff_t>(other.endOf(otherElement)));
  const std::size_t top = copies.front().depth;
  for (DerElement& copy : copies) {
    copy.depth += depth - top;
  }
  elements_.insert(
      elements_.begin() + static_cast<std::ptrdiff_t>(at), copies.begin(), copies.end());
}

void DerTree::replace(std::size_t i, const DerTree& other, std::size_t otherElement) {
  const std::size_t depth = elements_.at(i).depth;
  remove(i);
  insert(i, depth, other, otherElement);
}

void DerTree::append(std::size_t parent, const DerTree& other, std::size_t otherElement) {
  insert(endOf(parent), elements_.at(parent).depth + 1, other, otherElement);
}

// From the back, so that what is in an element is there when the element itself comes.
std::string DerTree::encoded() const {
  std::vector<std::string> byDepth(1);
  for (const DerElement& element : elements_ | std::views::reverse) {
    byDepth.resize(std::max(byDepth.size(), element.depth + 2));
    std::string& inside = byDepth[element.depth + 1];
    std::string& behind = byDepth[element.depth];
    behind.insert(0, wrapped(element.identifier, element.constructed() ? inside : element.content));
    inside.clear();
  }
  return byDepth.front();
}

}  // namespace qx::test
