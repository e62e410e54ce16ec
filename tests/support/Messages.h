#pragma once

#include <string>

namespace quarn::testing {

// What more than one operation of a dataset answers.
inline const std::string NonNumeric = "The list of selected variables contains variables with non-numeric data.";
inline const std::string StaleSeries =
    "The dataset has undergone transformations since it was last declared as a time-series dataset, which invalidate "
    "this designation. Use the \"set_ts\" function again to get more information.";
inline const std::string StalePanel =
    "The dataset has undergone transformations since it was last declared as a panel dataset, which invalidate this "
    "designation. Use the \"set_pd\" function again to get more information.";

}  // namespace quarn::testing
