#include <quarn/base/LargeTables_detail.h>
#include <quarn/base/Resizing_detail.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/Lags_detail.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/datasets/PanelOrder_detail.h>
#include <quarn/datasets/PanelSample_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <numeric>

namespace quarn {
namespace {

using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr int NoRow = -1;
constexpr double NoId = -1.0;  ///< of a period that no observation stands for

/// The checks that all time-series preparations begin with.
std::string CheckTimeStructure(Dataset& dataset, std::vector<std::string>& names) {
    if (dataset.ListContainsStringVariables(names)) return StatusTexts::NonNumericVariables;
    if (dataset.DatasetType == detail::CrossSectionType)
        return StatusTexts::DatasetNamed + detail::ToSavedName(dataset.Name) + StatusTexts::NoTimeStructure +
               StatusTexts::ModelThatNeedsTime;
    return detail::RefreshDeclaration(dataset);
}

/// The periods from the first to the last one. Observations whose time is not finite stand for none.
struct Periods {
    double Range = 0.0;  ///< last less first
    bool HaveGaps = false;

    explicit Periods(const Eigen::Ref<const VectorXd>& times) {
        double first = std::numeric_limits<double>::infinity(), last = -first, count = 0.0;
        for (const double time : times) {
            if (!std::isfinite(time)) continue;
            first = std::min(first, time);
            last = std::max(last, time);
            count += 1.0;
        }
        Range = last - first;  // minus infinity if there is none
        HaveGaps = count <= Range;
    }
};

/// The rows of a prepared series: observations by ascending time, those without a time last, and NoRow for each period
/// that was put in between.
struct Timeline {
    std::vector<int> Rows;
    std::vector<double> Times;
};

/// The order of the observations by time.
std::vector<int> OrderByTime(const Eigen::Ref<const VectorXd>& times) {
    if (times.allFinite()) {
        const VectorXd oneGroup = VectorXd::Zero(times.size());
        std::vector<int> starts;
        return detail::PanelOrder(oneGroup.data(), times.data(), times.size()).Rows(starts);
    }
    const VectorXi order = SortIndex(times);
    return {order.begin(), order.end()};
}

Timeline InOrder(const Eigen::Ref<const VectorXd>& times) {
    Timeline line{OrderByTime(times), {}};
    line.Times.reserve(line.Rows.size());
    for (const int row : line.Rows) line.Times.push_back(times(row));
    return line;
}

/// A row for every period between the first and the last one. Throws: std::bad_alloc, also for more rows than an int
/// can count.
Timeline WithoutGaps(const Timeline& line, double range) {
    if (!(range + static_cast<double>(line.Rows.size()) < std::numeric_limits<int>::max())) throw std::bad_alloc();
    Timeline filled;
    filled.Rows.reserve(line.Rows.size() + static_cast<std::size_t>(range));
    filled.Times.reserve(line.Rows.size() + static_cast<std::size_t>(range));
    for (std::size_t i = 0; i < line.Rows.size(); ++i) {
        const double distance = i == 0 ? 0.0 : line.Times[i] - line.Times[i - 1];  // not finite beside such times
        for (double period = 1.0; std::isfinite(distance) && period < distance; period += 1.0) {
            filled.Rows.push_back(NoRow);
            filled.Times.push_back(line.Times[i - 1] + period);
        }
        filled.Rows.push_back(line.Rows[i]);
        filled.Times.push_back(line.Times[i]);
    }
    return filled;
}

template <class Target>
void Gather(const double* cells, const std::vector<int>& rows, double inserted, Target&& target) {
    double* cell = target.data();
    for (const int row : rows) *cell++ = row == NoRow ? inserted : cells[row];
}

/// Moves a column down by lag rows, or up by -lag; the rows that nothing comes to are NaN.
void Move(const VectorXd& column, Index lag, Eigen::Ref<VectorXd> moved) {
    const Index lost = std::min(std::abs(lag), column.size()), kept = column.size() - lost;
    if (lag >= 0) {
        moved.head(lost).setConstant(NaN);
        moved.tail(kept) = column.head(kept);
    } else {
        moved.head(kept) = column.tail(kept);
        moved.tail(lost).setConstant(NaN);
    }
}

std::vector<int> NonFinite(const Eigen::Ref<const VectorXd>& column) {
    std::vector<int> rows;
    for (Index row = 0; row < column.size(); ++row)
        if (!std::isfinite(column(row))) rows.push_back(static_cast<int>(row));
    return rows;
}

Index CountColumns(const std::vector<VectorXi>& lags) {
    return std::accumulate(lags.begin(), lags.end(), Index{0},
                           [](Index count, const VectorXi& list) { return count + list.size(); });
}

/// The columns of the listed variables, the independent ones behind the others.
struct Selection {
    std::vector<int> Dependent, Independent;

