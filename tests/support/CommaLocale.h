#pragma once

#include <clocale>
#include <initializer_list>
#include <locale>
#include <string>

namespace quarn::testing {

/// Sets the locale if it is installed and its decimal point is a comma.
inline bool SetCommaLocale(const char* name) {
    if (std::setlocale(LC_ALL, name) != nullptr && *std::localeconv()->decimal_point == ',') return true;
    std::setlocale(LC_ALL, "C");
    return false;
}

/// Sets a locale whose decimal point is a comma. False if none is installed.
inline bool SetCommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "es_ES.UTF-8", "it_IT.UTF-8", "pt_BR.UTF-8"})
        if (SetCommaLocale(name)) return true;
    return false;
}

/// While it lives, numbers in streams have a decimal comma and groups of digits, and in C where a locale is installed.
class ForeignNumbers {
 public:
    ForeignNumbers() : IsInC(SetCommaLocale()) {}
    explicit ForeignNumbers(const char* name) : IsInC(SetCommaLocale(name)) {}
    ForeignNumbers(const ForeignNumbers&) = delete;
    ForeignNumbers& operator=(const ForeignNumbers&) = delete;
    ~ForeignNumbers() {
        std::locale::global(m_before);
        std::setlocale(LC_ALL, "C");
    }

    const bool IsInC;

 private:
    struct Numbers : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale m_before = std::locale::global(std::locale(std::locale::classic(), new Numbers));
};

}  // namespace quarn::testing
