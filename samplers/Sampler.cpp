#include <quarn/datasets/Dataset.h>

#include <samplers/RunRecord.h>
#include <samplers/Sampler.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/thread.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <iomanip>
#include <new>
#include <sstream>
#include <unistd.h>
#include <utility>

// A thread takes its chains in turn, a slice of iterations each, so that a run that is stopped has got about equally far
// in all of them. The slice ends are where it can be interrupted, and where it tells how far it is. Draws go through a
// small buffer, one draw after the other, since a row of the matrix of draws touches as many pages as it has columns.

namespace quarn::samplers {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Eigen::Index BufferedDraws = 64;
constexpr std::chrono::microseconds SliceTime{2000};
constexpr std::int64_t LongestSlice = 1 << 14;

double MemoryOfMachine() {
    return static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGE_SIZE));
}

std::string CheckSettings(const RunSettings& settings) {
    constexpr std::int64_t most = std::int64_t{1} << 40;
    const auto outside = [](std::int64_t value, std::int64_t least) { return value < least || value > most; };
    if (outside(settings.Draws, 1)) return "The number of draws must be at least 1.";
    if (outside(settings.Burnin, 0)) return "The number of burn-in iterations must not be negative.";
    if (outside(settings.Thin, 1)) return "The thinning interval must be at least 1.";
    if (settings.Chains < 1 || settings.Chains > 1024) return "The number of chains must be from 1 to 1024.";
    if (settings.Threads < 0) return "The number of threads must not be negative.";
    // Iterations are counted in 64 bits.
    if (settings.Draws > most / settings.Thin) return "The number of draws times the thinning interval is too large.";
    return "";
}

std::string TooLarge(const RunSettings& settings, Eigen::Index columns) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    const double bytes =
        8.0 * static_cast<double>(settings.Chains) * static_cast<double>(settings.Draws) * static_cast<double>(columns);
    text << "The draws would take " << std::fixed << std::setprecision(1) << bytes / 1e9
         << " GB, more than this machine can hold: " << settings.Chains << " chain" << (settings.Chains == 1 ? "" : "s")
         << " of " << settings.Draws << " draws of " << columns
         << " parameters. Ask for fewer draws, or keep one of several (thinning).";
    return text.str();
}

