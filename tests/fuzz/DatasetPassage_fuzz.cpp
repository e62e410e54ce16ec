#include "Property.h"

#include <optional>

/// Any bytes as the passage of a dataset.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace quarn;
    std::istringstream stream(fuzz::Input(data, size).Rest());
    std::optional<Dataset> dataset;
    if (fuzz::IsRefused([&] { dataset.emplace(stream); })) return 0;
    fuzz::Require(dataset->Loaded && dataset->StatusText.empty());
    fuzz::RequireComesBack(*dataset);
    return 0;
}
