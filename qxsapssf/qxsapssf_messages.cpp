// The message tables (data table). Numbers and English texts are fixed; rows that no operation prints
// stay empty.
#include "qxsapssf/qxsapssf_messages.h"

#include <array>
#include <span>

#include "qxsapssf/cp1251.h"

namespace qx {
namespace {

// clang-format off
constexpr std::array<MessageRow, 7> kErrorMsgsCommon = {{
  /* 100 */ {"Недостаточно памяти.\n"_cp1251, "No enough memory.\n"},
  /* 101 */ {"Не удается открыть файл '%s'."_cp1251, "Can't open file '%s'.", Insert::Text},
  /* 102 */ {"Отменено пользователем.\n"_cp1251, "Canceled by user.\n"},
  /* 103 */ {"Ошибка преобразования BASE64."_cp1251, "Incorrect BASE64 conversion."},
  /* 104 */ {"Ключ '-help' нельзя использовать вместе с другими."_cp1251,
             "You cannot use '-help' argument along with the others."},
  /* 105 */ {"Файл слишком большой.\n"_cp1251, "File is too large.\n"},
  /* 106 */ {"Произошла внутренняя ошибка приложения.\n"_cp1251,
             "An Internal Application Error Has Occured.\n"},
}};

constexpr std::array<MessageRow, 1> kErrorMsgsParse = {{
  /* 200 */ {},
}};

constexpr std::array<MessageRow, 11> kErrorMsgsCert = {{
  /* 300 */ {"Не удается открыть хранилище сертификатов: '%s'.\n"_cp1251,
             "Can't open certificate store: '%s'.\n", Insert::Text},
  /* 301 */ {"Сертификат не найден.\n"_cp1251, "No certificate found.\n"},
  /* 302 */ {"Найдено более одного сертификата."_cp1251, "More than one certificate found."},
  /* 303 */ {"Для команды нужен ровно один сертификат."_cp1251,
             "Command needs only one certificate."},
  /* 304 */ {"Неверный номер.\n"_cp1251, "Wrong number.\n"},
  /* 305 */ {"Нет подходящего сертификата."_cp1251, "No certificate to use."},
  /* 306 */ {"Этот сертификат нельзя использовать для данной операции."_cp1251,
             "This certificate can't be used for current operation."},
  /* 307 */ {"Цепочка этого сертификата не проверена (код ошибки %X):"_cp1251,
             "Certificate chain is not checked for this certificate (error code %X):",
             Insert::Number},
  /* 308 */ {"Не найден криптопровайдер с нужными алгоритмами.\n"_cp1251,
             "CSP that supports required algorithm not found.\n"},
  /* 309 */ {"Ошибка при получении ПИН-кода.\n"_cp1251, "Error while getting pin.\n"},
  /* 310 */ {"Не удается получить закрытый ключ сертификата.\n"_cp1251,
             "Can not get certificate private key.\n"},
}};

constexpr std::array<MessageRow, 1> kErrorMsgsHash = {{
  /* 400 */ {"Неверное значение хеш-функции\n"_cp1251, "Hash is incorrect\n"},
}};

constexpr std::array<MessageRow, 7> kErrorMsgsSign = {{
  /* 500 */ {"Ключ '-start' задан без выходного файла."_cp1251,
             "Key '-start' without output file."},
  /* 501 */ {"Это не подписанное сообщение.\n"_cp1251, "It isn't a signed message.\n"},
  /* 502 */ {"Неверный алгоритм подписи.\n"_cp1251, "Bad signature algorithm.\n"},
  /* 503 */ {"Сертификат подписавшего не найден.\n"_cp1251, "Signer certificate not found.\n"},
  /* 504 */ {"Подпись не найдена.\n"_cp1251, "Signature isn't found.\n"},
  /* 505 */ {"Подпись.\n"_cp1251, "Signature.\n"},
  /* 506 */ {"Неверный штамп времени.\n"_cp1251, "Time stamp is incorrect.\n"},
}};

constexpr std::array<MessageRow, 3> kErrorMsgsEncr = {{
  /* 600 */ {"Это не зашифрованное сообщение.\n"_cp1251, "It isn't encrypted message.\n"},
  /* 601 */ {"Неверный алгоритм шифрования.\n"_cp1251, "Bad encryption algorithm.\n"},
  /* 602 */ {"Сертификат получателя не найден.\n"_cp1251, "Recipient certificate not found.\n"},
}};

constexpr std::array<MessageRow, 1> kErrorMsgsRQST = {{
  /* 700 */ {},
}};

constexpr std::array<MessageRow, 1> kErrorMsgsSN = {{
  /* 800 */ {},
}};

constexpr std::array<std::span<const MessageRow>, 8> kErrorMsgs = {
  kErrorMsgsCommon, kErrorMsgsParse, kErrorMsgsCert, kErrorMsgsHash,
  kErrorMsgsSign,   kErrorMsgsEncr,  kErrorMsgsRQST, kErrorMsgsSN,
};

constexpr std::array<MessageRow, 10> kErrorMsgsCades = {{
  /*  1 */ {"Неверные ссылки на данные об отзыве или сами данные.\n"_cp1251,
            "Invalid revocation references and values.\n"},
  /*  2 */ {"Сертификат подписавшего не найден.\n"_cp1251, "Signer certificate not found.\n"},
  /*  3 */ {"Неверный штамп времени на подпись.\n"_cp1251, "Signature timestamp is incorrect.\n"},
  /*  4 */ {"Ссылки на данные об отзыве и сами данные не соответствуют друг другу.\n"_cp1251,
            "Revocation references and values does not match each other.\n"},
  /*  5 */ {"Не удается построить цепочку сертификата подписавшего до доверенного корневого центра.\n"_cp1251,
            "Signer certificate chain could not be built to a trusted root authority.\n"},
  /*  6 */ {"Не удается проверить сертификат подписавшего.\n"_cp1251,
            "Signer certificate could not be checked.\n"},
  /*  7 */ {"Не удается проверить сертификат.\n"_cp1251, "Certificate could not be checked.\n"},
  /*  8 */ {"Подпись неверна.\n"_cp1251, "Invalid signature.\n"},
  /*  9 */ {"Неверный штамп времени CAdES-C.\n"_cp1251, "CAdES-C timestamp is incorrect.\n"},
  /* 10 */ {"Неверный атрибут content-type.\n"_cp1251, "Incorrect content-type attribute.\n"},
}};

constexpr int kFirstMessage = 100;
constexpr int kMessageCount = 99;

constexpr std::array<MessageRow, kMessageCount> kMsgs = [] {
  std::array<MessageRow, kMessageCount> rows{};
  const auto set = [&rows](int number, const char* russian, const char* english) {
    rows.at(static_cast<std::size_t>(number - kFirstMessage)) = {russian, english};
  };
  set(100, "Ошибка: "_cp1251, "Error: ");
  set(101, ".\nПрограмма командной строки для подписи и шифрования файлов."_cp1251,
      ".\nCommand prompt Utility for file signature and encryption.");
  set(102, "Выберите сертификат (введите его номер и нажмите [ENTER])."_cp1251,
      "Please, choose certificate (type its number and press [ENTER]).");
  set(103, "Действителен с "_cp1251, "Valid from ");
  set(104, " по "_cp1251, " to ");
  set(105, "Имя:"_cp1251, "RDN:");
  set(106, "Номер:"_cp1251, "Number:");
  set(116, "Зашифрованное сообщение создано.\n"_cp1251, "Encrypted message is created.\n");
  set(128, "Подписанное сообщение создано.\n"_cp1251, "Signed message is created.\n");
  set(131, "Проверка подписи... \n"_cp1251, "Signature verifying... \n");
  set(132, " Подпись неверна.\n"_cp1251, " Signature is bad.\n");
  set(134, " Подпись проверена.\n"_cp1251, " Signature's verified.\n");
  set(142, "Неизвестная ошибка.\n"_cp1251, "Unknown error.\n");
  set(143, "Готово.\n"_cp1251, "OK.\n");
  set(144, "Сертификат подписавшего не найден.\n"_cp1251, "Signer certificate not found.\n");
  set(149, "Шифрование данных..."_cp1251, "Encrypting the data...");
  return rows;
}();
// clang-format on

/// The row at an index that may come from anywhere, or `other`.
const MessageRow& rowOr(std::span<const MessageRow> rows,
                        std::size_t index,
                        const MessageRow& other) {
  return index < rows.size() ? rows[index] : other;
}

constexpr const MessageRow& kInternalError = kErrorMsgsCommon[6];
constexpr const MessageRow& kUnknownError = kMsgs[142 - kFirstMessage];

}  // namespace

const MessageRow& errorRow(DWORD number) noexcept {
  const std::size_t group = number / 100;
  if (group < 1 || group > kErrorMsgs.size()) {
    return kInternalError;
  }
  return rowOr(kErrorMsgs.at(group - 1), number % 100, kInternalError);
}

const MessageRow& messageRow(int number) noexcept {
  // A number below the first wraps to an index far behind the last.
  return rowOr(kMsgs, static_cast<std::size_t>(number) - kFirstMessage, kUnknownError);
}

const MessageRow& cadesRow(int number) noexcept {
  return rowOr(kErrorMsgsCades, static_cast<std::size_t>(number) - 1, kUnknownError);
}

}  // namespace qx
