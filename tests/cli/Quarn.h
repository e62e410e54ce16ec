#pragma once

#include "../support/TemporaryFile.h"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace quarn::testing {

struct Outcome {
    int status;
    std::string output, errors;
};

/// Runs quarn with arguments as a shell takes them.
inline Outcome Quarn(const std::string& arguments, const std::string& input = "</dev/null") {
    const TemporaryFile output, errors;
    const int status = std::system((std::string("TERM=xterm-256color " QUARN_COMMAND " ") + arguments + " " + input +
                                    " >" + output.Path() + " 2>" + errors.Path())
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output.Read(), errors.Read()};
}

/// The table row of a label with single blanks between its cells.
inline std::string Row(const std::string& page, const std::string& label) {
    const auto begin = page.find("\n" + label + " ");
    std::string row;
    for (const char c : page.substr(begin + 1, page.find('\n', begin + 1) - begin - 1)) {
        const bool blank = c == ' ' || c == '\t';
        if (!blank || row.back() != ' ') row += blank ? ' ' : c;
    }
    return row;
}

}  // namespace quarn::testing
