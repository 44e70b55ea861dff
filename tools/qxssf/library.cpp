#include "tools/qxssf/library.h"

#include <dlfcn.h>

#include "tools/common/error.h"

namespace qx::ssf {
namespace {

using tools::ExitCode;
using tools::ToolError;

void* load(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (handle == nullptr) {
    const char* reason = dlerror();  // NOLINT(concurrency-mt-unsafe): one thread
    throw ToolError(
        ExitCode::Internal,
        "the SSF library cannot be loaded: " + std::string(reason) + " (--library names another)");
  }
  return handle;
}

}  // namespace

Library::Library(const std::string& path) : path_(path), handle_(load(path)) {}

void* Library::lookUp(const char* name) const {
  return dlsym(handle_, name);
}

void* Library::symbol(const char* name) const {
  void* found = lookUp(name);
  if (found == nullptr) {
    throw ToolError(
        ExitCode::Internal,
        path_ + ": is no SSF library: it has no " + name + " (--library names another)");
  }
  return found;
}

Octets::Octets(const Library& library) : free_(QX_SSF_FUNCTION(library, SsfDELSsfOctetstring)) {}

Octets::~Octets() {
  free_(&data_, &length_);
}

std::span<const std::uint8_t> Octets::bytes() const {
  return {data_, static_cast<std::size_t>(length_)};
}

std::string_view Octets::text() const {
  return textOf(data_, length_);
}

Records::Records(const Library& library)
    : make_(QX_SSF_FUNCTION(library, SsfNEWSigRcpSsfInfo)),
      insert_(QX_SSF_FUNCTION(library, SsfINSSigRcpSsfInfo)),
      freeOne_(QX_SSF_FUNCTION(library, SsfDELSigRcpSsfInfo)),
      freeAll_(QX_SSF_FUNCTION(library, SsfDELSigRcpSsfInfoList)) {}

Records::~Records() {
  if (list_ != nullptr) {
    freeAll_(&list_);
  }
}

void Records::add(std::string_view id,
                  std::string_view profile,
                  std::span<const std::uint8_t> password) {
  if (id.empty()) {
    throw ToolError(ExitCode::Usage, "an identity is empty");
  }
  SigRcpSsfInformation* record = nullptr;
  SAPRETURN code = make_(bytesIn(id),
                         lengthIn(id),
                         /*reserved=*/nullptr,
                         /*reservedLength=*/0,
                         bytesIn(profile),
                         lengthIn(profile),
                         password.data(),
                         lengthIn(password),
                         SSF_RESULT_UNDEFINED,
                         &record);
  if (code == SSF_API_OK) {
    code = insert_(record, &list_);
  }
  if (code != SSF_API_OK) {
    freeOne_(&record);
    throw ToolError(ExitCode::Internal, "no record could be made: there is not enough memory");
  }
}

SAP_B8* bytesIn(std::span<const std::uint8_t> bytes) {
  return const_cast<SAP_B8*>(bytes.data());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

SAP_B8* bytesIn(std::string_view text) {
  return bytesIn(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::string_view textOf(const SAP_B8* bytes, SsfOctetlen length) {
  return bytes == nullptr || length <= 0 ? std::string_view()
                                         : std::string_view(reinterpret_cast<const char*>(bytes),
                                                            static_cast<std::size_t>(length));
}

}  // namespace qx::ssf
