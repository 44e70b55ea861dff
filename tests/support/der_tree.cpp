#include "tests/support/der_tree.h"

#include <stdexcept>

#include "provider/der/reader.h"
#include "provider/der/writer.h"

namespace qx::test {
namespace {

std::vector<DerNode> nodesOf(der::Bytes bytes) {
  std::vector<DerNode> nodes;
  der::Reader reader(bytes);
  while (!reader.atEnd()) {
    const Result<der::Element> element = reader.next();
    if (!element || element->indefinite) {
      throw std::runtime_error("not an element with definite lengths");
    }
    DerNode node{.identifier = element->identifier, .content = {}, .children = {}};
    if (element->constructed()) {
      node.children = nodesOf(element->content);
    } else {
      node.content.assign(element->content.begin(), element->content.end());
    }
    nodes.push_back(std::move(node));
  }
  return nodes;
}

}  // namespace

bool DerNode::constructed() const {
  return (identifier & der::kConstructed) != 0;
}

std::string DerNode::encoded() const {
  std::string inside = content;
  for (const DerNode& child : children) {
    inside += child.encoded();
  }
  const std::vector<std::uint8_t> bytes =
      der::wrap(identifier, der::Encoding::owned({inside.begin(), inside.end()})).bytes();
  return {bytes.begin(), bytes.end()};
}

std::vector<DerNode*> DerNode::all() {
  std::vector<DerNode*> nodes = {this};
  for (DerNode& child : children) {
    const std::vector<DerNode*> below = child.all();
    nodes.insert(nodes.end(), below.begin(), below.end());
  }
  return nodes;
}

DerNode derTree(const std::string& encoded) {
  std::vector<DerNode> nodes =
      nodesOf({reinterpret_cast<const std::uint8_t*>(encoded.data()), encoded.size()});
  if (nodes.size() != 1) {
    throw std::runtime_error("not one element");
  }
  return std::move(nodes.front());
}

}  // namespace qx::test
