#ifndef QX_TOOLS_MAN_CODES_GUIDE_H_
#define QX_TOOLS_MAN_CODES_GUIDE_H_

#include <string>

namespace qx::manual {

enum class Language { English, Russian };

/// codesGuide is the guide to errors (docs/errors.md, docs/ru/errors.md), in Markdown: return codes, results of
/// records and errors of the provider, with what they mean, why they come and what to do.
std::string codesGuide(Language language);

}  // namespace qx::manual

#endif
