#include "tools/qxprovider/failure.h"

#include <array>
#include <cstdio>
#include <memory>

#include "tools/common/error.h"
#include "tools/common/report.h"

namespace qx::admin {
namespace {

using tools::ExitCode;

ExitCode exitOf(DWORD error) {
  switch (error) {
    case SCARD_W_WRONG_CHV:
    case NTE_BAD_KEY:
    case NTE_BAD_KEYSET:
    case NTE_BAD_PUBLIC_KEY:
    case NTE_NO_KEY:
      return ExitCode::Key;
    case E_OUTOFMEMORY:
    case E_FAIL:
    case NTE_FAIL:
    case NTE_PROV_DLL_NOT_FOUND:
      return ExitCode::Internal;
    default:
      return ExitCode::Input;
  }
}

}  // namespace

std::string failureText(DWORD error) {
  std::array<char, 512> text{};
  const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                      nullptr,
                                      error,
                                      0,
                                      text.data(),
                                      text.size(),
                                      nullptr);
  std::string words(text.data(), length);
  words.erase(words.find_last_not_of(". \r\n") + 1);
  const std::string number = tools::errorNumber(error);
  return words.empty() ? number : words + " (" + number + ")";
}

void refuse(const std::string& what, DWORD error) {
  throw tools::ToolError(exitOf(error), what + ": " + failureText(error));
}

}  // namespace qx::admin
