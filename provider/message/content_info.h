#ifndef QX_PROVIDER_MESSAGE_CONTENT_INFO_H_
#define QX_PROVIDER_MESSAGE_CONTENT_INFO_H_

#include <optional>
#include <string>
#include <string_view>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/message/content.h"
#include "provider/message/param_output.h"
#include "provider/result.h"

namespace qx {

/// ContentInfo is a content type and, if there is one, the element inside [0]: the shape of a whole
/// message as of the content inside a signed or hashed one (RFC 5652, 3 and 5.2).
struct ContentInfo {
  der::Bytes whole;
  std::string type;
  std::optional<der::Element> content;
};

/// readContentInfo reads the next element as a ContentInfo.
Result<ContentInfo> readContentInfo(der::Reader& reader);

/// loadContent finds the octets that are hashed: those of an OCTET STRING, or of any other element
/// without its header (PKCS #7); none when there is no content. Content that is to come from outside
/// (`detached`) is not loaded. CRYPT_E_ASN1_BADTAG for plain data that is no OCTET STRING,
/// CRYPT_E_MSG_ERROR when the content is inside and is to come from outside, too.
Result<void> loadContent(const ContentInfo& info, bool detached, MessageContent& content);

/// isString tells whether the content stands in an OCTET STRING.
bool isString(const der::Element& content);

/// putContent writes octets of a content into the caller's buffer.
Result<void> putContent(const MessageContent& content, ParamOutput& output);

/// putContent writes the content inside a message: its octets, or the whole element when it is no
/// OCTET STRING; nothing when the message is detached.
Result<void> putContent(const ContentInfo& info,
                        const MessageContent& content,
                        ParamOutput& output);

/// encodeContentInfo makes a ContentInfo; no [0] when there is no content. An empty type is written as
/// an empty OID, as it stands in a message before its content is known.
Result<der::Encoding> encodeContentInfo(std::string_view type,
                                        std::optional<der::Encoding> content);

}  // namespace qx

#endif
