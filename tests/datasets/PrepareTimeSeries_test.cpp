#include "../support/Matrices.h"

#include <quarn/datasets/Dataset.h>

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <random>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn::testing::SameCells;
using Names = std::vector<std::string>;
using Lags = std::vector<VectorXi>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

const std::string GapWarning =
    "There are missing time observations according to the dataset's time index. Gaps in the data are ignored and "
    "observations are treated as if they were consecutive (even when taking lags/leads/differences). Redefine the "
    "dataset's time index variable to silence this warning. Also, consider setting the \"impute\" option to true so "
    "that "
    "values for the dependent variable(s) are imputed.";
const std::string MissingWarning =
    "One or more dependent variables contain missing values. These values are imputed using the model specification.";
const std::string MissingIndependent =
    "One or more independent variables contain missing values. Consider dropping these observations and redefining the "
    "time index such that time observations are consecutive.";
const std::string NotImputed =
    "The values of the independent variables for missing time observations cannot be imputed using the model "
    "specification. Consider imputing these missing values before running the model or setting the \"impute\" option "
    "to "
    "false.";
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

/// Columns id, t, a, b, c, one and, as text, the quarter t behind 1990q1.
Dataset Series(const std::vector<int>& times, const MatrixXd& cells, bool asText) {
    wxArrayString names;
    for (const char* name : {"QuarnSystemVar_obsID", "t", "a", "b", "c", "one", "quarter"}) names.Add(name);
    const Index n = cells.rows();
    MatrixXd data = MatrixXd::Ones(n, 7);
    data.middleCols<3>(2) = cells;
    std::vector<std::string> quarters;
    for (Index i = 0; i < n; ++i) {
        const int t = times[static_cast<std::size_t>(i)];
        data(i, 0) = static_cast<double>(10 * i + 1);
        data(i, 1) = t;
        quarters.push_back(std::to_string(1990 + t / 4) + "q" + std::to_string(1 + t % 4));
    }
    Dataset dataset(names, data);
    dataset.Name = "macro";
    dataset.StringVars[6] = {6, "quarter", quarters, false, {}};
    EXPECT_EQ(asText ? dataset.SetTimeSeries("quarter", "yyyyqx") : dataset.SetTimeSeries("t", "index"), "OK");
    return dataset;
}