/// Starts count threads of run(number, count). False where the system gives out before the last one.
template <class Run>
bool StartThreads(std::size_t count, const Run& run, std::vector<std::shared_ptr<boost::thread>>& threads) {
    try {
        threads.reserve(count);  // or a thread could run that is in no list
        for (std::size_t t = 0; t < count; ++t)
            threads.push_back(std::make_shared<boost::thread>([run, t, count] { run(t, count); }));
    } catch (const boost::thread_resource_error&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace

/// What a run consists of besides the fields of the estimator.
struct Sampler::Run {
    struct alignas(64) Slot {  // no two threads write to one cache line
        std::unique_ptr<Chain> State;
        Generator Stream;
        MatrixXd Buffer;  // parameters x BufferedDraws
        Eigen::Index Buffered = 0;
        std::int64_t Stored = 0;  // draws in the matrix
        std::int64_t Done = 0;    // iterations
        std::atomic<std::int64_t> Shown{0};
    };

    explicit Run(const RunSettings& settings)
        : Settings(settings), Iterations(settings.Burnin + settings.Draws * settings.Thin) {}

    void Advance(Slot& slot, std::int64_t chain, std::int64_t iterations, MatrixXd& draws) const {
        const std::int64_t end = std::min(slot.Done + iterations, Iterations);
        while (slot.Done < end) {
            slot.State->Step(slot.Stream);
            ++slot.Done;
            if (slot.Done <= Settings.Burnin || (slot.Done - Settings.Burnin) % Settings.Thin != 0) continue;
            slot.State->Store(slot.Buffer.col(slot.Buffered));
            if (++slot.Buffered == BufferedDraws) Flush(slot, chain, draws);
        }
        slot.Shown.store(slot.Done, std::memory_order_relaxed);
    }

    void Flush(Slot& slot, std::int64_t chain, MatrixXd& draws) const {
        draws.middleRows(chain * Settings.Draws + slot.Stored, slot.Buffered) =
            slot.Buffer.leftCols(slot.Buffered).transpose();
        slot.Stored += slot.Buffered;
        slot.Buffered = 0;
    }

    const RunSettings Settings;
    const std::int64_t Iterations;
    std::vector<std::unique_ptr<Slot>> Slots;
    std::atomic<std::size_t> ThreadsLeft{0};
    std::atomic<bool> Interrupted{false}, Failed{false};
    std::string Failure;  // written by the thread that set Failed
    Clock::time_point Begin = Clock::now();
    std::atomic<Clock::rep> Duration{-1};  // ticks, once the run has ended
};

Sampler::Sampler(EstimatorBase& estimator) : m_estimator(estimator) {}
Sampler::~Sampler() = default;

std::string Sampler::Start(const RunSettings& settings) {
    if (m_run) return "The sampler has been started before.";
    for (const std::string& fault : {CheckSettings(settings), CheckData()})
        if (!fault.empty()) return fault;
    const Eigen::Index columns = NumParameters();
    const double bytes =
        8.0 * static_cast<double>(settings.Chains) * static_cast<double>(settings.Draws) * static_cast<double>(columns);
    if (!(bytes <= 0.75 * MemoryOfMachine())) return TooLarge(settings, columns);

    auto run = std::make_unique<Run>(settings);
    try {
        m_estimator.pSamples = std::make_shared<MatrixXd>(settings.Chains * settings.Draws, columns);
    } catch (const std::bad_alloc&) {
        return TooLarge(settings, columns);
    }
    for (std::int64_t c = 0; c < settings.Chains; ++c) {
        auto slot = std::make_unique<Run::Slot>();
        slot->Stream = MakeGenerator(settings.Seed, c);
        slot->State = MakeChain(slot->Stream, c);
        slot->Buffer.resize(columns, BufferedDraws);
        run->Slots.push_back(std::move(slot));
    }
    m_estimator.nDraws = settings.Draws;
    m_estimator.nBurnin = settings.Burnin;
    m_estimator.nChains = settings.Chains;
    m_estimator.nThin = settings.Thin;
    m_estimator.nSeed = settings.Seed;
    m_run = std::move(run);

    const auto cores = std::max(1U, boost::thread::hardware_concurrency());
    const auto wanted = static_cast<std::size_t>(settings.Threads > 0 ? settings.Threads : static_cast<int>(cores));
    const std::size_t numThreads = std::min(wanted, m_run->Slots.size());
    m_run->ThreadsLeft = numThreads;
    m_run->Begin = Clock::now();
    if (StartThreads(
            numThreads, [this](std::size_t t, std::size_t n) { RunThread(t, n); }, m_estimator.Threads))
        return "OK";
    const std::size_t started = m_estimator.Threads.size();
    // No thread ends the run while one that was counted is missing.
    m_estimator.InterruptThreads();
    m_run.reset();
    m_estimator.pSamples.reset();
    return "The system allowed " + std::to_string(started) + " threads of " + std::to_string(numThreads) +
           ". Ask for fewer.";
}

void Sampler::RunThread(std::size_t thread, std::size_t numThreads) {
    Run& run = *m_run;
    try {
        std::int64_t slice = 1;
        for (bool more = true; more && !run.Failed;) {
            more = false;
            const auto begin = Clock::now();
            for (std::size_t c = thread; c < run.Slots.size() && !run.Failed; c += numThreads) {
                boost::this_thread::interruption_point();
                run.Advance(*run.Slots[c], static_cast<std::int64_t>(c), slice, *m_estimator.pSamples);
                more = more || run.Slots[c]->Done < run.Iterations;
            }
            slice = Clock::now() - begin < SliceTime ? std::min(2 * slice, LongestSlice)
                                                     : std::max<std::int64_t>(slice / 2, 1);
        }
        if (run.ThreadsLeft.fetch_sub(1) != 1) return;
        if (!run.Interrupted && !run.Failed) Finish();
    } catch (const boost::thread_interrupted&) {
        run.Interrupted = true;
    } catch (const std::bad_alloc&) {
        if (!run.Failed.exchange(true)) run.Failure = "Out of memory.";
    } catch (const std::exception& failure) {
        if (!run.Failed.exchange(true)) run.Failure = failure.what();
    }
    // A thread that left its loop by an exception has not been counted; then ThreadsLeft stays above 0 for all others.
    run.Duration = (Clock::now() - run.Begin).count();
}

/// All draws are there.
void Sampler::Finish() {
    for (std::size_t c = 0; c < m_run->Slots.size(); ++c)
        m_run->Flush(*m_run->Slots[c], static_cast<std::int64_t>(c), *m_estimator.pSamples);
    Summarise();
    m_run->Duration = (Clock::now() - m_run->Begin).count();
    m_estimator.HasResults = true;
}

bool Sampler::WaitFor(double seconds) {
    const auto end =
        boost::get_system_time() + boost::posix_time::microseconds(static_cast<std::int64_t>(seconds * 1e6));
    return std::all_of(m_estimator.Threads.begin(), m_estimator.Threads.end(),
                       [end](const auto& thread) { return !thread->joinable() || thread->timed_join(end); });
}

void Sampler::Stop() { m_estimator.InterruptThreads(); }

bool Sampler::KeepPartial() {
    if (m_estimator.HasResults) return true;
    if (!m_run || m_run->Failed) return false;
    std::int64_t draws = m_run->Settings.Draws;
    for (const auto& slot : m_run->Slots) draws = std::min(draws, slot->Stored + slot->Buffered);
    if (draws == 0) return false;
    for (std::size_t c = 0; c < m_run->Slots.size(); ++c)
        m_run->Flush(*m_run->Slots[c], static_cast<std::int64_t>(c), *m_estimator.pSamples);
    const MatrixXd& all = *m_estimator.pSamples;
    auto kept = std::make_shared<MatrixXd>(m_run->Settings.Chains * draws, all.cols());
    for (std::int64_t c = 0; c < m_run->Settings.Chains; ++c)
        kept->middleRows(c * draws, draws) = all.middleRows(c * m_run->Settings.Draws, draws);
    m_estimator.pSamples = std::move(kept);
    m_estimator.nDraws = draws;
    m_partial = draws < m_run->Settings.Draws;
    Summarise();
    m_estimator.HasResults = true;
    return true;
}

std::vector<std::int64_t> Sampler::IterationsDone() const {
    std::vector<std::int64_t> done;
    if (!m_run) return done;
    for (const auto& slot : m_run->Slots) done.push_back(slot->Shown.load(std::memory_order_relaxed));
    return done;
}

std::int64_t Sampler::IterationsPerChain() const { return m_run ? m_run->Iterations : 0; }

double Sampler::Seconds() const {
    if (!m_run) return 0.0;
    const Clock::rep duration = m_run->Duration;
    return std::chrono::duration<double>(duration < 0 ? Clock::now() - m_run->Begin : Clock::duration(duration))
        .count();
}

std::string Sampler::Failure() const { return m_run && m_run->Failed ? m_run->Failure : ""; }

void Sampler::FillModel(Model& model, const std::string& top) const {
    model.ModelType = m_estimator.ModelType;
    model.SamplesNames = m_estimator.GetSamplesNames();
    model.Summary = m_estimator.Summary;
    model.SetSamplesShallow(m_estimator.pSamples);
    model.SetObsIdShallow(std::make_shared<MatrixXd>(m_estimator.GetObsId()));
    if (m_estimator.HasLogML)
        model.Elements[Model::LogMLKey] = std::make_shared<MatrixXd>(MatrixXd::Constant(1, 1, m_estimator.logML));
    if (m_estimator.HasLogML_CJ)
        model.Elements[Model::LogMLCJKey] = std::make_shared<MatrixXd>(MatrixXd::Constant(1, 1, m_estimator.logML_CJ));
    model.ModelFlag = m_partial;
    StoreRunRecord({m_estimator.nChains, m_estimator.nDraws, m_estimator.nBurnin, m_estimator.nThin, m_estimator.nSeed},
                   model);

    std::ostringstream lines, seconds;
    for (auto* const stream : {&lines, &seconds}) stream->imbue(std::locale::classic());
    lines << top << "Draws: " << m_estimator.nDraws << " x " << m_estimator.nChains
          << (m_estimator.nChains == 1 ? " chain" : " chains") << ", burn-in " << m_estimator.nBurnin << ", thinning "
          << m_estimator.nThin << ", seed " << m_estimator.nSeed;
    if (m_partial)
        lines << "\nPARTIAL RESULTS: stopped after " << m_estimator.nDraws << " of " << m_run->Settings.Draws
              << " draws per chain";
    model.SetTableTop(lines.str());
    seconds << std::fixed << std::setprecision(2) << Seconds();
    model.ElapsedTime = seconds.str();
}

void LinkToDataset(const std::shared_ptr<Model>& model, const std::shared_ptr<Dataset>& dataset) {
    model->SetDataset(dataset);
    dataset->AddAssociatedModel(model);
}

}  // namespace quarn::samplers
