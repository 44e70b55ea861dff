#ifndef QX_TESTS_SCRIPTED_PROVIDER_STATE_H_
#define QX_TESTS_SCRIPTED_PROVIDER_STATE_H_

// What stands behind the scripted provider: its objects, its books, and the one way into a function.

#include <array>
#include <span>

#include "platform/cades.h"
#include "platform/cert_chain.h"
#include "platform/cert_store.h"
#include "platform/crypt_prov.h"
#include "platform/encode.h"
#include "platform/strings.h"
#include "platform/support.h"

#include "tests/scripted_provider/scripted_provider.h"

namespace qx::scripted {

/// Whatever was given out and has to come back.
struct Object {
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  std::string name;
  int references = 1;
};

struct KeyObject : Object {
  std::string pin;     // what the key needs
  std::string pinSet;  // what was set
  DWORD pinError = 0;
  bool mayAsk = false;
  bool isBare = false;  // no key at all: only for hashing
  std::size_t nextAlgorithm = 0;
};

struct CertificateObject : Object {
  explicit CertificateObject(ToyCertificate certificate);

  ToyCertificate toy;
  Bytes encoded;
  Bytes subject;
  Bytes issuer;
  CERT_INFO info{};
  CERT_CONTEXT context{};
  std::size_t index = 0;           // in its store
  KeyObject* cachedKey = nullptr;  // by CRYPT_ACQUIRE_CACHE_FLAG; leaves with the certificate
};

struct StoreObject : Object {
  ToyStore toy;
};

struct MessageObject : Object {
  ToyMessage toy;
  bool isEncoder = false;
  bool expectsContent = false;  // decoding with the detached flag: the content comes second
  bool isComplete = false;
  bool isDecrypted = false;
};

struct ChainObject : Object {
  CERT_CHAIN_CONTEXT context{};
};

struct VerdictObject : Object {
  ToyCadesVerdict toy;
  CADES_VERIFICATION_INFO info{};
};

struct BlobsObject : Object {
  std::vector<Bytes> values;
  std::vector<CRYPT_DATA_BLOB> blobs;
  CADES_BLOB_ARRAY array{};
};

struct Failure {
  std::string call;
  unsigned n = 1;  // 0: every one
  DWORD lastError = 0;
  bool onlyReads = false;
  unsigned seen = 0;
};

struct SizeRule {
  std::string call;
  int difference = 0;
  std::optional<DWORD> claim;
};

struct Provider::State {
  std::vector<std::string> journal;
  std::vector<std::string> fullJournal;
  std::vector<TraceLine> trace;
  std::vector<std::string> registrations;
  std::vector<std::string> pins;
  unsigned traceEnabledCalls = 0;
  unsigned lastErrorReads = 0;
  DWORD lastError = 0;
  unsigned traceLevel = 0;  // the level that was asked for last

  std::vector<Failure> failures;
  std::vector<SizeRule> sizes;
  std::vector<std::string> empty;
  unsigned failAny = 0;
  DWORD failAnyError = 0;
  unsigned missizeAny = 0;
  int missizeDifference = 0;
  unsigned failableCalls = 0;
  std::vector<std::string> failable;
  unsigned failuresSeen = 0;
  std::optional<std::string> callBeforeLoss;
  std::unique_ptr<AllocationFailure> lossOfMemory;

  std::map<const void*, std::unique_ptr<Object>> live;
  std::vector<std::string> misuse;
  std::map<std::string, unsigned> numbers;

  QX_TRACE_CONTEXT context{8};

  /// Gives an object out under a handle, with a name of its kind.
  template <class T>
  T* give(std::unique_ptr<T> object, const void* handle, const char* kind) {
    object->name = std::string(kind) + "#" + std::to_string(++numbers[kind]);
    T* raw = object.get();
    live[handle] = std::move(object);
    return raw;
  }

