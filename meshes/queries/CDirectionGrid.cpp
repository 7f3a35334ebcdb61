#include "quorvel/meshes/queries/CDirectionGrid.h"

#include <algorithm>
#include <cmath>

#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/CTriangleTree.h"

namespace Corvane::Pellix::Quorvel {

namespace {

// A triangle's box in the frame, rounded outwards to floats.
class CFrameBox {
public:
    float m_Low[3];
    float m_High[3];
    std::uint32_t m_Position;
};

}  // namespace

// The box's sides along frame axis k in steps from the start of cell
// `cell`, from its sides in steps from the grid's origin. A box starts at or
// after the start of its first cell, so its low step there is at least 0;
// one that ends past the last cell (the grid's cells stop at 65536 a side) is
// taken as ending in a later one.
void CDirectionGrid::SetSides(CEntry& e, int k, double low, double high, std::uint32_t cell, bool first, bool last) {
    const double start = double(cell) * CellSteps;
    e.m_Low[k] = NoStart;
    e.m_High[k] = NoEnd;
    if (first)
        e.m_Low[k] = static_cast<std::uint16_t>(std::min(std::floor(low) - start, CellSteps));
    if (last) {
        const double end = std::ceil(high) - start;
        if (end < double(NoEnd))
            e.m_High[k] = static_cast<std::uint16_t>(end);
    }
}

void CDirectionGrid::Build(const CTriangleTree& tree, const double direction[3]) {
    // The frame: the direction, and two unit vectors across it, the first
    // from the coordinate axis least aligned with it.
    double* w = m_Axes[2];
    const double length =
        std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] + direction[2] * direction[2]);
    for (int k = 0; k < 3; ++k)
        w[k] = direction[k] / length;
    int least = 0;
    for (int k = 1; k < 3; ++k)
        if (std::fabs(w[k]) < std::fabs(w[least]))
            least = k;
    double* u = m_Axes[0];
    double* v = m_Axes[1];
    double axis[3] = {0, 0, 0};
    axis[least] = 1;
    u[0] = axis[1] * w[2] - axis[2] * w[1];
    u[1] = axis[2] * w[0] - axis[0] * w[2];
    u[2] = axis[0] * w[1] - axis[1] * w[0];
    const double uLength = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
    for (int k = 0; k < 3; ++k)
        u[k] /= uLength;
    v[0] = w[1] * u[2] - w[2] * u[1];
    v[1] = w[2] * u[0] - w[0] * u[2];
    v[2] = w[0] * u[1] - w[1] * u[0];

    const std::uint32_t count = tree.GetTriangleCount();
    // In the index's storage, as the entries: fresh small pages would cost
    // more to touch than the binning costs.
    std::vector<CFrameBox, TCacheLineAllocator<CFrameBox>> boxes;
    boxes.reserve(count);
    m_Entries = std::vector<CEntry, TCacheLineAllocator<CEntry>>();
    m_Unbinned.clear();
    m_Starts.clear();
    double low[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, high[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    for (std::uint32_t i = 0; i < count; ++i) {
        const double* corners = tree.GetCorners(i);
        double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        bool finite = true;
        for (int c = 0; c < 3; ++c) {
            double q[3];
            ToFrame(corners + 3 * c, q);
            for (int k = 0; k < 3; ++k) {
                finite = finite && std::isfinite(q[k]);
                lo[k] = std::min(lo[k], q[k]);
                hi[k] = std::max(hi[k], q[k]);
            }
        }
        CFrameBox e;
        e.m_Position = i;
        for (int k = 0; k < 3; ++k) {
            e.m_Low[k] = detail::RoundDown(lo[k]);
            e.m_High[k] = detail::RoundUp(hi[k]);
            finite = finite && std::isfinite(e.m_Low[k]) && std::isfinite(e.m_High[k]);
        }
        if (!finite) {
            m_Unbinned.push_back(i);
            continue;
        }
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], double(e.m_Low[k]));
            high[k] = std::max(high[k], double(e.m_High[k]));
        }
        boxes.push_back(e);
    }
    if (boxes.empty())
        return;

    // Cells about the size of a box across: a box then covers about four
    // cells, and a query scans the boxes of its cell, a number that grows
    // with the square of cell plus box size; halving the cells from twice
    // a box cut the scanning of the inside test by about a quarter. No
    // smaller than the cells of half a box to a cell of the whole plane, or
    // very small triangles would make the grid outgrow them.
    const double width = high[0] - low[0], height = high[1] - low[1];
    const double n = double(boxes.size());
    double sides = 0;
    for (const CFrameBox& e : boxes)
        sides += (double(e.m_High[0]) - e.m_Low[0]) + (double(e.m_High[1]) - e.m_Low[1]);
    double cell = std::max(0.5 * sides / n, std::sqrt(0.5 * width * height / n));
    if (!(cell > 0) || !std::isfinite(cell))
        cell = std::max(width, height) / n;
    m_Origin[0] = low[0];
    m_Origin[1] = low[1];
    const std::size_t copyLimit = 5 * boxes.size() + 64;
    for (;;) {
        if (!(cell > 0) || !std::isfinite(cell)) {
            m_InverseCell = 0;
            m_Columns = m_Rows = 1;
        } else {
            m_InverseCell = 1.0 / cell;
            m_Columns = static_cast<std::uint32_t>(std::min(width * m_InverseCell + 1.0, 65536.0));
            m_Rows = static_cast<std::uint32_t>(std::min(height * m_InverseCell + 1.0, 65536.0));
        }
        std::size_t copies = 0;
        for (const CFrameBox& e : boxes)
            copies +=
                std::size_t(Column(e.m_High[0]) - Column(e.m_Low[0]) + 1) * (Row(e.m_High[1]) - Row(e.m_Low[1]) + 1);
        if (copies <= copyLimit || m_Columns * std::size_t(m_Rows) == 1)
            break;
        cell *= 1.5;
    }

    // Counting sort into the cells, the entries of one cell in tree order.
    const std::size_t cells = std::size_t(m_Columns) * m_Rows;
    m_Starts.assign(cells + 1, 0);
    for (const CFrameBox& e : boxes)
        for (std::uint32_t r = Row(e.m_Low[1]); r <= Row(e.m_High[1]); ++r)
            for (std::uint32_t c = Column(e.m_Low[0]); c <= Column(e.m_High[0]); ++c)
                ++m_Starts[std::size_t(r) * m_Columns + c + 1];
    for (std::size_t i = 0; i < cells; ++i)
        m_Starts[i + 1] += m_Starts[i];
    // Sized without being cleared: every entry is written below.
    m_Entries.resize(m_Starts[cells]);
    std::vector<std::uint32_t, TCacheLineAllocator<std::uint32_t>> next(m_Starts.begin(), m_Starts.end() - 1);
    // Depth steps over the depth range: no scale where the range is empty or
    // out of reach, and then every step is 0 and rejects nothing. The high
    // side of the range comes out within rounding of DepthSteps, well below
    // the largest step.
    m_DepthOrigin = low[2];
    m_DepthScale = DepthSteps / (high[2] - low[2]);
    if (!(m_DepthScale > 0) || !std::isfinite(m_DepthScale))
        m_DepthScale = 0;
    for (const CFrameBox& box : boxes) {
        CEntry e;
        e.m_Position = box.m_Position;
        e.m_Depth[0] = static_cast<std::uint16_t>(std::floor((double(box.m_Low[2]) - m_DepthOrigin) * m_DepthScale));
        e.m_Depth[1] = static_cast<std::uint16_t>(std::ceil((double(box.m_High[2]) - m_DepthOrigin) * m_DepthScale));
        const std::uint32_t firstColumn = Column(box.m_Low[0]), lastColumn = Column(box.m_High[0]);
        const std::uint32_t firstRow = Row(box.m_Low[1]), lastRow = Row(box.m_High[1]);
        const double lowSteps[2] = {Steps(box.m_Low[0], m_Origin[0]), Steps(box.m_Low[1], m_Origin[1])};
        const double highSteps[2] = {Steps(box.m_High[0], m_Origin[0]), Steps(box.m_High[1], m_Origin[1])};
        for (std::uint32_t r = firstRow; r <= lastRow; ++r) {
            SetSides(e, 1, lowSteps[1], highSteps[1], r, r == firstRow, r == lastRow);
            for (std::uint32_t c = firstColumn; c <= lastColumn; ++c) {
                SetSides(e, 0, lowSteps[0], highSteps[0], c, c == firstColumn, c == lastColumn);
                m_Entries[next[std::size_t(r) * m_Columns + c]++] = e;
            }
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel
