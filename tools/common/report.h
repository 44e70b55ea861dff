#ifndef QX_TOOLS_COMMON_REPORT_H_
#define QX_TOOLS_COMMON_REPORT_H_

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/common/error.h"

namespace qx::tools {

/// Report is what a command has to say: lines for people and the same as one JSON object. Only one of
/// the two is printed, when the command has ended. Warnings and errors go to standard error at once,
/// a line each, and into the JSON object.
class Report {
 public:
  /// `tool` stands in front of warnings and errors.
  explicit Report(std::string tool) : tool_(std::move(tool)) {}

  /// asJson chooses the JSON object.
  void asJson() { json_ = true; }

  bool isJson() const { return json_; }

  /// collect keeps warnings and errors for the facts alone: somebody else tells of them.
  void collect() { collecting_ = true; }

  /// toStandardError moves the lines out of the way of content on standard output.
  void toStandardError() { stream_ = stderr; }

  /// facts is the JSON object.
  nlohmann::ordered_json& facts() { return facts_; }

  const nlohmann::ordered_json& facts() const { return facts_; }

  void line(const std::string& text) { lines_.push_back(text); }

  const std::vector<std::string>& lines() const { return lines_; }

  void warn(const std::string& text);
  void error(ExitCode code, const std::string& text);

  /// told says that everything has been printed already: print says nothing any more.
  void told() { printed_ = true; }

  /// print ends the report; only its first call says anything.
  void print();

 private:
  std::string tool_;
  bool json_ = false;
  bool printed_ = false;
  bool collecting_ = false;
  std::FILE* stream_ = stdout;
  nlohmann::ordered_json facts_ = nlohmann::ordered_json::object();
  std::vector<std::string> lines_;
};

/// printable makes a text safe to show: control characters, which could steer a terminal, become
/// \xNN; so do bytes that are not UTF-8.
std::string printable(std::string_view text);

/// modeText is the rights of a file or folder as chmod takes them: "0640".
std::string modeText(mode_t mode);

/// errorNumber is an error of the platform, or a mask of bits, as it is looked up: "0x80090006".
std::string errorNumber(std::uint32_t error);

/// hex is lower-case hexadecimal.
std::string hex(std::span<const std::uint8_t> bytes);

}  // namespace qx::tools

#endif
