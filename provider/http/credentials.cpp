#include "provider/http/credentials.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <openssl/evp.h>

#include "provider/support/files.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr std::size_t kMaxPasswordFile = 4096;
constexpr std::string_view kField = "Authorization: Basic ";
constexpr std::string_view kLineEnd = "\r\n";

Result<SecretBytes> readPassword(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    return fail(ERROR_INVALID_NAME);
  }
  const Result<Fd> folder = openFolder(path.substr(0, std::max<std::size_t>(slash, 1)));
  if (!folder) {
    return folder.failure();
  }
  Result<SecretBytes> password =
      readSecretIn(folder->get(), path.c_str() + slash + 1, kMaxPasswordFile);
  if (password) {
    password->truncate(std::min(password->text().find_first_of("\r\n"), password->size()));
  }
  return password && password->empty() ? Result<SecretBytes>(fail(ERROR_INVALID_DATA))
                                       : std::move(password);
}

bool isUser(std::string_view user) {
  return std::ranges::none_of(
      user, [](char c) { return c == ':' || static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
}

SecretBytes joined(std::string_view user, std::string_view password) {
  SecretBytes pair(user.size() + 1 + password.size());
  std::ranges::copy(user, pair.data());
  pair.data()[user.size()] = ':';
  std::ranges::copy(password, pair.data() + user.size() + 1);
  return pair;
}

// Four characters for three bytes, begun ones too, and the NUL that libcrypto writes behind them.
SecretBytes fieldWith(const SecretBytes& pair) {
  const std::size_t encoded = (pair.size() + 2) / 3 * 4;
  SecretBytes field(kField.size() + encoded + kLineEnd.size());
  std::ranges::copy(kField, field.data());
  EVP_EncodeBlock(field.data() + kField.size(), pair.data(), static_cast<int>(pair.size()));
  std::ranges::copy(kLineEnd, field.data() + kField.size() + encoded);
  return field;
}

}  // namespace

const HttpCredentials* credentialsFor(const Url& server, const HttpCredentials* credentials) {
  if (credentials == nullptr) {
    return nullptr;
  }
  const Result<Url> own = parseUrl(credentials->server);
  return own && own->isSameServer(server) ? credentials : nullptr;
}

Result<SecretBytes> authorizationField(const HttpCredentials& credentials) {
  if (credentials.user.empty()) {
    return SecretBytes();
  }
  if (!isUser(credentials.user)) {
    QX_TRACE("http: the user's name for %s is not valid", credentials.server.c_str());
    return fail(ERROR_WINHTTP_LOGIN_FAILURE);
  }
  const Result<SecretBytes> password = readPassword(credentials.passwordFile);
  if (!password) {
    QX_TRACE("http: no password in '%s': %08x", credentials.passwordFile.c_str(), password.error());
    return fail(ERROR_WINHTTP_LOGIN_FAILURE);
  }
  return fieldWith(joined(credentials.user, password->text()));
}

}  // namespace qx
