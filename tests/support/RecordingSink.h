#pragma once

#include <quarn/base/EventDispatcher.h>

#include <string>
#include <vector>

namespace quarn::testing {

/// Keeps each piece of console output with its style.
class RecordingSink final : public ConsoleSink {
 public:
    struct Piece {
        std::string Text;
        TextStyle Style;
    };
    std::vector<Piece> Pieces;

    void Write(const std::string& text, const TextStyle& style) override { Pieces.push_back({text, style}); }

    std::string Text() const {
        std::string text;
        for (const Piece& piece : Pieces) text += piece.Text;
        return text;
    }
};

}  // namespace quarn::testing
