#include "provider/message/content_info.h"

#include <utility>

#include "provider/der/values.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

constexpr std::uint8_t kContentTag = der::contextConstructed(0);

// The one element inside [0], if there is a [0].
Result<std::optional<der::Element>> readContent(der::Reader& reader) {
  const Result<std::optional<der::Element>> found = reader.optional(kContentTag);
  if (!found) {
    return found;
  }
  const std::optional<der::Element> tagged = *found;
  if (!tagged) {
    return tagged;
  }
  der::Reader inside(tagged->content);
  const Result<der::Element> content = inside.next();
  if (!content) {
    return content.failure();
  }
  if (const Result<void> end = inside.expectEnd(); !end) {
    return end.failure();
  }
  return std::optional(*content);
}

}  // namespace

Result<ContentInfo> readContentInfo(der::Reader& reader) {
  const Result<der::Element> sequence = reader.next(der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader fields(sequence->content);
  Result<std::string> type = der::readOid(fields);
  if (!type) {
    return type.failure();
  }
  const Result<std::optional<der::Element>> content = readContent(fields);
  if (!content) {
    return content.failure();
  }
  if (const Result<void> end = fields.expectEnd(); !end) {
    return end.failure();
  }
  return ContentInfo{.whole = sequence->whole, .type = *std::move(type), .content = *content};
}

bool isString(const der::Element& content) {
  return content.is(der::kOctetString) || content.is(der::kOctetString | der::kConstructed);
}

Result<void> loadContent(const ContentInfo& info, bool detached, MessageContent& content) {
  if (detached) {
    return info.content ? fail(CRYPT_E_MSG_ERROR) : Result<void>{};
  }
  if (!info.content) {
    content.setOctets({});
    return {};
  }
  if (isString(*info.content)) {
    return content.setString(*info.content);
  }
  if (info.type == oids::kData) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  content.setOctets(info.content->content);
  return {};
}

Result<void> putContent(const MessageContent& content, ParamOutput& output) {
  return output.put(content.size(), [&content](std::uint8_t* out) { content.writeTo(out); });
}

Result<void> putContent(const ContentInfo& info,
                        const MessageContent& content,
                        ParamOutput& output) {
  if (!info.content) {
    return output.putBytes({});
  }
  return isString(*info.content) ? putContent(content, output)
                                 : output.putBytes(info.content->whole);
}

Result<der::Encoding> encodeContentInfo(std::string_view type,
                                        std::optional<der::Encoding> content) {
  Result<der::Encoding> oid = type.empty() ? der::wrap(der::kOid, {}) : der::oid(type);
  if (!oid) {
    return oid;
  }
  if (!content) {
    return der::sequence(*std::move(oid));
  }
  return der::sequence(*std::move(oid), der::wrap(kContentTag, *std::move(content)));
}

}  // namespace qx
