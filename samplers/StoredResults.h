#pragma once

#include <quarn/base/Types.h>
#include <quarn/models/Model.h>

#include <samplers/Export.h>

#include <string>
#include <vector>

namespace quarn::samplers {

/// Whether a model has draws of at least so many columns. Models are made of what a file held, too: a file may be damaged,
/// or be the work of another program. Every member that reads results asks first.
///
///   kind  "a binary probit", say; for the message
///
/// False, with a message, if it has not, or if least is negative.
QUARN_SAMPLERS_EXPORT bool HasDraws(const Model& model, Eigen::Index least, const std::string& kind,
                                    std::string& message);

/// The sum of stored sizes, in 64 bits; -1 if there are none, or if one is negative or the sum is 0.
QUARN_SAMPLERS_EXPORT Eigen::Index SumOfSizes(const std::vector<int>& sizes);

}  // namespace quarn::samplers
