#include "tests/support/ssf_calls.h"

#include <new>

namespace qx::test {
namespace {

// The interface takes input through pointers to bytes that are not const, and does not write to them.
SAP_B8* bytes(const std::string& text) {
  return text.empty() ? nullptr : const_cast<SAP_B8*>(reinterpret_cast<const SAP_B8*>(text.data()));
}

SsfOctetlen length(const std::string& text) {
  return static_cast<SsfOctetlen>(text.size());
}

std::string text(const SAP_B8* data, SsfOctetlen size) {
  return data == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
}

class Output {
 public:
  Output() = default;

  ~Output() { SsfDELSsfOctetstring(&data_, &length_); }

  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  Output(Output&&) = delete;
  Output& operator=(Output&&) = delete;

  SAP_B8** data() { return &data_; }

  SsfOctetlen* size() { return &length_; }

  std::string take() const { return text(data_, length_); }

 private:
  SAP_B8* data_ = nullptr;
  SsfOctetlen length_ = 0;
};

class RecordList {
 public:
  RecordList() = default;

  explicit RecordList(const std::vector<SsfRecord>& records) {
    for (const SsfRecord& record : records) {
      add(record);
    }
  }

  ~RecordList() { SsfDELSigRcpSsfInfoList(&list_); }

  RecordList(const RecordList&) = delete;
  RecordList& operator=(const RecordList&) = delete;
  RecordList(RecordList&&) = delete;
  RecordList& operator=(RecordList&&) = delete;

  SigRcpSsfInformationListStruct** get() { return &list_; }

  SigRcpSsfInformation* first() const { return list_->info; }

  std::vector<SsfRecord> take() const {
    std::vector<SsfRecord> records;
    for (const auto* node = list_; node != nullptr; node = node->next) {
      const SigRcpSsfInformation& info = *node->info;
      records.push_back({text(info.id, info.idLength),
                         text(info.profile, info.profileLength),
                         text(info.password, info.passwordLength),
                         info.result});
    }
    return records;
  }

 private:
  void add(const SsfRecord& record) {
    SigRcpSsfInformation* made = nullptr;
    if (SsfNEWSigRcpSsfInfo(bytes(record.id),
                            length(record.id),
                            nullptr,
                            0,
                            bytes(record.profile),
                            length(record.profile),
                            bytes(record.password),
                            length(record.password),
                            record.result,
                            &made) != SSF_API_OK ||
        SsfINSSigRcpSsfInfo(made, &list_) != SSF_API_OK) {
      throw std::bad_alloc();
    }
  }

  SigRcpSsfInformationListStruct* list_ = nullptr;
};

}  // namespace

SsfOutcome ssfSign(const std::string& content,
                   const std::vector<SsfRecord>& signers,
                   const SsfSignOptions& options) {
  RecordList list(signers);
  Output output;
  const SAPRETURN code = SsfSign(bytes(options.format),
                                 length(options.format),
                                 nullptr,
                                 0,
                                 options.certificates ? 1 : 0,
                                 options.detached ? 1 : 0,
                                 bytes(content),
                                 length(content),
                                 *list.get(),
                                 output.data(),
                                 output.size());
  return {code, output.take(), list.take()};
}

SsfOutcome ssfVerify(const std::string& message,
                     const std::string& content,
                     const std::string& profile,
                     const std::string& format) {
  RecordList list;
  Output output;
  const SAPRETURN code = SsfVerify(bytes(format),
                                   length(format),
                                   nullptr,
                                   bytes(message),
                                   length(message),
                                   bytes(content),
                                   length(content),
                                   bytes(profile),
                                   length(profile),
                                   nullptr,
                                   0,
                                   list.get(),
                                   output.data(),
                                   output.size());
  return {code, output.take(), list.take()};
}

SsfOutcome ssfDigest(const std::string& content, const std::string& hash, bool detached) {
  const std::string format = "PKCS7";
  Output output;
  const SAPRETURN code = SsfDigest(bytes(format),
                                   length(format),
                                   detached ? 1 : 0,
                                   bytes(content),
                                   length(content),
                                   bytes(hash),
                                   length(hash),
                                   output.data(),
                                   output.size());
  return {code, output.take(), {}};
}

SsfOutcome ssfAddSign(const std::string& message,
                      const std::string& content,
                      const SsfRecord& signer,
                      const SsfSignOptions& options) {
  const RecordList list({signer});
  Output output;
  const SAPRETURN code = SsfAddSign(bytes(options.format),
                                    length(options.format),
                                    nullptr,
                                    nullptr,
                                    options.certificates ? 1 : 0,
                                    bytes(message),
                                    length(message),
                                    bytes(content),
                                    length(content),
                                    list.first(),
                                    output.data(),
                                    output.size());
  return {code, output.take(), list.take()};
}

SsfOutcome ssfEnvelope(const std::string& content,
                       const std::vector<SsfRecord>& recipients,
                       const std::string& profile) {
  const std::string format = "PKCS7";
  const std::string algorithm = "GOST28147";
  RecordList list(recipients);
  Output output;
  const SAPRETURN code = SsfEnvelope(bytes(format),
                                     length(format),
                                     bytes(algorithm),
                                     length(algorithm),
                                     bytes(content),
                                     length(content),
                                     bytes(profile),
                                     length(profile),
                                     nullptr,
                                     0,
                                     *list.get(),
                                     output.data(),
                                     output.size());
  return {code, output.take(), list.take()};
}

SsfOutcome ssfDevelope(const std::string& message, const SsfRecord& recipient) {
  const std::string format = "PKCS7";
  const RecordList list({recipient});
  Output output;
  const SAPRETURN code = SsfDevelope(bytes(format),
                                     length(format),
                                     bytes(message),
                                     length(message),
                                     list.first(),
                                     output.data(),
                                     output.size());
  return {code, output.take(), list.take()};
}

SsfOutcome ssfEncode(const std::string& content) {
  const std::string format = "PKCS7";
  Output output;
  const SAPRETURN code = SsfEncode(
      bytes(format), length(format), bytes(content), length(content), output.data(), output.size());
  return {code, output.take(), {}};
}

SsfOutcome ssfDecode(const std::string& content) {
  const std::string format = "PKCS7";
  Output output;
  const SAPRETURN code = SsfDecode(
      bytes(format), length(format), bytes(content), length(content), output.data(), output.size());
  return {code, output.take(), {}};
}

SsfOutcome ssfProperty(const std::string& name) {
  Output output;
  const SAPRETURN code =
      SsfQueryProperties(bytes(name), length(name), nullptr, nullptr, output.data(), output.size());
  return {code, output.take(), {}};
}

SsfOutcome ssfVersion() {
  Output output;
  const SAPRETURN code = SsfVersion(output.data(), output.size());
  return {code, output.take(), {}};
}

SsfOutcome ssfPrint(const std::vector<SsfRecord>& records) {
  RecordList list(records);
  Output output;
  const SAPRETURN code = SsfPRISigRcpSsfInfoList(*list.get(), output.data(), output.size());
  return {code, output.take(), list.take()};
}

}  // namespace qx::test
