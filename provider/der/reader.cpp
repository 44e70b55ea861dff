#include "provider/der/reader.h"

#include <limits>
#include <utility>

namespace qx::der {
namespace {

constexpr std::uint8_t kMoreOctets = 0x80;
constexpr std::uint8_t kIndefiniteLength = 0x80;
constexpr std::size_t kEndOfContentsSize = 2;

class HeaderReader {
 public:
  explicit HeaderReader(Bytes input) : input_(input) {}

  Result<Header> read() {
    Header header;
    const Result<std::uint8_t> identifier = octet();
    if (!identifier) {
      return identifier.failure();
    }
    header.identifier = *identifier;
    const Result<std::uint32_t> number = tagNumber(header.identifier & kTagNumberMask);
    if (!number) {
      return number.failure();
    }
    header.number = *number;
    if (const Result<void> length = readLength(header); !length) {
      return length.failure();
    }
    header.size = position_;
    return header;
  }

 private:
  Result<std::uint8_t> octet() {
    if (position_ == input_.size()) {
      return fail(CRYPT_E_ASN1_EOD);
    }
    return input_[position_++];
  }

  Result<std::uint32_t> tagNumber(std::uint8_t low) {
    if (low != kTagNumberMask) {
      return std::uint32_t{low};
    }
    std::uint32_t number = 0;
    for (;;) {
      const Result<std::uint8_t> next = octet();
      if (!next) {
        return next.failure();
      }
      if (number > (std::numeric_limits<std::uint32_t>::max() >> 7U)) {
        return fail(CRYPT_E_ASN1_LARGE);
      }
      number = (number << 7U) | (*next & 0x7FU);
      if ((*next & kMoreOctets) == 0) {
        return number;
      }
    }
  }

  Result<void> readLength(Header& header) {
    const Result<std::uint8_t> first = octet();
    if (!first) {
      return first.failure();
    }
    if (*first < kMoreOctets) {
      header.contentSize = *first;
      return {};
    }
    if (*first == kIndefiniteLength) {
      header.indefinite = true;
      const bool constructed = (header.identifier & kConstructed) != 0;
      return constructed ? Result<void>{} : fail(CRYPT_E_ASN1_CORRUPT);
    }
    return readLongLength(header, *first & 0x7FU);
  }

  Result<void> readLongLength(Header& header, unsigned octets) {
    std::size_t length = 0;
    for (unsigned i = 0; i < octets; ++i) {
      const Result<std::uint8_t> next = octet();
      if (!next) {
        return next.failure();
      }
      if (length > (std::numeric_limits<std::size_t>::max() >> 8U)) {
        return fail(CRYPT_E_ASN1_LARGE);
      }
      length = (length << 8U) | *next;
    }
    header.contentSize = length;
    return {};
  }

  Bytes input_;
  std::size_t position_ = 0;
};

bool isEndOfContents(const Header& header) {
  return header.identifier == 0 && header.size == kEndOfContentsSize && header.contentSize == 0;
}

// The header of an element that lies in the input whole, as far as its length tells.
Result<Header> readFittingHeader(Bytes input) {
  const Result<Header> header = readHeader(input);
  if (header && header->contentSize > input.size() - header->size) {
    return fail(CRYPT_E_ASN1_EOD);
  }
  return header;
}

// The size of the content whose length is indefinite, without its end marker. Definite elements
// are stepped over, so only the nesting of indefinite ones has to be counted.
Result<std::size_t> indefiniteSize(Bytes content) {
  std::size_t position = 0;
  unsigned open = 1;
  for (;;) {
    const Result<Header> header = readFittingHeader(content.subspan(position));
    if (!header) {
      return header.failure();
    }
    if (isEndOfContents(*header)) {
      if (--open == 0) {
        return position;
      }
    } else if (header->indefinite && ++open > kMaxDepth) {
      return fail(CRYPT_E_ASN1_LARGE);
    }
    position += header->size + header->contentSize;
  }
}

Result<Element> readElement(Bytes input) {
  const Result<Header> header = readFittingHeader(input);
  if (!header) {
    return header.failure();
  }
  if (isEndOfContents(*header)) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  std::size_t contentSize = header->contentSize;
  std::size_t trailerSize = 0;
  if (header->indefinite) {
    const Result<std::size_t> size = indefiniteSize(input.subspan(header->size));
    if (!size) {
      return size.failure();
    }
    contentSize = *size;
    trailerSize = kEndOfContentsSize;
  }
  return Element{.identifier = header->identifier,
                 .number = header->number,
                 .indefinite = header->indefinite,
                 .whole = input.first(header->size + contentSize + trailerSize),
                 .content = input.subspan(header->size, contentSize)};
}

}  // namespace

Result<Header> readHeader(Bytes input) {
  return HeaderReader(input).read();
}

std::optional<std::uint8_t> Reader::peek() const {
  return atEnd() ? std::nullopt : std::optional(rest_.front());
}

Result<Element> Reader::next() {
  Result<Element> element = readElement(rest_);
  if (element) {
    rest_ = rest_.subspan(element->whole.size());
  }
  return element;
}

Result<Element> Reader::next(std::uint8_t identifier) {
  if (atEnd()) {
    return fail(CRYPT_E_ASN1_EOD);
  }
  return peek() == identifier ? next() : fail(CRYPT_E_ASN1_BADTAG);
}

Result<std::optional<Element>> Reader::optional(std::uint8_t identifier) {
  if (peek() != identifier) {
    return std::optional<Element>{};
  }
  const Result<Element> element = next();
  if (!element) {
    return element.failure();
  }
  return std::optional(*element);
}

Result<void> Reader::expectEnd() const {
  return atEnd() ? Result<void>{} : fail(CRYPT_E_ASN1_CORRUPT);
}

Result<Element> readWhole(Bytes input, std::uint8_t identifier) {
  Reader reader(input);
  Result<Element> element = reader.next(identifier);
  if (!element) {
    return element;
  }
  if (const Result<void> end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return element;
}

OctetStringReader::OctetStringReader(const Element& string, std::uint8_t primitive)
    : open_{Reader(string.whole)}, expected_(primitive) {}

Result<std::optional<Bytes>> OctetStringReader::next() {
  while (!open_.empty()) {
    if (open_.back().atEnd()) {
      open_.pop_back();
      continue;
    }
    Result<std::optional<Bytes>> octets = step();
    if (!octets || *octets) {
      return octets;
    }
  }
  return std::optional<Bytes>{};
}

// One element further: its octets, or nothing when it was opened.
Result<std::optional<Bytes>> OctetStringReader::step() {
  const Result<Element> part = open_.back().next();
  if (!part) {
    return part.failure();
  }
  const std::uint8_t expected = std::exchange(expected_, kOctetString);
  if (part->is(expected)) {
    return std::optional(part->content);
  }
  if (!part->is(expected | kConstructed)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  // A stack instead of recursion: the input decides how deep this goes.
  if (open_.size() > kMaxDepth) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  open_.emplace_back(part->content);
  return std::optional<Bytes>{};
}

Result<std::vector<std::uint8_t>> readOctets(const Element& string, std::uint8_t primitive) {
  std::vector<std::uint8_t> octets;
  const auto collect = [&octets](Bytes piece) {
    octets.insert(octets.end(), piece.begin(), piece.end());
  };
  const Result<void> done = visitOctets(string, collect, primitive);
  return done ? Result<std::vector<std::uint8_t>>(std::move(octets)) : done.failure();
}

}  // namespace qx::der
