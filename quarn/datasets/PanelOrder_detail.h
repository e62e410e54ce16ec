#pragma once

#include <quarn/base/Types.h>

#include <vector>

namespace quarn::detail {

/// A column of group ids or times, and what is known of its cells: of these, or of more cells from which they were taken.
struct KeyColumn {
    const double* cells;
    double low, high;
    bool isWhole;            ///< all cells are whole numbers, and no larger than 2^51
    bool isCompact = false;  ///< made by CompactIds

    KeyColumn(const double* column, Eigen::Index n);
    double Span() const { return high - low + 1.0; }
};

/// Group ids as whole numbers that lie close together and have the order of the ids; not finite where the id is not.
/// Returns the ids themselves if they are such numbers, else storage. Cost: that of OrderOf at the most.
KeyColumn CompactIds(const KeyColumn& ids, Eigen::Index n, VectorXd& storage);

/// Rows of a panel in the order of group, then time. The order consists of places; those of one group follow each other,
/// and groups ascend. It is found in one of three ways:
///
///   in order  the rows stand in this order, each combination once: place p is row p
///   grid      groups and times are whole numbers that lie close together: the places of a group stand for successive
///             times, whether or not a row has that time; no two rows have one place. Nothing is sorted
///   sorted    place p is the p-th row of the stable sort; combinations may occur repeatedly
///
/// Values are spread over the places, worked on there, group by group and by ascending time, and collected.
class PanelOrder {
 public:
    /// group and time: n finite cells each, which must outlive the object. Requires: n < 2^31. Cost: one pass where the
    /// rows are in order; two where they fit a grid; otherwise that of OrderOf.
    PanelOrder(const KeyColumn& group, const KeyColumn& time, Eigen::Index n);
    PanelOrder(const double* group, const double* time, Eigen::Index n)
        : PanelOrder(KeyColumn(group, n), KeyColumn(time, n), n) {}

    bool IsInOrder() const { return m_way == Way::InOrder; }
    Eigen::Index Places() const { return m_starts.back(); }
    Eigen::Index Groups() const { return static_cast<Eigen::Index>(m_starts.size()) - 1; }
    /// First place of each group, then Places(). On a grid a group may be without rows.
    const std::vector<int>& Starts() const { return m_starts; }
    /// The time of each place; null on a grid, where place p + 1 is one period after place p.
    const double* Times() const;
    /// Value of the group column for the group with this number, if these are CompactIds.
    double GroupId(Eigen::Index group) const;

    /// A column by places: the column itself if it is in order, else storage. Places without a row get NaN.
    const double* Spread(const double* column, VectorXd& storage) const;
    /// The way back: cells by places to cells by rows.
    VectorXd Collect(VectorXd cells) const;
    /// The row at each place, without the places that have none. starts: Starts(), counted in these rows.
    std::vector<int> Rows(std::vector<int>& starts) const;

 private:
    enum class Way { InOrder, Grid, Sorted };

    KeyColumn m_group, m_time;
    Eigen::Index m_n;
    Way m_way = Way::InOrder;
    std::vector<int> m_starts;
    std::vector<int> m_placeOfRow;  // on a grid
    VectorXd m_ranks;               // for group, where ids are not close together
    VectorXi m_rowAtPlace;          // if sorted
    VectorXd m_times;               // if sorted

    bool FindInOrder();
    bool BuildGrid();
    void Sort();
};

}  // namespace quarn::detail
