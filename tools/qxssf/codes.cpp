#include "tools/qxssf/codes.h"

#include <algorithm>
#include <array>
#include <span>

namespace qx::ssf {
namespace {

using tools::ExitCode;

constexpr CodeMeaning kCodes[] = {
    {SSF_API_OK, "SSF_API_OK", ExitCode::Good, "good"},
    {SSF_API_INVALID_FORMAT,
     "SSF_API_INVALID_FORMAT",
     ExitCode::Input,
     "the message is not of this format"},
    {SSF_API_INVALID_INPUT,
     "SSF_API_INVALID_INPUT",
     ExitCode::Input,
     "the input is empty or not usable"},
    {SSF_API_NO_MEMORY, "SSF_API_NO_MEMORY", ExitCode::Internal, "there is not enough memory"},
    {SSF_API_SIGNER_ERROR, "SSF_API_SIGNER_ERROR", ExitCode::Key, "a signer cannot be used"},
    {SSF_API_SIGNER_INFO_ERROR,
     "SSF_API_SIGNER_INFO_ERROR",
     ExitCode::Input,
     "a signer's information cannot be read"},
    {SSF_API_INVALID_PAB,
     "SSF_API_INVALID_PAB",
     ExitCode::Input,
     "the address book cannot be opened"},
    {SSF_API_RECIPIENT_ERROR,
     "SSF_API_RECIPIENT_ERROR",
     ExitCode::Key,
     "a recipient cannot be used"},
    {SSF_API_INVALID_HASH_ALG,
     "SSF_API_INVALID_HASH_ALG",
     ExitCode::Usage,
     "the hash algorithm is not known"},
    {SSF_API_ENCODE_ERROR,
     "SSF_API_ENCODE_ERROR",
     ExitCode::Internal,
     "the message cannot be built"},
    {SSF_API_DECODE_ERROR,
     "SSF_API_DECODE_ERROR",
     ExitCode::Input,
     "is no message that can be read (it takes DER or BER; base64 -d undoes base64)"},
    {SSF_API_NO_PROVIDER,
     "SSF_API_NO_PROVIDER",
     ExitCode::Internal,
     "the cryptographic provider refuses to work"},
    {SSF_API_INVALID_ENCR_ALG,
     "SSF_API_INVALID_ENCR_ALG",
     ExitCode::Usage,
     "the cipher is not known"},
    {SSF_API_INFO_NO_MEMORY,
     "SSF_API_INFO_NO_MEMORY",
     ExitCode::Internal,
     "there is not enough memory"},
    // The last row answers for numbers that the library never returns.
    {-1, "unknown", ExitCode::Internal, "the library answered an unknown code"},
};

struct ResultWords {
  SAPRETURN result;
  const char* signing;
  const char* verifying;
  const char* enveloping;
  const char* developing;
};

constexpr ResultWords kResults[] = {
    {SSF_RESULT_OK, "good", "good", "good", "good"},
    {SSF_RESULT_UNKNOWN,
     "no certificate of this identity in the store (qxprovider cert list shows whom it holds)",
     "the signer's certificate is not trusted (qxssf explain 22 --operation verify tells more)",
     "is neither a name nor a thumbprint",
     "no certificate of this identity in the store (qxprovider cert list shows whom it holds)"},
    {SSF_RESULT_INVALID_PROFILE,
     "the store of the profile or the private key cannot be opened (qxssf doctor tells why)",
     "the store of the profile cannot be opened",
     "the address book cannot be opened",
     "the store of the profile or the private key cannot be opened (qxssf doctor tells why)"},
    {SSF_RESULT_INVALID_PASSWORD,
     "the PIN does not open the private key (--pin-file, --pin-fd, --pin-env or --pin-prompt gives it)",
     "the PIN is wrong",
     "the PIN is wrong",
     "the PIN does not open the private key (--pin-file, --pin-fd, --pin-env or --pin-prompt gives it)"},
    {SSF_RESULT_NOCERTIFICATE,
     "there is no certificate",
     "the signer's certificate is neither in the message nor in the store (--profile names another)",
     "no certificate of this identity in the address book (qxprovider cert add --store Addressbook)",
     "there is no certificate"},
    {SSF_RESULT_NOT_OK,
     "the certificate or its key cannot be used to sign",
     "the signature or the content was changed",
     "the certificate cannot be used",
     "the message is not for this recipient, or was changed"},
    // The last row answers for all other results.
    {SSF_RESULT_UNDEFINED,
     "could not be tried",
     "could not be verified completely",
     "could not be tried",
     "the message tells no recipients"},
};

const ResultWords& wordsOf(SAPRETURN result) {
  const auto* row = std::ranges::find(kResults, result, &ResultWords::result);
  return row == std::end(kResults) ? *std::prev(row) : *row;
}

}  // namespace

const CodeMeaning& meaningOf(SAPRETURN code) {
  const auto* row = std::ranges::find(kCodes, code, &CodeMeaning::code);
  return row == std::end(kCodes) ? *std::prev(row) : *row;
}

const char* signingWords(SAPRETURN result) {
  return wordsOf(result).signing;
}

const char* verifyingWords(SAPRETURN result) {
  return wordsOf(result).verifying;
}

const char* envelopingWords(SAPRETURN result) {
  return wordsOf(result).enveloping;
}

const char* developingWords(SAPRETURN result) {
  return wordsOf(result).developing;
}

}  // namespace qx::ssf
