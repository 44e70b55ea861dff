#include "provider/key/parameters.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "provider/key/provider_types.h"
#include "provider/support/two_pass.h"

namespace qx {
namespace {

constexpr DWORD kVersion = 0x0101;  // major and minor number, a byte each

template <class T>
std::span<const BYTE> bytesOf(const T& value) {
  return {reinterpret_cast<const BYTE*>(&value), sizeof value};
}

std::span<const BYTE> bytesOf(const std::string& text) {
  return {reinterpret_cast<const BYTE*>(text.c_str()), text.size() + 1};
}

Result<void> answer(std::span<const BYTE> value, BYTE* data, DWORD* size) {
  const Result<std::uint8_t*> out = twoPass(data, size, value.size());
  if (out && *out != nullptr) {
    std::ranges::copy(value, *out);
  }
  return out ? Result<void>() : out.failure();
}

void fillName(std::span<char> field, DWORD& length, std::string_view name) {
  length = static_cast<DWORD>(name.size() + 1);
  std::ranges::copy(name, field.begin());
}

void fill(PROV_ENUMALGS& item, const OfferedAlgorithm& algorithm) {
  item.aiAlgid = algorithm.id;
  item.dwBitLen = algorithm.defaultBits;
  fillName(item.szName, item.dwNameLen, algorithm.name);
}

void fill(PROV_ENUMALGS_EX& item, const OfferedAlgorithm& algorithm) {
  item.aiAlgid = algorithm.id;
  item.dwDefaultLen = algorithm.defaultBits;
  item.dwMinLen = algorithm.minBits;
  item.dwMaxLen = algorithm.maxBits;
  fillName(item.szName, item.dwNameLen, algorithm.name);
  fillName(item.szLongName, item.dwLongNameLen, algorithm.longName);
}

template <class Item>
Result<void> enumerate(KeyContext& context, BYTE* data, DWORD* size, DWORD flags) {
  if (flags > CRYPT_NEXT) {
    return fail(NTE_BAD_FLAGS);
  }
  if (flags == CRYPT_FIRST) {
    context.setNextAlgorithm(0);
  }
  const auto algorithms = offeredAlgorithms();
  Item item{};
  if (data == nullptr) {
    return answer(bytesOf(item), data, size);
  }
  if (context.nextAlgorithm() >= algorithms.size()) {
    return fail(ERROR_NO_MORE_ITEMS);
  }
  fill(item, algorithms[context.nextAlgorithm()]);
  const auto answered = answer(bytesOf(item), data, size);
  // Whoever asks again with a larger buffer gets the same item.
  if (answered) {
    context.setNextAlgorithm(context.nextAlgorithm() + 1);
  }
  return answered;
}

Result<void> answerUsable(KeyContext& context, BYTE* data, DWORD* size) {
  constexpr std::uint64_t kUsable = 1;
  // One answer for every obstacle; the trace tells which it is.
  return context.usableKey() ? answer(bytesOf(kUsable), data, size) : fail(SCARD_W_WRONG_CHV);
}

Result<void> answerNumber(DWORD number, BYTE* data, DWORD* size) {
  return answer(bytesOf(number), data, size);
}

Result<void> answerName(const KeyContext& context, BYTE* data, DWORD* size) {
  const ProviderType* type = findProviderType(context.providerType());
  return answer(bytesOf(std::string(type != nullptr ? type->name : "")), data, size);
}

Result<void> answerContainer(const KeyContext& context, BYTE* data, DWORD* size) {
  return context.key() != nullptr ? answer(bytesOf(context.key()->id), data, size)
                                  : fail(NTE_NO_KEY);
}

bool isMachineKey(const KeyContext& context) {
  return context.key() != nullptr && context.key()->location == Location::LocalMachine;
}

Result<void> answerPlain(KeyContext& context, DWORD parameter, BYTE* data, DWORD* size) {
  switch (parameter) {
    case PP_QX_KEY_USABLE:
      return answerUsable(context, data, size);
    case PP_NAME:
      return answerName(context, data, size);
    case PP_CONTAINER:
    case PP_UNIQUE_CONTAINER:
      return answerContainer(context, data, size);
    case PP_PROVTYPE:
      return answerNumber(context.providerType(), data, size);
    case PP_IMPTYPE:
      return answerNumber(CRYPT_IMPL_SOFTWARE, data, size);
    case PP_VERSION:
      return answerNumber(kVersion, data, size);
    case PP_KEYSPEC:
      return answerNumber(AT_KEYEXCHANGE | AT_SIGNATURE, data, size);
    case PP_KEYSET_TYPE:
      return answerNumber(isMachineKey(context) ? CRYPT_MACHINE_KEYSET : 0, data, size);
    default:
      return fail(NTE_BAD_TYPE);
  }
}

}  // namespace

Result<void> readParameter(
    KeyContext& context, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
  if (size == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (parameter == PP_ENUMALGS) {
    return enumerate<PROV_ENUMALGS>(context, data, size, flags);
  }
  if (parameter == PP_ENUMALGS_EX) {
    return enumerate<PROV_ENUMALGS_EX>(context, data, size, flags);
  }
  return flags == 0 ? answerPlain(context, parameter, data, size) : fail(NTE_BAD_FLAGS);
}

Result<void> setParameter(KeyContext& context, DWORD parameter, const BYTE* data, DWORD flags) {
  if (parameter != PP_KEYEXCHANGE_PIN && parameter != PP_SIGNATURE_PIN) {
    return fail(NTE_BAD_TYPE);
  }
  if (flags != 0) {
    return fail(NTE_BAD_FLAGS);
  }
  if (context.key() == nullptr) {
    return fail(NTE_NO_KEY);
  }
  if (data == nullptr) {
    context.clearPin();
  } else {
    context.setPin(reinterpret_cast<const char*>(data));
  }
  return {};
}

}  // namespace qx
