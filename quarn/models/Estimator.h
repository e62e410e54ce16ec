#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/models/SummaryStructure.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace boost {
class thread;
}

namespace quarn {

/// What all estimators share. An estimator is one run of posterior simulation: its settings, the threads that sample,
/// and the results that a Model takes over. Samplers derive from one of the three classes below, which differ in the
/// names of their variables only:
///
///     class Probit final : public quarn::Estimator {
///      public:
///         Probit(VectorXd y, MatrixXd X, const MatrixXd& ids) : Estimator("Probit", ids), ... {
///             nDraws = 20000; ...                                          // all five counts, and the names
///         }
///         void Start() { Threads.push_back(std::make_shared<boost::thread>([this] { Run(); })); }
///         std::vector<std::string> GetSamplesNames() override { return IndVarNames; }  // one per column of pSamples
///
///      private:
///         void Run() {
///             for (...) {
///                 boost::this_thread::interruption_point();                // or the run cannot be stopped
///                 ...                                                      // one draw
///             }
///             pSamples = ...; Summary = ...; logML = ...; HasLogML = true; // what the model provides
///             HasResults = true;                                           // last
///         }
///     };
///
///     const auto probit = std::make_shared<Probit>(y, X, ids);             // of the concrete type
///     probit->Start();
///     while (!probit->Threads[0]->timed_join(boost::posix_time::milliseconds(100)))
///         if (userCancels()) { probit->InterruptThreads(); break; }        // Threads is empty then
///     if (probit->GetHasResults()) ...                                     // finished, not stopped
///
///   state     Threads    HasResults   reached by
///   built     empty      false        the constructor
///   running   not empty  false        the start, which the sampler writes
///   finished  any        true         the sampler, at the end of its run
///   stopped   empty      false        InterruptThreads
///
/// The destructor is not virtual: std::make_shared of the concrete type remembers how to destroy it, so that any pointer
/// made from that one may be the last. Never delete through a pointer to a base. -Wnon-virtual-dtor, which is no part of
/// -Wall or -Wextra, warns of each derived class for that reason.
///
/// Threads: no lock. Settings are written before the threads start. What the threads write may be read once they have
///          been joined. Join or interrupt them all before the estimator is destroyed, whose fields they use.
class QUARN_EXPORT EstimatorBase {
 public:
    std::string ModelType;                                ///< name of the model type
    bool HasResults = false;                              ///< the run has ended with results
    double logML = 0.0;                                   ///< log marginal likelihood after Lewis and Raftery
    bool HasLogML = false;                                ///< logML is valid
    double logML_CJ = 0.0;                                ///< log marginal likelihood after Chib and Jeliazkov
    bool HasLogML_CJ = false;                             ///< logML_CJ is valid
    bool RunFlag = false;                                 ///< for samplers; not read here
    std::vector<std::shared_ptr<boost::thread>> Threads;  ///< the running samplers
    std::int64_t nDraws = 0;                              ///< retained draws per chain
    std::int64_t nBurnin = 0;                             ///< iterations before them
    std::int64_t nChains = 0;                             ///< number of chains
    std::int64_t nThin = 0;                               ///< iterations per retained draw
    std::int64_t nSeed = 0;                               ///< seed of the generators
    std::shared_ptr<MatrixXd> pSamples;                   ///< a row per draw, a column per parameter, or null
    SummaryStructure Summary;                             ///< table of posterior summaries

    // The fields of the same names, by value, but for the matrix of draws, which is shared.
    virtual bool GetHasResults();
    virtual std::string GetModelType() const;
    virtual SummaryStructure GetSummaryStructure() const;
    virtual std::shared_ptr<MatrixXd> GetpSamples() const;
    virtual bool GetHasLogML() const;
    virtual double GetLogML() const;
    virtual bool GetHasLogML_CJ() const;
    virtual double GetLogML_CJ() const;
    virtual MatrixXd GetObsId() const = 0;
    virtual std::vector<std::string> GetSamplesNames();  ///< empty here; a sampler names the columns of its draws
    virtual std::int64_t GetnBurnin();
    virtual std::int64_t GetnChains();
    virtual std::int64_t GetnDraws();
    virtual std::int64_t GetnThin();
    virtual std::int64_t GetnSeed();

    /// Stops a run: interrupts each thread and waits for its end, before it turns to the next one; then empties Threads.
    /// Nothing else changes: draws and flags are what the threads left.
    /// Requires: the threads reach interruption points; no call at the same time from elsewhere. Not tested.
    /// Errors: boost::thread_resource_error, from one of these threads itself; boost::thread_interrupted if the caller
    ///         is interrupted while it waits. Threads is then as it was.
    void InterruptThreads();

 protected:
    explicit EstimatorBase(const std::string& modelType);
    ~EstimatorBase();
    EstimatorBase(const EstimatorBase&);
    EstimatorBase& operator=(const EstimatorBase&);
};

// Their destructors are public and not virtual: see above.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// One dependent variable and one group of regressors.
class QUARN_EXPORT Estimator : public EstimatorBase {
 public:
    std::string DepVarName;
    std::vector<std::string> IndVarNames;
    MatrixXd ObsId;  ///< identifiers of the observations of the estimation sample, a row each

    Estimator(const std::string& modelType, const MatrixXd& obsId);
    MatrixXd GetObsId() const override;
};

/// A system of equations: Y on X.
class QUARN_EXPORT Estimator_YX : public EstimatorBase {
 public:
    std::vector<std::string> DepVarName;                ///< one per column of Y
    std::vector<std::vector<std::string>> IndVarNames;  ///< regressors of each equation
    MatrixXd ObsId;                                     ///< as in Estimator

    Estimator_YX(const std::string& modelType, const MatrixXd& obsId);
    MatrixXd GetObsId() const override;
};

/// One dependent variable and two groups of regressors: y on Z and X.
class QUARN_EXPORT Estimator_yZX : public EstimatorBase {
 public:
    std::string DepVarName;
    std::vector<std::string> IndVarNames;   ///< of the group Z
    std::vector<std::string> IndVarNamesX;  ///< of the group X
    MatrixXd ObsId;                         ///< as in Estimator

    Estimator_yZX(const std::string& modelType, const MatrixXd& obsId);
    MatrixXd GetObsId() const override;
};

#pragma GCC diagnostic pop

}  // namespace quarn
