#include "provider/support/trace.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <new>

#include "provider/api.h"
#include "provider/support/trace_sink.h"
#include "provider/support/utf8.h"

namespace qx {
namespace {

constexpr std::size_t kMaxText = std::size_t{16} * 1024;

// The published first byte, and what is ours behind it.
struct Context : QX_TRACE_CONTEXT {
  std::string name;
};

Context* behind(QX_TRACE_CONTEXT* context) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast): makeContext makes no other
  return static_cast<Context*>(context);
}

const TraceSink& sink() {
  static const TraceSink kSink(configuration());
  return kSink;
}

// gettid has no wrapper in every C library that we build with.
long threadNumber() {
  return syscall(SYS_gettid);
}

std::string now() {
  const auto time = std::chrono::system_clock::now();
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm calendar{};
  std::array<char, 32> text{};
  if (gmtime_r(&seconds, &calendar) == nullptr ||
      std::strftime(text.data(), text.size(), "%FT%T", &calendar) == 0) {
    return "-";
  }
  std::array<char, 8> fraction{};
  static_cast<void>(std::snprintf(
      fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(millis.count() % 1000)));
  return std::string(text.data()) + fraction.data();
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format,
                                                            std::va_list arguments) {
  std::string text(kMaxText, '\0');
  const int length = std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  if (length < 0) {
    return "(text that this locale cannot express)";
  }
  if (static_cast<std::size_t>(length) > kMaxText) {
    return text + "...";
  }
  text.resize(static_cast<std::size_t>(length));
  return text;
}

// Where a line comes from; line 0 is no line of a source.
struct Place {
  std::string file;
  std::string function;
  int line = 0;
};

std::string textLine(const std::string& name, const Place& place, const std::string& text) {
  const std::string file = place.file.empty() ? "" : place.file + ':';
  const std::string line = place.line == 0 ? "" : ':' + std::to_string(place.line);
  return now() + ' ' + std::to_string(getpid()) + ' ' + std::to_string(threadNumber()) + ' ' +
         name + ' ' + file + place.function + line + ' ' + text + '\n';
}

// After escapeControls a text is UTF-8 without controls.
std::string jsonString(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
    }
    out += c;
  }
  return out + '"';
}

std::string jsonLine(const std::string& name, const Place& place, const std::string& text) {
  const std::string file = place.file.empty() ? "" : R"(,"file":)" + jsonString(place.file);
  return R"({"time":")" + now() + R"(","process":)" + std::to_string(getpid()) + R"(,"thread":)" +
         std::to_string(threadNumber()) + R"(,"name":)" + jsonString(name) + file +
         R"(,"function":)" + jsonString(place.function) + R"(,"line":)" +
         std::to_string(place.line) + R"(,"text":)" + jsonString(text) + "}\n";
}

void writeLine(const Context& context, const Place& place, const std::string& text) {
  const auto line = configuration().trace.format == TraceFormat::Json ? jsonLine : textLine;
  sink().write(line(context.name, place, escapeControls(text)));
}

// The configuration's problems could not be told while it was being read.
void reportProblems(const Context& context) {
  for (const std::string& problem : configuration().problems) {
    writeLine(context, {.file = "", .function = "configuration"}, problem);
  }
}

Result<QX_TRACE_CONTEXT*> makeContext(const char* name) {
  if (configuration().trace.level == 0 || !sink().isOpen()) {
    return nullptr;
  }
  auto* context = new Context;
  context->bLevelMask = static_cast<std::uint8_t>(configuration().trace.level);
  context->name = name != nullptr ? escapeControls(name) : "-";
  return context;
}

// The provider's own context, made at its first line and removed when the library goes.
struct OwnContext {
  QX_TRACE_CONTEXT* context = nullptr;

  OwnContext() {
    qxsup_trace_register("qxprovider", &context);
    if (context != nullptr) {
      reportProblems(*behind(context));
    }
  }

  ~OwnContext() { qxsup_trace_unregister(&context); }

  OwnContext(const OwnContext&) = delete;
  OwnContext& operator=(const OwnContext&) = delete;
  OwnContext(OwnContext&&) = delete;
  OwnContext& operator=(OwnContext&&) = delete;
};

void escape(std::string& out, unsigned char byte) {
  std::array<char, 5> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "\\x%02X", byte));
  out += text.data();
}

bool isHarmless(const Utf8Step& step) {
  const bool c0 = step.character < 0x20;
  const bool deleteOrC1 = step.character >= 0x7F && step.character < 0xA0;
  // Separators of lines, and marks that turn the direction of writing and so make a name another's.
  const bool steers = (step.character >= 0x2028 && step.character <= 0x202E) ||
                      (step.character >= 0x2066 && step.character <= 0x2069);
  return step.valid && !c0 && !deleteOrC1 && !steers;
}

}  // namespace

std::string escapeControls(std::string_view text) {
  if (text.ends_with('\n')) {
    text.remove_suffix(text.ends_with("\r\n") ? 2 : 1);
  }
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Utf8Step step = nextUtf8(text);
    const std::string_view piece = text.substr(0, step.length);
    if (isHarmless(step)) {
      out += piece;
    } else if (step.character == '\n' || step.character == '\r') {
      out += step.character == '\n' ? "\\n" : "\\r";
    } else {
      for (const char c : piece) {
        escape(out, static_cast<unsigned char>(c));
      }
    }
    text.remove_prefix(step.length);
  }
  return out;
}

QX_TRACE_CONTEXT* providerTrace() noexcept {
  const Result<QX_TRACE_CONTEXT*> context = guarded([]() -> Result<QX_TRACE_CONTEXT*> {
    static const OwnContext kOwn;
    return kOwn.context;
  });
  return context ? *context : nullptr;
}

}  // namespace qx

void qxsup_trace_register(const char* name, QX_TRACE_CONTEXT** context) {
  if (context == nullptr) {
    return;
  }
  const qx::Result<QX_TRACE_CONTEXT*> made = qx::guarded([&] { return qx::makeContext(name); });
  *context = made ? *made : nullptr;
}

void qxsup_trace_unregister(QX_TRACE_CONTEXT** context) {
  if (context != nullptr) {
    delete qx::behind(*context);
    *context = nullptr;
  }
}

int qxsup_trace_enabled(const QX_TRACE_CONTEXT* context, unsigned level) {
  return context != nullptr && (context->bLevelMask & level) != 0 ? 1 : 0;
}

void qxsup_trace_print(QX_TRACE_CONTEXT* context,
                       const char* format,
                       const char* file,
                       int line,
                       const char* function,
                       ...) {
  if (context == nullptr || format == nullptr) {
    return;
  }
  const int savedErrno = errno;
  std::va_list arguments;
  va_start(arguments, function);
  // A line that cannot be made is lost; the caller goes on.
  static_cast<void>(qx::guarded([&]() -> qx::Result<void> {
    const qx::Place place{.file = file != nullptr ? qx::escapeControls(file) : "",
                          .function = function != nullptr ? qx::escapeControls(function) : "-",
                          .line = line};
    qx::writeLine(*qx::behind(context), place, qx::formatted(format, arguments));
    return {};
  }));
  va_end(arguments);
  errno = savedErrno;
}
