#ifndef QX_TOOLS_QXSSF_DOCTOR_REVOCATION_LIST_H_
#define QX_TOOLS_QXSSF_DOCTOR_REVOCATION_LIST_H_

#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/qxssf/library.h"

namespace qx::ssf::doctor {

/// What a revocation list says of itself.
struct RevocationList {
  std::string issuer;                ///< as the library shows it
  std::optional<std::uint64_t> end;  ///< nextUpdate, in ticks of 100 ns from 1601-01-01
};

/// ListReader reads revocation lists with the functions of the libcrypto that the library itself uses.
class ListReader {
 public:
  /// The library is borrowed.
  explicit ListReader(const Library& library);

  /// isAble is false beneath a provider that brings no libcrypto along.
  bool isAble() const;

  /// read takes one list, PEM or DER; nothing when it is none.
  std::optional<RevocationList> read(std::span<const std::uint8_t> file) const;

 private:
  // libcrypto's objects have no form here.
  using Object = std::shared_ptr<void>;

  Object open(std::span<const std::uint8_t> file) const;
  Object decode(std::span<const std::uint8_t> file) const;
  std::string issuerOf(void* list) const;
  std::optional<std::uint64_t> endOf(void* list) const;

  const Library* library_;
  void* (*openMemory_)(const void*, int);
  int (*closeMemory_)(void*);
  void* (*readPem_)(void*, void**, void*, void*);
  void* (*readDer_)(void*, void**);
  void (*release_)(void*);
  void* (*issuer_)(const void*);
  int (*encodeName_)(const void*, unsigned char**);
  const void* (*nextUpdate_)(const void*);
  int (*split_)(const void*, std::tm*);
  void (*clearErrors_)();
};

}  // namespace qx::ssf::doctor

#endif
