#ifndef QX_TOOLS_QXSSF_PAGE_HTML_H_
#define QX_TOOLS_QXSSF_PAGE_HTML_H_

#include <string>
#include <string_view>
#include <vector>

namespace qx::ssf {

/// escaped makes any bytes a text in HTML and in XML: what has a meaning there is written as a reference,
/// what cannot be shown as tools::printable writes it.
std::string escaped(std::string_view text);

/// Html writes elements, each of which is ended: a page that is HTML and well-formed XML alike. Names of
/// elements and classes are ours; texts may be anybody's.
class Html {
 public:
  /// begin and end stand around what an element holds.
  void begin(const char* element, const char* style = "");
  void end();

  /// element is a whole one that holds a text.
  void element(const char* name, std::string_view text, const char* style = "");

  /// field is a term and its description in a list of such.
  void field(std::string_view term, std::string_view description);

  /// raw adds markup of ours as it stands.
  void raw(std::string_view markup) { html_ += markup; }

  const std::string& text() const { return html_; }

 private:
  std::string html_;
  std::vector<std::string> open_;
};

}  // namespace qx::ssf

#endif
