#pragma once

#include <quarn/base/Types.h>

#include <samplers/Generator.h>

namespace quarn::samplers {

/// The state of one chain of a sampler, and how it moves. A chain is used by one thread at a time and shares nothing
/// that changes with others; the data, which it reads, must live as long as it does (share them by std::shared_ptr).
class Chain {
 public:
    Chain() = default;
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;
    virtual ~Chain() = default;

    /// One iteration: the state is replaced by a draw given the state. Allocates nothing where it can.
    /// Errors: throws what ends the run; its what() is the reason that the user reads.
    virtual void Step(Generator& generator) = 0;

    /// Writes the parameters of the present state, one element per name of the sampler's draws.
    virtual void Store(Eigen::Ref<VectorXd> draw) const = 0;
};

}  // namespace quarn::samplers
