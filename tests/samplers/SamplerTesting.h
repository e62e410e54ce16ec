#pragma once

#include <quarn/datasets/Dataset.h>

#include <samplers/Sampler.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace quarn::samplers {

/// prefix0, prefix1, ...
inline std::vector<std::string> Names(const std::string& prefix, Eigen::Index count) {
    std::vector<std::string> names;
    for (Eigen::Index i = 0; i < count; ++i) names.push_back(prefix + std::to_string(i));
    return names;
}

/// Starts a sampler and waits for its results.
inline void RunToEnd(Sampler& sampler, const RunSettings& settings) {
    ASSERT_EQ(sampler.Start(settings), "OK");
    ASSERT_TRUE(sampler.WaitFor(600.0));
    ASSERT_TRUE(sampler.GetEstimator().GetHasResults()) << sampler.Failure();
}

/// Tests a sampler by the joint law of parameters and data: parameters from the prior, data given these, and
/// parameters drawn anew from the posterior of the data have the law of the prior. The sampler starts where it likes, so
/// it needs a burn-in. Compares mean and variance of each parameter, and its product with the first element of the data.
///
///   simulate(generator, y)  draws the parameters from their prior and data y given them; returns the parameters
///   posterior(y, seed)      returns a draw from the posterior
///
/// Bounds are 4.5 standard errors, for each of some ten numbers, with fixed seeds.
/// Source: Geweke (2004), J. Am. Stat. Assoc. 99, 799-804; Talts et al. (2018), arXiv:1804.06788.
template <class Simulate, class Posterior>
void ExpectJointDistribution(const Simulate& simulate, const Posterior& posterior, int repetitions) {
    Generator generator = MakeGenerator(2024, 0);
    std::vector<VectorXd> differences;  // posterior minus prior, of each test quantity
    VectorXd y;
    for (int r = 0; r < repetitions; ++r) {
        const VectorXd prior = simulate(generator, y);
        const VectorXd drawn = posterior(y, r + 1);
        ASSERT_EQ(prior.size(), drawn.size());
        const auto quantities = [&y](const VectorXd& theta) {
            VectorXd all(3 * theta.size());
            all << theta, theta.cwiseAbs2(), y(0) * theta;
            return all;
        };
        differences.push_back(quantities(drawn) - quantities(prior));
    }
    const auto n = static_cast<double>(repetitions);
    for (Eigen::Index q = 0; q < differences[0].size(); ++q) {
        double sum = 0.0, squares = 0.0;
        for (const VectorXd& difference : differences) {
            sum += difference(q);
            squares += difference(q) * difference(q);
        }
        EXPECT_LT(std::abs(sum / n), 4.5 * std::sqrt(squares) / n) << "quantity " << q;
    }
}

}  // namespace quarn::samplers
