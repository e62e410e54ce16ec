#include <quarn/models/Threads_detail.h>

#include <boost/thread/thread.hpp>

namespace quarn::detail {

void InterruptAndJoin(ThreadList& threads) {
    for (const auto& thread : threads) {
        thread->interrupt();
        thread->join();
    }
    while (!threads.empty()) threads.pop_back();
}

}  // namespace quarn::detail