/// The preparation of `dependent` and `independent` columns of a dataset, period by period.
Prepared ByHand(const Dataset& dataset, const std::vector<int>& dependent, const Lags& lags,
                const std::vector<int>& independent, const VectorXd& times, int impute) {
    Prepared p;
    if (dataset.NumObs == 0) return p.status = "noData", p;
    const auto first = static_cast<int>(times.minCoeff()), last = static_cast<int>(times.maxCoeff());
    const bool hasGaps = last - first + 1 > dataset.NumObs;
    if (hasGaps && impute == 0) p.warnings.push_back(GapWarning);
    for (const int column : independent)
        for (int i = 0; i < dataset.NumObs; ++i)
            if (!std::isfinite(dataset.Data(i, column))) return p.status = MissingIndependent, p;
    for (const int column : dependent)
        for (int i = 0; i < dataset.NumObs && p.warnings.size() < (hasGaps && impute == 0 ? 2U : 1U); ++i)
            if (!std::isfinite(dataset.Data(i, column))) p.warnings.push_back(MissingWarning);
    std::vector<int> rows;  // of the dataset, -1 for none, by ascending time
    for (int t = first; t <= last; ++t) {
        int found = -1;
        for (int i = 0; i < dataset.NumObs; ++i)
            if (times(i) == t) found = i;
        if (found >= 0 || impute > 0) rows.push_back(found);
        if (found < 0 && impute > 0) {
            std::vector<int> all = dependent;
            all.insert(all.end(), independent.begin(), independent.end());
            for (std::size_t k = static_cast<std::size_t>(impute); k < all.size(); ++k)
                for (const double cell : dataset.Data.col(all[k]))
                    if (cell != 1.0) return p.status = NotImputed, p;
        }
        if (found >= 0 || impute > 0) {
            p.time.conservativeResize(p.time.size() + 1);
            p.time(p.time.size() - 1) = t;
        }
    }
    const int n = static_cast<int>(rows.size());
    p.ids.resize(n, 1);
    for (int r = 0; r < n; ++r)
        p.ids(r) = rows[static_cast<std::size_t>(r)] < 0 ? -1.0 : dataset.Data(rows[static_cast<std::size_t>(r)], 0);
    p.data.resize(n, 0);
    const auto append = [&](int column, int lag, double inserted) {
        p.data.conservativeResize(n, p.data.cols() + 1);
        for (int r = 0; r < n; ++r) {
            const int from = r - lag;
            const int row = from < 0 || from >= n ? -2 : rows[static_cast<std::size_t>(from)];
            p.data(r, p.data.cols() - 1) = row == -2 ? NaN : row == -1 ? inserted : dataset.Data(row, column);
        }
    };
    for (std::size_t k = 0; k < dependent.size(); ++k) {
        const Index start = p.data.cols();
        for (const int lag : lags[k]) append(dependent[k], lag, NaN);
        p.missing.emplace_back();
        for (int r = 0; r < n; ++r)
            if (!std::isfinite(p.data(r, start))) p.missing.back().push_back(r);
    }
    for (const int column : independent) append(column, 0, 1.0);
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
    std::mt19937_64 engine(13);
    const auto draw = [&engine](unsigned below) { return static_cast<int>(engine() % below); };
    std::map<std::string, int> seen;
    for (int round = 0; round < 3000; ++round) {
        const int n = draw(25) * (draw(10) > 0 ? 1 : 0);
        std::vector<int> times(static_cast<std::size_t>(n + (draw(2) > 0 ? draw(6) : 0)));
        std::iota(times.begin(), times.end(), 0);
        std::shuffle(times.begin(), times.end(), engine);
        times.resize(static_cast<std::size_t>(n));
        MatrixXd cells = MatrixXd::Random(n, 3);
        const int missingIn = 1 + draw(3);  // the first variables
        const double missing[] = {NaN, Infinity, -Infinity};
        if (draw(2) > 0)
            for (double& cell : cells.leftCols(missingIn).reshaped())
                if (draw(8) == 0) cell = missing[draw(3)];
        const bool asText = draw(2) > 0;
        Dataset dataset = Series(times, cells, asText);

        // Dependent a, b (as long as they come before the independent c and the constant).
        const int numDependent = draw(3), numIndependent = draw(3);
        std::vector<int> dependent, independent;
        Names names;
        Lags lags;
        for (int k = 0; k < numDependent; ++k) {
            dependent.push_back(2 + k);
            VectorXi list(1 + draw(4));
            for (int& lag : list) lag = draw(2) > 0 ? 0 : draw(7) - 3 + 40 * (draw(30) == 0 ? 1 : 0);
            lags.push_back(list);
        }
        const int constantOnly = draw(2);
        for (int k = 0; k < numIndependent; ++k) independent.push_back(constantOnly + k > 0 ? 5 : 4);
        for (const int column : dependent) names.emplace_back(dataset.VarNames[static_cast<std::size_t>(column)]);
        for (const int column : independent) names.emplace_back(dataset.VarNames[static_cast<std::size_t>(column)]);
        lags.resize(names.size(), VectorXi::Zero(1));
        const int impute = draw(2) * (draw(5) == 0 ? 1 + draw(4) : std::max(1, numDependent));

        VectorXd time = dataset.Data.col(1);
        if (asText && n > 0) time.array() -= time.minCoeff();
        const Prepared expected = ByHand(dataset, dependent, lags, independent, time, impute);
        ExpectSame(Prepare(dataset, names, lags, numIndependent, impute), expected);
        ++seen[expected.status];
        for (const std::string& warning : expected.warnings) ++seen[warning];
        if (HasFailure()) return;
    }
    for (const std::string& outcome :
         {std::string("OK"), std::string("noData"), MissingIndependent, NotImputed, GapWarning, MissingWarning})
        EXPECT_GT(seen[outcome], 20) << outcome;
}