  /// The object behind a handle, or null and a note of the misuse.
  template <class T>
  T* find(const void* handle, const char* user) {
    const auto at = live.find(handle);
    T* object = at == live.end() ? nullptr : dynamic_cast<T*>(at->second.get());
    if (object == nullptr) {
      misuse.push_back(std::string(user) + " with a handle that is not out");
    }
    return object;
  }

  /// Takes one reference back; the last one ends the object. NULL is nothing.
  void takeBack(const void* handle, const char* user);

  std::string nameOf(const void* handle) const;
};

inline Provider::State& state() {
  return provider().state();
}

/// One call of a function of the interface. It keeps the provider's own allocations out of the count and
/// writes the journal line when it ends. The format tells the call up to its closing parenthesis.
class Call {
 public:
  __attribute__((format(printf, 2, 3))) explicit Call(const char* format, ...);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// Whether the script lets the call fail; the last error is set then. Ask once.
  bool fails();

  /// Adds what only the full journal tells.
  __attribute__((format(printf, 2, 3))) void tell(const char* format, ...);

  /// Adds the name of what the call hands out, and answers it.
  template <class T>
  T handsOut(T handle) {
    tell("= %s", state().nameOf(handle).c_str());
    return handle;
  }

  /// A failure for the provider's own reasons. Answers FALSE.
  BOOL fail(DWORD lastError);

  /// Whether the script wants success without output.
  bool givesNothing() const;

  /// Answers a caller's buffer by the two-pass protocol, with the script's lies about sizes.
  BOOL give(std::span<const BYTE> data, void* out, DWORD* size);

 private:
  static std::size_t missized(std::size_t actual);

  AllocationsPause pause_;
  std::string text_;
  std::string details_;
  std::string outcome_;
};

/// "size" or "read", for the journal.
inline const char* pass(const void* out) {
  return out == nullptr ? "size" : "read";
}

/// A record in one piece: its pointers lead into the buffer in which it comes out.
class Piece {
 public:
  explicit Piece(std::size_t recordSize) : bytes_(recordSize) {}

  /// Appends bytes, aligned; answers where they stand.
  std::size_t add(std::span<const BYTE> data);
  std::size_t addString(std::string_view text);

  /// Writes a plain value at a place.
  template <class T>
  void set(std::size_t at, const T& value) {
    const auto* raw = reinterpret_cast<const BYTE*>(&value);
    std::copy(raw, raw + sizeof(T), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
  }

  /// The pointer at a place leads to another place.
  void setPointer(std::size_t at, std::size_t target) { pointers_.emplace_back(at, target); }

  /// A CRYPT_INTEGER_BLOB at a place with these bytes.
  void setBlob(std::size_t at, std::span<const BYTE> data);

  /// The bytes as they belong at `base`.
  Bytes at(const void* base) const;

 private:
  Bytes bytes_;
  std::vector<std::pair<std::size_t, std::size_t>> pointers_;
};

/// A certificate that anything at all knows by its encoding.
const ToyCertificate* knownCertificate(std::string_view encoding);

/// A certificate context of a store (or none), given out.
PCCERT_CONTEXT giveCertificate(const ToyCertificate& toy, const void* store, std::size_t index);

/// What encoders of signed messages are told: as a toy, and for the journal.
ToySigner signerOf(const CMSG_SIGNER_ENCODE_INFO& info);
ToyMessage signedToy(const CMSG_SIGNED_ENCODE_INFO& info);
std::string describeSigner(const CMSG_SIGNER_ENCODE_INFO& signer);
std::string describeSigned(const CMSG_SIGNED_ENCODE_INFO& info);
/// The certificates that they are to put in, as texts.
std::string certificatesOf(const CMSG_SIGNED_ENCODE_INFO& info);

std::string hex(std::span<const BYTE> bytes);
/// Bytes for the journal: a text in quotes when it can be read, else hexadecimal digits.
std::string shown(std::span<const BYTE> bytes);
std::string textOf(const CRYPT_INTEGER_BLOB& blob);
std::uint32_t checksum(std::string_view text);

}  // namespace qx::scripted

#endif
