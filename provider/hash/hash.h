#ifndef QX_PROVIDER_HASH_HASH_H_
#define QX_PROVIDER_HASH_HASH_H_

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/types.h"

#include "provider/der/tag.h"

namespace qx {

enum class HashAlgorithm : std::uint8_t {
  Md2,
  Md5,
  Sha1,
  Sha256,
  Sha384,
  Sha512,
  Gost94,  ///< R 34.11-94 with the parameter set 1.2.643.2.2.30.1
  Streebog256,
  Streebog512,
};

struct HashInfo {
  HashAlgorithm algorithm{};
  std::string_view oid;  ///< dotted; ends in NUL
  ALG_ID algId = 0;
  std::size_t length = 0;  ///< of the value, in bytes
  bool signs = false;      ///< false: broken, only good for hashed messages
};

inline constexpr std::size_t kMaxHashLength = 64;

/// hashInfo describes an algorithm.
const HashInfo& hashInfo(HashAlgorithm algorithm);

/// hashByOid finds the hash that an OID names; a signature OID (sha1WithRSAEncryption, ...) names the
/// hash inside. Null when there is none.
const HashInfo* hashByOid(std::string_view dotted);

/// HashValue is a finished hash.
class HashValue {
 public:
  HashValue() = default;

  explicit HashValue(std::size_t length) : length_(length) {}

  std::uint8_t* data() { return octets_.data(); }

  der::Bytes bytes() const { return {octets_.data(), length_}; }

  std::size_t size() const { return length_; }

  /// An order, for containers that need one.
  auto operator<=>(const HashValue& other) const = default;

 private:
  std::array<std::uint8_t, kMaxHashLength> octets_{};
  std::size_t length_ = 0;
};

/// HashState is one algorithm of one library at work.
class HashState {
 public:
  HashState() = default;
  virtual ~HashState() = default;
  HashState(const HashState&) = delete;
  HashState& operator=(const HashState&) = delete;
  HashState(HashState&&) = delete;
  HashState& operator=(HashState&&) = delete;

  virtual void update(der::Bytes bytes) = 0;

  /// Writes hashInfo().length bytes; the state is used up.
  virtual void finish(std::uint8_t* out) = 0;
};

/// Hasher hashes what it is given, in any number of pieces.
class Hasher {
 public:
  /// Throws std::bad_alloc when the library has no memory for its state.
  explicit Hasher(HashAlgorithm algorithm);

  void update(der::Bytes bytes) {
    if (!bytes.empty()) {
      state_->update(bytes);
    }
  }

  /// The hash of everything given; the hasher is used up.
  HashValue finish();

 private:
  std::size_t length_;
  std::unique_ptr<HashState> state_;
};

/// hashOf hashes bytes that lie in one piece.
HashValue hashOf(HashAlgorithm algorithm, der::Bytes bytes);

}  // namespace qx

#endif
