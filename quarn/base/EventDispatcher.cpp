#include <quarn/base/EventDispatcher.h>
#include <quarn/base/TextWidth_detail.h>

#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace quarn {
namespace {

class PlainSink final : public ConsoleSink {
 public:
    explicit PlainSink(std::ostream& stream) : m_stream(stream) {}
    void Write(const std::string& text, const TextStyle&) override { m_stream << text; }

 private:
    std::ostream& m_stream;
};

/// Escape sequences are set and reset within each line, so that a pager or a scrolled screen never inherits them. Tabs
/// are expanded in a band: a terminal moves over a tab without painting it.
class AnsiSink final : public ConsoleSink {
 public:
    explicit AnsiSink(std::ostream& stream) : m_stream(stream) {}

    void Write(const std::string& text, const TextStyle& style) override {
        const std::string start = StartSequence(style);
        std::string_view rest = text;
        while (!rest.empty()) {
            const auto lineEnd = rest.find('\n');
            const std::string_view line = rest.substr(0, lineEnd);
            if (!line.empty()) WriteLine(line, start, style.Background.has_value());
            if (lineEnd == std::string_view::npos) break;
            m_stream << '\n';
            rest.remove_prefix(lineEnd + 1);
        }
        m_stream.flush();
    }

 private:
    void WriteLine(std::string_view line, const std::string& start, bool band) {
        if (start.empty()) {
            m_stream << line;
            return;
        }
        m_stream << start << (band ? detail::ExpandTabsAndPad(line, EventDispatcher::LineWidth) : std::string(line))
                 << "\x1b[0m";
    }

    /// A background is always the same dark grey with light text: legible, and unobtrusive, on dark and light terminals
    /// alike, which the light colours that reports ask for are not. Black text is the terminal's own colour.
    static std::string StartSequence(const TextStyle& style) {
        std::string codes;
        const auto add = [&codes](const std::string& code) { codes += (codes.empty() ? "" : ";") + code; };
        if (style.Emphasis) add("1");
        if (style.Background) {
            add("48;5;236;38;5;252");
        } else if (style.Foreground) {
            const int red = style.Foreground->Red(), green = style.Foreground->Green(), blue = style.Foreground->Blue();
            if (red + green + blue > 0)
                add("38;2;" + std::to_string(red) + ";" + std::to_string(green) + ";" + std::to_string(blue));
        }
        return codes.empty() ? codes : "\x1b[" + codes + "m";
    }

    std::ostream& m_stream;
};

bool StandardOutputIsStyled() {
    const char* const noColour = std::getenv("NO_COLOR");
    if (noColour != nullptr && *noColour != '\0') return false;
    const char* const term = std::getenv("TERM");
    return term != nullptr && *term != '\0' && std::string_view(term) != "dumb" && isatty(STDOUT_FILENO) == 1;
}

}  // namespace

std::shared_ptr<ConsoleSink> MakeStreamSink(std::ostream& stream, TerminalStyle style) {
    if (style == TerminalStyle::Ansi) return std::make_shared<AnsiSink>(stream);
    return std::make_shared<PlainSink>(stream);
}

std::shared_ptr<ConsoleSink> MakeStandardSink() {
    return MakeStreamSink(std::cout, StandardOutputIsStyled() ? TerminalStyle::Ansi : TerminalStyle::None);
}

EventDispatcher::EventDispatcher() : EventDispatcher(MakeStandardSink()) {}

EventDispatcher::EventDispatcher(std::shared_ptr<ConsoleSink> sink) : m_sink(std::move(sink)) {}

void EventDispatcher::Print(const std::string& text, bool emphasised) {
    m_sink->Write(text, {.Emphasis = emphasised, .Foreground = {}, .Background = {}});
}

void EventDispatcher::PrintBG(const std::string& text, const Colour& background) {
    m_sink->Write(text, {.Emphasis = false, .Foreground = {}, .Background = background});
}

void EventDispatcher::PrintColor(const std::string& text, const Colour& colour, bool emphasised) {
    m_sink->Write(text, {.Emphasis = emphasised, .Foreground = colour, .Background = {}});
}

void EventDispatcher::PrintLine() { Print(std::string(LineWidth, '-') + '\n', false); }

void EventDispatcher::PrintNewLine() { Print("\n", false); }

void EventDispatcher::PrintModel(const std::string& heading, const std::string& name) {
    const bool separated = name.empty() || heading.empty() || heading.ends_with(' ');
    Print(separated ? heading : heading + ": ", true);
    Print(name + '\n', false);
}

}  // namespace quarn
