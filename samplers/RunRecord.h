#pragma once

#include <quarn/models/Model.h>

#include <samplers/Export.h>

#include <cstdint>

namespace quarn::samplers {

/// How the draws of a model came about, kept in its hidden element "run" (6 x 1: the fields in their order, the seed as
/// its unsigned 32-bit halves, the high one first).
struct RunRecord {
    std::int64_t Chains = 1;
    std::int64_t Draws = 0;  ///< per chain
    std::int64_t Burnin = 0;
    std::int64_t Thin = 1;
    std::int64_t Seed = 0;
};

QUARN_SAMPLERS_EXPORT void StoreRunRecord(const RunRecord& record, Model& model);

/// The record of a model. Where it has none, or one that does not fit its draws, they count as one chain.
QUARN_SAMPLERS_EXPORT RunRecord GetRunRecord(const Model& model);

}  // namespace quarn::samplers
