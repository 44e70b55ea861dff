#ifndef QX_TOOLS_MAN_CODES_PAGE_H_
#define QX_TOOLS_MAN_CODES_PAGE_H_

#include <string>
#include <string_view>

namespace qx::manual {

/// asRoff writes a text of the explanations as lines of mdoc: each sentence on its own line, what stands
/// between backticks in quotes, and nothing that roff would take for a request or an escape.
std::string asRoff(std::string_view text);

/// codesPage is the page qxsapssf_codes(7), in mdoc: return codes, results of records and errors of the provider.
std::string codesPage();

}  // namespace qx::manual

#endif
