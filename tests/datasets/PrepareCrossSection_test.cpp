#include "../support/Matrices.h"
#include "../support/Messages.h"
#include "../support/Tables.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::VectorXi;
using namespace quarn::testing;
using Names = std::vector<std::string>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Ids with gaps, one of them missing, and 20 variables with missing and infinite cells.
Dataset RandomDataset(Index rows, double density, std::mt19937_64& engine) {
    MatrixXd data = MatrixXd::Random(rows, 21);
    const double missing[] = {NaN, Infinity, -Infinity};
    std::bernoulli_distribution isMissing(density);
    for (double& cell : data.reshaped())
        if (isMissing(engine)) cell = missing[engine() % 3];
    for (Index i = 0; i < rows; ++i) data(i, 0) = static_cast<double>(3 * i + 1);
    if (rows > 0) data(rows / 2, 0) = NaN;
    std::string names = "id";
    for (int j = 1; j <= 20; ++j) names += " v" + std::to_string(j);
    return MakeTable(names, data);
}

Names RandomNames(std::size_t count, std::mt19937_64& engine) {
    Names names(count);
    for (std::string& name : names) name = "v" + std::to_string(1 + engine() % 20);
    return names;
}

/// Rows of the named variables that are finite in all of them, with the id in front.
MatrixXd CompleteByHand(const Dataset& dataset, const Names& names) {
    std::vector<int> columns, rows;
    for (const std::string& name : names) columns.push_back(std::stoi(name.substr(1)));
    for (int i = 0; i < dataset.NumObs; ++i)
        if (dataset.Data(i, columns).allFinite()) rows.push_back(i);
    columns.insert(columns.begin(), 0);
    return dataset.Data(rows, columns);
}

TEST(Prepare, KeepsTheCompleteObservationsInOrder) {
    std::mt19937_64 engine(11);
    const MatrixXd stale = MatrixXd::Ones(2, 2);
    for (int round = 0; round < 400; ++round) {
        const double densities[] = {0.0, 0.01, 0.1, 0.5, 1.0};
        const Dataset dataset = RandomDataset(static_cast<Index>(engine() % 200), densities[round % 5], engine);
        Names namesZ = RandomNames(engine() % 4, engine),
              namesX = RandomNames(1 + engine() % (round % 3 == 0 ? 20 : 4), engine), both = namesZ;
        both.insert(both.end(), namesX.begin(), namesX.end());
        const Names listX = namesX;
        const MatrixXd x = CompleteByHand(dataset, namesX), zx = CompleteByHand(dataset, both);
        const auto p = static_cast<Index>(namesX.size()), q = static_cast<Index>(namesZ.size());
        MatrixXd summarized = stale, data = stale, X, Z, ids = stale;
        VectorXd y;

        const std::string status = x.rows() == 0 ? "noData" : "OK";
        ASSERT_EQ(dataset.Prepare_Summarize(namesX, summarized), status);
        ASSERT_EQ(dataset.Prepare_CrossSection(namesX, data, ids), status);
        EXPECT_TRUE(SameCells(data, x.rows() == 0 ? stale : x.rightCols(p)) && SameCells(summarized, data)) << round;
        EXPECT_TRUE(SameCells(ids, x.rows() == 0 ? stale : x.leftCols(1))) << round;
        ASSERT_EQ(dataset.Prepare_CrossSection(namesX, X, y, ids), status);
        if (x.rows() > 0) {
            EXPECT_TRUE(SameCells(X, x.middleCols(1, p - 1)) && SameCells(y, x.col(p)) && SameCells(ids, x.col(0)));
        }
        ASSERT_EQ(dataset.Prepare_CrossSection(namesZ, namesX, Z, X, y, ids), zx.rows() == 0 ? "noData" : "OK");
        if (zx.rows() > 0) {
            EXPECT_TRUE(SameCells(Z, zx.middleCols(1, q)) && SameCells(X, zx.middleCols(1 + q, p - 1))) << round;
            EXPECT_TRUE(SameCells(y, zx.col(p + q)) && SameCells(ids, zx.col(0))) << round;
        }
        EXPECT_EQ(namesX, listX);
    }
}

