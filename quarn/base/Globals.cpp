#include <quarn/base/Globals.h>

#include <limits>

namespace quarn::Quarn_SYSTEM_NAMESPACE {

const Eigen::IOFormat GLOBAL_IOFormatWorkspace(std::numeric_limits<double>::max_digits10, Eigen::DontAlignCols, "~",
                                               "\n", "", "", "", "");

}  // namespace quarn::Quarn_SYSTEM_NAMESPACE
