#include "provider/store/key_prov_info.h"

#include <cstring>
#include <span>
#include <utility>

namespace qx {
namespace {

std::optional<std::wstring> copyOf(LPCWSTR text) {
  return text == nullptr ? std::nullopt : std::optional<std::wstring>(text);
}

std::size_t storedSize(const std::optional<std::wstring>& text) {
  return text ? (text->size() + 1) * sizeof(wchar_t) : 0;
}

// Whoever writes the pieces goes from strictly to loosely aligned ones, so nothing is padded.
class Pieces {
 public:
  explicit Pieces(void* buffer) : next_(static_cast<BYTE*>(buffer)) {}

  template <class T>
  T* take(std::size_t bytes) {
    return reinterpret_cast<T*>(std::exchange(next_, next_ + bytes));
  }

  LPWSTR copy(const std::optional<std::wstring>& text) {
    if (!text) {
      return nullptr;
    }
    auto* place = take<wchar_t>(storedSize(text));
    std::memcpy(place, text->c_str(), storedSize(text));
    return place;
  }

 private:
  BYTE* next_;
};

}  // namespace

KeyProvInfo::KeyProvInfo(const CRYPT_KEY_PROV_INFO& info)
    : container_(copyOf(info.pwszContainerName)),
      provider_(copyOf(info.pwszProvName)),
      providerType_(info.dwProvType),
      flags_(info.dwFlags),
      keySpec_(info.dwKeySpec) {
  const DWORD count = info.rgProvParam == nullptr ? 0 : info.cProvParam;
  for (const CRYPT_KEY_PROV_PARAM& parameter : std::span(info.rgProvParam, count)) {
    const DWORD bytes = parameter.pbData == nullptr ? 0 : parameter.cbData;
    parameters_.push_back({.number = parameter.dwParam,
                           .flags = parameter.dwFlags,
                           .data = {parameter.pbData, parameter.pbData + bytes}});
  }
}

std::size_t KeyProvInfo::size() const {
  std::size_t bytes = sizeof(CRYPT_KEY_PROV_INFO) + storedSize(container_) + storedSize(provider_);
  for (const Parameter& parameter : parameters_) {
    bytes += sizeof(CRYPT_KEY_PROV_PARAM) + parameter.data.size();
  }
  return bytes;
}

void KeyProvInfo::writeTo(void* buffer) const {
  Pieces pieces(buffer);
  auto* info = pieces.take<CRYPT_KEY_PROV_INFO>(sizeof(CRYPT_KEY_PROV_INFO));
  auto* list = pieces.take<CRYPT_KEY_PROV_PARAM>(parameters_.size() * sizeof(CRYPT_KEY_PROV_PARAM));
  *info = {.pwszContainerName = pieces.copy(container_),
           .pwszProvName = pieces.copy(provider_),
           .dwProvType = providerType_,
           .dwFlags = flags_,
           .cProvParam = static_cast<DWORD>(parameters_.size()),
           .rgProvParam = parameters_.empty() ? nullptr : list,
           .dwKeySpec = keySpec_};
  for (const Parameter& parameter : parameters_) {
    auto* data = pieces.take<BYTE>(parameter.data.size());
    std::memcpy(data, parameter.data.data(), parameter.data.size());
    *list++ = {.dwParam = parameter.number,
               .pbData = parameter.data.empty() ? nullptr : data,
               .cbData = static_cast<DWORD>(parameter.data.size()),
               .dwFlags = parameter.flags};
  }
}

}  // namespace qx
