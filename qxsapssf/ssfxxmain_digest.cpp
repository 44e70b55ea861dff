#include <array>
#include <string_view>

#include "platform/crypt_msg.h"
#include "platform/crypt_prov.h"

#include "qxsapssf/frame.h"
#include "qxsapssf/message_input.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr const char* kSsfDigest = "SsfDigest";

struct HashName {
  std::string_view name;
  const char* oid;
};

constexpr const char* kGost94Oid = "1.2.643.2.2.9";
constexpr std::array<HashName, 5> kHashNames = {{
    {"SHA1", szOID_OIWSEC_sha1},
    {"GOST3411", kGost94Oid},
    {"GOST-R-34.11-94", kGost94Oid},
    {"MD2", szOID_RSA_MD2},
    {"MD5", szOID_RSA_MD5},
}};

const char* findHashOid(const SAP_B8* name, SsfOctetlen nameLength) noexcept {
  for (const HashName& hash : kHashNames) {
    if (name != nullptr && isNameOrPrefix(name, nameLength, hash.name)) {
      return hash.oid;
    }
  }
  return nullptr;
}

Message openMessage(HCRYPTPROV provider, const char* hashOid, bool isDetached) noexcept {
  CMSG_HASHED_ENCODE_INFO info{};
  info.cbSize = sizeof(info);
  info.hCryptProv = provider;
  // The platform only reads the OID; the published record has no const.
  info.HashAlgorithm.pszObjId =
      const_cast<LPSTR>(hashOid);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  return Message(CryptMsgOpenToEncode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                      isDetached ? CMSG_DETACHED_FLAG : 0,
                                      CMSG_HASHED,
                                      &info,
                                      /*pszInnerContentObjID=*/nullptr,
                                      /*pStreamInfo=*/nullptr));
}

/// The hashed message of the input.
SAPRETURN encodeHashed(const char* hashOid,
                       bool isDetached,
                       const SAP_B8* input,
                       SsfOctetlen inputLength,
                       OwnedBytes& encoded) noexcept {
  Provider provider;
  if (CryptAcquireContextA(provider.put(),
                           /*szContainer=*/nullptr,
                           /*szProvider=*/nullptr,
                           PROV_GOST_2001_DH,
                           CRYPT_VERIFYCONTEXT) == FALSE) {
    return failedCall(kSsfDigest, SSF_API_NO_PROVIDER);
  }
  const Message message = openMessage(provider.get(), hashOid, isDetached);
  if (!message) {
    return failedCall(kSsfDigest, SSF_API_ENCODE_ERROR);
  }
  if (!feedMessage(kSsfDigest, message, input, inputLength)) {
    return SSF_API_ENCODE_ERROR;
  }
  return readParam(
      kSsfDigest, message.get(), CMSG_CONTENT_PARAM, /*index=*/0, SSF_API_ENCODE_ERROR, encoded);
}

struct DigestArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  bool isDetached;
  const SAP_B8* input;
  SsfOctetlen inputLength;
  const SAP_B8* hashName;
  SsfOctetlen hashNameLength;
};

SAPRETURN checkInput(const DigestArguments& arguments) noexcept {
  const SAPRETURN code = checkFormat(arguments.format, arguments.formatLength);
  if (code != SSF_API_OK) {
    return code;
  }
  if (arguments.inputLength < 1) {
    QX_TRACE(kSsfDigest, "#error#: ostrInputDataL <= 0\n");
    return SSF_API_INVALID_INPUT;
  }
  if (!hasInput(kSsfDigest, arguments.input)) {
    return SSF_API_INVALID_INPUT;
  }
  if (arguments.hashNameLength < 1) {
    QX_TRACE(kSsfDigest, "#error#: Invalid HashAlg name length\n");
    return SSF_API_INVALID_HASH_ALG;
  }
  return SSF_API_OK;
}

SAPRETURN digest(Frame& frame,
                 const DigestArguments& arguments,
                 SAP_B8** output,
                 SsfOctetlen* outputLength) noexcept {
  if (!clearOutputLength(kSsfDigest, output, outputLength)) {
    return SSF_API_INVALID_INPUT;
  }
  SAPRETURN code = checkInput(arguments);
  if (code != SSF_API_OK) {
    return code;
  }
  const char* hashOid = findHashOid(arguments.hashName, arguments.hashNameLength);
  if (hashOid == nullptr) {
    QX_TRACE(kSsfDigest, "#error#: Invalid HashAlg name\n");
    frame.omitEndBanner();
    return SSF_API_INVALID_HASH_ALG;
  }
  OwnedBytes encoded;
  code =
      encodeHashed(hashOid, arguments.isDetached, arguments.input, arguments.inputLength, encoded);
  if (code == SSF_API_OK) {
    handOver(encoded, output, outputLength);
  }
  return code;
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfDigest(SAP_B8* format,
                    SsfOctetlen formatLength,
                    int detached,
                    SAP_B8* ostrInputData,
                    SsfOctetlen ostrInputDataL,
                    SAP_B8* hashAlgName,
                    SsfOctetlen hashAlgNameLength,
                    SAP_B8** ostrDigest,
                    SsfOctetlen* ostrDigestL) noexcept {
  return qx::runOperation(qx::kSsfDigest, [&](qx::Frame& frame) {
    return qx::digest(frame,
                      {.format = format,
                       .formatLength = formatLength,
                       .isDetached = qx::isSet(detached),
                       .input = ostrInputData,
                       .inputLength = ostrInputDataL,
                       .hashName = hashAlgName,
                       .hashNameLength = hashAlgNameLength},
                      ostrDigest,
                      ostrDigestL);
  });
}

// NOLINTEND(readability-non-const-parameter)
