#include "provider/http/response.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <functional>

namespace qx {
namespace {

constexpr int kDecimal = 10;
constexpr int kHexadecimal = 16;
constexpr unsigned kFirstFinalStatus = 200;
constexpr std::string_view kSpaces = " \t";
constexpr std::size_t kVersionLength = 9;  // "HTTP/1.x "
constexpr std::string_view kWithoutKeeping = "HTTP/1.0";
constexpr std::size_t kStatusLength = 3;

Failure notHttp() {
  return fail(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
}

Failure tooLarge() {
  return fail(ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW);
}

bool isSame(std::string_view left, std::string_view right) {
  const auto lower = [](unsigned char c) { return std::tolower(c); };
  return std::ranges::equal(left, right, std::equal_to(), lower, lower);
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kSpaces);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(kSpaces) - begin + 1);
}

// Digits and nothing else: no sign, no space, no overflow.
std::optional<std::uint64_t> readNumber(std::string_view digits, int base) {
  std::uint64_t value = 0;
  const auto [stop, error] = std::from_chars(digits.begin(), digits.end(), value, base);
  return error == std::errc() && stop == digits.end() ? std::optional(value) : std::nullopt;
}

std::optional<unsigned> readStatus(std::string_view line) {
  if (line.size() < kVersionLength + kStatusLength || !line.starts_with("HTTP/1.") ||
      line[kVersionLength - 1] != ' ') {
    return std::nullopt;
  }
  const std::string_view behind = line.substr(kVersionLength + kStatusLength);
  const auto status = readNumber(line.substr(kVersionLength, kStatusLength), kDecimal);
  if (!status || *status < 100 || !(behind.empty() || behind.starts_with(' '))) {
    return std::nullopt;
  }
  return static_cast<unsigned>(*status);
}

bool isListed(std::string_view wanted, std::string_view list) {
  while (!list.empty()) {
    const std::size_t comma = std::min(list.find(','), list.size());
    if (isSame(trimmed(list.substr(0, comma)), wanted)) {
      return true;
    }
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return false;
}

bool isText(char c) {
  return c == '\t' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7F');
}

// False for a field that contradicts another one or that we could not follow.
bool take(std::string_view name, std::string_view value, HttpHead& head) {
  if (isSame(name, "Content-Length")) {
    const std::optional<std::uint64_t> length = readNumber(value, kDecimal);
    const bool agrees = length && (!head.length || head.length == length);
    head.length = length;
    return agrees;
  }
  if (isSame(name, "Transfer-Encoding")) {
    const bool first = !head.chunked;
    head.chunked = true;
    return first && isSame(value, "chunked");
  }
  if (isSame(name, "Content-Encoding")) {
    return isSame(value, "identity");
  }
  if (isSame(name, "Connection")) {
    head.closes = head.closes || isListed("close", value);
  }
  if (isSame(name, "Location")) {
    head.location = value;
  }
  return true;
}

bool takeField(std::string_view line, HttpHead& head) {
  const std::size_t colon = line.find(':');
  // A space before the colon, or a line that continues the one before it, is read in different ways
  // by different programs.
  if (colon == 0 || colon == std::string_view::npos ||
      line.substr(0, colon).find_first_of(kSpaces) != std::string_view::npos ||
      !std::ranges::all_of(line, isText)) {
    return false;
  }
  return take(line.substr(0, colon), trimmed(line.substr(colon + 1)), head);
}

}  // namespace

Result<bool> ResponseReader::fill() {
  if (begin_ != end_) {
    return true;
  }
  const Result<std::size_t> count = stream_->receive(buffer_);
  if (!count) {
    return count.failure();
  }
  begin_ = 0;
  end_ = *count;
  return end_ != 0;
}

Result<std::string> ResponseReader::readLine() {
  std::string line;
  for (;;) {
    const Result<bool> more = fill();
    if (!more) {
      return more.failure();
    }
    if (!*more) {
      return fail(ERROR_WINHTTP_CONNECTION_ERROR);
    }
    const auto* from = buffer_.data() + begin_;
    const auto* to = buffer_.data() + end_;
    const auto* lineEnd = std::find(from, to, '\n');
    line.append(from, lineEnd);
    const std::size_t used = static_cast<std::size_t>(lineEnd - from) + (lineEnd == to ? 0 : 1);
    begin_ += used;
    lineBytes_ += used;
    if (lineBytes_ > kMaxLineBytes) {
      return tooLarge();
    }
    if (lineEnd != to) {
      if (line.ends_with('\r')) {
        line.pop_back();
      }
      return line;
    }
  }
}

Result<void> ResponseReader::readFields(HttpHead& head) {
  for (;;) {
    const Result<std::string> line = readLine();
    if (!line) {
      return line.failure();
    }
    if (line->empty()) {
      return {};
    }
    if (!takeField(*line, head)) {
      return notHttp();
    }
  }
}

Result<HttpHead> ResponseReader::readOneHead() {
  const Result<std::string> line = readLine();
  if (!line) {
    return line.failure();
  }
  const std::optional<unsigned> status = readStatus(*line);
  if (!status) {
    return notHttp();
  }
  HttpHead head{.status = *status, .closes = line->starts_with(kWithoutKeeping)};
  if (const Result<void> fields = readFields(head); !fields) {
    return fields.failure();
  }
  // Which of the two holds is where smuggled answers come from.
  return head.chunked && head.length ? Result<HttpHead>(notHttp()) : head;
}

Result<HttpHead> ResponseReader::readHead() {
  for (;;) {
    Result<HttpHead> head = readOneHead();
    if (!head || head->status >= kFirstFinalStatus) {
      return head;
    }
  }
}

Result<void> ResponseReader::append(std::uint64_t length, std::vector<std::uint8_t>& body) {
  while (length != 0) {
    const Result<bool> more = fill();
    if (!more) {
      return more.failure();
    }
    if (!*more) {
      return fail(ERROR_WINHTTP_CONNECTION_ERROR);
    }
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length, end_ - begin_));
    const auto* from = buffer_.data() + begin_;
    body.insert(body.end(), from, from + count);
    begin_ += count;
    length -= count;
  }
  return {};
}

