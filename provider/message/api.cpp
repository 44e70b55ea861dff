#include "provider/api.h"

#include <iterator>
#include <memory>
#include <string>

#include "platform/crypt_msg.h"

#include "provider/der/oid.h"
#include "provider/message/data_encoder.h"
#include "provider/message/decoder.h"
#include "provider/message/enveloped_encoder.h"
#include "provider/message/hashed_encoder.h"
#include "provider/message/message.h"
#include "provider/message/oids.h"
#include "provider/message/signed_encoder.h"

namespace {

using qx::fail;
using qx::Message;
using qx::Result;

Result<std::string> innerContentType(const char* dotted) {
  if (dotted == nullptr) {
    return std::string(qx::oids::kData);
  }
  const auto valid = qx::der::oidFromText(dotted);
  return valid ? Result<std::string>(dotted) : valid.failure();
}

Result<std::unique_ptr<Message>> openToEncode(DWORD flags,
                                              DWORD type,
                                              const void* info,
                                              const char* innerType) {
  if (type == CMSG_DATA) {
    return qx::DataEncoder::open(flags, info);
  }
  if (type != CMSG_SIGNED && type != CMSG_ENVELOPED && type != CMSG_HASHED) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  Result<std::string> content = innerContentType(innerType);
  if (!content) {
    return content.failure();
  }
  if (type == CMSG_HASHED) {
    return qx::HashedEncoder::open(
        flags, *std::move(content), static_cast<const CMSG_HASHED_ENCODE_INFO*>(info));
  }
  if (type == CMSG_ENVELOPED) {
    return qx::EnvelopedEncoder::open(
        flags, *std::move(content), static_cast<const CMSG_ENVELOPED_ENCODE_INFO*>(info));
  }
  return qx::SignedEncoder::open(
      flags, *std::move(content), static_cast<const CMSG_SIGNED_ENCODE_INFO*>(info));
}

// What both opens refuse at first: another encoding, and streaming, which is not offered.
Result<void> checkOpen(DWORD encodingType, const CMSG_STREAM_INFO* stream) {
  if ((encodingType & CMSG_ENCODING_TYPE_MASK) != PKCS_7_ASN_ENCODING) {
    return fail(E_INVALIDARG);
  }
  return stream == nullptr ? Result<void>{} : fail(E_NOTIMPL);
}

// The handle is the address of the base, which fromHandle takes it for.
HCRYPTMSG toHandle(std::unique_ptr<Message> message) {
  return message.release();
}

}  // namespace

HCRYPTMSG CryptMsgOpenToEncode(DWORD dwMsgEncodingType,
                               DWORD dwFlags,
                               DWORD dwMsgType,
                               void const* pvMsgEncodeInfo,
                               LPSTR pszInnerContentObjID,
                               PCMSG_STREAM_INFO pStreamInfo) {
  return qx::apiValue<HCRYPTMSG>([&]() -> Result<HCRYPTMSG> {
    if (const Result<void> good = checkOpen(dwMsgEncodingType, pStreamInfo); !good) {
      return good.failure();
    }
    auto message = openToEncode(dwFlags, dwMsgType, pvMsgEncodeInfo, pszInnerContentObjID);
    return message ? Result<HCRYPTMSG>(toHandle(*std::move(message))) : message.failure();
  });
}

HCRYPTMSG CryptMsgOpenToDecode(DWORD dwMsgEncodingType,
                               DWORD dwFlags,
                               DWORD dwMsgType,
                               HCRYPTPROV_LEGACY /*hCryptProv*/,
                               PCERT_INFO pRecipientInfo,
                               PCMSG_STREAM_INFO pStreamInfo) {
  return qx::apiValue<HCRYPTMSG>([&]() -> Result<HCRYPTMSG> {
    if (const Result<void> good = checkOpen(dwMsgEncodingType, pStreamInfo); !good) {
      return good.failure();
    }
    if (pRecipientInfo != nullptr) {
      return fail(E_INVALIDARG);
    }
    return toHandle(std::make_unique<qx::Decoder>(dwFlags, dwMsgType));
  });
}

BOOL CryptMsgUpdate(HCRYPTMSG hCryptMsg, const BYTE* pbData, DWORD cbData, BOOL fFinal) {
  return qx::apiBool([&]() -> Result<void> {
    const Result<Message*> message = qx::messageFrom(hCryptMsg);
    if (!message) {
      return message.failure();
    }
    if (pbData == nullptr && cbData > 0) {
      return fail(E_INVALIDARG);
    }
    return (*message)->update(qx::der::Bytes(pbData, cbData), fFinal != FALSE);
  });
}

BOOL CryptMsgGetParam(
    HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData, DWORD* pcbData) {
  return qx::apiBool([&]() -> Result<void> {
    const Result<Message*> message = qx::messageFrom(hCryptMsg);
    if (!message) {
      return message.failure();
    }
    if (pcbData == nullptr) {
      return fail(E_INVALIDARG);
    }
    qx::ParamOutput output(pvData, pcbData);
    return (*message)->param(dwParamType, dwIndex, output);
  });
}

BOOL CryptMsgControl(HCRYPTMSG hCryptMsg, DWORD dwFlags, DWORD dwCtrlType, void const* pvCtrlPara) {
  return qx::apiBool([&]() -> Result<void> {
    const Result<Message*> message = qx::messageFrom(hCryptMsg);
    if (!message) {
      return message.failure();
    }
    Result<void> done = (*message)->control(dwCtrlType, pvCtrlPara);
    if (done && dwCtrlType == CMSG_CTRL_DECRYPT &&
        (dwFlags & CMSG_CRYPT_RELEASE_CONTEXT_FLAG) != 0) {
      (*message)->own(static_cast<const CMSG_CTRL_DECRYPT_PARA*>(pvCtrlPara)->hCryptProv);
    }
    return done;
  });
}

BOOL CryptMsgClose(HCRYPTMSG hCryptMsg) {
  return qx::apiBool([&]() -> Result<void> {
    if (hCryptMsg == nullptr) {
      return {};
    }
    const Result<Message*> message = qx::messageFrom(hCryptMsg);
    if (!message) {
      return message.failure();
    }
    (*message)->release();
    return {};
  });
}

HCRYPTMSG CryptMsgDuplicate(HCRYPTMSG hCryptMsg) {
  return qx::apiValue<HCRYPTMSG>([&]() -> Result<HCRYPTMSG> {
    const Result<Message*> message = qx::messageFrom(hCryptMsg);
    if (!message) {
      return message.failure();
    }
    (*message)->retain();
    return hCryptMsg;
  });
}
