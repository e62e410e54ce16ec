# The libraries that libQuarn_comp itself stands on. Everything comes from the system's packages.
# QuarnConfig.cmake.in names the same for those who use the installed library.
find_package(Eigen3 3.4 REQUIRED NO_MODULE)
find_package(Boost 1.74 REQUIRED COMPONENTS thread date_time)
include(${CMAKE_CURRENT_LIST_DIR}/QuarnWx.cmake)
quarn_find_wx(${QUARN_WX_CORE} REQUIRED)