TEST(Prepare, RejectsStringVariablesExceptForSummaries) {
    Dataset dataset = MakeTable("id v1 v2 v3", MatrixXd::Ones(2, 4));
    SetText(dataset, 2, {"x", "y"});
    Names withString = {"v1", "v2"}, without = {"v1", "v3"}, none;
    MatrixXd data, X, ids;
    VectorXd y;
    VectorXi counts;
    int largest = 0;
    EXPECT_EQ(dataset.Prepare_CrossSection(withString, data, ids), NonNumeric);
    EXPECT_EQ(dataset.Prepare_CrossSection(withString, X, y, ids), NonNumeric);
    EXPECT_EQ(dataset.Prepare_CrossSection(withString, without, data, X, y, ids), NonNumeric);
    EXPECT_EQ(dataset.Prepare_CrossSection(without, withString, data, X, y, ids), NonNumeric);
    EXPECT_EQ(dataset.CheckIntegral(withString, largest, counts, 1), NonNumeric);
    EXPECT_EQ(dataset.Prepare_CrossSection(without, data, ids), "OK");
    EXPECT_EQ(dataset.Prepare_Summarize(withString, data), "OK");
    EXPECT_EQ(dataset.Prepare_Summarize(none, data), "OK");  // every observation is complete in no variable
    EXPECT_EQ(std::pair(data.rows(), data.cols()), std::pair(Index{2}, Index{0}));
}

TEST(CheckIntegral, SaysWhatIsWrongWithTheDependentVariable) {
    const std::string noData = "No data are left after dropping\nobservations with missing values.";
    const std::string fraction = "The dependent variable contains\nnon-integer values.";
    const std::string minimum = "The minimum value of the dependent\nvariable is not ";
    const std::string hole = "The dependent variable contains integers\nwhich are not consecutive.";
    struct Case {
        std::vector<double> values;
        int least;
        std::string status;
        int largest = -99;
        std::vector<int> counts = {};
    };
    std::vector<Case> cases = {
        {{1, 1, 2}, 1, "OK", 2, {2, 1}},
        {{5}, 5, "OK", 5, {1}},
        {{-2, 0, -1, 0}, -2, "OK", 0, {1, 1, 2}},
        {{NaN, 3, 4, Infinity}, 3, "OK", 4, {1, 1}},
        {{-0.0, 1, 0.0}, 0, "OK", 1, {2, 1}},
        {{2147483647}, 2147483647, "OK", 2147483647, {1}},
        {{1, 2, 4}, 1, hole},
        {{0, 1e300}, 0, hole},
        {{0, 4294967296.0}, 0, hole},
        {{-2147483648.0, 2147483647}, -2147483647 - 1, hole},
        {{2, 1.5}, 1, fraction},
        {{7, 1e-300}, 1, fraction},
        {{}, 1, noData},
        {{NaN, -Infinity}, 1, noData},
        {{0, 1}, 1, minimum + "one."},
        {{-1e300, 0}, 0, minimum + "zero."},
        {{1}, 11, minimum},
        {{1}, -1, minimum},
        {{2}, -2147483647, minimum},
        {{1}, 2147483647, minimum},
    };
    int least = 2;
    for (const char* word : {"two.", "three.", "four.", "five.", "six.", "seven.", "eight.", "nine.", "ten."})
        cases.push_back({{1}, least++, minimum + word});
    for (const Case& c : cases) {
        MatrixXd data = MatrixXd::Ones(static_cast<Index>(c.values.size()), 3);
        data.col(2) = VectorXd::Map(c.values.data(), data.rows());
        const Dataset dataset = MakeTable("id v1 v2", data);
        Names names = {"v1", "v2"};
        int largest = -99;
        VectorXi counts;
        EXPECT_EQ(dataset.CheckIntegral(names, largest, counts, c.least), c.status);
        EXPECT_EQ(largest, c.largest);
        if (c.status == "OK") {
            EXPECT_EQ(std::vector<int>(counts.begin(), counts.end()), c.counts);
        }
    }
}

}  // namespace
