#pragma once
// A locale whose decimal point is a comma, for a scope.

#include <clocale>
#include <cstdlib>
#include <string>

#include "support/support.hpp"

namespace mbtest {

// Switches LC_NUMERIC to it; made on the spot because it differs from machine to machine which are
// installed. Puts the old one back at the end.
class CommaLocale {
public:
    CommaLocale() : before(std::setlocale(LC_NUMERIC, nullptr)) {
        const std::string source = folder.write("comma.src", "LC_NUMERIC\n"
                                                             "decimal_point \",\"\n"
                                                             "thousands_sep \".\"\n"
                                                             "grouping 3;3\n"
                                                             "END LC_NUMERIC\n");
        // It warns of the categories that the source leaves out, and writes the locale.
        const std::string command =
            "localedef -c -i '" + source + "' '" + folder.at("comma") + "' >/dev/null 2>&1";
        if (std::system(command.c_str()) < 0) return;
        for (const char* name : {"comma", "de_DE.UTF-8", "fr_FR.UTF-8"})
            if (!found) found = std::setlocale(LC_NUMERIC, name) != nullptr;
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    ~CommaLocale() { std::setlocale(LC_NUMERIC, before.c_str()); }

    bool found = false;

private:
    TempDir folder;
    ScopedEnv path{{{"LOCPATH", folder.path()}}};
    std::string before;
};

}  // namespace mbtest
