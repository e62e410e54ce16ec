#include "../support/Matrices.h"
#include "../support/Tables.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::testing::SameCells;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Ids that collide, hide or hardly differ.
constexpr double idPool[] = {1,      2,        3,         NaN,          -NaN,        0.0,
                             -0.0,   1e10,     1e10 + 1,  4294967297.0, -7.5,        1e300,
                             5e-324, Infinity, -Infinity, 2147483648.0, 2147483647.0};

MatrixXd RandomIds(Index rows, std::mt19937_64& engine) {
    return MatrixXd::NullaryExpr(rows, 1, [&] { return idPool[engine() % std::size(idPool)]; });
}

enum class Form { One2One, One2Many, Several };

/// Row by row, as the contract has it.
void MergeByHand(MatrixXd& data, Form form, const MatrixXd& ids, const MatrixXd& values,
                 const std::vector<int>& targets) {
    for (Index k = 0; k < ids.rows(); ++k)
        for (Index row = 0; row < data.rows(); ++row) {
            if (!(data(row, 0) == ids(k, 0))) continue;
            const Index from = form == Form::One2Many ? static_cast<Index>(ids(k, 1)) : k;
            for (std::size_t m = 0; m < targets.size(); ++m)
                data(row, targets[m]) = values(from, static_cast<Index>(m));
            if (form != Form::One2Many) break;
        }
}

TEST(Merging, AgreesWithASearchRowByRow) {
    std::mt19937_64 engine(5);
    for (int round = 0; round < 600; ++round) {
        const Index n = static_cast<Index>(engine() % (round % 50 == 0 ? 3000 : 40)),
                    m = static_cast<Index>(engine() % 40);
        MatrixXd data = MatrixXd::Random(n, 3), ids = MatrixXd::Zero(m, 2);
        data.col(0) = RandomIds(n, engine);
        ids.col(0) = RandomIds(m, engine);
        const MatrixXd values = MatrixXd::Random(std::max<Index>(m, 5), 2);
        for (Index k = 0; k < m; ++k) ids(k, 1) = static_cast<double>(engine() % 5) + 0.75;  // cut to 0 .. 4
        for (const Form form : {Form::One2One, Form::One2Many, Form::Several})
            for (const bool isNew : {false, true}) {
                Dataset dataset = quarn::testing::MakeTable("id a b", data);
                MatrixXd expected(n, isNew ? 4 : 3);
                expected.leftCols(3) = data;
                if (isNew) expected.col(3).setConstant(NaN);
                std::vector<int> targets = {isNew ? 3 : 1};
                const std::string target = isNew ? "new" : "a";
                if (form == Form::Several) {
                    targets.push_back(2);
                    dataset.MatchOservations_One2One(ids, MatrixXd(values.topRows(m)),
                                                     std::vector<std::string>{target, "b"});
                } else if (form == Form::One2One) {
                    dataset.MatchOservations_One2One(ids.leftCols(1), VectorXd(values.col(0).head(m)), target);
                } else {
                    dataset.MatchOservations_One2Many(ids, VectorXd(values.col(0)), target);
                }
                MergeByHand(expected, form, ids, values, targets);
                ASSERT_TRUE(SameCells(dataset.Data, expected)) << "round " << round << ", new: " << isNew;
                ASSERT_EQ(dataset.NumVars, expected.cols());
            }
    }
}

TEST(Merging, GivesATableWithoutColumnsNewOnes) {
    const MatrixXd ids = MatrixXd::Zero(1, 2);
    Dataset dataset(wxArrayString(), MatrixXd(2, 0));
    std::vector<std::string> names;
    MatrixXd data;
    EXPECT_EQ(dataset.Prepare_CrossSection(names, data, data), "noData");
    for (const std::string name : {"a", "b"}) {
        if (name == "a") dataset.MatchOservations_One2One(ids, VectorXd(VectorXd::Ones(1)), name);
        if (name == "b") dataset.MatchOservations_One2Many(ids, VectorXd(VectorXd::Ones(1)), name);
        EXPECT_TRUE(SameCells(dataset.GetVariable(name), MatrixXd::Constant(2, 1, NaN)));
    }
}

}  // namespace
