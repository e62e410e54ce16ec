#pragma once

#include <quarn/base/Types.h>

/// Matrices and vectors that may hold another size. Eigen's own resize, and with it an assignment, frees the old cells
/// before it asks for new ones, and keeps the pointer to them where that fails: the object would free them again. These
/// two do not, and allocate nothing where the size stays; nor do swaps, moves and conservativeResize.
namespace quarn::detail {

/// object.resize(rows, columns). Errors: std::bad_alloc, with the object empty.
template <class Object>
void Resize(Object& object, Eigen::Index rows, Eigen::Index columns) {
    if (object.rows() != rows || object.cols() != columns) object = Object();
    object.resize(rows, columns);
}

/// The same for a vector or row vector.
template <class Vector>
void Resize(Vector& vector, Eigen::Index size) {
    constexpr bool isRow = Vector::RowsAtCompileTime == 1;
    Resize(vector, isRow ? 1 : size, isRow ? size : 1);
}

/// target = source, which may be an expression that reads target. Errors: std::bad_alloc, with the target as it was.
template <class Object, class Source>
void Assign(Object& target, const Source& source) {
    if (target.rows() == source.rows() && target.cols() == source.cols()) {
        target = source;
    } else {
        target = Object(source);
    }
}

}  // namespace quarn::detail
