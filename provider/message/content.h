#ifndef QX_PROVIDER_MESSAGE_CONTENT_H_
#define QX_PROVIDER_MESSAGE_CONTENT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <variant>
#include <vector>

#include "provider/der/reader.h"
#include "provider/hash/hash.h"
#include "provider/result.h"

namespace qx {

/// MessageContent is what a message is about, borrowed from the caller: the octets inside the message
/// or, detached, those that are given beside it. It is hashed where it lies, once per algorithm.
class MessageContent {
 public:
  /// The content in one piece.
  void setOctets(der::Bytes octets);

  /// The content as an OCTET STRING of the message, which may have any number of segments (BER).
  Result<void> setString(const der::Element& string);

  /// One part of detached content. Content of one part is kept; of several, each is hashed with
  /// `algorithms` as it comes, and only these hashes can be had. NTE_BAD_HASH_STATE after the hash was
  /// asked for too early.
  Result<void> addPart(der::Bytes part, bool final, const std::vector<HashAlgorithm>& algorithms);

  /// All of it is there.
  bool isComplete() const { return complete_; }

  /// The number of its octets so far.
  std::size_t size() const { return size_; }

  /// Writes size() octets; nothing of content that came in several parts.
  void writeTo(std::uint8_t* out) const;

  /// The hash of the whole content. NTE_BAD_HASH_STATE when it is not complete (and no part is taken
  /// after that), or came in parts that were not hashed with this algorithm.
  Result<HashValue> hash(HashAlgorithm algorithm);

  /// Whether the octets could pass for the signed attributes of a signer: a signature over them alone
  /// could then be read as one over other content. The first octets and the size decide.
  bool mayBeAttributes() const;

 private:
  using InParts = std::map<HashAlgorithm, Hasher>;

  template <class Visitor>
  void visit(const Visitor& visitor) const;

  void note(der::Bytes octets);

  std::variant<std::monostate, der::Bytes, der::Element, InParts> source_;
  std::map<HashAlgorithm, HashValue> hashes_;
  std::size_t size_ = 0;
  std::vector<std::uint8_t> prefix_;
  bool complete_ = false;
  bool spoilt_ = false;
};

}  // namespace qx

#endif
