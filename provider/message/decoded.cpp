#include "provider/message/decoded.h"

#include <algorithm>
#include <iterator>

#include "platform/crypt_msg.h"

#include "provider/message/decoded_data.h"
#include "provider/message/decoded_enveloped.h"
#include "provider/message/decoded_hashed.h"
#include "provider/message/decoded_signed.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

using Open = Result<std::unique_ptr<Decoded>> (*)(const der::Element& bare, bool detached);

struct Type {
  DWORD number;
  std::string_view oid;
  Open open;
};

constexpr Type kTypes[] = {
    {CMSG_DATA, oids::kData, DecodedData::open},
    {CMSG_SIGNED, oids::kSignedData, DecodedSigned::open},
    {CMSG_ENVELOPED, oids::kEnvelopedData, DecodedEnveloped::open},
    {CMSG_HASHED, oids::kDigestedData, DecodedHashed::open},
};

}  // namespace

Result<std::unique_ptr<Decoded>> decode(DWORD number, const der::Element& bare, bool detached) {
  const auto* type = std::ranges::find(kTypes, number, &Type::number);
  if (type == std::end(kTypes)) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  return type->open(bare, detached);
}

DWORD typeByOid(std::string_view dotted) {
  const auto* type = std::ranges::find(kTypes, dotted, &Type::oid);
  return type == std::end(kTypes) ? 0 : type->number;
}

}  // namespace qx
