#pragma once

#ifndef QUARN_WX_CORE
#define QUARN_WX_CORE 1
#endif

#if QUARN_WX_CORE
#include <wx/colour.h>
#endif

namespace quarn {

/// The colour type of the console interface, met here only.
/// wxColour by default; without wxWidgets' core library (QUARN_WX_CORE=0) a plain RGBA value with the same accessors.
#if QUARN_WX_CORE
using Colour = wxColour;
#else
class Colour {
 public:
    constexpr Colour() = default;
    constexpr Colour(unsigned char red, unsigned char green, unsigned char blue, unsigned char alpha = 255)
        : m_red(red), m_green(green), m_blue(blue), m_alpha(alpha) {}
    constexpr unsigned char Red() const { return m_red; }
    constexpr unsigned char Green() const { return m_green; }
    constexpr unsigned char Blue() const { return m_blue; }
    constexpr unsigned char Alpha() const { return m_alpha; }
    friend constexpr bool operator==(const Colour&, const Colour&) = default;

 private:
    unsigned char m_red = 0, m_green = 0, m_blue = 0, m_alpha = 255;
};
#endif

}  // namespace quarn
