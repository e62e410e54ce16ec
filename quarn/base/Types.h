#pragma once

#include <quarn/base/Alignment.h>

#include <Eigen/Core>

/// The dense types that all of the library's interfaces speak: column-major matrices and vectors of Eigen.
namespace quarn {

using Eigen::MatrixXd;
using Eigen::MatrixXi;
using Eigen::RowVectorXd;
using Eigen::VectorXd;
using Eigen::VectorXi;

}  // namespace quarn
