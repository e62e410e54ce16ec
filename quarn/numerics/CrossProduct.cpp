// Cross-products in tiles of columns: the rows are taken in chunks that stay in the cache, and within a chunk each tile
// of I x J column pairs keeps its sums of four lanes in registers. Between chunks the sums rest in memory, so neither
// the chunk nor the tile has any influence on the digits: they may be tuned freely. The lanes, the separate
// multiplication and addition, and the tree at the end may not: they are the documented order.

#include <quarn/numerics/CrossProduct_detail.h>

#include <algorithm>
#include <vector>

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr Index Lanes = 4;

/// Rows of a chunk: the seven columns of a tile (14 kB) stay in the first-level cache, those of 100 columns in the
/// second.
constexpr Index ChunkRows = 256;

/// From this many columns on, a copy of those of a tile, aligned and side by side, pays for itself (by a tenth at 50).
constexpr Index WideMatrix = 32;

/// Columns from `cells` on, `stride` apart.
struct Panel {
    const double* cells;
    Index stride;
    __attribute__((always_inline)) const double* Column(Index j) const { return cells + j * stride; }
    __attribute__((always_inline)) Panel From(Index j) const { return {cells + j * stride, stride}; }
};

/// The sums of lanes, row by row: of the k x m rectangle, or of the lower triangle with its diagonal.
struct Sums {
    double* cells;
    Index m;
    bool isTriangle;
    __attribute__((always_inline)) double* At(Index i, Index j) const {
        return cells + Lanes * ((isTriangle ? i * (i + 1) / 2 : i * m) + j);
    }
};

/// What one sweep multiplies: n rows, a multiple of 4 and at most ChunkRows, of x (k columns), d (or null) and z (m
/// columns).
struct Chunk {
    Index n, k, m;
    Panel x, z;
    const double* d;
};

/// Adds the products of I columns of a and J columns of b to the sums from (i, j) on. On the diagonal only those on or
/// below it.
template <int I, int J, bool OnDiagonal>
__attribute__((always_inline)) inline void AddTile(Index n, const Panel& a, const Panel& b, const Sums& sums, Index i,
                                                   Index j) {
    const double* x[I];
    const double* z[J];
    Quad sum[I][J];
#pragma GCC unroll 4
    for (int q = 0; q < J; ++q) z[q] = b.Column(q);
#pragma GCC unroll 4
    for (int p = 0; p < I; ++p) {
        x[p] = a.Column(p);
#pragma GCC unroll 4
        for (int q = 0; q < (OnDiagonal ? p + 1 : J); ++q) {
            Load(sum[p][q], sums.At(i + p, j + q));
        }
    }
    for (Index row = 0; row < n; row += Lanes) {
        Quad zRows[J];
#pragma GCC unroll 4
        for (int q = 0; q < J; ++q) Load(zRows[q], z[q] + row);
#pragma GCC unroll 4
        for (int p = 0; p < I; ++p) {
            Quad xRows;
            Load(xRows, x[p] + row);
#pragma GCC unroll 4
            for (int q = 0; q < (OnDiagonal ? p + 1 : J); ++q) sum[p][q] += xRows * zRows[q];
        }
    }
#pragma GCC unroll 4
    for (int p = 0; p < I; ++p) {
#pragma GCC unroll 4
        for (int q = 0; q < (OnDiagonal ? p + 1 : J); ++q) {
            Store(sums.At(i + p, j + q), sum[p][q]);
        }
    }
}

/// I columns of x, scaled by d if there is one, with all columns of z, or with the columns of x up to their own.
template <int I, int MaxJ>
__attribute__((always_inline)) inline void AddBlock(const Chunk& chunk, const Sums& sums, Index i) {
    alignas(Quad) double block[I * ChunkRows];
    Panel a = chunk.x.From(i);
    if (chunk.d || chunk.k >= WideMatrix) {
        for (int p = 0; p < I; ++p) {
            const double* const column = a.Column(p);
            double* const copy = block + p * ChunkRows;
            if (chunk.d) {
                for (Index row = 0; row < chunk.n; ++row) copy[row] = chunk.d[row] * column[row];
            } else {
                for (Index row = 0; row < chunk.n; ++row) copy[row] = column[row];
            }
        }
        a = {block, ChunkRows};
    }
    const Index columns = sums.isTriangle ? i : chunk.m;
    Index j = 0;
    // Four columns left are taken as two and two: a tile with one column waits for its additions.
    for (; columns - j >= MaxJ && columns - j != MaxJ + 1; j += MaxJ) {
        AddTile<I, MaxJ, false>(chunk.n, a, chunk.z.From(j), sums, i, j);
    }
    for (; columns - j >= 2; j += 2) AddTile<I, 2, false>(chunk.n, a, chunk.z.From(j), sums, i, j);
    if (j < columns) AddTile<I, 1, false>(chunk.n, a, chunk.z.From(j), sums, i, j);
    if (sums.isTriangle) AddTile<I, I, true>(chunk.n, a, chunk.z.From(i), sums, i, i);
}

template <int MaxI, int MaxJ>
__attribute__((always_inline)) inline void AddChunk(const Chunk& chunk, const Sums& sums) {
    Index i = 0;
    for (; chunk.k - i >= MaxI; i += MaxI) AddBlock<MaxI, MaxJ>(chunk, sums, i);
    if constexpr (MaxI > 3) {
        if (chunk.k - i == 3) AddBlock<3, MaxJ>(chunk, sums, i);
        if (chunk.k - i == 2) AddBlock<2, MaxJ>(chunk, sums, i);
    }
    if (chunk.k - i == 1) AddBlock<1, MaxJ>(chunk, sums, i);
}

