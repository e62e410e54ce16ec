#include "../support/Matrices.h"

#include <quarn/classical/kmeansClassifier.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Eigen::Index;
using quarn::kmeansClassifier;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::RowVectorXd;
using quarn::testing::Normals;

MatrixXi Classify(const MatrixXd& draws, int K, int nInitial) {
    return kmeansClassifier(std::make_shared<MatrixXd>(draws), K, nInitial).classification;
}

/// All permutations compared, in lexicographic order.
MatrixXi CompareAll(const MatrixXd& draws, int K, Index nInitial) {
    const Index R = draws.rows(), m = draws.cols() / K;
    MatrixXd Z = draws;
    Z.array().rowwise() /= quarn::matrixVar(draws).array().sqrt();
    RowVectorXd reference;
    quarn::matrixMean(MatrixXd(Z.topRows(std::min(R, nInitial))), reference);
    MatrixXi best(R, K);
    for (Index r = 0; r < R; ++r) {
        std::vector<int> p(static_cast<std::size_t>(K));
        std::iota(p.begin(), p.end(), 0);
        double least = 0.0;
        for (bool isFirst = true, more = true; more;
             more = std::next_permutation(p.begin(), p.end()), isFirst = false) {
            double total = 0.0;
            for (Index j = 0; j < K; ++j) {
                double square = 0.0;
                for (Index c = 0; c < m; ++c) {
                    const double gap = Z(r, j * m + c) - reference[p[static_cast<std::size_t>(j)] * m + c];
                    square += gap * gap;
                }
                total += square;
            }
            if (isFirst || total < least) {
                least = total;
                best.row(r) = Eigen::Map<const Eigen::RowVectorXi>(p.data(), K);
            }
        }
    }
    return best;
}

TEST(kmeansClassifier, ChoosesWhatAComparisonOfAllPermutationsChooses) {
    for (int K = 1; K <= 6; ++K) {
        for (const Index m : {1, 3}) {
            MatrixXd draws = Normals(60, K * m, static_cast<std::uint64_t>(K));
            EXPECT_EQ(Classify(draws, K, 7), CompareAll(draws, K, 7)) << K << ", " << m;
            draws = draws.array().round();  // many ties
            EXPECT_EQ(Classify(draws, K, 1), CompareAll(draws, K, 1)) << K << ", " << m;
            draws.rightCols(m) = draws.leftCols(m);
            EXPECT_EQ(Classify(draws, K, 1000), CompareAll(draws, K, 60)) << "all draws make the reference";
        }
    }
}

TEST(kmeansClassifier, RecoversPlantedPermutations) {
    constexpr int K = 8;
    constexpr Index m = 3, R = 2000, first = 100;
    std::mt19937_64 engine(5);
    MatrixXd draws = 0.1 * Normals(R, K * m, 6);
    MatrixXi planted(R, K);
    std::vector<int> p(K);
    for (Index r = 0; r < R; ++r) {
        std::iota(p.begin(), p.end(), 0);
        if (r >= first) std::shuffle(p.begin(), p.end(), engine);
        for (int j = 0; j < K; ++j) {
            planted(r, j) = p[static_cast<std::size_t>(j)];
            draws.row(r).segment(j * m, m).array() += planted(r, j);
        }
    }
    EXPECT_EQ(Classify(draws, K, first), planted);
}

TEST(kmeansClassifier, KeepsTheIdentityWhereDistancesAreNoNumbers) {
    const MatrixXi identity = Eigen::RowVector3i(0, 1, 2).replicate(5, 1);
    for (const double constant : {0.0, 3.0, -3.0}) {
        for (const Index columns : {1, 2, 3}) {
            MatrixXd draws = Normals(5, 3, 8);
            draws.leftCols(columns).setConstant(constant);
            EXPECT_EQ(Classify(draws, 3, 2), identity) << constant << ", " << columns;
        }
    }
    EXPECT_EQ(Classify(Normals(1, 3, 9), 3, 1), identity.topRows(1)) << "one draw has no variance";
    EXPECT_EQ(Classify(MatrixXd(0, 6), 3, 2).cols(), 3);
    EXPECT_EQ(kmeansClassifier::triangMat2Vec(MatrixXd::Identity(2, 2)), Eigen::Vector3d(1.0, 0.0, 1.0));
}

}  // namespace
