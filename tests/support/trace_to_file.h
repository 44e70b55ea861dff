#ifndef QX_TESTS_SUPPORT_TRACE_TO_FILE_H_
#define QX_TESTS_SUPPORT_TRACE_TO_FILE_H_

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/provider/support/scoped_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::test {

/// TraceToFile has all tests of a program trace into one file. Where the lines go is read once in a
/// process, so it stands before the first test.
class TraceToFile : public ::testing::Environment {
 public:
  static const std::string& path() {
    static const TempDir folder;
    static const std::string file = folder.file("trace.log");
    return file;
  }

  /// `level`: the mask of levels, in decimal; `format`: text or json.
  explicit TraceToFile(std::string level = "15", std::string format = "text")
      : level_(std::move(level)), format_(std::move(format)) {}

  void SetUp() override {
    static const ScopedEnvironment environment = {{"QXPROVIDER_CONF", "/nonexistent/provider.conf"},
                                                  {"QXPROVIDER_TRACE_FILE", path()},
                                                  {"QXPROVIDER_TRACE_LEVEL", level_},
                                                  {"QXPROVIDER_TRACE_FORMAT", format_}};
  }

 private:
  std::string level_;
  std::string format_;
};

}  // namespace qx::test

#endif
