#ifndef QX_TESTS_CLI_LAB_FIXTURE_H_
#define QX_TESTS_CLI_LAB_FIXTURE_H_

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test {

using Arguments = std::vector<std::string>;

/// A test that runs the tools. Each has a user's and a machine's folder of its own, empty at first.
class CliTest : public ::testing::Test {
 protected:
  CliTest();

  /// provider and ssf run a tool with arguments; `command` may hold input, descriptors, a dialog and
  /// more environment.
  CommandResult provider(const Arguments& arguments, Command command = {}) const;
  CommandResult ssf(const Arguments& arguments, Command command = {}) const;

  /// tool is the path of a tool; start runs any program as provider and ssf run theirs.
  static std::string tool(const std::string& name);
  CommandResult start(const Arguments& arguments, Command command = {}) const;

  /// openssl runs the openssl command with the GOST engine: the subcommand first.
  static CommandResult openssl(const Arguments& arguments);

  /// providerJson and ssfJson run a tool with --json and parse what it prints.
  nlohmann::json providerJson(Arguments arguments) const;
  nlohmann::json ssfJson(Arguments arguments) const;

  /// file is a path in the test's own folder; write makes a file there.
  std::string file(const std::string& name) const { return folder_.file(name); }

  std::string write(const std::string& name, const std::string& content) const {
    return folder_.write(name, content);
  }

  /// privateFile makes a file that only its owner reads; pinFile one with a PIN and a line end.
  std::string privateFile(const std::string& name, const std::string& content) const;

  std::string pinFile(const std::string& name, const std::string& pin) const {
    return privateFile(name, pin + "\n");
  }

  /// exists tells whether there is a file in the test's own folder.
  bool exists(const std::string& name) const;

  /// setEnvironment holds for all tools that the test runs later.
  void setEnvironment(const std::string& name, const std::string& value) {
    environment_[name] = value;
  }

  std::string userFolder() const { return folder_.file("user"); }

 private:
  TempDir folder_;
  std::map<std::string, std::string> environment_;
};

/// A test that runs the tools in a copy of a lab. The lab itself is made once for all tests, by the
/// tool.
class LabTest : public CliTest {
 protected:
  LabTest();

  /// lab is the path of a file of the lab that all tests share; it must not be changed.
  static std::string lab(const std::string& name);

  /// people is the lab's list of them, person what it says of one.
  static nlohmann::json people();
  static nlohmann::json person(const std::string& name);
};

}  // namespace qx::test

#endif
