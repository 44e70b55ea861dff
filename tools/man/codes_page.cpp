#include "tools/man/codes_page.h"

#include <span>

#include "tools/man/code_number.h"
#include "tools/qxssf/explanations.h"

namespace qx::manual {
namespace {

constexpr std::string_view kPageHead =
    R"(.\" Written by tools/man from the tables of tools/qxssf/explanations.h.
.Dd November 21, 2026
.Dt QXSAPSSF_CODES 7
.Os
.Sh NAME
.Nm qxsapssf_codes
.Nd what the numbers of the SSF library mean
.Sh DESCRIPTION
A function of
.Xr qxsapssf 7
returns one number, leaves one in the record of each signer or recipient, and writes errors of the provider into the
trace.
A number has an entry for each group of operations in which it means something else; an entry that names no
operation holds for all others.
.Ic qxssf explain
.Ar number
shows the same, in Russian, too.
)";

constexpr std::string_view kTail = R"(.Sh SEE ALSO
.Xr qxssf 1 ,
.Xr provider.conf 5 ,
.Xr qxsapssf 7
)";

void appendEntry(std::string& page, const ssf::Explanation& row) {
  page += ".It " + numberOf(row.code) + " Dv " + row.name;
  if (*row.operations != '\0') {
    page += std::string(" Pq Cm ") + row.operations;
  }
  page += "\n" + asRoff(row.meaning.english);
  // A row that needs no cause has a dash for it.
  if (std::string_view(row.causes.english) != "-") {
    page += ".Pp\n.Em Causes :\n" + asRoff(row.causes.english);
  }
  page += ".Pp\n.Em Remedy :\n" + asRoff(row.remedy.english);
}

void appendTable(std::string& page,
                 std::string_view title,
                 std::span<const ssf::Explanation> table) {
  page.append(".Sh ").append(title).append("\n.Bl -tag -width Ds\n");
  for (const ssf::Explanation& row : table) {
    appendEntry(page, row);
  }
  page += ".El\n";
}

}  // namespace

std::string asRoff(std::string_view text) {
  std::string lines;
  bool isQuoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool beginsLine = lines.empty() || lines.back() == '\n';
    if (c == '`') {
      lines += isQuoted ? "\\(cq" : "\\(oq";
      isQuoted = !isQuoted;
    } else if (c == '\\') {
      lines += "\\e";
    } else if (c == '-' && isQuoted) {
      lines += "\\-";  // a plain one becomes a hyphen, which no shell knows
    } else if ((c == '.' || c == '\'') && beginsLine) {
      lines.append("\\&").append(1, c);
    } else if (c == ' ' && !isQuoted && text.substr(0, i).ends_with('.')) {
      lines += '\n';
    } else {
      lines += c;
    }
  }
  lines += '\n';
  return lines;
}

std::string codesPage() {
  std::string page(kPageHead);
  appendTable(page, "RETURN CODES", ssf::returnCodes());
  appendTable(page, "RESULTS OF RECORDS", ssf::recordResults());
  appendTable(page, "ERRORS OF THE PROVIDER", ssf::providerErrors());
  page += kTail;
  return page;
}

}  // namespace qx::manual
