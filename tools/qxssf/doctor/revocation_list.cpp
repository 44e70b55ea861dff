#include "tools/qxssf/doctor/revocation_list.h"

#include <vector>

#include "tools/common/times.h"
#include "tools/qxssf/doctor/store_view.h"

namespace qx::ssf::doctor {

ListReader::ListReader(const Library& library)
    : library_(&library),
      openMemory_(library.find<void*(const void*, int)>("BIO_new_mem_buf")),
      closeMemory_(library.find<int(void*)>("BIO_free")),
      readPem_(library.find<void*(void*, void**, void*, void*)>("PEM_read_bio_X509_CRL")),
      readDer_(library.find<void*(void*, void**)>("d2i_X509_CRL_bio")),
      release_(library.find<void(void*)>("X509_CRL_free")),
      issuer_(library.find<void*(const void*)>("X509_CRL_get_issuer")),
      encodeName_(library.find<int(const void*, unsigned char**)>("i2d_X509_NAME")),
      nextUpdate_(library.find<const void*(const void*)>("X509_CRL_get0_nextUpdate")),
      split_(library.find<int(const void*, std::tm*)>("ASN1_TIME_to_tm")),
      clearErrors_(library.find<void()>("ERR_clear_error")) {}

bool ListReader::isAble() const {
  return openMemory_ != nullptr && closeMemory_ != nullptr && readPem_ != nullptr &&
         readDer_ != nullptr && release_ != nullptr && issuer_ != nullptr &&
         encodeName_ != nullptr && nextUpdate_ != nullptr && split_ != nullptr &&
         clearErrors_ != nullptr;
}

ListReader::Object ListReader::open(std::span<const std::uint8_t> file) const {
  return {openMemory_(file.data(), static_cast<int>(file.size())), closeMemory_};
}

ListReader::Object ListReader::decode(std::span<const std::uint8_t> file) const {
  void* list = readPem_(open(file).get(), nullptr, nullptr, nullptr);
  if (list == nullptr) {
    list = readDer_(open(file).get(), nullptr);
  }
  clearErrors_();
  return {list, release_};
}

std::string ListReader::issuerOf(void* list) const {
  const void* const name = issuer_(list);
  const int size = encodeName_(name, nullptr);
  if (size <= 0) {
    return "";
  }
  std::vector<unsigned char> der(static_cast<std::size_t>(size));
  unsigned char* at = der.data();
  encodeName_(name, &at);
  return nameText(*library_, {.cbData = static_cast<DWORD>(der.size()), .pbData = der.data()});
}

std::optional<std::uint64_t> ListReader::endOf(void* list) const {
  const void* const time = nextUpdate_(list);
  std::tm parts{};
  if (time == nullptr || split_(time, &parts) != 1) {
    return std::nullopt;
  }
  return tools::ticksOf(timegm(&parts));
}

std::optional<RevocationList> ListReader::read(std::span<const std::uint8_t> file) const {
  const Object list = decode(file);
  if (list == nullptr) {
    return std::nullopt;
  }
  return RevocationList{.issuer = issuerOf(list.get()), .end = endOf(list.get())};
}

}  // namespace qx::ssf::doctor
