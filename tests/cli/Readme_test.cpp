#include "Quarn.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <unistd.h>

namespace {

using quarn::testing::Outcome;
using quarn::testing::Quarn;

struct Session {
    std::string Command, Output;
};

/// The commands "$ quarn ..." in blocks of the kind console, with what stands below them.
std::vector<Session> SessionsOf(const std::string& page) {
    std::ifstream stream(page);
    std::vector<Session> sessions;
    bool inside = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("```")) {
            inside = line == "```console";
        } else if (inside && line.starts_with("$ quarn ")) {
            sessions.push_back({line.substr(8), ""});
        } else if (inside && !sessions.empty()) {
            sessions.back().Output += line + '\n';
        }
    }
    return sessions;
}

/// Tabs as the page may have them, no blanks at the ends of lines and no empty lines at the end; no elapsed times.
std::string Comparable(const std::string& text) {
    std::string plain = std::regex_replace(text, std::regex("Elapsed time \\(sec\\.\\): +[0-9.]+"), "Elapsed time");
    plain = std::regex_replace(plain, std::regex("[ \t]+\n"), "\n");
    while (plain.ends_with("\n\n")) plain.pop_back();
    return plain;
}

TEST(Readme, ShowsSessionsAsTheyAre) {
    const auto sessions = SessionsOf(QUARN_SOURCE_DIR "/README.md");
    ASSERT_FALSE(sessions.empty());
    ASSERT_EQ(chdir(QUARN_SOURCE_DIR), 0);
    for (const Session& session : sessions) {
        const Outcome outcome = Quarn(session.Command);
        EXPECT_EQ(outcome.status, 0) << session.Command << '\n' << outcome.errors;
        EXPECT_EQ(Comparable(outcome.output), Comparable(session.Output)) << session.Command;
    }
}

}  // namespace
