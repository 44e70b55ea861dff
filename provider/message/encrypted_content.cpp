#include "provider/message/encrypted_content.h"

#include "provider/message/enveloped_data.h"

namespace qx {

Result<void> EncryptedContent::setElement(const der::Element& element) {
  std::size_t size = 0;
  const auto read = der::visitOctets(
      element, [&size](der::Bytes octets) { size += octets.size(); }, kEncryptedContentTag);
  if (read) {
    element_ = element;
    size_ = size;
  }
  return read;
}

void EncryptedContent::setOctets(der::Bytes octets) {
  octets_ = octets;
  size_ = octets.size();
}

template <class Visitor>
void EncryptedContent::visit(const Visitor& visitor) const {
  if (element_) {
    (void)der::visitOctets(*element_, visitor, kEncryptedContentTag);  // read to its end before
  } else {
    visitor(octets_);
  }
}

void EncryptedContent::writeTo(std::uint8_t* out) const {
  visit([&out](der::Bytes octets) { out = der::copyTo(out, octets); });
}

Result<SecretBytes> EncryptedContent::decrypt(ContentDecryption& cipher) const {
  SecretBytes content(size_);
  std::size_t written = 0;
  Result<void> state;
  visit([&](der::Bytes octets) {
    const auto done =
        state ? cipher.update(octets, content.data() + written) : Result<std::size_t>(0);
    if (done) {
      written += *done;
    } else {
      state = done.failure();
    }
  });
  if (!state) {
    return state.failure();
  }
  const auto last = cipher.finish(content.data() + written);
  if (!last) {
    return last.failure();
  }
  content.truncate(written + *last);
  return content;
}

}  // namespace qx
