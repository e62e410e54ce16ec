#pragma once

#include <quarn/base/Export.h>

/// The cells of TRUNCN_x, TRUNCN_yl and TRUNCN_yu once more, as the usual case of a draw reads them: on one cache line,
/// and with a quotient worked out.
namespace quarn::detail {

struct alignas(32) TruncatedNormalCell {
    double x;      ///< lower end
    double slope;  ///< w yu / yl, with w the width: x + slope u is the abscissa of the point of height u yu, if that is
                   ///< below yl; 0 in the open cell
    double yl;     ///< lower bound of the density
    double yu;     ///< upper bound of the density
};

extern const TruncatedNormalCell* const truncatedNormalCells;

}  // namespace quarn::detail
