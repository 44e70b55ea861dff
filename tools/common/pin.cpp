#include "tools/common/pin.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "tools/common/descriptor.h"
#include "tools/common/error.h"

namespace qx::tools {
namespace {

using Kind = PinSource::Kind;

[[noreturn]] void refusePin(const std::string& text) {
  throw ToolError(ExitCode::Key, text);
}

constexpr char kControlC = 3;

// The first line, without its end. What follows it is left unread where it can be.
Secret readLine(int fd, const std::string& name, char cancel = '\n') {
  Secret line;
  bool heldReturn = false;
  char byte = 0;
  for (;;) {
    const ssize_t got = read(fd, &byte, 1);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      refusePin(name + ": " + errnoText(errno));
    }
    if (got == 0 || byte == '\n') {
      return line;
    }
    if (byte == cancel) {
      refusePin(name + ": no PIN was given");
    }
    // A carriage return is none of the PIN when it ends the line, as other systems write lines.
    const bool fits = (!heldReturn || line.append('\r')) && (byte == '\r' || line.append(byte));
    heldReturn = byte == '\r';
    if (!fits) {
      refusePin(name + ": a PIN has at most 1024 bytes");
    }
  }
}

Secret readPinFile(const std::string& path, Report& report) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status{};
  if (!file || fstat(file.get(), &status) != 0) {
    refusePin(path + ": " + errnoText(errno));
  }
  if (S_ISREG(status.st_mode) && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    report.warn(path + ": others can read this PIN file; chmod 600 keeps it private");
  }
  return readLine(file.get(), path);
}

Secret readDescriptor(const std::string& number) {
  int fd = -1;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), fd);
  if (error != std::errc() || end != number.data() + number.size() || fd < 0) {
    throw ToolError(ExitCode::Usage, "'" + number + "' is not the number of a descriptor");
  }
  return readLine(fd, "descriptor " + number);
}

Secret readVariable(const std::string& name) {
  const char* value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe): one thread.
  if (value == nullptr) {
    refusePin("the environment has no variable " + name + "; export it, or name a file");
  }
  return Secret(value);
}

// A terminal that echoes nothing while the object lives. Ctrl-C ends the question instead of the
// process, whose signal would leave the terminal without echo.
class QuietTerminal {
 public:
  explicit QuietTerminal(const std::string& prompt)
      : prompt_(prompt + ": "), terminal_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    if (!terminal_ || tcgetattr(terminal_.get(), &before_) != 0) {
      refusePin(prompt + ": there is no terminal to ask at; name a file or another source for it");
    }
    termios quiet = before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    quiet.c_lflag |= ECHONL | ICANON;
    quiet.c_cc[VEOL] = kControlC;
    tcsetattr(terminal_.get(), TCSAFLUSH, &quiet);
  }

  ~QuietTerminal() { tcsetattr(terminal_.get(), TCSAFLUSH, &before_); }

  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;
  QuietTerminal(QuietTerminal&&) = delete;
  QuietTerminal& operator=(QuietTerminal&&) = delete;

  Secret ask(const std::string& before = "") const {
    const std::string text = before + prompt_;
    if (write(terminal_.get(), text.data(), text.size()) < 0) {
      refusePin("the terminal cannot be written to");
    }
    return readLine(terminal_.get(), "terminal", kControlC);
  }

 private:
  std::string prompt_;
  Descriptor terminal_;
  termios before_{};
};

void set(PinSource& source, Kind kind, const std::string& value) {
  if (source.kind != Kind::None) {
    throw ToolError(ExitCode::Usage, "a PIN comes from one source only");
  }
  source = {.kind = kind, .value = value};
}

}  // namespace

void addPinOptions(CLI::App& command,
                   const std::string& name,
                   const std::string& what,
                   const std::function<PinSource&()>& target) {
  const auto add = [&](const char* suffix, Kind kind, const std::string& help) {
    command
        .add_option_function<std::string>(
            "--" + name + suffix,
            [target, kind](const std::string& value) { set(target(), kind, value); },
            help)
        ->trigger_on_parse();
  };
  add("-file", Kind::File, "Read " + what + " from the first line of a file");
  add("-fd", Kind::Descriptor, "Read " + what + " from an open descriptor");
  add("-env", Kind::Environment, "Read " + what + " from an environment variable");
  command
      .add_flag_callback(
          "--" + name + "-prompt",
          [target] { set(target(), Kind::Prompt, ""); },
          "Ask for " + what + " at the terminal, without echo")
      ->trigger_on_parse();
  command
      .add_option_function<std::string>("--" + name,
                                        [name](const std::string&) {
                                          throw ToolError(
                                              ExitCode::Usage,
                                              "on the command line everybody sees a PIN; use --" +
                                                  name + "-file, -fd, -env or -prompt");
                                        })
      ->trigger_on_parse()
      ->group("");
}

PinSource orPrompt(PinSource source) {
  if (source.kind == Kind::None) {
    source.kind = Kind::Prompt;
  }
  return source;
}

Secret readPin(const PinSource& source, const std::string& prompt, Report& report) {
  switch (source.kind) {
    case Kind::None:
      return {};
    case Kind::File:
      return readPinFile(source.value, report);
    case Kind::Descriptor:
      return readDescriptor(source.value);
    case Kind::Environment:
      return readVariable(source.value);
    case Kind::Prompt:
      return QuietTerminal(prompt).ask();
  }
  return {};
}

Secret readNewPin(const PinSource& source, const std::string& prompt, Report& report) {
  if (source.kind != Kind::Prompt) {
    return readPin(source, prompt, report);
  }
  const QuietTerminal terminal(prompt);
  Secret first = terminal.ask();
  const Secret second = terminal.ask("Once more, ");
  if (first.text() != second.text()) {
    throw ToolError(ExitCode::Usage, "the two PINs differ");
  }
  return first;
}

}  // namespace qx::tools
