#include "tools/common/error.h"

#include <exception>
#include <new>
#include <system_error>

namespace qx::tools {

ToolError presentFailure() {
  try {
    throw;
  } catch (const ToolError& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return {ExitCode::Internal, "there is not enough memory"};
  } catch (const std::exception& error) {
    return {ExitCode::Internal, error.what()};
  }
}

std::string errnoText(int error) {
  return std::generic_category().message(error);
}

}  // namespace qx::tools
