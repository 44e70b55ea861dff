#include "tests/support/temp_dir.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace qx::test {
namespace {

[[noreturn]] void throwErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::string makeFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "qxtest.XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throwErrno(pattern);
  }
  return pattern;
}

}  // namespace

TempDir::TempDir() : path_(makeFolder()) {}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

std::string TempDir::write(std::string_view name, std::string_view content) const {
  const std::string path = file(name);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  writeFile(path, content);
  return path;
}

std::string readFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) {
    throwErrno(path);
  }
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, std::string_view content) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  if (!stream) {
    throwErrno(path);
  }
}

}  // namespace qx::test
