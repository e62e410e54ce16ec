#include "../support/Matrices.h"
#include "../support/Messages.h"
#include "Series.h"

#include <quarn/datasets/Declaration_detail.h>

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <numeric>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using quarn::VectorXi;
using namespace quarn::testing;
using Names = std::vector<std::string>;
using Lags = std::vector<VectorXi>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

const std::string GapWarning =
    "There are missing time observations according to the dataset's time index. Gaps in the data are ignored and "
    "observations are treated as if they were consecutive (even when taking lags/leads/differences). Redefine the "
    "dataset's time index variable to silence this warning. Also, consider setting the \"impute\" option to true so "
    "that values for the dependent variable(s) are imputed.";
const std::string MissingWarning =
    "One or more dependent variables contain missing values. These values are imputed using the model specification.";
const std::string MissingIndependent =
    "One or more independent variables contain missing values. Consider dropping these observations and redefining the "
    "time index such that time observations are consecutive.";
const std::string NotImputed =
    "The values of the independent variables for missing time observations cannot be imputed using the model "
    "specification. Consider imputing these missing values before running the model or setting the \"impute\" option "
    "to false.";
const std::string InternalError = "This is a Quarn internal error: (Prepare_TimeSeries)";

/// What a preparation gives, or should give.
struct Prepared {
    std::string status = "none";
    MatrixXd data, ids;
    VectorXd time;
    std::vector<std::vector<int>> missing;
    Names warnings;
};

Prepared Prepare(Dataset& dataset, Names names, Lags lags, int numIndependent, int impute) {
    Prepared p;
    MatrixXi unused;
    p.status = dataset.Prepare_TimeSeries(names, lags, numIndependent, p.data, p.ids, p.time, unused, p.missing,
                                          p.warnings, impute);
    return p;
}

/// The preparation of `dependent` and `independent` columns of a dataset, period by period.
Prepared ByHand(const Dataset& dataset, const std::vector<int>& dependent, const Lags& lags,
                const std::vector<int>& independent, int impute) {
    Prepared p;
    if (dataset.NumObs == 0) return p.status = "noData", p;
    const auto isFinite = [&](int column) { return dataset.Data.col(column).allFinite(); };
    const auto isConstant = [&](int column) { return (dataset.Data.col(column).array() == 1.0).all(); };
    std::map<double, int> rowAt;  // by time; -1 for a period that is put in
    for (const double time : quarn::detail::TimeValues(dataset)) rowAt.emplace(time, static_cast<int>(rowAt.size()));
    const double first = rowAt.begin()->first, last = rowAt.rbegin()->first;
    const bool hasGaps = last - first + 1 > dataset.NumObs;
    if (hasGaps && impute == 0) p.warnings.push_back(GapWarning);
    if (!std::ranges::all_of(independent, isFinite)) return p.status = MissingIndependent, p;
    if (!std::ranges::all_of(dependent, isFinite)) p.warnings.push_back(MissingWarning);
    if (hasGaps && impute > 0) {
        std::vector<int> all = dependent;
        all.insert(all.end(), independent.begin(), independent.end());
        if (!std::all_of(all.begin() + std::min<std::ptrdiff_t>(impute, std::ssize(all)), all.end(), isConstant))
            return p.status = NotImputed, p;
        for (double t = first; t < last; ++t) rowAt.emplace(t, -1);
    }
    std::vector<int> rows;
    const auto n = static_cast<Index>(rowAt.size());
    p.time.resize(n);
    for (const auto& [time, row] : rowAt) {
        p.time(std::ssize(rows)) = time;
        rows.push_back(row);
    }
    const auto append = [&](MatrixXd& target, int column, int lag, double inserted) {
        target.conservativeResize(n, target.cols() + 1);
        for (Index r = 0; r < n; ++r) {
            const int row = r < lag || r - lag >= n ? -2 : rows[static_cast<std::size_t>(r - lag)];
            target(r, target.cols() - 1) = row == -2 ? NaN : row == -1 ? inserted : dataset.Data(row, column);
        }
    };
    append(p.ids, 0, 0, -1.0);
    for (std::size_t k = 0; k < dependent.size(); ++k) {
        const Index start = p.data.cols();
        for (const int lag : lags[k]) append(p.data, dependent[k], lag, NaN);
        p.missing.emplace_back();
        for (int r = 0; r < n; ++r)
            if (!std::isfinite(p.data(r, start))) p.missing.back().push_back(r);
    }
    for (const int column : independent) append(p.data, column, 0, 1.0);
    p.data.conservativeResize(n, Eigen::NoChange);
    p.status = "OK";
    return p;
}

void ExpectSame(const Prepared& actual, const Prepared& expected) {
    EXPECT_EQ(actual.status, expected.status);
    EXPECT_EQ(actual.warnings, expected.warnings);
    if (expected.status != "OK") return;
    EXPECT_TRUE(SameCells(actual.data, expected.data));
    EXPECT_TRUE(SameCells(actual.ids, expected.ids));
    EXPECT_TRUE(SameCells(actual.time, expected.time));
    EXPECT_EQ(actual.missing, expected.missing);
}

