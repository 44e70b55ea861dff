#ifndef QX_TOOLS_QXSSF_LIBRARY_H_
#define QX_TOOLS_QXSSF_LIBRARY_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/types.h"

#include "qxsapssf/ssf.h"

namespace qx::ssf {

/// How every certificate, message and value that the tool reads is encoded.
inline constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

/// Library is an SSF library, loaded as an SAP kernel loads one. It stays loaded until the process
/// ends: what it handed out may outlive this object.
class Library {
 public:
  /// `path` as dlopen takes it. Throws ToolError (Internal) when it cannot be loaded.
  explicit Library(const std::string& path);

  /// function finds an exported function, of the library or of the provider below it. Throws
  /// ToolError (Internal) when there is none.
  template <class Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(symbol(name));
  }

  /// find is function for what another library or provider may lack: NULL when there is none.
  template <class Function>
  Function* find(const char* name) const {
    return reinterpret_cast<Function*>(lookUp(name));
  }

 private:
  void* lookUp(const char* name) const;
  void* symbol(const char* name) const;

  std::string path_;
  void* handle_;
};

// The function of the interface that has this name, with the type that the header gives it.
#define QX_SSF_FUNCTION(library, name) \
  ((library).function<std::remove_pointer_t<decltype(&(name))>>(#name))

/// Octets is a byte string that the library hands out.
class Octets {
 public:
  explicit Octets(const Library& library);
  ~Octets();
  Octets(const Octets&) = delete;
  Octets& operator=(const Octets&) = delete;
  Octets(Octets&&) = delete;
  Octets& operator=(Octets&&) = delete;

  SAP_B8** data() { return &data_; }

  SsfOctetlen* length() { return &length_; }

  std::span<const std::uint8_t> bytes() const;
  std::string_view text() const;

 private:
  decltype(&SsfDELSsfOctetstring) free_;
  SAP_B8* data_ = nullptr;
  SsfOctetlen length_ = 0;
};

/// Records is a list of signer or recipient records.
class Records {
 public:
  explicit Records(const Library& library);
  ~Records();
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;
  Records(Records&&) = delete;
  Records& operator=(Records&&) = delete;

  /// add appends a record; the library keeps copies of the three texts.
  void add(std::string_view id, std::string_view profile, std::span<const std::uint8_t> password);

  SigRcpSsfInformationListStruct* get() const { return list_; }

  SigRcpSsfInformationListStruct** out() { return &list_; }

 private:
  decltype(&SsfNEWSigRcpSsfInfo) make_;
  decltype(&SsfINSSigRcpSsfInfo) insert_;
  decltype(&SsfDELSigRcpSsfInfo) freeOne_;
  decltype(&SsfDELSigRcpSsfInfoList) freeAll_;
  SigRcpSsfInformationListStruct* list_ = nullptr;
};

/// bytesIn is a byte string as the interface takes it; it is only read.
SAP_B8* bytesIn(std::span<const std::uint8_t> bytes);
SAP_B8* bytesIn(std::string_view text);

/// lengthIn is the length beside it. Inputs are never longer than it can tell.
template <class Bytes>
SsfOctetlen lengthIn(const Bytes& bytes) {
  return static_cast<SsfOctetlen>(bytes.size());
}

/// textOf is a record's string as text.
std::string_view textOf(const SAP_B8* bytes, SsfOctetlen length);

}  // namespace qx::ssf

#endif
