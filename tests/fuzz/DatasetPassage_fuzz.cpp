#include "Property.h"

#include <new>

/// Any bytes as the passage of a dataset.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace quarn;
    std::istringstream stream(fuzz::Input(data, size).Rest());
    try {
        const Dataset dataset(stream);
        fuzz::Require(dataset.Loaded && dataset.StatusText.empty());
        fuzz::RequireComesBack(dataset);
    } catch (const std::bad_alloc&) {
        // counts that cannot be true
    }
    return 0;
}
