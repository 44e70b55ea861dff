#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>

#include "tools/qxssf/codes.h"
#include "tools/qxssf/doctor/families.h"

namespace qx::ssf::doctor {
namespace {

namespace fs = std::filesystem;
using tools::ExitCode;

// The functions of the platform that the library calls: each may be taken by somebody else's library that the
// host loaded before.
constexpr const char* kPlatform[] = {"CadesFreeBlobArray",
                                     "CadesFreeVerificationInfo",
                                     "CadesMsgAddEnhancedSignature",
                                     "CadesMsgEnhanceSignature",
                                     "CadesMsgEnhanceSignatureAll",
                                     "CadesMsgGetCertificateValues",
                                     "CadesMsgIsType",
                                     "CadesMsgOpenToEncode",
                                     "CadesMsgVerifySignature",
                                     "CertAlgIdToOID",
                                     "CertCloseStore",
                                     "CertCompareCertificate",
                                     "CertCompareCertificateName",
                                     "CertCompareIntegerBlob",
                                     "CertCreateCertificateContext",
                                     "CertDuplicateCertificateContext",
                                     "CertFindAttribute",
                                     "CertFindCertificateInStore",
                                     "CertFreeCertificateChain",
                                     "CertFreeCertificateContext",
                                     "CertGetCertificateChain",
                                     "CertGetCertificateContextProperty",
                                     "CertGetSubjectCertificateFromStore",
                                     "CertNameToStrW",
                                     "CertOIDToAlgId",
                                     "CertOpenStore",
                                     "CryptAcquireCertificatePrivateKey",
                                     "CryptAcquireContextA",
                                     "CryptDecodeObject",
                                     "CryptEnumOIDInfo",
                                     "CryptFindOIDInfo",
                                     "CryptGetProvParam",
                                     "CryptMsgClose",
                                     "CryptMsgControl",
                                     "CryptMsgGetParam",
                                     "CryptMsgOpenToDecode",
                                     "CryptMsgOpenToEncode",
                                     "CryptMsgUpdate",
                                     "CryptReleaseContext",
                                     "CryptSetProvParam",
                                     "FileTimeToSystemTime",
                                     "FormatMessageA",
                                     "GetLastError",
                                     "LocalFree",
                                     "MultiByteToWideChar",
                                     "SetLastError",
                                     "WideCharToMultiByte",
                                     "qxsup_cp1251_to_utf16le",
                                     "qxsup_mbsrtowcs",
                                     "qxsup_trace_enabled",
                                     "qxsup_trace_print",
                                     "qxsup_trace_register",
                                     "qxsup_trace_unregister",
                                     "qxsup_utf16le_to_charset"};

std::string property(const Library& library, std::string_view name) {
  Octets value(library);
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfQueryProperties)(bytesIn(name),
                                                                      lengthIn(name),
                                                                      /*ignored3=*/nullptr,
                                                                      /*ignored4=*/nullptr,
                                                                      value.data(),
                                                                      value.length());
  return code == SSF_API_OK ? std::string(value.text()) : meaningOf(code).words;
}

void examineVersion(const Library& library, const Setting& path, Findings& findings) {
  const std::string name = path.value + " (from " + path.source + ")";
  Octets version(library);
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfVersion)(version.data(), version.length());
  if (code != SSF_API_OK) {
    findings.fault(meaningOf(code).exit,
                   name,
                   std::string("tells no version: ") + meaningOf(code).words,
                   "qxssf explain " + std::to_string(code) + " --operation version");
    return;
  }
  findings.good(name, std::string(version.text()));
  findings.good("file", fileOf(library.find<void>("SsfVersion")));
  for (const char* property_ : {"FORMATS", "HASHALGS", "ENCRALGS"}) {
    findings.good(property_, property(library, property_));
  }
}

// The library's calls go to what the whole process sees first, else to what the library brought along.
const void* boundTo(const Library& library, const char* name) {
  const void* global = dlsym(RTLD_DEFAULT, name);
  return global != nullptr ? global : library.find<void>(name);
}

void examineBindings(const Library& library, Findings& findings) {
  const std::string provider = fileOf(library.find<void>("qxsup_trace_register"));
  std::map<std::string, std::string> foreign;
  for (const char* name : kPlatform) {
    const std::string file = fileOf(boundTo(library, name));
    if (!file.empty() && file != provider) {
      std::string& names = foreign[file];
      names += names.empty() ? "" : ", ";
      names += name;
    }
  }
  const std::string displaced = "takes the place of the provider " + provider + " in ";
  for (const auto& [file, names] : foreign) {
    findings.fault(ExitCode::Internal,
                   file,
                   displaced + names,
                   variable("LD_PRELOAD").empty() ? "ldd " + quoted(provider) : "unset LD_PRELOAD");
  }
  if (foreign.empty()) {
    findings.good("provider", provider);
  }
}

}  // namespace

std::string fileOf(const void* address) {
  Dl_info info{};
  if (address == nullptr || dladdr(address, &info) == 0 || info.dli_fname == nullptr) {
    return "";
  }
  std::error_code error;
  const fs::path real = fs::canonical(info.dli_fname, error);
  return error ? info.dli_fname : real.string();
}

void examineLibrary(const Library& library, const Setting& path, Findings& findings) {
  findings.begin("library");
  examineVersion(library, path, findings);
  examineBindings(library, findings);
}

}  // namespace qx::ssf::doctor
