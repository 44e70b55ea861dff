#ifndef QX_TESTS_INTEROP_BOUNCY_CASTLE_H_
#define QX_TESTS_INTEROP_BOUNCY_CASTLE_H_

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test {

inline constexpr const char* kBouncyCastleJars =
    "/usr/share/java/bcpkix.jar:/usr/share/java/bcprov.jar:/usr/share/java/bcutil.jar";

inline constexpr const char* kBouncyCastleProgram =
    QX_SOURCE_DIR "/tests/interop/BouncyCastle.java";

/// BouncyCastle is what Bouncy Castle is asked for, and what it says. A Java machine starts slowly, so each
/// test asks one run for many things and tells every one by its name.
class BouncyCastle : public testing::Test {
 protected:
  void ask(const std::string& task,
           const std::string& name,
           const std::vector<std::string>& arguments) {
    tasks_ += task + '\t' + name;
    for (const std::string& argument : arguments) {
      tasks_ += '\t' + argument;
    }
    tasks_ += '\n';
    names_.push_back(name);
  }

  /// Each name with what was said of it.
  std::map<std::string, std::string> answers() const {
    const CommandResult result = run({"java",
                                      "-XX:TieredStopAtLevel=1",
                                      "-cp",
                                      kBouncyCastleJars,
                                      kBouncyCastleProgram,
                                      files_.write("tasks", tasks_)});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    std::map<std::string, std::string> answers;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t tab = line.find('\t');
      answers[line.substr(0, tab)] = line.substr(tab + 1);
    }
    EXPECT_EQ(answers.size(), names_.size()) << result.out;
    return answers;
  }

  void expectAllGood() const {
    const auto answered = answers();
    for (const std::string& name : names_) {
      EXPECT_EQ(answered.contains(name) ? answered.at(name) : "nothing", "good") << name;
    }
  }

  std::string write(const std::string& name, const std::string& bytes) const {
    return files_.write(name, bytes);
  }

  std::string file(const std::string& name) const { return files_.file(name); }

  const std::vector<std::string>& names() const { return names_; }

 private:
  TempDir files_;
  std::string tasks_;
  std::vector<std::string> names_;
};

}  // namespace qx::test

#endif
