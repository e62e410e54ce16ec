#pragma once

#include <quarn/base/Colour.h>
#include <quarn/base/Export.h>

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace quarn {

/// How a piece of text is to look. An absent colour is the console's own.
struct TextStyle {
    bool Emphasis = false;
    std::optional<Colour> Foreground;
    std::optional<Colour> Background;
};

/// Where console output ends up: a terminal, a file, a window of the host application, a test.
class QUARN_EXPORT ConsoleSink {
 public:
    virtual ~ConsoleSink() = default;
    /// Writes UTF-8 text as it stands; a line ends where the text has a line feed.
    virtual void Write(const std::string& text, const TextStyle& style) = 0;
};

/// Whether a stream sink may use the escape sequences of a terminal.
enum class TerminalStyle { None, Ansi };

/// A sink that writes to a stream, which must outlive it. None: the text alone, byte for byte. Ansi: emphasis is bold,
/// a background is a dim band over the whole width of a table, and every line of a table keeps its columns.
QUARN_EXPORT std::shared_ptr<ConsoleSink> MakeStreamSink(std::ostream& stream, TerminalStyle style);

/// A sink on standard output, styled when that is a terminal, NO_COLOR is unset or empty, and TERM is set and not
/// "dumb".
QUARN_EXPORT std::shared_ptr<ConsoleSink> MakeStandardSink();

/// All console output of the library goes through one of these. A value: copies share one sink.
/// Threads: as safe as the sink; those made here serve one thread at a time.
class QUARN_EXPORT EventDispatcher {
 public:
    /// Width of a rule, and of the results tables that stand between rules.
    static constexpr int LineWidth = 92;

    EventDispatcher();  ///< on standard output
    explicit EventDispatcher(std::shared_ptr<ConsoleSink> sink);

    void Print(const std::string& text, bool emphasised);
    void PrintBG(const std::string& text, const Colour& background);
    void PrintColor(const std::string& text, const Colour& colour, bool emphasised);
    void PrintLine();     ///< a rule, with its line end
    void PrintNewLine();  ///< a line end
    /// The heading line of a report: heading, emphasised, then the name of its subject, and a line end. A heading that
    /// does not end in a blank gets ": " before a name.
    void PrintModel(const std::string& heading, const std::string& name);

 private:
    std::shared_ptr<ConsoleSink> m_sink;
};

}  // namespace quarn
