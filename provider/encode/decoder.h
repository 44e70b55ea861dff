#ifndef QX_PROVIDER_ENCODE_DECODER_H_
#define QX_PROVIDER_ENCODE_DECODER_H_

#include "provider/der/reader.h"
#include "provider/message/param_output.h"
#include "provider/result.h"

namespace qx {

/// A ValueDecoder reads one element and writes the record that stands for it.
using ValueDecoder = Result<void> (*)(const der::Element& element, ParamOutput& out);

/// decoderFor finds the decoder of a type that CryptDecodeObject was given: a small number in the
/// place of a pointer, or the OID of an attribute or extension. Null when there is none.
ValueDecoder decoderFor(LPCSTR structType);

// The decoders, by what they write.
Result<void> decodeUtcTime(const der::Element& element, ParamOutput& out);
Result<void> decodeAnyTime(const der::Element& element, ParamOutput& out);
Result<void> decodeOctets(const der::Element& element, ParamOutput& out);
Result<void> decodeOid(const der::Element& element, ParamOutput& out);
Result<void> decodeInteger(const der::Element& element, ParamOutput& out);
Result<void> decodeEnumerated(const der::Element& element, ParamOutput& out);
Result<void> decodeLongInteger(const der::Element& element, ParamOutput& out);
Result<void> decodeLongUnsigned(const der::Element& element, ParamOutput& out);
Result<void> decodeBits(const der::Element& element, ParamOutput& out);
Result<void> decodeAlgorithm(const der::Element& element, ParamOutput& out);
Result<void> decodePublicKey(const der::Element& element, ParamOutput& out);
Result<void> decodeUsages(const der::Element& element, ParamOutput& out);
Result<void> decodeAttribute(const der::Element& element, ParamOutput& out);
Result<void> decodeAttributes(const der::Element& element, ParamOutput& out);
Result<void> decodeName(const der::Element& element, ParamOutput& out);
Result<void> decodeWideName(const der::Element& element, ParamOutput& out);

}  // namespace qx

#endif