    Selection(const Dataset& dataset, const std::vector<std::string>& names, int numIndependent)
        : Dependent(detail::FindColumns(dataset.VarNames, names)) {
        const auto first = Dependent.end() - numIndependent;
        Independent.assign(first, Dependent.end());
        Dependent.erase(first, Dependent.end());
    }
};

bool AreComplete(const Dataset& dataset, const std::vector<int>& columns) {
    return std::all_of(columns.begin(), columns.end(),
                       [&dataset](int column) { return dataset.Data.col(column).allFinite(); });
}

/// Whether the variables from position first on, in the order of the names, are constant terms, columns of 1: only their
/// values are known in a period without an observation.
bool AreConstantFrom(int first, const Dataset& dataset, const std::vector<std::string>& names) {
    const std::vector<int> columns = detail::FindColumns(dataset.VarNames, names);
    return std::all_of(columns.begin() + std::min<std::ptrdiff_t>(first, std::ssize(columns)), columns.end(),
                       [&dataset](int column) { return dataset.CheckConstant(column); });
}

/// The requested columns by the rows of line, and the missing rows of each dependent variable.
void FillColumns(const Dataset& dataset, const Selection& selection, const std::vector<VectorXi>& lags,
                 const Timeline& line, MatrixXd& data, std::vector<std::vector<int>>& missing) {
    const auto n = static_cast<Index>(line.Rows.size());
    detail::ResizeUninitialised(data, n, CountColumns(lags));
    VectorXd column(n);
    Index next = 0;
    for (std::size_t k = 0; k < selection.Dependent.size(); ++k) {
        Gather(dataset.Data.col(selection.Dependent[k]).data(), line.Rows, NaN, column);
        const Index first = next;
        for (const int lag : lags[k]) Move(column, lag, data.col(next++));
        missing.push_back(next > first ? NonFinite(data.col(first)) : std::vector<int>());
    }
    const Index firstIndependent = data.cols() - std::ssize(selection.Independent);
    while (next < firstIndependent) data.col(next++).setConstant(NaN);
    for (const int independent : selection.Independent)
        Gather(dataset.Data.col(independent).data(), line.Rows, 1.0, data.col(next++));
}

}  // namespace

std::string Dataset::Prepare_TimeSeries(std::vector<std::string>& names, std::vector<VectorXi>& lags,
                                        int numIndependent, MatrixXd& data, MatrixXd& ids, VectorXd& time,
                                        MatrixXi& /*unused*/, std::vector<std::vector<int>>& missing,
                                        std::vector<std::string>& warnings, int impute) {
    if (std::string status = CheckTimeStructure(*this, names);
        status != StatusTexts::OK && status != StatusTexts::UnknownDatasetType)
        return status;
    if (DatasetType != detail::TimeSeriesType) return StatusTexts::InternalTimeSeries;
    if (NumObs == 0) return StatusTexts::NoData;

    VectorXd codes;
    const Eigen::Map<const VectorXd> times(detail::TimeCells(*this, codes), NumObs);
    const Periods periods(times);
    if (periods.HaveGaps && impute == 0) warnings.emplace_back(StatusTexts::GapsAreIgnored);
    if (std::any_of(lags.end() - numIndependent, lags.end(),
                    [](const VectorXi& list) { return list.size() == 0 || (list.array() != 0).any(); }))
        return StatusTexts::InternalTimeSeries;

    const Selection selection(*this, names, numIndependent);
    if (!AreComplete(*this, selection.Independent)) return StatusTexts::MissingIndependent;
    if (!AreComplete(*this, selection.Dependent)) warnings.emplace_back(StatusTexts::DependentAreImputed);

    Timeline line = InOrder(times);
    if (impute >= 1 && periods.HaveGaps) {
        if (!AreConstantFrom(impute, *this, names)) return StatusTexts::IndependentNotImputed;
        line = WithoutGaps(line, periods.Range);
    }
    FillColumns(*this, selection, lags, line, data, missing);
    detail::Resize(ids, data.rows(), 1);
    Gather(Data.data(), line.Rows, NoId, ids);
    detail::Assign(time, VectorXd::Map(line.Times.data(), data.rows()));
    return StatusTexts::OK;
}

std::string Dataset::Prepare_TimeSeries2(std::vector<std::string>& names, std::vector<VectorXi>& lags, MatrixXd& data,
                                         MatrixXd& /*unused*/, MatrixXi& /*unused*/) {
    if (std::string status = CheckTimeStructure(*this, names); status != StatusTexts::OK) return status;
    Index maxLag = 0, minLag = 0;
    for (const VectorXi& list : lags)
        for (const int lag : list) {
            maxLag = std::max<Index>(maxLag, lag);
            minLag = std::min<Index>(minLag, lag);
        }
    const Index kept = NumObs - maxLag + minLag;
    if (kept <= 0) return StatusTexts::NoData;

    VectorXd codes;
    const std::vector<int> order = OrderByTime(VectorXd::Map(detail::TimeCells(*this, codes), NumObs));
    const std::vector<int> rows(order.begin() + maxLag, order.begin() + maxLag + kept);
    detail::ResizeUninitialised(data, kept, CountColumns(lags));
    const detail::DateOrder byDate(*this);
    Index next = 0;
    for (std::size_t k = 0; k < names.size(); ++k) {
        const int column = GetVariableIndex(names[k]);
        for (const int lag : lags[k]) Gather(byDate.Lags(column, lag).data(), rows, NaN, data.col(next++));
    }
    return StatusTexts::OK;
}

}  // namespace quarn
