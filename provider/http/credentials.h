#ifndef QX_PROVIDER_HTTP_CREDENTIALS_H_
#define QX_PROVIDER_HTTP_CREDENTIALS_H_

#include "provider/http/client.h"
#include "provider/http/url.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// credentialsFor gives the credentials if they are this server's, else null.
const HttpCredentials* credentialsFor(const Url& server, const HttpCredentials* credentials);

/// authorizationField is the field line "Authorization: Basic ..." (RFC 7617) with its line end, or
/// empty without a user. ERROR_WINHTTP_LOGIN_FAILURE when the password's file cannot be read or holds
/// no password, or when the user's name has a colon or a control character.
Result<SecretBytes> authorizationField(const HttpCredentials& credentials);

}  // namespace qx

#endif