Result<std::vector<std::uint8_t>> ResponseReader::readToEnd(std::size_t limit) {
  std::vector<std::uint8_t> body;
  for (;;) {
    const Result<bool> more = fill();
    if (!more) {
      return more.failure();
    }
    if (!*more) {
      return body;
    }
    if (end_ - begin_ > limit - body.size()) {
      return tooLarge();
    }
    if (const Result<void> added = append(end_ - begin_, body); !added) {
      return added.failure();
    }
  }
}

Result<std::vector<std::uint8_t>> ResponseReader::readChunks(std::size_t limit) {
  std::vector<std::uint8_t> body;
  for (;;) {
    const Result<std::string> line = readLine();
    if (!line) {
      return line.failure();
    }
    // What follows a semicolon are extensions, which nobody uses.
    const std::string_view digits = trimmed(std::string_view(*line).substr(0, line->find(';')));
    const std::optional<std::uint64_t> length = readNumber(digits, kHexadecimal);
    if (!length) {
      return notHttp();
    }
    if (*length > limit - body.size()) {
      return tooLarge();
    }
    if (*length == 0) {
      HttpHead trailers;
      const Result<void> read = readFields(trailers);
      return read ? Result(std::move(body)) : read.failure();
    }
    if (const Result<void> added = append(*length, body); !added) {
      return added.failure();
    }
    const Result<std::string> lineEnd = readLine();
    if (!lineEnd) {
      return lineEnd.failure();
    }
    if (!lineEnd->empty()) {
      return notHttp();
    }
  }
}

Result<std::vector<std::uint8_t>> ResponseReader::readBody(const HttpHead& head,
                                                           std::size_t limit) {
  if (head.chunked) {
    return readChunks(limit);
  }
  if (!head.length) {
    return readToEnd(limit);
  }
  if (*head.length > limit) {
    return tooLarge();
  }
  std::vector<std::uint8_t> body;
  const Result<void> read = append(*head.length, body);
  return read ? Result(std::move(body)) : read.failure();
}

}  // namespace qx
