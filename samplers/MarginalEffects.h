#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>

#include <memory>
#include <string>

namespace quarn::samplers {

/// At which points the marginal effects of a model are computed: the argument `type` of CalculateMFX.
enum EffectType : int {
    AverageEffect = 0,  ///< at each row of the points, averaged over them
    EffectAtMeans = 1,  ///< at the mean of the points
    EffectAtPoint = 2,  ///< at one row of them
};

/// The points, a row each, over which effects are averaged: all rows, their mean, or row `at`. Without rows, and with a
/// message, if there are no points, no such type or no such row.
QUARN_SAMPLERS_EXPORT MatrixXd PointsOfEffect(int type, const std::shared_ptr<MatrixXd>& points, int at,
                                              std::string& message, std::string& detail);

/// "Marginal effects on ... at the means of the points", and the like.
QUARN_SAMPLERS_EXPORT std::string DescribeEffect(int type, const std::string& of);

}  // namespace quarn::samplers
