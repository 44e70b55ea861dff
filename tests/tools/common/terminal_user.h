#ifndef QX_TESTS_TOOLS_COMMON_TERMINAL_USER_H_
#define QX_TESTS_TOOLS_COMMON_TERMINAL_USER_H_

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>

#include "tools/common/descriptor.h"

namespace qx::tools {

/// TerminalUser sits at a terminal of its own. A child process works there: it is the leader of a
/// session whose controlling terminal this is.
class TerminalUser {
 public:
  TerminalUser();
  ~TerminalUser();
  TerminalUser(const TerminalUser&) = delete;
  TerminalUser& operator=(const TerminalUser&) = delete;
  TerminalUser(TerminalUser&&) = delete;
  TerminalUser& operator=(TerminalUser&&) = delete;

  /// start runs `work` in the child; what it gives is what end() gives.
  void start(const std::function<std::string()>& work);

  /// sees waits until the terminal shows `text` behind what was seen before; false when it never does.
  bool sees(const std::string& text);

  void types(const std::string& keys) const;

  /// end waits for the child and gives what its work gave.
  std::string end();

  /// shown is all that the terminal showed.
  const std::string& shown() const { return shown_; }

  /// terminal is the side at which programs work.
  int terminal() const { return terminal_.get(); }

  /// hasLocalFlags tells whether the terminal's c_lflag has all of these.
  bool hasLocalFlags(tcflag_t flags) const;

  /// clearLocalFlags switches some off, as a program before ours may have left them.
  void clearLocalFlags(tcflag_t flags) const;

 private:
  bool readMore();

  Descriptor master_;
  Descriptor terminal_;
  Descriptor result_;
  pid_t child_ = -1;
  std::string shown_;
  std::size_t seen_ = 0;
};

}  // namespace qx::tools

#endif