std::string Prepare2(Dataset& dataset, Names names, Lags lags, MatrixXd& data) {
    MatrixXd unused;
    MatrixXi unusedToo;
    return dataset.Prepare_TimeSeries2(names, lags, data, unused, unusedToo);
}

TEST(PrepareTimeSeries, SaysWhyItCannot) {
    Dataset dataset = Series({1, 2, 4}, MatrixXd::Ones(3, 3), true);
    const Lags lags = {VectorXi::Zero(1), VectorXi::Ones(1)};
    MatrixXd data;
    const auto expectBoth = [&](const Names& names, const std::string& status) {
        EXPECT_EQ(Prepare(dataset, names, lags, 1, 0).status, status);
        EXPECT_EQ(Prepare2(dataset, names, lags, data), status);
    };
    expectBoth({"a", "quarter"}, "The list of selected variables contains variables with non-numeric data.");
    const Prepared lagged = Prepare(dataset, {"a", "b"}, lags, 1, 0);
    EXPECT_EQ(std::pair(lagged.status, lagged.warnings), std::pair(InternalError, Names{GapWarning}));
    EXPECT_TRUE(Prepare(dataset, {"a", "b"}, lags, 0, -1).warnings.empty());
    EXPECT_EQ(Prepare2(dataset, {"a"}, {Eigen::Vector2i(1, -1)}, data), "OK");
    EXPECT_EQ(data.rows(), 1);
    for (const int lag : {std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 3, -3})
        EXPECT_EQ(Prepare2(dataset, {"a"}, {VectorXi::Constant(1, lag)}, data), "noData");

    const std::string stale = "The dataset has undergone transformations since it was last declared as a ";
    dataset.ChangeData(0, 6, std::string("1990q3"));  // twice now
    expectBoth({"a", "b"}, stale +
                               "time-series dataset, which invalidate this designation. Use the \"set_ts\" function "
                               "again to get more information.");
    dataset.ChangeData(0, 6, std::string("1990q1"));
    EXPECT_EQ(Prepare(dataset, {"a", "b"}, lags, 0, 0).time, Eigen::Vector3d(0, 2, 4));
    ASSERT_EQ(dataset.SetPanelData("t", "one", "index"), "OK");
    EXPECT_EQ(Prepare(dataset, {"a", "b"}, lags, 0, 0).status, InternalError);
    dataset.ReplaceVariable(VectorXd::Ones(3), "t");
    expectBoth({"a", "b"}, stale +
                               "panel dataset, which invalidate this designation. Use the \"set_pd\" function again "
                               "to get more information.");
    dataset.SetCrossSection();
    expectBoth({"a", "b"},
               "Dataset \"macro\" has not been declared as a time-series or panel dataset. Use the \"set_ts\" "
               "or \"set_pd\" functions before calling a model that requires a time-structure to be set.");
}

TEST(PrepareTimeSeries, KeepsObservationsWithoutATimeAndRefusesEndlessGaps) {
    const VectorXi none = VectorXi::Zero(1);
    Dataset dataset = Series({5, 2, 0, 1}, MatrixXd::Random(4, 3), false);
    dataset.Data(3, 1) = NaN;
    Prepared p = Prepare(dataset, {"a"}, {none}, 0, 1);
    EXPECT_EQ(p.status, "OK");
    EXPECT_TRUE(SameCells(p.ids, (VectorXd(7) << 21, -1, 11, -1, -1, 1, 31).finished()));
    EXPECT_TRUE(SameCells(p.time, (VectorXd(7) << 0, 1, 2, 3, 4, 5, NaN).finished()));
    for (const double time : {1e300, 4294967296.0, -1e300}) {
        dataset.Data(0, 1) = time;
        EXPECT_THROW(Prepare(dataset, {"a"}, {none}, 0, 1), std::bad_alloc);
        EXPECT_EQ(Prepare(dataset, {"a"}, {none}, 0, 0).status, "OK");
    }
    dataset.Data.col(1).setConstant(NaN);
    EXPECT_TRUE(SameCells(Prepare(dataset, {"a"}, {none}, 0, 0).ids, dataset.Data.col(0)));
}

