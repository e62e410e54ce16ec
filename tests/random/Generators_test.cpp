#include "Triple.h"

#include <quarn/random/Generators.h>

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

using quarn::NormalDraw;
using quarn::UniformDraw;
using quarn_test::Reference;
using quarn_test::SameState;
using quarn_test::Triple;

TEST(Words, AreThoseOfTheStandardEngineAlsoMixedWithItsDirectUse) {
    quarn::Rng ours(7), standard(7);
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(i % 3 == 0 ? ours() : quarn::detail::NextWord(ours), standard());
        if (i % 100 == 0) {
            ours.discard(311);
            standard.discard(311);
        }
    }
    EXPECT_EQ(ours, standard);
}

TEST(Fraction, IsTheWordRoundedOnceToADouble) {
    const std::uint64_t half = std::uint64_t{1} << 63;
    std::vector<std::uint64_t> words{0, 1, ~std::uint64_t{0}, half, half - 1, half + 1};
    for (int bit = 52; bit < 64; ++bit) {
        for (std::uint64_t low = 0; low < 4; ++low) {  // around ties of the rounding
            const std::uint64_t top = std::uint64_t{1} << bit, tie = top >> 53;
            words.insert(words.end(), {top + low, top - low, top + tie + low, top + tie - low, top + 3 * tie + low});
        }
    }
    std::mt19937_64 engine(3);
    for (int i = 0; i < 10000; ++i) words.push_back(engine() >> (i % 60));
    for (const std::uint64_t word : words) {
        EXPECT_EQ(quarn::detail::Fraction(word), static_cast<double>(word) * 0x1p-64) << word;
    }
    EXPECT_EQ(quarn::detail::Fraction(~std::uint64_t{0}), 1.0);
}

TEST(Uniforms, ReadTheBoundsAtEachDraw) {
    Triple triple(11);
    Reference reference(11);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(UniformDraw(triple.rng, triple.unif), reference.U());
    triple.unif = quarn::Unif(-2.0, 6.0);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(UniformDraw(triple.rng, triple.unif), -2.0 + 8.0 * reference.U());
    EXPECT_TRUE(SameState(triple, reference));
}

TEST(Normals, AreThePolarMethodWithItsFirstValueFirst) {
    Triple triple(12);
    Reference reference(12);
    for (int i = 0; i < 20000; ++i) {
        if (i % 5 == 0) {  // so that pairs also begin at odd words and reach over a refill
            ASSERT_EQ(UniformDraw(triple.rng, triple.unif), reference.U());
        }
        ASSERT_EQ(NormalDraw(triple.rng, triple.norm), reference.Z()) << i;
        if (i % 1000 < 10) {
            ASSERT_TRUE(SameState(triple, reference)) << i;
        }
    }
}

TEST(Normals, ReadMeanAndStandardDeviationAtEachDrawAlsoOfTheSpare) {
    Triple triple(13);
    Reference reference(13);
    EXPECT_EQ(NormalDraw(triple.rng, triple.norm), reference.Z());
    triple.norm.param(quarn::Norm::param_type(10.0, 4.0));
    EXPECT_EQ(NormalDraw(triple.rng, triple.norm), 10.0 + 4.0 * reference.Z());
    EXPECT_EQ(NormalDraw(triple.rng, triple.norm), 10.0 + 4.0 * reference.Z());
    EXPECT_TRUE(SameState(triple, reference));
}

TEST(Normals, LoseTheirSpareWithAResetOfTheObject) {
    Triple triple(14);
    Reference reference(14);
    NormalDraw(triple.rng, triple.norm);
    reference.Z();
    triple.norm.reset();
    reference.spareValid = false;
    EXPECT_EQ(NormalDraw(triple.rng, triple.norm), reference.Z());
    EXPECT_TRUE(SameState(triple, reference));
}

TEST(Triples, ContinueFromACopyAndFromTheirText) {
    Triple original(15);
    for (int i = 0; i < 501; ++i) NormalDraw(original.rng, original.norm);
    Triple copy = original, read(0);
    std::stringstream text;
    text.precision(17);
    text << original.rng << ' ' << original.norm;
    text >> read.rng >> read.norm;
    for (int i = 0; i < 501; ++i) {
        const double z = NormalDraw(original.rng, original.norm);
        ASSERT_EQ(NormalDraw(copy.rng, copy.norm), z);
        ASSERT_EQ(NormalDraw(read.rng, read.norm), z);
    }
    EXPECT_EQ(copy.norm, original.norm);
    EXPECT_EQ(read.rng, original.rng);
}

}  // namespace
