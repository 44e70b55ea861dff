#include "tests/journal/road.h"

namespace qx::test {
namespace {

struct PlainRoad : Road {
  Output& output() override { return theOutput; }

  Output theOutput;
};

struct DigestRoad : PlainRoad {
  std::string format = "PKCS7";
  std::string hash = "GOST3411";
  std::string input = "data to hash";
  int detached = 0;

  SAPRETURN run() override {
    return SsfDigest(bytesOf(format),
                     lengthOf(format),
                     detached,
                     bytesOf(input),
                     lengthOf(input),
                     bytesOf(hash),
                     lengthOf(hash),
                     theOutput.data(),
                     theOutput.length());
  }
};

std::unique_ptr<Road> digest(const char* hash, int detached) {
  auto road = std::make_unique<DigestRoad>();
  road->hash = hash;
  road->detached = detached;
  return road;
}

using Transfer = decltype(&SsfEncode);

NamedRoad digestRefusal(const char* file, void (*change)(DigestRoad&)) {
  return {"SsfDigest", file, OnFailure::Untouched, [change] {
            auto road = std::make_unique<DigestRoad>();
            change(*road);
            return road;
          }};
}

struct TransferRoad : PlainRoad {
  explicit TransferRoad(Transfer theFunction) : function(theFunction) {}

  Transfer function;
  std::string format = "PKCS7";
  std::string input = "data to carry";

  SAPRETURN run() override {
    return function(bytesOf(format),
                    lengthOf(format),
                    bytesOf(input),
                    lengthOf(input),
                    theOutput.data(),
                    theOutput.length());
  }
};

NamedRoad transferRefusal(const char* operation,
                          const char* file,
                          Transfer function,
                          const std::string& format) {
  return {operation, file, OnFailure::Untouched, [=] {
            auto road = std::make_unique<TransferRoad>(function);
            road->format = format;
            road->input.clear();
            return road;
          }};
}

struct VersionRoad : PlainRoad {
  SAPRETURN run() override { return SsfVersion(theOutput.data(), theOutput.length()); }
};

struct PropertiesRoad : PlainRoad {
  explicit PropertiesRoad(const char* theName) : name(theName) {}

  std::string name;

  SAPRETURN run() override {
    return SsfQueryProperties(
        bytesOf(name), lengthOf(name), nullptr, nullptr, theOutput.data(), theOutput.length());
  }
};

NamedRoad property(const char* file, const char* name) {
  return {"SsfQueryProperties", file, OnFailure::LengthUntouched, [name] {
            return std::make_unique<PropertiesRoad>(name);
          }};
}

}  // namespace

std::vector<NamedRoad> plainRoads() {
  const auto untouched = OnFailure::Untouched;
  return {
      {"SsfDigest", "digest_attached", untouched, [] { return digest("GOST3411", 0); }},
      {"SsfDigest", "digest_detached", untouched, [] { return digest("GOST-R-34.11-94", 1); }},
      {"SsfDigest", "digest_shortened_name", untouched, [] { return digest("S", 0); }},
      {"SsfDigest", "digest_md2", untouched, [] { return digest("M", 0); }},
      {"SsfDigest", "digest_md5", untouched, [] { return digest("MD5", 0); }},
      {"SsfEncode", "encode", untouched, [] { return std::make_unique<TransferRoad>(&SsfEncode); }},
      {"SsfDecode", "decode", untouched, [] { return std::make_unique<TransferRoad>(&SsfDecode); }},
      {"SsfVersion", "version", untouched, [] { return std::make_unique<VersionRoad>(); }},
      property("properties", "PROPERTIES"),
      property("properties_formats", "FORM"),
      property("properties_hashes", "HASH"),
      property("properties_ciphers", "ENCRALGS"),
      property("properties_popups", "SSF_POPUPS"),
  };
}

std::vector<NamedRoad> plainRefusals() {
  return {
      digestRefusal("refused_digest_no_data", [](DigestRoad& r) { r.input.clear(); }),
      digestRefusal("refused_digest_no_hash_name", [](DigestRoad& r) { r.hash.clear(); }),
      digestRefusal("refused_digest_unknown_hash", [](DigestRoad& r) { r.hash = "SHA1X"; }),
      digestRefusal("refused_digest_format", [](DigestRoad& r) { r.format = "pkcs7"; }),
      transferRefusal("SsfEncode", "refused_encode_no_data", &SsfEncode, "PKCS7"),
      transferRefusal("SsfEncode", "refused_encode_format", &SsfEncode, std::string(257, 'P')),
      transferRefusal("SsfDecode", "refused_decode_no_data", &SsfDecode, "PKCS7"),
      property("refused_property", "XYZ"),
  };
}

}  // namespace qx::test
