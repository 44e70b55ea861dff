#include "qxsapssf/identity/selection_trace.h"

#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr const char* kSign = "SsfSign";
constexpr const char* kAddSign = "SsfAddSign";
constexpr const char* kDevelope = "SsfDevelope";

void writeNothing() {}

TraceText traced(std::string_view text) {
  return {text.data(), static_cast<SsfOctetlen>(text.size())};
}

}  // namespace

// Hosts and their administrators search for these lines as they stand, misspellings included.
const SelectionTrace kSignSelection{
    .function = kSign,
    .tellsProgress = true,
    .needsHash = true,
    .pinNotTaken = SSF_RESULT_INVALID_PASSWORD,
    .storeNamed =
        [](int number, std::string_view profile) {
          QX_TRACE(kSign, "#trace# Signer %d Store = %s.\n", number, traced(profile).c_str());
        },
    .storeInvalid = [] { QX_TRACE(kSign, "#error#: Invalid store in user's profile\n"); },
    .keyNotAcquired =
        [] {
          QX_TRACE(kSign,
                   "#trace# Can not AcquireCertificatePrivateKey. Trying to search another "
                   "certificate.\n");
        },
    .pinNotSet =
        [] {
          QX_TRACE(kSign,
                   "#trace# Failed to set explisit pin code. Trying to search another "
                   "certificate.\n");
        },
    .keyNotUsable =
        [] {
          QX_TRACE(kSign,
                   "#trace# Can not Acquire Private Key with supplied pin code. Trying to search "
                   "another certificate.\n");
        },
    .notFound =
        [](int number) {
          QX_TRACE(kSign,
                   "#error# Signer's (%d) Certificate with supplied pin code NOT FOUND.\n",
                   number);
        },
};

const SelectionTrace kAddSignSelection{
    .function = kAddSign,
    .tellsProgress = true,
    .needsHash = true,
    .pinNotTaken = SSF_RESULT_INVALID_PASSWORD,
    .storeNamed =
        [](int /*number*/, std::string_view profile) {
          QX_TRACE(kAddSign, "#trace# Signer's Store = %s.\n", traced(profile).c_str());
        },
    .storeInvalid = [] { QX_TRACE(kAddSign, "#error#: Invalid Store in user's profile\n"); },
    .keyNotAcquired =
        [] {
          QX_TRACE(kAddSign,
                   "#info# Can not AcquireCertificatePrivateKey. Trying to search another "
                   "certificate.\n");
        },
    .pinNotSet =
        [] {
          QX_TRACE(kAddSign,
                   "#info# Failed to set explisit pin code. Trying to search another "
                   "certificate.\n");
        },
    .keyNotUsable =
        [] {
          QX_TRACE(kAddSign,
                   "#info# Can not Acquire Private Key with supplied pin code. Trying to search "
                   "another certificate.\n");
        },
    .notFound =
        [](int /*number*/) {
          QX_TRACE(kAddSign, "#error#: Signer's certificate with supplied pin code not found\n");
        },
};

const SelectionTrace kDevelopeSelection{
    .function = kDevelope,
    .tellsProgress = false,
    .needsHash = false,
    .pinNotTaken = SSF_RESULT_INVALID_PROFILE,
    .storeNamed = [](int /*number*/, std::string_view /*profile*/) {},
    .storeInvalid = [] { QX_TRACE(kDevelope, "#error#: Invaild Store in user's profile\n"); },
    .keyNotAcquired = writeNothing,
    .pinNotSet = writeNothing,
    .keyNotUsable = writeNothing,
    .notFound =
        [](int /*number*/) { QX_TRACE(kDevelope, "#error#: Some certificates not found\n"); },
};

}  // namespace qx
