#include "tests/cli/lab_fixture.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace qx::test {
namespace {

namespace fs = std::filesystem;

// Few rounds: these tests are not about how long a PIN can be guessed at.
constexpr const char* kRounds = "1000";

std::string toolPath(const std::string& tool) {
  return std::string(QX_BIN_FOLDER) + "/" + tool;
}

// What tells one build of the tool from another.
std::string stampOf(const std::string& path) {
  struct stat status{};
  if (stat(path.c_str(), &status) != 0) {
    throw std::runtime_error(path + " is not built");
  }
  return std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec) +
         "." + std::to_string(status.st_size);
}

bool isFresh(const fs::path& stamp, const std::string& content) {
  return fs::exists(stamp) && readFile(stamp) == content;
}

void createLab(const fs::path& folder) {
  fs::remove_all(folder);
  const Command command{.arguments = {toolPath("qxprovider"), "lab", "create", folder},
                        .environment = {{"QXPROVIDER_PIN_KDF_ROUNDS", kRounds}}};
  const CommandResult made = run(command);
  if (made.exitCode != 0) {
    throw std::runtime_error("no lab: " + made.err);
  }
}

// Each test is a process of its own; the first one makes the lab, the others wait for it.
std::string sharedLab() {
  const fs::path folder = fs::path(QX_CACHE_FOLDER) / "lab";
  const fs::path stamp = fs::path(QX_CACHE_FOLDER) / "lab.stamp";
  const int lock = open((stamp.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0 || flock(lock, LOCK_EX) != 0) {
    throw std::runtime_error("the lab's lock cannot be had");
  }
  const std::string built = stampOf(toolPath("qxprovider"));
  if (!isFresh(stamp, built)) {
    createLab(folder);
    writeFile(stamp, built);
  }
  close(lock);
  return folder;
}

}  // namespace

CliTest::CliTest()
    : environment_{{"QXPROVIDER_USER_DIR", folder_.file("user")},
                   {"QXPROVIDER_MACHINE_DIR", folder_.file("machine")},
                   {"QXPROVIDER_PIN_KDF_ROUNDS", kRounds},
                   {"QXPROVIDER_CONF", "/dev/null"},
                   {"OPENSSL_CONF", ""},
                   {"QX_SSF_USERID", ""},
                   {"QX_SSF_VERIFYCERTFLAGS", ""},
                   {"LC_ALL", "C.UTF-8"}} {}

std::string CliTest::tool(const std::string& name) {
  return toolPath(name);
}

CommandResult CliTest::start(const Arguments& arguments, Command command) const {
  command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
  command.environment.insert(environment_.begin(), environment_.end());
  return run(command);
}

CommandResult CliTest::provider(const Arguments& arguments, Command command) const {
  command.arguments = {toolPath("qxprovider")};
  return start(arguments, std::move(command));
}

CommandResult CliTest::ssf(const Arguments& arguments, Command command) const {
  command.arguments = {toolPath("qxssf")};
  return start(arguments, std::move(command));
}

CommandResult CliTest::openssl(const Arguments& arguments) {
  Command command{.arguments = arguments, .environment = {{"OPENSSL_CONF", ""}}};
  command.arguments.insert(command.arguments.begin(), "openssl");
  command.arguments.insert(command.arguments.begin() + 2, {"-engine", "gost"});
  return run(command);
}

nlohmann::json CliTest::providerJson(Arguments arguments) const {
  arguments.emplace_back("--json");
  return nlohmann::json::parse(provider(arguments).out);
}

nlohmann::json CliTest::ssfJson(Arguments arguments) const {
  arguments.emplace_back("--json");
  return nlohmann::json::parse(ssf(arguments).out);
}

std::string CliTest::privateFile(const std::string& name, const std::string& content) const {
  const std::string path = write(name, content);
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  return path;
}

bool CliTest::exists(const std::string& name) const {
  return fs::exists(file(name));
}

LabTest::LabTest() {
  fs::copy(sharedLab() + "/user", userFolder(), fs::copy_options::recursive);
}

std::string LabTest::lab(const std::string& name) {
  static const std::string folder = sharedLab();
  return folder + "/" + name;
}

nlohmann::json LabTest::people() {
  return nlohmann::json::parse(readFile(lab("lab.json")))["people"];
}

nlohmann::json LabTest::person(const std::string& name) {
  const nlohmann::json all = people();
  const auto found =
      std::ranges::find_if(all, [&](const auto& entry) { return entry["name"] == name; });
  return found == all.end() ? nlohmann::json() : *found;
}

}  // namespace qx::test
