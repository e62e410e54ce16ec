#pragma once

#include <quarn/models/Estimator.h>
#include <quarn/models/Model.h>

#include <samplers/Chain.h>
#include <samplers/Export.h>
#include <samplers/Settings.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarn::samplers {

/// A run of posterior simulation: chains on threads of their own, draws that are kept, and what is made of them at the
/// end. Every sampler of this folder is one of the three estimators and a Sampler at once:
///
///     class LinearRegression final : public SamplerOf<Estimator> { ... };
///
///     const auto sampler = std::make_shared<LinearRegression>(y, X, ids, prior);
///     if (const auto status = sampler->Start(settings); status != "OK") ...      // a message for the user
///     while (!sampler->WaitFor(0.2)) ShowProgress(sampler->IterationsDone());
///     if (!sampler->GetHasResults()) ...                                         // sampler->Failure() says why
///     const std::shared_ptr<Model> model = sampler->MakeModel();
///
/// Chains: chain c draws from stream c of the seed (MakeGenerator). Its draws are rows c nDraws, ..., (c + 1) nDraws - 1
///         of pSamples. They depend on the data, the prior, the seed and c, not on the number of threads.
/// Threads: Start, WaitFor, Stop and KeepPartial are called from one thread, that of the caller; IterationsDone from any.
///         The last thread to end computes the summary and sets HasResults.
class QUARN_SAMPLERS_EXPORT Sampler {
 public:
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;
    virtual ~Sampler();

    /// Allocates the draws and starts the threads. "OK", or a message if a setting is out of its range (Draws, Thin,
    /// Chains of at least 1, Burnin of at least 0), if the draws do not fit into three quarters of the machine's memory,
    /// if the data cannot be used, if a run has been started before, or if the system does not allow that many threads:
    /// those that had started are stopped then, and Start can be called again, with fewer.
    std::string Start(const RunSettings& settings);

    /// Waits until all threads have ended, at most so many seconds. True if they have.
    bool WaitFor(double seconds);

    /// Ends the run early: InterruptThreads. Without effect on a run that has ended.
    void Stop();

    /// After Stop: makes results of what all chains have, as if nDraws, which is changed, had been the number of draws of
    /// the chain that got least far; Partial is set. False, with nothing changed, if that chain has kept no draw yet. A
    /// run with results stays as it is (true); one that failed gives false.
    bool KeepPartial();

    /// Iterations that each chain has made of IterationsPerChain(), to within a few milliseconds.
    std::vector<std::int64_t> IterationsDone() const;
    std::int64_t IterationsPerChain() const;
    double Seconds() const;  ///< from Start to the end of the run, or until now

    bool IsPartial() const { return m_partial; }
    std::string Failure() const;  ///< why a run ended without results; empty if it did not, or was stopped

    EstimatorBase& GetEstimator() { return m_estimator; }

    /// The model of a sampler with results: draws and ids shared with it, table, log marginal likelihoods. The dataset is
    /// not linked; that is for the caller, who has it: LinkToDataset.
    virtual std::shared_ptr<Model> MakeModel() const = 0;

 protected:
    explicit Sampler(EstimatorBase& estimator);

    /// What is wrong with the data or the prior, for the user; empty if nothing is. Called by Start.
    virtual std::string CheckData() const = 0;
    /// Chain number c at its starting point. Called by Start, chain after chain; may draw from the generator, which is
    /// that of the chain.
    virtual std::unique_ptr<Chain> MakeChain(Generator& generator, std::int64_t c) const = 0;
    /// Number of columns of pSamples.
    virtual Eigen::Index NumParameters() const = 0;
    /// Fills Summary and, as far as they exist, the log marginal likelihoods, from pSamples. May replace pSamples by a
    /// reordered one. Runs on a sampler thread, or in KeepPartial.
    virtual void Summarise() = 0;

    /// Fills a model that is to be returned by MakeModel; the concrete one adds what is its own.
    ///
    ///   top  lines for the head of its table, each with its line end; lines on the run, with the seed, follow. A run
    ///        that was stopped says so there, and has ModelFlag set
    void FillModel(Model& model, const std::string& top) const;

 private:
    struct Run;

    void RunThread(std::size_t thread, std::size_t numThreads);
    void Finish();

    EstimatorBase& m_estimator;
    std::unique_ptr<Run> m_run;
    bool m_partial = false;
};

/// One of the three estimators with chains.
template <class EstimatorType>
class SamplerOf : public EstimatorType, public Sampler {
 public:
    template <class... Arguments>
    explicit SamplerOf(const Arguments&... arguments)
        : EstimatorType(arguments...), Sampler(static_cast<EstimatorBase&>(*this)) {}
};

/// Links a model and the dataset that it was estimated from, each to the other.
QUARN_SAMPLERS_EXPORT void LinkToDataset(const std::shared_ptr<Model>& model, const std::shared_ptr<Dataset>& dataset);

}  // namespace quarn::samplers
