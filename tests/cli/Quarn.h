#pragma once

#include "../support/TemporaryFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <vector>

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

/// A command that fails, its status, and a part of its message.
struct FailingCommand {
    std::string arguments;
    int status;
    std::string message;
};

/// Messages begin with the name of the program, end their line, and stand on standard error alone.
inline void ExpectToFail(const std::vector<FailingCommand>& commands) {
    for (const auto& c : commands) {
        const Outcome outcome = Quarn(c.arguments);
        EXPECT_EQ(outcome.status, c.status) << c.arguments << "\n" << outcome.errors;
        EXPECT_EQ(outcome.output, "") << c.arguments;
        EXPECT_TRUE(outcome.errors.starts_with("quarn: ") && outcome.errors.ends_with("\n")) << outcome.errors;
        EXPECT_NE(outcome.errors.find(c.message), std::string::npos) << c.arguments << "\n" << outcome.errors;
    }
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
