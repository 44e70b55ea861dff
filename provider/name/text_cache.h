#ifndef QX_PROVIDER_NAME_TEXT_CACHE_H_
#define QX_PROVIDER_NAME_TEXT_CACHE_H_

#include <memory>
#include <string>

#include "provider/name/name_text.h"

namespace qx {

/// cachedNameText is nameText, but a name that was rendered lately is not rendered again: a search by
/// subject renders the same names over and over. The cache is keyed by the bytes of the name and the
/// type, so there is nothing in it that could become wrong; its memory is bounded.
Result<std::shared_ptr<const std::wstring>> cachedNameText(der::Bytes name, DWORD stringType);

}  // namespace qx

#endif
