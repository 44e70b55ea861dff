#ifndef QX_QXSAPSSF_QXSAPSSF_MESSAGES_H_
#define QX_QXSAPSSF_QXSAPSSF_MESSAGES_H_

#include "platform/types.h"

namespace qx {

/// What a message has a place for. Only a value of that kind is ever put into it.
enum class Insert { Nothing, Text, Number };

/// One message: its text in Russian (Windows-1251) and in English.
struct MessageRow {
  const char* russian = "";
  const char* english = "";
  Insert insert = Insert::Nothing;
};

/// errorRow is the error message of a number, 100 to 899; a number without one is an internal error.
const MessageRow& errorRow(DWORD number) noexcept;

/// messageRow is the general message of a number, 100 to 198; any other is the unknown error.
const MessageRow& messageRow(int number) noexcept;

/// cadesRow is the message of a CAdES status, 1 to 10; any other is the unknown error.
const MessageRow& cadesRow(int number) noexcept;

}  // namespace qx

#endif
