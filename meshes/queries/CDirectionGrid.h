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
    // A triangle's box in one cell, in 16 bytes. Across the direction its
    // sides are counted in steps of 1/CellSteps of a cell from the start of
    // the cell, the low side rounded down (NoStart when the box starts in an
    // earlier cell), the high side rounded up (NoEnd when it ends in a later
    // one); along the direction, in steps of the depth range of all boxes.
    // Rounded outwards, so a test on steps rejects only what the test on the
    // box itself would.
    class CEntry {
    public:
        std::uint16_t m_Low[2];
        std::uint16_t m_High[2];
        std::uint16_t m_Depth[2];
        // Position of the triangle in the tree order.
        std::uint32_t m_Position;
    };
    static constexpr double CellSteps = 16384;
    static constexpr double DepthSteps = 65000;
    static constexpr std::uint16_t NoStart = 0xFFFF;
    static constexpr std::uint16_t NoEnd = 0xFFFF;

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
        return m_Starts.capacity() * sizeof(std::uint32_t) + m_Entries.capacity() * sizeof(CEntry) +
               m_Unbinned.capacity() * sizeof(std::uint32_t);
    }

    /// Calls visit(position) once for every triangle whose box, grown by
    /// `pad` on every side, holds a point (x, y, z) with z in
    /// [depthLow, depthHigh], and for every triangle without a box; the
    /// order is unspecified; it may call visit for a few triangles whose box
    /// lies just beyond that reach. visit returns false to stop the search.
    /// \pre the frame coordinates and `pad` are finite, pad >= 0.
    /// \post false when visit stopped it.
    template <class Visit>
    bool ForEachNear(double x, double y, double depthLow, double depthHigh, double pad, Visit&& visit) const {
        return ForEachNear(x, y, depthLow, depthHigh, pad, visit, [](std::uint32_t) {});
    }
    /// The same, calling fetch(position) for each triangle up to
    /// FetchAhead triangles before visit(position), in the same order: a
    /// caller whose visit reads the triangle's data asks for it there, so
    /// that the cache misses of a cell's triangles, which lie apart in the
    /// tree order, overlap instead of coming one after the other. Triangles
    /// fetched after the one whose visit stops the search are not visited.
    /// \pre as for the form above; fetch only reads.
    /// \post false when visit stopped it.
    template <class Visit, class Fetch>
    bool ForEachNear(double x, double y, double depthLow, double depthHigh, double pad, Visit&& visit,
                     Fetch&& fetch) const {
        std::uint32_t pending[FetchAhead];
        unsigned int waiting = 0;
        auto offer = [&](std::uint32_t position) {
            fetch(position);
            pending[waiting++] = position;
            if (waiting < FetchAhead)
                return true;
            waiting = 0;
            for (const std::uint32_t p : pending)
                if (!visit(p))
                    return false;
            return true;
        };
        auto finish = [&]() {
            for (unsigned int i = 0; i < waiting; ++i)
                if (!visit(pending[i]))
                    return false;
            return true;
        };
        for (const std::uint32_t position : m_Unbinned)
            if (!offer(position))
                return false;
        if (m_Starts.empty())
            return finish();
        const std::uint32_t c0 = Column(x - pad), c1 = Column(x + pad);
        const std::uint32_t r0 = Row(y - pad), r1 = Row(y + pad);
        // The query's box in the entries' steps, by the same operations as
        // theirs: each is monotone, so a side that reaches a box's side
        // reaches its rounded step too.
        const double xLow = Steps(x - pad, m_Origin[0]), xHigh = Steps(x + pad, m_Origin[0]);
        const double yLow = Steps(y - pad, m_Origin[1]), yHigh = Steps(y + pad, m_Origin[1]);
        const double zLow = (depthLow - pad - m_DepthOrigin) * m_DepthScale;
        const double zHigh = (depthHigh + pad - m_DepthOrigin) * m_DepthScale;
        for (std::uint32_t r = r0; r <= r1; ++r) {
            const double rowStart = double(r) * CellSteps;
            const double yl = yLow - rowStart, yh = yHigh - rowStart;
            for (std::uint32_t c = c0; c <= c1; ++c) {
                const double columnStart = double(c) * CellSteps;
                const double xl = xLow - columnStart, xh = xHigh - columnStart;
                const std::size_t cell = std::size_t(r) * m_Columns + c;
                for (std::uint32_t i = m_Starts[cell]; i < m_Starts[cell + 1]; ++i) {
                    const CEntry& e = m_Entries[i];
                    // A box covering several of the cells searched is seen
                    // in the first of them only.
                    if ((c != c0 && e.m_Low[0] == NoStart) || (r != r0 && e.m_Low[1] == NoStart))
                        continue;
                    if ((e.m_Low[0] != NoStart && xh < double(e.m_Low[0])) ||
                        (e.m_High[0] != NoEnd && xl > double(e.m_High[0])) ||
                        (e.m_Low[1] != NoStart && yh < double(e.m_Low[1])) ||
                        (e.m_High[1] != NoEnd && yl > double(e.m_High[1])) || zHigh < double(e.m_Depth[0]) ||
                        zLow > double(e.m_Depth[1]))
                        continue;
                    if (!offer(e.m_Position))
                        return false;
                }
            }
        }
        return finish();
    }

    /// Triangles ForEachNear fetches ahead of their visit.
    static constexpr unsigned int FetchAhead = 8;

private:
    std::uint32_t Cell(double value, double origin, std::uint32_t count) const {
        const double f = (value - origin) * m_InverseCell;
        if (!(f > 0))
            return 0;
        if (f >= double(count))
            return count - 1;
        return static_cast<std::uint32_t>(f);
    }
    static void SetSides(CEntry& e, int k, double low, double high, std::uint32_t cell, bool first, bool last);
    // A coordinate across the direction in cell steps from the grid's origin.
    double Steps(double value, double origin) const { return (value - origin) * m_InverseCell * CellSteps; }
    std::uint32_t Column(double x) const { return Cell(x, m_Origin[0], m_Columns); }
    std::uint32_t Row(double y) const { return Cell(y, m_Origin[1], m_Rows); }

    double m_Axes[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double m_Origin[2] = {0, 0};
    double m_InverseCell = 0;
    double m_DepthOrigin = 0;
    double m_DepthScale = 0;
    std::uint32_t m_Columns = 0;
    std::uint32_t m_Rows = 0;
    // Entries of cell (column c, row r) are m_Entries[m_Starts[i]] up to
    // m_Entries[m_Starts[i + 1]], i = r * m_Columns + c.
    std::vector<std::uint32_t, TCacheLineAllocator<std::uint32_t>> m_Starts;
    std::vector<CEntry, TCacheLineAllocator<CEntry>> m_Entries;
    // Triangles without a box.
    std::vector<std::uint32_t> m_Unbinned;
};

}  // namespace Corvane::Pellix::Quorvel
