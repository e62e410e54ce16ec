#pragma once

#include <clocale>
#include <initializer_list>

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

}  // namespace quarn::testing
