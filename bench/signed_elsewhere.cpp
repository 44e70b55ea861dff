#include "bench/signed_elsewhere.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "bench/ssf_side.h"

namespace qx::bench {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

[[noreturn]] void failed() {
  throw std::runtime_error("no message to verify was made");
}

bool send(std::FILE* file, const std::string& text) {
  const std::size_t size = text.size();
  return std::fwrite(&size, sizeof size, 1, file) == 1 &&
         std::fwrite(text.data(), 1, size, file) == size;
}

std::string receive(std::FILE* file) {
  std::size_t size = 0;
  if (std::fread(&size, sizeof size, 1, file) != 1) {
    failed();
  }
  std::string text(size, '\0');
  if (std::fread(text.data(), 1, size, file) != size) {
    failed();
  }
  return text;
}

}  // namespace

std::vector<std::string> signedElsewhere(const std::string& content,
                                         const std::vector<std::string>& signers,
                                         const std::string& pin,
                                         const std::string& format) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    failed();
  }
  const pid_t child = fork();
  if (child == 0) {
    FilePtr file(fdopen(ends[1], "w"));
    bool good = file != nullptr;
    for (const std::string& signer : signers) {
      SsfString out;
      good = good && ssfSign(content, signer, pin, false, out, format) == 0 &&
             send(file.get(), out.text());
    }
    file.reset();
    _exit(good ? 0 : 1);
  }
  close(ends[1]);
  const FilePtr file(fdopen(ends[0], "r"));
  std::vector<std::string> messages;
  for (std::size_t i = 0; file != nullptr && i < signers.size(); ++i) {
    messages.push_back(receive(file.get()));
  }
  waitpid(child, nullptr, 0);
  return messages;
}

}  // namespace qx::bench
