// The public headers are whole by themselves, and C++; so is the settings' header.
#include "qxsapssf/config/config.h"
#include "qxsapssf/qx_algorithms.h"
#include "qxsapssf/ssf.h"
#include "tests/abi/record_layout.h"

static_assert(sizeof(gConfig.useCertHash) == 1 && sizeof(gConfig.askPinWhenEmpty) == 1);
static_assert(sizeof(RusCodePage) == 1 && sizeof(NoRev) == 4);
static_assert(noexcept(SsfVersion(nullptr, nullptr)));
static_assert(noexcept(QXGetDefaultGostHashAlgId(nullptr)));
