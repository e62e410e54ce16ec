#include <quarn/models/ChainDataStructure.h>

#include <gtest/gtest.h>

namespace {

using namespace quarn;
using Bag = ChainDataStructure;

/// One kind, in a bag that holds the other kinds under the same key: two values of different shape.
template <class Argument, class Value>
void ExpectBag(Bag& bag, void (Bag::*add)(const std::string&, Argument),
               bool (Bag::*get)(const std::string&, Value&) const, bool (Bag::*remove)(const std::string&),
               const Value& first, const Value& second) {
    Value value = second;
    EXPECT_TRUE(!(bag.*get)("key", value) && value == second && !(bag.*remove)("key"));
    (bag.*add)("key", first);
    EXPECT_TRUE((bag.*get)("key", value) && value == first);
    (bag.*add)("key", second);
    EXPECT_TRUE((bag.*get)("key", value) && value == second);
    value = first;  // of the copy
    EXPECT_TRUE((bag.*get)("key", value) && value == second && !bag.IsEmpty());
    Bag alone;
    (alone.*add)("", first);
    EXPECT_TRUE(!alone.IsEmpty() && (alone.*remove)("") && alone.IsEmpty());
}

TEST(ChainDataStructure, KeepsSixKindsOfValuesApart) {
    Bag bag;
    EXPECT_TRUE(bag.IsEmpty());
    ExpectBag(bag, &Bag::AddInteger, &Bag::GetInteger, &Bag::RemoveInteger, -7, 8);
    ExpectBag(bag, &Bag::AddUInteger, &Bag::GetUInteger, &Bag::RemoveUInteger, 4000000000U, 1U);
    ExpectBag(bag, &Bag::AddDouble, &Bag::GetDouble, &Bag::RemoveDouble, 0.1, -1e300);
    const MatrixXd matrix = MatrixXd::Random(40, 3), none;
    ExpectBag(bag, &Bag::AddMatrix, &Bag::GetMatrix, &Bag::RemoveMatrix, matrix, none);
    const VectorXd vector = matrix.col(0), shorter = vector.head(2);
    ExpectBag(bag, &Bag::AddVector, &Bag::GetVector, &Bag::RemoveVector, vector, shorter);
    const MatrixXi counts = MatrixXi::Ones(1, 4), zeros = MatrixXi::Zero(3, 2);
    ExpectBag(bag, &Bag::AddMatrixXi, &Bag::GetMatrixXi, &Bag::RemoveMatrixXi, counts, zeros);

    bag.AddVector("other", bag.Vectors["key"]);  // what is stored already
    bag.AddVector("key", bag.Vectors["key"]);
    EXPECT_TRUE(bag.Vectors["other"] == shorter && bag.Vectors["key"] == shorter);
}

}  // namespace
