#include "Property.h"

#include <algorithm>
#include <limits>

/// Any bytes as the passage of a vector of integers, and, behind a count, as its lines.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace quarn;
    fuzz::Input input(data, size);
    const int count = input.Byte();
    const std::string text = input.Rest();
    std::istringstream whole(text);
    VectorXi loaded;
    if (!fuzz::IsRefused([&] { loaded = LoadVectorXi(whole); })) {
        std::stringstream passage;
        SaveVectorXi(loaded, passage);
        passage << "rest";
        fuzz::Require(LoadVectorXi(passage) == loaded && fuzz::Rest(passage) == "rest");
    }
    std::istringstream stream(text), lines(text);
    VectorXi vector = VectorXi::Constant(count + 1, 7);
    LoadVectorXi(stream, vector, count);
    for (int i = 0; i < count; ++i) {
        std::string line;
        if (!std::getline(lines, line)) line.clear();
        // Beyond the range of int, atoi has no value; ours is the nearest int.
        const long long value = std::strtoll(line.c_str(), nullptr, 10);
        fuzz::Require(vector(i) ==
                      std::clamp<long long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    }
    fuzz::Require(vector(count) == 7);
    return 0;
}
