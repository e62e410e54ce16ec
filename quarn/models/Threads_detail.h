#pragma once

#include <memory>
#include <vector>

namespace boost {
class thread;
}

namespace quarn::detail {

using ThreadList = std::vector<std::shared_ptr<boost::thread>>;

/// Stops the threads one at a time, from the first to the last, and releases them from the last to the first.
void InterruptAndJoin(ThreadList& threads);

}  // namespace quarn::detail
