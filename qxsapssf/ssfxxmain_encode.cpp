#include "qxsapssf/frame.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

/// What the two directions do not share: their names.
enum class Direction { Encode, Decode };

const char* nameOf(Direction direction) noexcept {
  return direction == Direction::Encode ? "SsfEncode" : "SsfDecode";
}

SAPRETURN checkLength(Direction direction, SsfOctetlen length) noexcept {
  if (length >= 1) {
    return SSF_API_OK;
  }
  if (direction == Direction::Encode) {
    QX_TRACE(nameOf(direction), "#error#: ostrInputDataL <= 0\n");
  } else {
    QX_TRACE(nameOf(direction), "#error#: ostrEncodedDataL <= 0\n");
  }
  return SSF_API_INVALID_INPUT;
}

struct TransferArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  const SAP_B8* input;
  SsfOctetlen inputLength;
};

SAPRETURN checkArguments(Direction direction, const TransferArguments& arguments) noexcept {
  SAPRETURN code = checkFormat(arguments.format, arguments.formatLength);
  if (code == SSF_API_OK) {
    code = checkLength(direction, arguments.inputLength);
  }
  if (code == SSF_API_OK && !hasInput(nameOf(direction), arguments.input)) {
    code = SSF_API_INVALID_INPUT;
  }
  return code;
}

/// The transfer encoding is the identity: both directions copy.
SAPRETURN transfer(Direction direction,
                   const TransferArguments& arguments,
                   SAP_B8** output,
                   SsfOctetlen* outputLength) noexcept {
  const char* name = nameOf(direction);
  return runOperation(name, [&](Frame& /*frame*/) -> SAPRETURN {
    if (!clearOutputLength(name, output, outputLength)) {
      return SSF_API_INVALID_INPUT;
    }
    const SAPRETURN code = checkArguments(direction, arguments);
    if (code != SSF_API_OK) {
      return code;
    }
    OwnedBytes copy =
        OwnedBytes::copyOf(arguments.input, static_cast<std::size_t>(arguments.inputLength));
    if (!copy) {
      return failedCall(name, SSF_API_NO_MEMORY);
    }
    handOver(copy, output, outputLength);
    return SSF_API_OK;
  });
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfEncode(SAP_B8* format,
                    SsfOctetlen formatLength,
                    SAP_B8* ostrInputData,
                    SsfOctetlen ostrInputDataL,
                    SAP_B8** ostrEncodedData,
                    SsfOctetlen* ostrEncodedDataL) noexcept {
  return qx::transfer(qx::Direction::Encode,
                      {.format = format,
                       .formatLength = formatLength,
                       .input = ostrInputData,
                       .inputLength = ostrInputDataL},
                      ostrEncodedData,
                      ostrEncodedDataL);
}

SAPRETURN SsfDecode(SAP_B8* format,
                    SsfOctetlen formatLength,
                    SAP_B8* ostrEncodedData,
                    SsfOctetlen ostrEncodedDataL,
                    SAP_B8** ostrOutputData,
                    SsfOctetlen* ostrOutputDataL) noexcept {
  return qx::transfer(qx::Direction::Decode,
                      {.format = format,
                       .formatLength = formatLength,
                       .input = ostrEncodedData,
                       .inputLength = ostrEncodedDataL},
                      ostrOutputData,
                      ostrOutputDataL);
}

// NOLINTEND(readability-non-const-parameter)
