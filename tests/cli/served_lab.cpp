#include "tests/cli/served_lab.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include "tests/support/read_line.h"

namespace qx::test {
namespace {

// Its standard output is the pipe, nothing else differs from ours.
pid_t start(std::vector<std::string> arguments, int output) {
  std::vector<char*> words;
  for (std::string& argument : arguments) {
    words.push_back(argument.data());
  }
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t process = -1;
  const int error = posix_spawn(&process, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? process : -1;
}

}  // namespace

ServedLab::ServedLab(const std::string& folder, const std::vector<std::string>& arguments) {
  std::vector<std::string> line = {QX_BIN_FOLDER "/qxprovider", "lab", "serve", folder};
  line.insert(line.end(), arguments.begin(), arguments.end());
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  process_ = start(line, ends[1]);
  close(ends[1]);
  output_ = fdopen(ends[0], "r");
  address_ = readLine(output_);
  if (!address_.starts_with("http://127.0.0.1:")) {
    end(SIGKILL);
    throw std::runtime_error("the lab does not serve: " + address_);
  }
}

ServedLab::~ServedLab() {
  end(SIGTERM);
}

int ServedLab::end(int signal) {
  if (process_ < 0) {
    return -1;
  }
  kill(process_, signal);
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  std::fclose(output_);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace qx::test
