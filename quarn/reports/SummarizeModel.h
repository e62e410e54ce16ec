#pragma once

#include <quarn/base/EventDispatcher.h>
#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/datasets/Dataset.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn {

/// Descriptive statistics of the variables of a dataset. The constructors do all the work; Print writes the table out.
///
///   casewise  true: one sample of the observations that are complete in all of the variables, so that all counts are
///             equal; false: each variable over all of its own observations
///
/// An observation counts where its cell is finite. A string variable has its count, of cells with a number, and NaN for
/// the rest; so has, with a count of 0, a variable without observations, if each stands on its own.
///
/// Errors: Status other than "OK", and then an empty Table, for an unknown variable, and for a joint sample without
///         observations.
class QUARN_EXPORT SummarizeModel {
 public:
    MatrixXd Table;  ///< a row per variable: number of observations, mean, standard deviation (n - 1), minimum, maximum
    std::string DatasetName;            ///< of the dataset; empty if it has no form in the locale of the process
    std::vector<std::string> VarNames;  ///< row labels
    std::string Status;                 ///< "OK" or a message

    /// The listed variables, in the listed order.
    SummarizeModel(const std::shared_ptr<Dataset>& dataset, std::vector<std::string>& names, bool casewise);
    /// All variables but the observation ids.
    SummarizeModel(const std::shared_ptr<Dataset>& dataset, bool casewise);

    /// Requires: Status "OK".
    void Print(const EventDispatcher& dispatcher) const;

 private:
    void Summarize(const Dataset& dataset, const std::vector<int>& columns, bool casewise, const std::string& ending);
    bool SummarizeJointly(const Dataset& dataset, const std::vector<int>& columns);
    void SummarizeSeparately(const Dataset& dataset, const std::vector<int>& columns);
};

}  // namespace quarn
