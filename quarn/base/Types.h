#pragma once

#include <quarn/base/Alignment.h>

#include <Eigen/Core>

/// The dense types that all of the library's interfaces speak: column-major matrices and vectors of Eigen.
///
/// Where memory runs out, the library leaves all objects fit to be destroyed and assigned to. Eigen 3.4 itself does not:
/// resizing a filled object, or assigning one of another size to it, leaves a pointer to freed memory there. Assign by a
/// move, target = MatrixXd(source); so too with copies of structures that have such fields, as the estimators do.
namespace quarn {

using Eigen::MatrixXd;
using Eigen::MatrixXi;
using Eigen::RowVectorXd;
using Eigen::VectorXd;
using Eigen::VectorXi;

}  // namespace quarn
