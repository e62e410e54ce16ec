#include <quarn/models/Estimator.h>
#include <quarn/models/Model.h>

#include <boost/thread/thread.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

namespace {

using namespace quarn;

// Of a base without a virtual destructor, as every sampler is.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// A sampler as the class comment has it, of any of the three families: each chain on a thread of its own.
template <class Base>
class Sampler final : public Base {
 public:
    explicit Sampler(int thinning) : Base("Sampler", MatrixXd::Constant(3, 1, 7.0)) {
        this->nDraws = 20;
        this->nBurnin = 2;
        this->nChains = 3;
        this->nThin = thinning;
        this->nSeed = 1LL << 40;
    }

    void Start() {
        m_draws = std::make_shared<MatrixXd>(this->nDraws, this->nChains);
        for (int chain = 0; chain < this->nChains; ++chain)
            this->Threads.push_back(std::make_shared<boost::thread>([this, chain] { Run(chain); }));
    }

    std::vector<std::string> GetSamplesNames() override { return {"b0", "b1", "b2"}; }

 private:
    void Run(int chain) {
        for (int draw = 0; draw < this->nDraws; ++draw) {
            for (int i = 0; i < this->nThin; ++i) boost::this_thread::interruption_point();
            (*m_draws)(draw, chain) = draw + 0.1 * chain;
        }
        if (++m_finished != this->nChains) return;  // the last chain concludes the run
        this->pSamples = m_draws;
        this->logML = -12.5;
        this->HasLogML = this->HasResults = true;
    }

    std::shared_ptr<MatrixXd> m_draws;
    std::atomic<int> m_finished = 0;
};

template <class Base>
class EstimatorFamily : public testing::Test {};
using Families = testing::Types<Estimator, Estimator_YX, Estimator_yZX>;
TYPED_TEST_SUITE(EstimatorFamily, Families);

TYPED_TEST(EstimatorFamily, HandsItsResultsOverAfterTheRun) {
    const auto sampler = std::make_shared<Sampler<TypeParam>>(4);
    const std::shared_ptr<EstimatorBase> estimator = sampler;
    EXPECT_FALSE(estimator->GetHasResults() || estimator->GetHasLogML() || estimator->GetHasLogML_CJ());
    EXPECT_TRUE(estimator->GetModelType() == "Sampler" && estimator->GetpSamples() == nullptr);
    EXPECT_TRUE(TypeParam("", MatrixXd()).GetSamplesNames().empty());
    sampler->GetObsId()(0, 0) = 9.0;  // of a copy
    EXPECT_EQ(sampler->GetObsId(), MatrixXd::Constant(3, 1, 7.0));

    sampler->Start();
    for (const auto& thread : sampler->Threads) thread->join();
    EXPECT_TRUE(estimator->GetHasResults() && estimator->GetHasLogML() && !estimator->GetHasLogML_CJ());
    EXPECT_EQ(estimator->GetLogML(), -12.5);
    EXPECT_EQ(estimator->GetpSamples(), sampler->pSamples);
    EXPECT_EQ((*estimator->GetpSamples())(19, 2), 19.2);
    EXPECT_EQ(std::ssize(estimator->GetSamplesNames()), estimator->GetpSamples()->cols());
    EXPECT_EQ((std::vector{estimator->GetnDraws(), estimator->GetnBurnin(), estimator->GetnChains(),
                           estimator->GetnThin(), estimator->GetnSeed()}),
              (std::vector<std::int64_t>{20, 2, 3, 4, 1LL << 40}));
    for (int time = 0; time < 2; ++time) estimator->InterruptThreads();  // threads that have been joined, then none
    EXPECT_TRUE(estimator->Threads.empty() && estimator->GetHasResults());
}

TYPED_TEST(EstimatorFamily, StopsAtAnyMoment) {
    std::mt19937_64 engine(41);
    int stopped = 0;
    for (int run = 0; run < 60; ++run) {
        const auto sampler = std::make_shared<Sampler<TypeParam>>(run % 4 == 0 ? 1 : 1'000'000'000);
        sampler->Start();
        std::this_thread::sleep_for(std::chrono::microseconds(engine() % 1000));
        sampler->InterruptThreads();
        EXPECT_TRUE(sampler->Threads.empty());
        EXPECT_EQ(sampler->GetHasResults(), sampler->GetpSamples() != nullptr);
        if (!sampler->GetHasResults()) ++stopped;
        sampler->InterruptThreads();
    }
    EXPECT_GE(stopped, 45);
}

TEST(InterruptThreads, StopsOneThreadAfterTheOtherAndReleasesThemFromTheLast) {
    constexpr int count = 4;
    Estimator estimator("", MatrixXd());
    std::atomic<bool> interrupted[count] = {};
    std::atomic<int> ended = 0, released = count, disorder = 0;
    for (int i = 0; i < count; ++i) {
        const auto body = [&, i] {
            try {
                boost::this_thread::sleep(boost::posix_time::hours(1));
            } catch (const boost::thread_interrupted&) {
                interrupted[i] = true;
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                if (i + 1 < count && interrupted[i + 1]) ++disorder;
                if (ended++ != i) ++disorder;
            }
        };
        estimator.Threads.emplace_back(new boost::thread(body), [&, i](const boost::thread* thread) {
            if (--released != i || ended != count) ++disorder;
            delete thread;
        });
    }
    estimator.InterruptThreads();
    EXPECT_EQ(ended, count);
    EXPECT_EQ(released, 0);
    EXPECT_EQ(disorder, 0);
}

TEST(InterruptThreads, RefusesToJoinItsOwnThread) {
    Model model;
    boost::mutex listed;
    listed.lock();
    std::string message;
    model.Threads.push_back(std::make_shared<boost::thread>([&] {
        const boost::mutex::scoped_lock lock(listed);
        try {
            model.InterruptThreads();
        } catch (const boost::thread_resource_error& error) {
            message = error.what();
        }
    }));
    const auto thread = model.Threads[0];
    listed.unlock();
    thread->join();
    EXPECT_TRUE(message.starts_with("boost thread: trying joining itself")) << message;
    EXPECT_EQ(model.Threads.size(), 1U);
}

}  // namespace
