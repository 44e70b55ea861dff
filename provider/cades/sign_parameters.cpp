#include "provider/cades/sign_parameters.h"

#include <cstddef>
#include <optional>

#include "provider/support/utf8.h"

namespace qx {

Result<std::string> timeStampUrl(const CADES_SIGN_PARA* parameters) {
  constexpr std::size_t kMaxUrlBytes = 4096;
  if (parameters == nullptr || parameters->dwSize < sizeof *parameters) {
    return fail(E_INVALIDARG);
  }
  if (parameters->dwCadesType != CADES_TYPE_X_LONG_1) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  const CADES_TSP_SERVICE* service = parameters->pTspService;
  if (service == nullptr) {
    return std::string();
  }
  if (service->dwSize < sizeof *service) {
    return fail(E_INVALIDARG);
  }
  if (service->wszUri == nullptr) {
    return std::string();
  }
  const std::optional<std::string> url = toUtf8(service->wszUri, kMaxUrlBytes);
  return url ? Result<std::string>(*url) : fail(E_INVALIDARG);
}

}  // namespace qx
