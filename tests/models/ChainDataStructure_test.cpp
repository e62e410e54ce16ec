#include <quarn/models/ChainDataStructure.h>

#include <gtest/gtest.h>

namespace {

using namespace quarn;

/// One kind: how it is added, read and removed, two values of different shape, and what a missing key must not touch.
template <class Argument, class Value>
void ExpectBag(ChainDataStructure& bag, void (ChainDataStructure::*add)(const std::string&, Argument),
               bool (ChainDataStructure::*get)(const std::string&, Value&) const,
               bool (ChainDataStructure::*remove)(const std::string&), const Value& first, const Value& second) {
    Value value = second;
    EXPECT_FALSE((bag.*get)("key", value));  // the other kinds' values of that key do not count
    EXPECT_EQ(value, second);
    (bag.*add)("key", first);
    ASSERT_TRUE((bag.*get)("key", value));
    EXPECT_EQ(value, first);
    (bag.*add)("key", second);
    value = first;
    ASSERT_TRUE((bag.*get)("key", value));
    EXPECT_EQ(value, second);
    value = first;  // the copy, not what is stored
    ASSERT_TRUE((bag.*get)("key", value));
    EXPECT_EQ(value, second);
    (bag.*add)("other", first);
    EXPECT_TRUE((bag.*remove)("other"));
    EXPECT_FALSE((bag.*remove)("other"));
    EXPECT_FALSE(bag.IsEmpty());
}

TEST(ChainDataStructure, KeepsEachKindApart) {
    using Bag = ChainDataStructure;
    Bag bag;
    EXPECT_TRUE(bag.IsEmpty());
    ExpectBag(bag, &Bag::AddInteger, &Bag::GetInteger, &Bag::RemoveInteger, -7, 8);
    ExpectBag(bag, &Bag::AddUInteger, &Bag::GetUInteger, &Bag::RemoveUInteger, 4000000000U, 1U);
    ExpectBag(bag, &Bag::AddDouble, &Bag::GetDouble, &Bag::RemoveDouble, 0.1, -1e300);
    const auto matrix = [](int rows, int columns) { return MatrixXd(MatrixXd::Random(rows, columns)); };
    ExpectBag(bag, &Bag::AddMatrix, &Bag::GetMatrix, &Bag::RemoveMatrix, matrix(2, 3), matrix(0, 0));
    ExpectBag(bag, &Bag::AddVector, &Bag::GetVector, &Bag::RemoveVector, VectorXd(VectorXd::LinSpaced(5, 0, 1)),
              VectorXd(VectorXd::Ones(2)));
    ExpectBag(bag, &Bag::AddMatrixXi, &Bag::GetMatrixXi, &Bag::RemoveMatrixXi, MatrixXi(MatrixXi::Ones(1, 4)),
              MatrixXi(MatrixXi::Zero(3, 2)));
    bool (Bag::*const removals[])(const std::string&) = {&Bag::RemoveInteger, &Bag::RemoveUInteger,
                                                         &Bag::RemoveDouble,  &Bag::RemoveMatrix,
                                                         &Bag::RemoveVector,  &Bag::RemoveMatrixXi};
    for (const auto remove : removals) {
        EXPECT_FALSE(bag.IsEmpty());
        EXPECT_TRUE((bag.*remove)("key"));
    }
    EXPECT_TRUE(bag.IsEmpty());
}

TEST(ChainDataStructure, StoresItsOwnValuesUnderOtherKeys) {
    ChainDataStructure bag;
    const VectorXd draws = VectorXd::LinSpaced(1000, 0, 1);
    bag.AddVector("a", draws);
    bag.AddVector("b", bag.Vectors["a"]);
    bag.AddVector("a", bag.Vectors["a"]);
    EXPECT_TRUE(bag.Vectors["a"] == draws && bag.Vectors["b"] == draws);
}

}  // namespace
