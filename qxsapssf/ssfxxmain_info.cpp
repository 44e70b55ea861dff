#include <array>
#include <string_view>

#include "qxsapssf/frame.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr std::string_view kVersion = "Qorvex SSF library for SAP Version 1.01";

struct Property {
  std::string_view name;
  std::string_view value;
};

constexpr std::array<Property, 5> kProperties = {{
    {"PROPERTIES", "FORMATS;HASHALGS;ENCRALGS;SSF_POPUPS"},
    {"FORMATS", "PKCS7;CADES;PKCS7_CADES;PKCS7_ANY"},
    {"HASHALGS", "SHA1;GOST3411;GOST-R-34.11-94;MD2;MD5"},
    {"ENCRALGS", "GOST28147;GOST-28147-89"},
    {"SSF_POPUPS", "1"},
}};

/// Hands a copy of the text out; `noMemory` is what its failure is called here.
SAPRETURN giveText(const char* function,
                   std::string_view text,
                   SAPRETURN noMemory,
                   SAP_B8** data,
                   SsfOctetlen* length) noexcept {
  OwnedBytes copy = OwnedBytes::copyOf(text.data(), text.size());
  if (!copy) {
    return failedCall(function, noMemory);
  }
  *data = copy.release();
  *length = static_cast<SsfOctetlen>(text.size());
  return SSF_API_OK;
}

SAPRETURN version(SAP_B8** text, SsfOctetlen* length) noexcept {
  if (length != nullptr) {
    *length = 0;
  }
  if (text == nullptr || length == nullptr) {
    return SSF_API_INVALID_INPUT;
  }
  return giveText("SsfVersion", kVersion, SSF_API_INFO_NO_MEMORY, text, length);
}

SAPRETURN queryProperties(const SAP_B8* name,
                          SsfOctetlen nameLength,
                          SAP_B8** value,
                          SsfOctetlen* valueLength) noexcept {
  constexpr const char* kName = "SsfQueryProperties";
  if (value == nullptr || valueLength == nullptr) {
    QX_TRACE(kName, "#error#: No place for the output\n");
    return SSF_API_INVALID_INPUT;
  }
  if (name != nullptr && nameLength >= 0) {
    for (const Property& property : kProperties) {
      if (isNameOrPrefix(name, nameLength, property.name)) {
        return giveText(kName, property.value, SSF_API_NO_MEMORY, value, valueLength);
      }
    }
  }
  QX_TRACE(kName, "#error#: Invalid Property name\n");
  return SSF_API_INVALID_INPUT;
}

}  // namespace
}  // namespace qx

SAPRETURN SsfVersion(SAP_B8** version, SsfOctetlen* versionLength) noexcept {
  return qx::guarded([&] { return qx::version(version, versionLength); },
                     [] { return SAPRETURN{SSF_API_INFO_NO_MEMORY}; });
}

SAPRETURN SsfQueryProperties(SAP_B8* name,
                             SsfOctetlen nameLength,
                             void* /*ignored3*/,
                             void* /*ignored4*/,
                             SAP_B8** value,
                             SsfOctetlen* valueLength) noexcept {
  return qx::runOperation("SsfQueryProperties", [&](qx::Frame& /*frame*/) {
    return qx::queryProperties(name, nameLength, value, valueLength);
  });
}