TEST(PrepareTimeSeries, GivesWhatAWalkFromPeriodToPeriodGives) {
    Draw draw{std::mt19937_64(13)};
    std::map<std::string, int> seen;
    for (int round = 0; round < 3000; ++round) {
        Dataset dataset = draw.Series();
        // Dependent a, b, behind them the independent c and the constant.
        std::vector<int> dependent(static_cast<std::size_t>(draw(3))),
            independent(static_cast<std::size_t>(draw(3)), 5);
        std::iota(dependent.begin(), dependent.end(), 2);
        if (!independent.empty() && draw(2) > 0) independent[0] = 4;
        Names names;
        Lags lags;
        for (const int column : dependent) {
            names.emplace_back(dataset.VarNames[static_cast<std::size_t>(column)]);
            VectorXi& list = lags.emplace_back(1 + draw(4));
            for (int& lag : list) lag = draw(2) > 0 ? 0 : draw(7) - 3 + 40 * (draw(30) == 0 ? 1 : 0);
        }
        for (const int column : independent) names.emplace_back(dataset.VarNames[static_cast<std::size_t>(column)]);
        lags.resize(names.size(), VectorXi::Zero(1));
        const int numDependent = static_cast<int>(dependent.size()),
                  numIndependent = static_cast<int>(independent.size());
        const int impute = draw(2) * (draw(5) == 0 ? 1 + draw(4) : std::max(1, numDependent));

        const Prepared expected = ByHand(dataset, dependent, lags, independent, impute);
        ExpectSame(Prepare(dataset, names, lags, numIndependent, impute), expected);
        ++seen[expected.status];
        for (const std::string& warning : expected.warnings) ++seen[warning];
        if (HasFailure()) return;
    }
    for (const std::string& outcome :
         {std::string("OK"), std::string("noData"), MissingIndependent, NotImputed, GapWarning, MissingWarning})
        EXPECT_GT(seen[outcome], 20) << outcome;
}

TEST(PrepareTimeSeries, SaysWhyItCannot) {
    Dataset dataset = MakeSeries({1, 2, 4}, MatrixXd::Ones(3, 3), true);
    const Lags lags = {VectorXi::Zero(1), VectorXi::Ones(1)};
    MatrixXd data;
    const auto expectBoth = [&](const Names& names, const std::string& status) {
        EXPECT_EQ(Prepare(dataset, names, lags, 1, 0).status, status);
        EXPECT_EQ(PrepareLags(dataset, names, lags, data), status);
    };
    expectBoth({"a", "quarter"}, NonNumeric);
    const Prepared lagged = Prepare(dataset, {"a", "b"}, lags, 1, 0);
    EXPECT_EQ(std::pair(lagged.status, lagged.warnings), std::pair(InternalError, Names{GapWarning}));
    EXPECT_EQ(Prepare(dataset, {"a", "b"}, {VectorXi::Zero(1), VectorXi()}, 1, 0).status, InternalError);
    EXPECT_TRUE(Prepare(dataset, {"a", "b"}, lags, 0, -1).warnings.empty());
    EXPECT_EQ(PrepareLags(dataset, {"a"}, {Eigen::Vector2i(1, -1)}, data), "OK");
    EXPECT_EQ(data.rows(), 1);
    for (const int lag : {std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 3, -3})
        EXPECT_EQ(PrepareLags(dataset, {"a"}, {VectorXi::Constant(1, lag)}, data), "noData");

    dataset.ChangeData(0, 6, "1990q3");  // twice now
    expectBoth({"a", "b"}, StaleSeries);
    dataset.ChangeData(0, 6, "1990q1");
    EXPECT_EQ(Prepare(dataset, {"a", "b"}, lags, 0, 0).time, Eigen::Vector3d(0, 2, 4));
    ASSERT_EQ(dataset.SetPanelData("t", "one", "index"), "OK");
    EXPECT_EQ(Prepare(dataset, {"a", "b"}, lags, 0, 0).status, InternalError);
    dataset.ReplaceVariable(VectorXd::Ones(3), "t");
    expectBoth({"a", "b"}, StalePanel);
    dataset.SetCrossSection();
    dataset.Name = wxString::FromUTF8("gr\xC3\xB6\xC3\x9F");  // which has no form in "C"
    expectBoth(
        {"a", "b"},
        "Dataset \"gr\xC3\xB6\xC3\x9F\" has not been declared as a time-series or panel dataset. Use the \"set_ts\" "
        "or \"set_pd\" functions before calling a model that requires a time-structure to be set.");
}

TEST(PrepareTimeSeries, KeepsObservationsWithoutATimeAndRefusesEndlessGaps) {
    const VectorXi none = VectorXi::Zero(1);
    Dataset dataset = MakeSeries({5, 2, 0, 1}, MatrixXd::Random(4, 3), false);
    dataset.Data(3, 1) = NaN;
    Prepared p = Prepare(dataset, {"a"}, {none}, 0, 1);
    EXPECT_EQ(p.status, "OK");
    EXPECT_TRUE(SameCells(p.ids, (VectorXd(7) << 21, -1, 11, -1, -1, 1, 31).finished()));
    EXPECT_TRUE(SameCells(p.time, (VectorXd(7) << 0, 1, 2, 3, 4, 5, NaN).finished()));
    dataset.Data(0, 1) = 3;  // three periods out of four
    EXPECT_TRUE(SameCells(Prepare(dataset, {"a"}, {none}, 0, 1).time, (VectorXd(5) << 0, 1, 2, 3, NaN).finished()));
    for (const double time : {1e300, 4294967296.0, -1e300}) {
        dataset.Data(0, 1) = time;
        EXPECT_THROW(Prepare(dataset, {"a"}, {none}, 0, 1), std::bad_alloc);
        EXPECT_EQ(Prepare(dataset, {"a"}, {none}, 0, 0).status, "OK");
    }
    dataset.Data.col(1).setConstant(NaN);
    EXPECT_TRUE(SameCells(Prepare(dataset, {"a"}, {none}, 0, 0).ids, dataset.Data.col(0)));
}

}  // namespace
