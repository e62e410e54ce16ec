#pragma once

#include <quarn/base/EventDispatcher.h>
#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <string>
#include <vector>

namespace quarn {

/// Posterior probabilities of M models, proportional to exp(l(i)) q(i), from their log marginal likelihoods l and prior
/// probabilities q. The constructor does all the work; Print writes the table out.
class QUARN_EXPORT CompareModels {
 public:
    MatrixXd Results;                     ///< M x 3: log marginal likelihood, prior as given, posterior probability
    std::vector<std::string> ModelNames;  ///< M
    std::vector<std::string> MLTypes;     ///< M: how each log marginal likelihood was approximated
    VectorXd LogML;                       ///< M

    /// Requires: M entries in each argument; M >= 1; priors not negative, of any sum, since only their ratios count; at
    ///           least one above 0. Not tested.
    /// Ensures:  posteriors in [0, 1] of sum 1, up to rounding, however far apart the models are: by the chain of odds of
    ///           neighbours where that neither over- nor underflows, else in ascending order. NaN throughout where a weight
    ///           exp(l(i)) q(i) is NaN, all are 0, or two are infinite.
    CompareModels(const std::vector<std::string>& names, const std::vector<std::string>& types, const VectorXd& logML,
                  const VectorXd& priors);

    void Print(const EventDispatcher& dispatcher) const;
};

}  // namespace quarn
