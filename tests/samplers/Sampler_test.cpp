#include <samplers/LinearRegression.h>
#include <samplers/RunRecord.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <dlfcn.h>
#include <pthread.h>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

int threadsAllowed = -1;  ///< how many more may be started; any number if negative

}  // namespace

/// In place of the system's, for all libraries of this program: threads that cannot be started.
extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                                             void* (*run)(void*), void* argument) noexcept {
    static const auto start = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    if (threadsAllowed == 0) return EAGAIN;
    if (threadsAllowed > 0) --threadsAllowed;
    return start(thread, attributes, run, argument);
}

namespace quarn::samplers {
namespace {

/// A random walk of two steps a time, whose chains can wait or fail.
class Walk final : public SamplerOf<Estimator> {
 public:
    std::int64_t FailAt = -1;  // iteration of chain 1
    std::int64_t Columns = 2;

    Walk() : SamplerOf<Estimator>("Walk", MatrixXd::Zero(3, 1)) {}
    ~Walk() override { InterruptThreads(); }
    std::shared_ptr<Model> MakeModel() const override {
        auto model = std::make_shared<Model>();
        FillModel(*model, "A walk\n");
        return model;
    }

 protected:
    struct WalkChain final : Chain {
        std::int64_t Iteration = 0, FailAt;
        double At = 0.0;
        explicit WalkChain(std::int64_t failAt) : FailAt(failAt) {}
        void Step(Generator& g) override {
            if (Iteration++ == FailAt) throw std::runtime_error("the walk has come to an end");
            At += NormalDraw(g.rng, g.norm);
        }
        void Store(Eigen::Ref<VectorXd> draw) const override { draw << static_cast<double>(Iteration), At; }
    };
    std::string CheckData() const override { return ""; }
    std::unique_ptr<Chain> MakeChain(Generator&, std::int64_t c) const override {
        return std::make_unique<WalkChain>(c == 1 ? FailAt : -1);
    }
    Eigen::Index NumParameters() const override { return Columns; }
    void Summarise() override {}
};

std::shared_ptr<Walk> Finished(const RunSettings& settings) {
    auto walk = std::make_shared<Walk>();
    EXPECT_EQ(walk->Start(settings), "OK");
    EXPECT_TRUE(walk->WaitFor(60.0));
    EXPECT_TRUE(walk->GetHasResults());
    return walk;
}

TEST(Sampler, KeepsEveryThinnedIterationBehindTheBurnInOfEachChain) {
    const auto walk = Finished({.Draws = 150, .Burnin = 7, .Thin = 3, .Chains = 3, .Seed = 5});
    const MatrixXd& draws = *walk->GetpSamples();
    ASSERT_EQ(draws.rows(), 450);
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 150; ++r) ASSERT_EQ(draws(150 * c + r, 0), 7 + 3 * (r + 1));
    EXPECT_EQ(walk->IterationsDone(), std::vector<std::int64_t>(3, 7 + 450));
    EXPECT_EQ(walk->Start({}), "The sampler has been started before.");
}

TEST(Sampler, DrawsDependOnSeedAndChainNotOnThreadsOrOtherChains) {
    const auto draws = [](std::int64_t chains, int threads, std::int64_t seed) {
        return *Finished({.Draws = 1000, .Burnin = 0, .Thin = 1, .Chains = chains, .Seed = seed, .Threads = threads})
                    ->GetpSamples();
    };
    const MatrixXd four = draws(4, 1, 9);
    EXPECT_EQ(four, draws(4, 4, 9));
    EXPECT_EQ(four, draws(4, 3, 9));
    EXPECT_EQ(four.topRows(2000), draws(2, 2, 9));
    EXPECT_NE(four.topRows(1000), draws(1, 1, 10));
    EXPECT_NE(four.topRows(1000), four.bottomRows(1000));
}

TEST(Sampler, AStoppedRunKeepsEqualLengthsOfAllChains) {
    std::minstd_rand random(1);
    for (int trial = 0; trial < 12; ++trial) {
        const auto walk = std::make_shared<Walk>();
        ASSERT_EQ(walk->Start({.Draws = 50'000'000, .Burnin = 10, .Thin = 1, .Chains = 3, .Threads = 2}), "OK");
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
        walk->Stop();
        EXPECT_FALSE(walk->GetHasResults());
        const bool kept = walk->KeepPartial();
        EXPECT_EQ(walk->GetHasResults(), kept);
        if (!kept) continue;
        const MatrixXd& draws = *walk->GetpSamples();
        ASSERT_EQ(draws.rows(), 3 * walk->nDraws);
        for (std::int64_t r = 0; r < draws.rows(); ++r) ASSERT_EQ(draws(r, 0), 11 + r % walk->nDraws);
        EXPECT_TRUE(walk->IsPartial());
        EXPECT_TRUE(walk->MakeModel()->ModelFlag);
        EXPECT_NE(walk->MakeModel()->TableTop->find("PARTIAL"), std::string::npos);
    }
}

TEST(RunRecord, IsThatOfTheRunAndComesBackFromText) {
    const auto model = Finished({.Draws = 20, .Burnin = 7, .Thin = 3, .Chains = 2, .Seed = -5})->MakeModel();
    model->SamplesNames = {"a", "b"};
    std::stringstream text;
    text << "name\n";
    model->SaveModel(text);
    Model loaded(text);
    const RunRecord record = GetRunRecord(loaded);
    EXPECT_EQ(record.Chains, 2);
    EXPECT_EQ(record.Draws, 20);
    EXPECT_EQ(record.Burnin, 7);
    EXPECT_EQ(record.Thin, 3);
    EXPECT_EQ(record.Seed, -5);
    loaded.Samples->conservativeResize(39, 2);  // no longer two chains of 20
    EXPECT_EQ(GetRunRecord(loaded).Chains, 1);
    EXPECT_EQ(GetRunRecord(loaded).Draws, 39);
}

TEST(Sampler, StartsWithAllItsThreadsOrNotAtAll) {
    for (const int allowed : {0, 1, 2}) {
        Walk walk;
        threadsAllowed = allowed;
        const std::string status =
            walk.Start({.Draws = 100'000'000, .Burnin = 0, .Thin = 1, .Chains = 3, .Threads = 3});
        threadsAllowed = -1;
        EXPECT_EQ(status, "The system allowed " + std::to_string(allowed) + " threads of 3. Ask for fewer.");
        EXPECT_TRUE(walk.Threads.empty() && walk.GetpSamples() == nullptr && walk.IterationsDone().empty());
        EXPECT_FALSE(walk.GetHasResults() || walk.KeepPartial());
        EXPECT_EQ(walk.Start({.Draws = 50, .Burnin = 0, .Thin = 1, .Chains = 3, .Threads = 3}), "OK");
        EXPECT_TRUE(walk.WaitFor(60.0) && walk.GetHasResults());
    }
}

TEST(Sampler, SaysWhyThereAreNoResults) {
    Walk failing;
    failing.FailAt = 1234;
    ASSERT_EQ(failing.Start({.Draws = 100'000'000, .Burnin = 0, .Thin = 1, .Chains = 2, .Threads = 2}), "OK");
    EXPECT_TRUE(failing.WaitFor(60.0));  // the other chain ends too
    EXPECT_FALSE(failing.GetHasResults());
    EXPECT_EQ(failing.Failure(), "the walk has come to an end");
    EXPECT_FALSE(failing.KeepPartial());

    Walk vast;
    vast.Columns = 1'000'000;
    EXPECT_NE(vast.Start({.Draws = 1'000'000'000}).find("more than this machine can hold"), std::string::npos);
    EXPECT_NE(Walk().Start({.Draws = 0}), "OK");
    EXPECT_NE(Walk().Start({.Burnin = -1}), "OK");
    EXPECT_NE(Walk().Start({.Thin = 0}), "OK");
    EXPECT_NE(Walk().Start({.Chains = 0}), "OK");
    EXPECT_NE(Walk().Start({.Draws = std::int64_t{1} << 39, .Thin = std::int64_t{1} << 39}), "OK");
    EXPECT_FALSE(Walk().KeepPartial());
}

}  // namespace
}  // namespace quarn::samplers
