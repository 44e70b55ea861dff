#include "provider/key/pem.h"

#include <algorithm>
#include <string>

#include <nettle/base64.h>

namespace qx {
namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr std::size_t kLineOctets = 48;  // 64 characters

struct RawBlock {
  std::string_view label;
  std::string_view body;
};

/// Drops what stands before the next block and its first dashes; false when no further block begins.
bool findBlock(std::string_view& text) {
  const std::size_t begin = text.find(kBegin);
  if (begin == std::string_view::npos) {
    return false;
  }
  text.remove_prefix(begin + kBegin.size());
  return true;
}

/// Takes a block off the front of `text`, from its label on.
Result<RawBlock> takeBlock(std::string_view& text) {
  const std::size_t labelEnd = text.find(kDashes);
  if (labelEnd == std::string_view::npos) {
    return fail(ERROR_INVALID_DATA);
  }
  RawBlock block{.label = text.substr(0, labelEnd), .body = {}};
  text.remove_prefix(labelEnd + kDashes.size());
  const std::size_t bodyEnd = text.find(kEnd);
  if (bodyEnd == std::string_view::npos) {
    return fail(ERROR_INVALID_DATA);
  }
  block.body = text.substr(0, bodyEnd);
  text.remove_prefix(bodyEnd + kEnd.size());
  if (!text.starts_with(block.label) || !text.substr(block.label.size()).starts_with(kDashes)) {
    return fail(ERROR_INVALID_DATA);
  }
  text.remove_prefix(block.label.size() + kDashes.size());
  return block;
}

Result<SecretBytes> decodeBase64(std::string_view body) {
  base64_decode_ctx context{};
  base64_decode_init(&context);
  SecretBytes der(BASE64_DECODE_LENGTH(body.size()));
  std::size_t length = der.size();
  if (base64_decode_update(&context, &length, der.data(), body.size(), body.data()) != 1 ||
      base64_decode_final(&context) != 1) {
    return fail(ERROR_INVALID_DATA);
  }
  der.truncate(length);
  return der;
}

std::size_t encodedSize(std::size_t size) {
  const std::size_t lines = (size + kLineOctets - 1) / kLineOctets;
  return BASE64_ENCODE_RAW_LENGTH(size) + lines;
}

char* appendText(char* out, std::string_view text) {
  return std::ranges::copy(text, out).out;
}

}  // namespace

Result<std::vector<PemBlock>> readPem(std::string_view text, std::size_t most) {
  std::vector<PemBlock> blocks;
  while (findBlock(text)) {
    const auto raw = takeBlock(text);
    if (!raw || blocks.size() == most) {
      return fail(ERROR_INVALID_DATA);
    }
    auto der = decodeBase64(raw->body);
    if (!der) {
      return der.failure();
    }
    blocks.push_back({.label = raw->label, .der = std::move(*der)});
  }
  return blocks;
}

SecretBytes appendPem(std::span<const std::uint8_t> text,
                      std::string_view label,
                      std::span<const std::uint8_t> der) {
  const std::string begin = std::string(kBegin).append(label).append(kDashes).append("\n");
  const std::string end = std::string(kEnd).append(label).append(kDashes).append("\n");
  SecretBytes all(text.size() + begin.size() + encodedSize(der.size()) + end.size());
  char* out = reinterpret_cast<char*>(std::ranges::copy(text, all.data()).out);
  out = appendText(out, begin);
  while (!der.empty()) {
    const auto line = der.first(std::min(der.size(), kLineOctets));
    base64_encode_raw(out, line.size(), line.data());
    out += BASE64_ENCODE_RAW_LENGTH(line.size());
    *out++ = '\n';
    der = der.subspan(line.size());
  }
  appendText(out, end);
  return all;
}

}  // namespace qx
