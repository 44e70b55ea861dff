#include "tools/man/codes_guide.h"

#include <span>
#include <string_view>

#include "tools/man/code_number.h"
#include "tools/qxssf/explanations.h"

namespace qx::manual {
namespace {

using ssf::Text;

constexpr Text kGuideHead = {
    R"(# What the numbers mean

<!-- Written by tools/man from the tables of tools/qxssf/explanations.h. -->

A call returns one number, leaves one in the record of each signer or recipient, and the provider's errors stand in the
trace. The same number can mean different things in different operations; an entry that names no operation holds for
all others. `qxssf explain NUMBER` shows the same in the terminal, `qxssf doctor` finds out what is wrong.
)",
    R"(# Что означают коды

<!-- Written by tools/man from the tables of tools/qxssf/explanations.h. -->

Вызов возвращает один код, ещё один остаётся в записи каждого подписавшего или получателя, а ошибки провайдера видны в
трассе. Один и тот же код в разных операциях может значить разное; строка без имён операций относится ко всем
остальным. `qxssf explain КОД` показывает то же самое в терминале, `qxssf doctor` находит, что не в порядке.
)"};
constexpr Text kCodes = {"Return codes", "Коды возврата"};
constexpr Text kResults = {"Results of records", "Результаты записей"};
constexpr Text kErrors = {"Errors of the provider", "Ошибки провайдера"};
constexpr Text kCauses = {"Causes", "Причины"};
constexpr Text kRemedy = {"What to do", "Что делать"};

class Guide {
 public:
  explicit Guide(Language language)
      : isRussian_(language == Language::Russian), out_(in(kGuideHead)) {}

  void append(const Text& title, std::span<const ssf::Explanation> table) {
    out_.append("\n## ").append(in(title)).append("\n");
    for (const ssf::Explanation& row : table) {
      append(row);
    }
  }

  const std::string& text() const { return out_; }

 private:
  std::string_view in(const Text& text) const { return isRussian_ ? text.russian : text.english; }

  void append(const ssf::Explanation& row) {
    out_.append("\n### ").append(numberOf(row.code)).append(" `").append(row.name).append("`");
    if (*row.operations != '\0') {
      out_.append(" (").append(row.operations).append(")");
    }
    out_.append("\n\n").append(in(row.meaning)).append("\n");
    // A row that needs no cause has a dash for it.
    if (in(row.causes) != "-") {
      out_.append("\n- ").append(in(kCauses)).append(": ").append(in(row.causes)).append("\n");
    } else {
      out_.append("\n");
    }
    out_.append("- ").append(in(kRemedy)).append(": ").append(in(row.remedy)).append("\n");
  }

  bool isRussian_;
  std::string out_;
};

}  // namespace

std::string codesGuide(Language language) {
  Guide guide(language);
  guide.append(kCodes, ssf::returnCodes());
  guide.append(kResults, ssf::recordResults());
  guide.append(kErrors, ssf::providerErrors());
  return guide.text();
}

}  // namespace qx::manual
