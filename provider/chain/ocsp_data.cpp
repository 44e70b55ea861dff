#include "provider/chain/ocsp_data.h"

#include <algorithm>
#include <string_view>

#include "provider/chain/time_window.h"
#include "provider/hash/hash.h"
#include "provider/openssl/errors.h"
#include "provider/store/x509_fields.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr std::string_view kBasicResponse = "1.3.6.1.5.5.7.48.1.1";
constexpr std::uint8_t kByName = der::contextConstructed(1);
constexpr std::uint8_t kByKey = der::contextConstructed(2);

/// What an OCSPResponse is wrapped around (RFC 6960, 4.2.1).
Result<der::Bytes> unwrap(const der::Element& outer) {
  DWORD error = ERROR_SUCCESS;
  x509::Fields fields(outer.content, error);
  const der::Element status = fields.next(der::kEnumerated);
  if (!fields.failed() && !std::ranges::equal(status.content, std::array<std::uint8_t, 1>{0})) {
    fields.failWith(ERROR_INVALID_DATA);
  }
  x509::Fields bytes = fields.inside(fields.next(der::contextConstructed(0))).sequence();
  if (bytes.value(der::readOid(bytes.next(der::kOid))) != kBasicResponse) {
    bytes.failWith(ERROR_INVALID_DATA);
  }
  const der::Bytes basic = bytes.next(der::kOctetString).content;
  bytes.end();
  fields.end();
  return error == ERROR_SUCCESS ? Result<der::Bytes>(basic) : fail(error);
}

}  // namespace

Result<std::shared_ptr<const OcspData>> OcspData::parse(der::Bytes der) {
  Result<der::Element> outer = der::Reader(der).next(der::kSequence);
  if (!outer) {
    return outer.failure();
  }
  if (der::Reader(outer->content).peek() == der::kEnumerated) {
    const Result<der::Bytes> basic = unwrap(*outer);
    if (!basic) {
      return basic.failure();
    }
    outer = der::readWhole(*basic, der::kSequence);
    if (!outer) {
      return outer.failure();
    }
  }
  // NOLINTNEXTLINE(*-make-shared): the constructor is private
  const std::shared_ptr<OcspData> data(new OcspData(outer->whole));
  if (const Result<void> read = data->readHead(); !read) {
    return read.failure();
  }
  return std::shared_ptr<const OcspData>(data);
}

OcspData::~OcspData() {
  OCSP_BASICRESP_free(response_.load());
}

Result<void> OcspData::readHead() {
  DWORD error = ERROR_SUCCESS;
  x509::Fields whole(basic_, error);
  x509::Fields fields = whole.sequence();
  x509::Fields data = fields.sequence();
  data.optional(der::contextConstructed(0));
  responderId_ = data.next(data.nextIs(kByName) ? kByName : kByKey).whole;
  const der::Element produced = data.next(der::kGeneralizedTime);
  producedAtDer_ = produced.whole;
  producedAt_ = secondsOf(data.value(der::readTime(produced)));
  data.next(der::kSequence);
  data.optional(der::contextConstructed(1));
  data.end();
  x509::readAlgorithm(fields);
  x509::readBits(fields);
  fields.optional(der::contextConstructed(0));
  fields.end();
  std::ranges::copy(hashOf(HashAlgorithm::Sha1, basic_).bytes(), sha1_.begin());
  return error == ERROR_SUCCESS ? Result<void>() : fail(error);
}

OCSP_BASICRESP* OcspData::response() const {
  if (OCSP_BASICRESP* known = response_.load(std::memory_order_acquire); known != nullptr) {
    return known;
  }
  const ErrorQueueGuard queue;
  const unsigned char* position = basic_.data();
  OCSP_BASICRESP* fresh = d2i_OCSP_BASICRESP(nullptr, &position, static_cast<long>(basic_.size()));
  OCSP_BASICRESP* first = nullptr;
  if (fresh != nullptr &&
      !response_.compare_exchange_strong(first, fresh, std::memory_order_acq_rel)) {
    OCSP_BASICRESP_free(fresh);
    return first;
  }
  return fresh;
}

template <>
Result<OcspPtr> parseShared(der::Bytes der) {
  constexpr std::size_t kMaxSize = std::size_t{16} << 10U;
  static auto& answers = untilUnload(std::make_unique<SharedObjects<OcspData>>(
      SharedObjects<OcspData>::Limits{.objects = 200, .bytes = kMaxSize}));
  return answers.parse(der);
}

}  // namespace qx
