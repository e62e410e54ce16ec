#pragma once

#include "../support/Tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>

namespace quarn::testing {

/// Columns id, t, a, b, c, one and, as text, the quarter t behind 1990q1.
inline Dataset MakeSeries(const std::vector<int>& times, const MatrixXd& cells, bool asText) {
    const Eigen::Index n = cells.rows();
    MatrixXd data = MatrixXd::Ones(n, 7);
    data.col(0) = VectorXd::LinSpaced(n, 1.0, static_cast<double>(10 * n - 9));
    data.middleCols<3>(2) = cells;
    std::vector<std::string> quarters;
    for (Eigen::Index i = 0; i < n; ++i) {
        const int t = times[static_cast<std::size_t>(i)];
        data(i, 1) = t;
        quarters.push_back(std::to_string(1990 + t / 4) + "q" + std::to_string(1 + t % 4));
    }
    Dataset dataset = MakeTable("id t a b c one quarter", data);
    dataset.Name = "macro";
    SetText(dataset, 6, quarters);
    EXPECT_EQ(asText ? dataset.SetTimeSeries("quarter", "yyyyqx") : dataset.SetTimeSeries("t", "index"), "OK");
    return dataset;
}

/// Draws whole numbers, and series of them.
struct Draw {
    std::mt19937_64 engine;

    int operator()(int below) { return static_cast<int>(engine() % static_cast<unsigned>(below)); }

    /// A shuffled series, in half of the cases with gaps, in half of them with missing cells in the first variables.
    Dataset Series() {
        const int n = (*this)(28) * ((*this)(10) > 0 ? 1 : 0);
        std::vector<int> times(static_cast<std::size_t>(n + (*this)(2) * (*this)(6)));
        std::iota(times.begin(), times.end(), (*this)(5));
        std::shuffle(times.begin(), times.end(), engine);
        times.resize(static_cast<std::size_t>(n));
        MatrixXd cells = MatrixXd::Random(n, 3);
        constexpr double infinity = std::numeric_limits<double>::infinity();
        const double missing[] = {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity};
        if ((*this)(2) > 0)
            for (double& cell : cells.leftCols(1 + (*this)(3)).reshaped())
                if ((*this)(8) == 0) cell = missing[(*this)(3)];
        return MakeSeries(times, cells, (*this)(2) > 0);
    }
};

/// The preparation of lags by date.
inline std::string PrepareLags(Dataset& dataset, std::vector<std::string> names, std::vector<VectorXi> lags,
                               MatrixXd& data) {
    MatrixXd unused;
    MatrixXi unusedToo;
    return dataset.Prepare_TimeSeries2(names, lags, data, unused, unusedToo);
}

}  // namespace quarn::testing
