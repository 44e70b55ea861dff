#ifndef QX_TESTS_SUPPORT_TEMP_DIR_H_
#define QX_TESTS_SUPPORT_TEMP_DIR_H_

#include <string>
#include <string_view>

namespace qx::test {

/// TempDir is a private folder (mode 0700) under TMPDIR or /tmp. It and everything in it is removed
/// when the object dies. The constructor throws std::system_error when no folder can be made.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  TempDir(TempDir&&) = delete;
  TempDir& operator=(TempDir&&) = delete;

  /// path is the folder itself, without a slash at its end.
  const std::string& path() const { return path_; }

  /// file is the path of `name` in the folder; nothing is created.
  std::string file(std::string_view name) const;

  /// write creates or replaces the file `name` (its parent folders too) and gives its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::string path_;
};

/// readFile gives all bytes of a file; throws std::system_error when it cannot be read.
std::string readFile(const std::string& path);

/// writeFile creates or replaces a file; throws std::system_error when it cannot.
void writeFile(const std::string& path, std::string_view content);

}  // namespace qx::test

#endif
