// A sampler of one's own: probit by data augmentation (Albert & Chib 1993) under a flat prior, run in a thread.
#include <quarn/quarn.h>

#include <Eigen/Dense>
#include <boost/thread/thread.hpp>

#include <cmath>
#include <iostream>

using namespace quarn;

class Probit final : public Estimator {
 public:
    Probit(const VectorXd& y, const MatrixXd& X) : Estimator("Probit", {}), m_y(y), m_X(X) {
        nDraws = 2000, nBurnin = 200, nChains = 1, nThin = 1, nSeed = 7;
    }
    void Start() {
        Threads.push_back(std::make_shared<boost::thread>([this] { Run(); }));
    }

 private:
    void Run() {
        Rng rng(static_cast<Rng::result_type>(nSeed));
        Unif unif;
        Norm norm;
        const MatrixXd V = (m_X.transpose() * m_X).inverse(), L = V.llt().matrixL();
        VectorXd beta = VectorXd::Zero(m_X.cols()), z(m_y.size());
        pSamples = std::make_shared<MatrixXd>(nDraws, m_X.cols());
        for (auto draw = -nBurnin; draw < nDraws; ++draw) {
            boost::this_thread::interruption_point();
            const VectorXd mean = m_X * beta;
            for (Eigen::Index i = 0; i < z.size(); ++i)
                z(i) = m_y(i) > 0 ? tnormrnd_lower(rng, unif, norm, mean(i), 1.0, 0.0)
                                  : tnormrnd_upper(rng, unif, norm, mean(i), 1.0, 0.0);
            mvnormrnd(rng, norm, V * (m_X.transpose() * z), L, beta);
            if (draw >= 0) pSamples->row(draw) = beta.transpose();
        }
        HasResults = true;
    }
    VectorXd m_y;
    MatrixXd m_X;
};

int main() {
    Rng rng(3);
    Norm norm;
    MatrixXd X = MatrixXd::Ones(500, 2);
    VectorXd y(X.rows());
    for (Eigen::Index i = 0; i < X.rows(); ++i) {
        X(i, 1) = NormalDraw(rng, norm);
        y(i) = 0.5 - X(i, 1) + NormalDraw(rng, norm) > 0;
    }
    Probit probit(y, X);
    probit.Start();
    probit.Threads[0]->join();
    std::cout << FormatLine("mean of draws", probit.pSamples->colwise().mean()) << "true: 0.5, -1\n";
    return probit.GetHasResults() && std::abs((*probit.pSamples).col(1).mean() + 1.0) < 0.3 ? 0 : 1;
}