struct ChunkKernel {
    const Chunk& chunk;
    const Sums& sums;

    // The sums of a tile fill the register file: 12 of 16 registers with AVX2, 8 (two for each sum) without.
    template <Instructions Set>
    __attribute__((always_inline)) void operator()() const {
        constexpr bool isPortable = Set == Instructions::Portable;
        AddChunk<isPortable ? 2 : 4, isPortable ? 2 : 3>(chunk, sums);
    }
};

/// The last n < 4 rows of a panel, filled up with zeros, which leave the sums as they are. Moves `room` on.
Panel PaddedRows(const Panel& panel, Index columns, Index from, Index n, double*& room) {
    double* const rows = room;
    room = std::fill_n(rows, Lanes * columns, 0.0);
    for (Index j = 0; j < columns; ++j) std::copy_n(panel.Column(j) + from, n, rows + Lanes * j);
    return {rows, Lanes};
}

/// Sweeps over all rows of `whole`, whose n is any number. `room` is for 4 (k + m + 1) cells.
void AddRows(const Chunk& whole, const Sums& sums, double* room, Instructions instructions) {
    const auto addChunk = [&](const Chunk& chunk) { RunKernel(ChunkKernel{chunk, sums}, instructions); };
    const Index full = whole.n - whole.n % Lanes;
    for (Index from = 0; from < full; from += ChunkRows) {
        addChunk({std::min(ChunkRows, full - from),
                  whole.k,
                  whole.m,
                  {whole.x.cells + from, whole.x.stride},
                  {whole.z.cells + from, whole.z.stride},
                  whole.d ? whole.d + from : nullptr});
    }
    const Index left = whole.n - full;
    if (left == 0) return;
    const Panel x = PaddedRows(whole.x, whole.k, full, left, room);
    const Panel z = PaddedRows(whole.z, whole.m, full, left, room);
    const double* const d = whole.d ? PaddedRows({whole.d, whole.n}, 1, full, left, room).cells : nullptr;
    addChunk({Lanes, whole.k, whole.m, x, z, d});
}

double Total(const double* lane) { return (lane[0] + lane[2]) + (lane[1] + lane[3]); }

}  // namespace

CrossProductSums::CrossProductSums(Index k, Index m, bool isTriangle, Instructions instructions)
    : m_k(k),
      m_m(m),
      m_isTriangle(isTriangle),
      m_instructions(instructions),
      m_lanes(static_cast<std::size_t>(Lanes * (isTriangle ? k * (k + 1) / 2 : k * m))),
      m_rows(static_cast<std::size_t>(Lanes * (k + m + 1))) {}

CrossProductSums::CrossProductSums(Index k, Instructions instructions) : CrossProductSums(k, k, true, instructions) {}

CrossProductSums::CrossProductSums(Index k, Index m, Instructions instructions)
    : CrossProductSums(k, m, false, instructions) {}

void CrossProductSums::Clear() { std::fill(m_lanes.begin(), m_lanes.end(), 0.0); }

void CrossProductSums::Add(Index n, const double* x, Index stride, const double* d) {
    const Panel panel{x, stride};
    AddRows({n, m_k, m_k, panel, panel, d}, {m_lanes.data(), m_k, true}, m_rows.data(), m_instructions);
}

void CrossProductSums::Add(Index n, const double* x, Index xStride, const double* z, Index zStride) {
    AddRows({n, m_k, m_m, {x, xStride}, {z, zStride}, nullptr}, {m_lanes.data(), m_m, false}, m_rows.data(),
            m_instructions);
}

void CrossProductSums::Total(MatrixXd& product) const {
    const double* lane = m_lanes.data();
    for (Index i = 0; i < m_k; ++i) {
        for (Index j = 0; j < (m_isTriangle ? i + 1 : m_m); ++j, lane += Lanes) {
            product(i, j) = detail::Total(lane);
            if (m_isTriangle) product(j, i) = product(i, j);
        }
    }
}

namespace {

/// X' diag(d) X of n rows of k columns; d may be null.
MatrixXd Triangle(const Panel& x, Index n, Index k, const double* d, Instructions instructions) {
    CrossProductSums sums(k, instructions);
    sums.Add(n, x.cells, x.stride, d);
    MatrixXd product(k, k);
    sums.Total(product);
    return product;
}

/// X'Z of n rows of k and m columns.
MatrixXd Rectangle(const Panel& x, const Panel& z, Index n, Index k, Index m, Instructions instructions) {
    CrossProductSums sums(k, m, instructions);
    sums.Add(n, x.cells, x.stride, z.cells, z.stride);
    MatrixXd product(k, m);
    sums.Total(product);
    return product;
}

}  // namespace

MatrixXd RankUpdate(const MatrixXd& X, const double* d, Instructions instructions) {
    return Triangle({X.data(), X.rows()}, X.rows(), X.cols(), d, instructions);
}

MatrixXd CrossProduct(const MatrixXd& X, const double* z, Eigen::Index m, Instructions instructions) {
    return Rectangle({X.data(), X.rows()}, {z, X.rows()}, X.rows(), X.cols(), m, instructions);
}

MatrixXd WindowProducts(const double* x, Eigen::Index n, Eigen::Index k, Instructions instructions) {
    return Triangle({x, 1}, n, k, nullptr, instructions);
}

RowVectorXd LagProducts(const double* x, Eigen::Index n, Eigen::Index m, Instructions instructions) {
    return Rectangle({x, 1}, {x, 1}, n, 1, m, instructions);
}

}  // namespace quarn::detail
