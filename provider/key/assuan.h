#ifndef QX_PROVIDER_KEY_ASSUAN_H_
#define QX_PROVIDER_KEY_ASSUAN_H_

#include <optional>
#include <string>
#include <string_view>

#include "provider/support/deadline.h"
#include "provider/support/wipe.h"

namespace qx {

/// AssuanClient is the client's side of the Assuan protocol: a command is a line, an answer ends with
/// OK or ERR. What the other side says stays in memory that is wiped. Lines above 4 KB, the end of the
/// deadline and the end of the connection end the conversation.
class AssuanClient {
 public:
  /// Borrows the socket.
  AssuanClient(int socket, const Deadline& deadline);

  /// send writes one command, which holds no line end.
  bool send(const std::string& command) const;

  /// awaitOk reads up to the end of an answer: true for OK. The data in it, decoded and of all its
  /// lines, replaces `data`; above 4 KB of it end the conversation.
  bool awaitOk(SecretBytes* data = nullptr);

  /// encode makes a text fit for a command's argument.
  static std::string encode(std::string_view text);

 private:
  std::optional<std::string_view> nextLine();
  bool receive();
  void dropLine();

  int socket_;
  Deadline deadline_;
  SecretBytes buffer_;
  std::size_t filled_ = 0;
  std::size_t line_ = 0;  // size of the line that was given out last, with its end
};

}  // namespace qx

#endif