/// Lags by date and group, a pair of observations at a time; rows by time, cut at both ends.
MatrixXd LagsByHand(const Dataset& dataset, const std::vector<int>& columns, const Lags& lags, const VectorXd& times) {
    const bool isPanel = dataset.DatasetType == 2;
    const int n = dataset.NumObs;
    int top = 0, end = 0;
    std::vector<int> rows(static_cast<std::size_t>(n));
    std::iota(rows.begin(), rows.end(), 0);
    std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) { return times(a) < times(b); });
    MatrixXd all(n, 0);
    for (std::size_t k = 0; k < columns.size(); ++k)
        for (const int lag : lags[k]) {
            top = std::max(top, lag);
            end = std::max(end, -lag);
            all.conservativeResize(n, all.cols() + 1);
            for (int r = 0; r < n; ++r) {
                const int row = rows[static_cast<std::size_t>(r)];
                all(r, all.cols() - 1) = NaN;
                for (int i = 0; i < n; ++i)
                    if (times(i) == times(row) - lag && (!isPanel || dataset.Data(i, 5) == dataset.Data(row, 5)))
                        all(r, all.cols() - 1) = dataset.Data(i, columns[k]);
            }
        }
    return top + end >= n ? MatrixXd(0, all.cols()) : MatrixXd(all.middleRows(top, n - top - end));
}

TEST(PrepareTimeSeries2, GivesLagsByDateWithoutTheRowsThatTheyCost) {
    std::mt19937_64 engine(14);
    const auto draw = [&engine](unsigned below) { return static_cast<int>(engine() % below); };
    int numPrepared = 0;
    for (int round = 0; round < 1500; ++round) {
        const int n = draw(30);
        std::vector<int> times(static_cast<std::size_t>(n + draw(4)));
        std::iota(times.begin(), times.end(), draw(5));
        std::shuffle(times.begin(), times.end(), engine);
        times.resize(static_cast<std::size_t>(n));
        MatrixXd cells = MatrixXd::Random(n, 3);
        for (double& cell : cells.reshaped())
            if (draw(12) == 0) cell = NaN;
        const bool asText = draw(2) > 0;
        Dataset dataset = Series(times, cells, asText);
        if (draw(2) > 0) {  // three groups, times shared between them
            for (Index i = 0; i < n; ++i) dataset.Data(i, 5) = 7 + times[static_cast<std::size_t>(i)] % 3;
            for (Index i = 0; i < n; ++i) dataset.Data(i, 1) = times[static_cast<std::size_t>(i)] / 3;
            ASSERT_EQ(dataset.SetPanelData("t", "one", "index"), "OK");
        }
        Names names;
        Lags lags;
        std::vector<int> columns;
        for (int k = draw(4); k > 0; --k) {
            columns.push_back(2 + draw(3));
            names.emplace_back(dataset.VarNames[static_cast<std::size_t>(columns.back())]);
            VectorXi list(draw(4));
            for (int& lag : list) lag = draw(9) - 4;
            lags.push_back(list);
        }
        VectorXd time = dataset.Data.col(1);
        if (dataset.TimeVariable == "quarter")
            for (Index i = 0; i < n; ++i) time(i) = dataset.StringVars.at(6).TimeIndex(i);
        const MatrixXd expected = LagsByHand(dataset, columns, lags, time);
        MatrixXd data;
        ASSERT_EQ(Prepare2(dataset, names, lags, data), expected.rows() > 0 ? "OK" : "noData");
        if (expected.rows() == 0) continue;
        ASSERT_TRUE(SameCells(data, expected));
        ++numPrepared;
    }
    EXPECT_GT(numPrepared, 700);
}

}  // namespace
