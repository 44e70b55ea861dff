#include "tools/qxprovider/landscape_archive.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <string_view>

#include "tools/common/error.h"

namespace qx::admin {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kBlock = 512;
constexpr std::string_view kMagic{"ustar\00000", 8};
constexpr char kRegularFile = '0';

/// The header of a file (POSIX.1-2017, pax, "ustar Interchange Format"): texts and octal numbers.
struct Header {
  char name[100];
  char mode[8];
  char owner[8];
  char group[8];
  char size[12];
  char time[12];
  char checksum[8];
  char type;
  char link[100];
  char magic[8];
  char ownerName[32];
  char groupName[32];
  char major[8];
  char minor[8];
  char prefix[155];
  char unused[12];
};

static_assert(sizeof(Header) == kBlock);

[[noreturn]] void refuse(const std::string& reason) {
  throw tools::ToolError(tools::ExitCode::Input, reason);
}

std::size_t padded(std::size_t size) {
  return (size + kBlock - 1) / kBlock * kBlock;
}

template <std::size_t kSize>
std::string_view textOf(const char (&field)[kSize]) {
  return {field, strnlen(field, kSize)};
}

template <std::size_t kSize>
void setText(char (&field)[kSize], std::string_view text) {
  std::ranges::copy(text.substr(0, kSize), field);
}

template <std::size_t kSize>
void setNumber(char (&field)[kSize], std::size_t number) {
  for (std::size_t at = kSize - 1; at-- > 0; number /= 8) {
    field[at] = static_cast<char>('0' + (number % 8));
  }
}

// The sum of the header's bytes, with blanks for the checksum itself.
std::size_t sumOf(Header header) {
  std::ranges::fill(header.checksum, ' ');
  std::array<std::uint8_t, kBlock> bytes{};
  std::memcpy(bytes.data(), &header, kBlock);
  std::size_t sum = 0;
  for (const std::uint8_t byte : bytes) {
    sum += byte;
  }
  return sum;
}

// Where a path parts into prefix and name; nowhere: 0.
std::size_t partOf(std::string_view path) {
  const std::size_t least = path.size() - sizeof Header::name;
  for (std::size_t at = path.find('/', least - 1); at != std::string_view::npos;
       at = path.find('/', at + 1)) {
    if (at >= least - 1 && at <= sizeof Header::prefix &&
        path.size() - at - 1 <= sizeof Header::name) {
      return at;
    }
  }
  refuse(std::string(path) + ": the name is too long for an archive; give the file a shorter one");
}

Header headerOf(const ArchiveFile& file) {
  Header header{};
  std::string_view name = file.path;
  if (name.size() > sizeof header.name) {
    const std::size_t part = partOf(name);
    setText(header.prefix, name.substr(0, part));
    name.remove_prefix(part + 1);
  }
  setText(header.name, name);
  setNumber(header.mode, 0600);
  setNumber(header.owner, 0);
  setNumber(header.group, 0);
  setNumber(header.size, file.content.size());
  setNumber(header.time, 0);
  header.type = kRegularFile;
  setText(header.magic, kMagic);
  setNumber(header.checksum, sumOf(header));
  return header;
}

std::size_t numberOf(std::string_view digits) {
  std::size_t number = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '7') {
      refuse("the archive has a damaged number");
    }
    number = (number * 8) + static_cast<std::size_t>(digit - '0');
  }
  return number;
}

std::string pathOf(const Header& header) {
  std::string path(textOf(header.prefix));
  if (!path.empty()) {
    path += '/';
  }
  return path.append(textOf(header.name));
}

Header readHeader(Bytes block) {
  Header header{};
  std::memcpy(&header, block.data(), kBlock);
  if (std::string_view(header.magic, sizeof header.magic) != kMagic ||
      numberOf(textOf(header.checksum)) != sumOf(header)) {
    refuse("the archive is damaged");
  }
  if (header.type != kRegularFile) {
    refuse(pathOf(header) + ": the archive holds something else than files");
  }
  return header;
}

bool isEnd(Bytes block) {
  return std::ranges::all_of(block, [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

SecretBytes writeArchive(const std::vector<ArchiveFile>& files) {
  std::size_t size = 2 * kBlock;
  for (const ArchiveFile& file : files) {
    size += kBlock + padded(file.content.size());
    if (size > kMaxArchive) {
      refuse("there is more than an archive may hold (64 megabytes)");
    }
  }
  if (files.size() > kMaxArchiveFiles) {
    refuse("there are more files than an archive may hold (10 000)");
  }
  SecretBytes archive(size);
  std::uint8_t* at = archive.data();
  for (const ArchiveFile& file : files) {
    const Header header = headerOf(file);
    std::memcpy(at, &header, kBlock);
    std::ranges::copy(file.content, at + kBlock);
    at += kBlock + padded(file.content.size());
  }
  return archive;
}

std::vector<ArchiveFile> readArchive(Bytes archive) {
  std::vector<ArchiveFile> files;
  std::set<std::string> paths;
  while (archive.size() >= kBlock && !isEnd(archive.first(kBlock))) {
    const Header header = readHeader(archive.first(kBlock));
    const std::size_t size = numberOf(textOf(header.size));
    archive = archive.subspan(kBlock);
    if (size > kMaxArchive || padded(size) > archive.size()) {
      refuse("the archive ends in the middle of a file");
    }
    files.push_back({.path = pathOf(header), .content = archive.first(size)});
    archive = archive.subspan(padded(size));
    if (!paths.insert(files.back().path).second || files.size() > kMaxArchiveFiles) {
      refuse(files.back().path + ": stands in the archive twice, or there are too many files");
    }
  }
  if (archive.size() < kBlock) {
    refuse("the archive has no end");
  }
  return files;
}

}  // namespace qx::admin
