#ifndef QX_TOOLS_QXSSF_PAGE_WORDS_H_
#define QX_TOOLS_QXSSF_PAGE_WORDS_H_

#include <string>
#include <string_view>

namespace qx::ssf {

/// Words are the texts of a page in its language. Every text is written in English where it is used; what has
/// no translation stays as it is.
class Words {
 public:
  /// "ru"; everything else is English.
  explicit Words(std::string_view language) : russian_(language == "ru") {}

  std::string operator()(std::string_view english) const;

  bool isRussian() const { return russian_; }

 private:
  bool russian_;
};

}  // namespace qx::ssf

#endif
