#include <quarn/base/LargeTables_detail.h>
#include <quarn/base/Resizing_detail.h>

#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace quarn::detail {
namespace {

template <class Matrix>
void ResizeLarge(Matrix& matrix, Eigen::Index rows, Eigen::Index columns) {
    const Eigen::Index before = matrix.size();
    Resize(matrix, rows, columns);
    if (matrix.size() != before)
        AdviseLargePages(matrix.data(), static_cast<std::size_t>(matrix.size()) * sizeof(typename Matrix::Scalar));
}

}  // namespace

void AdviseLargePages([[maybe_unused]] const void* block, [[maybe_unused]] std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t page = std::uintptr_t{1} << 12;
    constexpr std::size_t worthwhile = std::size_t{8} << 20;  // four pages of 2 MiB
    if (bytes < worthwhile) return;
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

void ResizeUninitialised(MatrixXd& matrix, Eigen::Index rows, Eigen::Index columns) {
    ResizeLarge(matrix, rows, columns);
}
void ResizeUninitialised(MatrixXi& matrix, Eigen::Index rows, Eigen::Index columns) {
    ResizeLarge(matrix, rows, columns);
}

}  // namespace quarn::detail
