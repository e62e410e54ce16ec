#pragma once

/// All public headers of libQuarn_comp.

#include <quarn/base/Colour.h>
#include <quarn/base/EventDispatcher.h>
#include <quarn/base/Export.h>
#include <quarn/base/FormatLine.h>
#include <quarn/base/Globals.h>
#include <quarn/base/ProcessID.h>
#include <quarn/base/Types.h>
#include <quarn/classical/MVNORMEM.h>
#include <quarn/classical/OLSChol.h>
#include <quarn/classical/OLSEM.h>
#include <quarn/classical/kmeansClassifier.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFormats.h>
#include <quarn/models/ChainDataStructure.h>
#include <quarn/models/Estimator.h>
#include <quarn/models/Model.h>
#include <quarn/models/SummaryStructure.h>
#include <quarn/numerics/Densities.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/numerics/Quadrature.h>
#include <quarn/numerics/Sorting.h>
#include <quarn/optimize/LogLikelihoods.h>
#include <quarn/optimize/Optimize.h>
#include <quarn/random/GHK.h>
#include <quarn/random/Generators.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>
#include <quarn/random/TruncatedNormal.h>
#include <quarn/random/Univariate.h>
#include <quarn/reports/SummarizeModel.h>
