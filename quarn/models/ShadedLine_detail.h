#pragma once

#include <quarn/base/EventDispatcher.h>

#include <string>

namespace quarn::detail {

/// Prints a row of a table, either plain or on the shade that tells it from its neighbours.
inline void PrintRow(EventDispatcher& output, const std::string& line, bool isShaded) {
    if (isShaded)
        output.PrintBG(line, Colour(230, 230, 240, 255));
    else
        output.Print(line, false);
}

}  // namespace quarn::detail
