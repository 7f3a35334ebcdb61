#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "quorvel/meshes/queries/CBoxHierarchy.h"

namespace Corvane::Pellix::Quorvel {

class CTriangleTree;

// The triangles of a CTriangleTree seen along one fixed direction: every
// triangle's box in a frame whose third axis is that direction, binned on a
// uniform grid over the plane of the other two. A segment along the
// direction is a point of that plane and a depth interval, so the triangles
// it can come near are those of one cell (rarely of two to four): a handful
// of box tests, where a walk down the tree meets every box that a long
// oblique segment cuts through.
//
// Boxes are rounded outwards to single precision; a triangle with a
// non-finite corner has no box and is offered to every query. Built in
// O(n); a triangle sits in every cell its box covers, and the cells are
// coarsened until the copies number at most five per triangle.
class CDirectionGrid {
public:
    class CEntry {
    public:
        float m_Low[3];
        float m_High[3];
        // Position of the triangle in the tree order.
        std::uint32_t m_Position;
    };

    /// \pre `direction` is finite and not zero.
    /// \post the frame's third axis is `direction` normalised and every
    /// triangle of `tree` is binned; the grid keeps no reference to `tree`.
    void Build(const CTriangleTree& tree, const double direction[3]);

    /// Axis k (0, 1: across the direction; 2: along it), a unit vector.
    const double* GetAxis(int k) const { return m_Axes[k]; }
    /// Coordinates of p in the frame (dot products with the three axes).
    void ToFrame(const double p[3], double q[3]) const {
        for (int k = 0; k < 3; ++k)
            q[k] = m_Axes[k][0] * p[0] + m_Axes[k][1] * p[1] + m_Axes[k][2] * p[2];
    }
    std::size_t GetMemoryUsage() const {
        return m_Starts.capacity() * sizeof(std::uint32_t) +
               (m_Entries.capacity() + m_Unbinned.capacity()) * sizeof(CEntry);
    }

    /// Calls visit(position) once for every triangle whose box, grown by
    /// `pad` on every side, holds a point (x, y, z) with z in
    /// [depthLow, depthHigh], and for every triangle without a box; the
    /// order is unspecified. visit returns false to stop the search.
    /// \pre the frame coordinates and `pad` are finite, pad >= 0.
    /// \post false when visit stopped it.
    template <class Visit>
    bool ForEachNear(double x, double y, double depthLow, double depthHigh, double pad, Visit&& visit) const {
        for (const CEntry& e : m_Unbinned)
            if (!visit(e.m_Position))
                return false;
        if (m_Starts.empty())
            return true;
        const std::uint32_t c0 = Column(x - pad), c1 = Column(x + pad);
        const std::uint32_t r0 = Row(y - pad), r1 = Row(y + pad);
        for (std::uint32_t r = r0; r <= r1; ++r)
            for (std::uint32_t c = c0; c <= c1; ++c) {
                const std::size_t cell = std::size_t(r) * m_Columns + c;
                for (std::uint32_t i = m_Starts[cell]; i < m_Starts[cell + 1]; ++i) {
                    const CEntry& e = m_Entries[i];
                    if (x + pad < e.m_Low[0] || x - pad > e.m_High[0] || y + pad < e.m_Low[1] ||
                        y - pad > e.m_High[1] || depthHigh + pad < e.m_Low[2] || depthLow - pad > e.m_High[2])
                        continue;
                    // A box covering several of the cells searched is seen
                    // in the first of them only.
                    if ((c != c0 && Column(e.m_Low[0]) != c) || (r != r0 && Row(e.m_Low[1]) != r))
                        continue;
                    if (!visit(e.m_Position))
                        return false;
                }
            }
        return true;
    }

private:
    std::uint32_t Cell(double value, double origin, std::uint32_t count) const {
        const double f = (value - origin) * m_InverseCell;
        if (!(f > 0))
            return 0;
        if (f >= double(count))
            return count - 1;
        return static_cast<std::uint32_t>(f);
    }
    std::uint32_t Column(double x) const { return Cell(x, m_Origin[0], m_Columns); }
    std::uint32_t Row(double y) const { return Cell(y, m_Origin[1], m_Rows); }

    double m_Axes[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double m_Origin[2] = {0, 0};
    double m_InverseCell = 0;
    std::uint32_t m_Columns = 0;
    std::uint32_t m_Rows = 0;
    // Entries of cell (column c, row r) are m_Entries[m_Starts[i]] up to
    // m_Entries[m_Starts[i + 1]], i = r * m_Columns + c.
    std::vector<std::uint32_t, TCacheLineAllocator<std::uint32_t>> m_Starts;
    std::vector<CEntry, TCacheLineAllocator<CEntry>> m_Entries;
    std::vector<CEntry> m_Unbinned;
};

}  // namespace Corvane::Pellix::Quorvel
