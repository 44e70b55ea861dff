#ifndef QX_QXSAPSSF_QXSAPSSF_PRINT_H_
#define QX_QXSAPSSF_QXSAPSSF_PRINT_H_

namespace qx {

/// PrintString prints one message: its Russian text, to standard output in the locale's charset when
/// RusCodePage is set, else (or when it cannot be converted) as it stands to the trace. englishText and
/// flag are ignored. A NULL text prints nothing.
void PrintString(const char* text, const char* englishText, int flag) noexcept;

/// PrintMessage prints the general message of a number.
void PrintMessage(int number, int flag) noexcept;

/// PrintCadesErrorMessage prints the message of a CAdES verification status.
void PrintCadesErrorMessage(int number, int flag) noexcept;

}  // namespace qx

#endif
