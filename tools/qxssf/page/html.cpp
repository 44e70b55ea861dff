#include "tools/qxssf/page/html.h"

#include "tools/common/report.h"

namespace qx::ssf {
namespace {

// U+FFFE and U+FFFF are no characters of XML (XML 1.0, 2.2).
bool isNoCharacter(std::string_view text) {
  return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

}  // namespace

std::string escaped(std::string_view text) {
  const std::string shown = tools::printable(text);
  std::string html;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    switch (shown[i]) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        if (isNoCharacter(std::string_view(shown).substr(i))) {
          html += "\xEF\xBF\xBD";
          i += 2;
        } else {
          html += shown[i];
        }
    }
  }
  return html;
}

void Html::begin(const char* element, const char* style) {
  html_.append("<").append(element);
  if (*style != '\0') {
    html_.append(" class=\"").append(style).append("\"");
  }
  html_.append(">");
  open_.emplace_back(element);
}

void Html::end() {
  html_.append("</").append(open_.back()).append(">\n");
  open_.pop_back();
}

void Html::element(const char* name, std::string_view text, const char* style) {
  begin(name, style);
  html_ += escaped(text);
  end();
}

void Html::field(std::string_view term, std::string_view description) {
  element("dt", term);
  element("dd", description);
}

}  // namespace qx::ssf
