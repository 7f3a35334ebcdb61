#include "quorvel/meshes/queries/CTriangleTree.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace Corvane::Pellix::Quorvel {

namespace {

// Triangles per leaf at most: the leaf tests are cheap next to a cache miss
// on a node.
constexpr std::uint32_t LeafSize = 4;
// Below this many triangles a pass over them stays on one thread.
constexpr std::int64_t ParallelSize = 1 << 15;
// The same for a pass that only copies: in huge pages it is quick, and a
// parallel loop waits for its last thread, which is slow to come when the
// other cores are busy with other work.
constexpr std::int64_t ParallelCopySize = 1 << 18;
constexpr double FourPi = 12.566370614359172;

inline void Sub(const double* a, const double* b, double* r) {
    r[0] = a[0] - b[0];
    r[1] = a[1] - b[1];
    r[2] = a[2] - b[2];
}
inline double Dot(const double* a, const double* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline void Cross(const double* a, const double* b, double* r) {
    r[0] = a[1] * b[2] - a[2] * b[1];
    r[1] = a[2] * b[0] - a[0] * b[2];
    r[2] = a[0] * b[1] - a[1] * b[0];
}
inline double Length(const double* a) {
    return std::sqrt(Dot(a, a));
}

double ClosestOnSegment(const double p[3], const double s[3], const double e[3], double point[3], double& t) {
    double d[3], sp[3];
    Sub(e, s, d);
    Sub(p, s, sp);
    const double len2 = Dot(d, d);
    t = len2 > 0 ? std::clamp(Dot(sp, d) / len2, 0.0, 1.0) : 0.0;
    double diff[3];
    for (int k = 0; k < 3; ++k) {
        point[k] = s[k] + d[k] * t;
        diff[k] = p[k] - point[k];
    }
    return Dot(diff, diff);
}

}  // namespace

double ClosestPointOnTriangle(const double p[3], const double a[3], const double b[3], const double c[3],
                              double point[3], double bary[3]) {
    // Voronoi regions of the corners, edges and face, in the barycentric
    // form that divides only at the end.
    double ab[3], ac[3], ap[3], bp[3], cp[3];
    Sub(b, a, ab);
    Sub(c, a, ac);
    Sub(p, a, ap);
    auto finish = [&](double u, double v, double w) {
        bary[0] = u;
        bary[1] = v;
        bary[2] = w;
        double diff[3];
        for (int k = 0; k < 3; ++k) {
            point[k] = u * a[k] + v * b[k] + w * c[k];
            diff[k] = p[k] - point[k];
        }
        return Dot(diff, diff);
    };
    auto corner = [&](const double* q, int which) {
        bary[0] = bary[1] = bary[2] = 0;
        bary[which] = 1;
        double diff[3];
        for (int k = 0; k < 3; ++k) {
            point[k] = q[k];
            diff[k] = p[k] - q[k];
        }
        return Dot(diff, diff);
    };
    const double d1 = Dot(ab, ap), d2 = Dot(ac, ap);
    if (d1 <= 0 && d2 <= 0)
        return corner(a, 0);
    Sub(p, b, bp);
    const double d3 = Dot(ab, bp), d4 = Dot(ac, bp);
    if (d3 >= 0 && d4 <= d3)
        return corner(b, 1);
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        const double v = d1 / (d1 - d3);
        return finish(1 - v, v, 0);
    }
    Sub(p, c, cp);
    const double d5 = Dot(ab, cp), d6 = Dot(ac, cp);
    if (d6 >= 0 && d5 <= d6)
        return corner(c, 2);
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        const double w = d2 / (d2 - d6);
        return finish(1 - w, 0, w);
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0) {
        const double w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        return finish(0, 1 - w, w);
    }
    const double sum = va + vb + vc;
    if (!(sum > 0) || !std::isfinite(sum)) {
        // No area: the nearest point lies on one of the sides.
        double best = HUGE_VAL;
        const double* ends[3][2] = {{a, b}, {b, c}, {c, a}};
        for (int side = 0; side < 3; ++side) {
            double q[3], t;
            const double d = ClosestOnSegment(p, ends[side][0], ends[side][1], q, t);
            if (d < best) {
                best = d;
                for (int k = 0; k < 3; ++k)
                    point[k] = q[k];
                bary[0] = bary[1] = bary[2] = 0;
                bary[side] = 1 - t;
                bary[(side + 1) % 3] += t;
            }
        }
        return best;
    }
    const double v = vb / sum, w = vc / sum;
    return finish(1 - v - w, v, w);
}

double SolidAngle(const double p[3], const double a[3], const double b[3], const double c[3]) {
    // Van Oosterom and Strackee: tan(omega / 2) = det / denominator.
    double x[3], y[3], z[3], yz[3];
    Sub(a, p, x);
    Sub(b, p, y);
    Sub(c, p, z);
    const double lx = Length(x), ly = Length(y), lz = Length(z);
    Cross(y, z, yz);
    const double det = Dot(x, yz);
    const double denominator = lx * ly * lz + Dot(x, y) * lz + Dot(x, z) * ly + Dot(y, z) * lx;
    return 2.0 * std::atan2(det, denominator);
}

CTriangleTree::CTriangleTree() : m_CrossingsPrepared(new std::once_flag), m_DipolesBuilt(new std::once_flag) { }

const CTriangleTree::CDipoles& CTriangleTree::GetDipoles() const {
    std::call_once(*m_DipolesBuilt, [this] { BuildDipoles(); });
    return m_Dipoles;
}

void CTriangleTree::Clear() {
    m_Count = 0;
    m_LargestExtent = 0;
    m_Hierarchy.Clear();
    m_Corners.clear();
    m_Corners.shrink_to_fit();
    m_Position.clear();
    m_Position.shrink_to_fit();
    m_Dipoles.clear();
    m_Dipoles.shrink_to_fit();
    m_DipolesBuilt = std::make_unique<std::once_flag>();
    m_CornerPoints.clear();
    m_CornerPoints.shrink_to_fit();
    m_PointCount = 0;
    m_Scale = 0;
    m_Closed = false;
    m_CrossingGrid = CDirectionGrid();
    m_CrossingsPrepared = std::make_unique<std::once_flag>();
}

std::size_t CTriangleTree::GetMemoryUsage() const {
    return m_Hierarchy.GetMemoryUsage() + m_Corners.capacity() * sizeof(double) +
           m_Position.capacity() * sizeof(std::uint32_t) + m_Dipoles.capacity() * sizeof(CDipole) +
           m_CornerPoints.capacity() * sizeof(std::uint32_t) + m_CrossingGrid.GetMemoryUsage();
}

void CTriangleTree::Build(const double* corners, std::uint32_t count, EShape shape) {
    Build(corners, nullptr, count, shape);
}

void CTriangleTree::Build(const double* positions, const std::uint32_t* indices, std::uint32_t count, EShape shape) {
    m_Count = count;
    if (shape != EShape::SurfaceArea) {
        // The median and Morton builds read boxes.
        std::vector<double> boxes(6 * std::size_t(count));
        const std::int64_t n = count;
#pragma omp parallel for schedule(static) if (n >= ParallelSize)
        for (std::int64_t t = 0; t < n; ++t) {
            double* box = &boxes[6 * t];
            for (int k = 0; k < 3; ++k) {
                box[k] = HUGE_VAL;
                box[3 + k] = -HUGE_VAL;
            }
            for (int j = 0; j < 3; ++j) {
                const std::size_t corner = 3 * std::size_t(t) + j;
                const double* p = positions + 3 * (indices ? std::size_t(indices[corner]) : corner);
                for (int k = 0; k < 3; ++k) {
                    box[k] = std::min(box[k], p[k]);
                    box[3 + k] = std::max(box[3 + k], p[k]);
                }
            }
        }
        if (shape == EShape::Median)
            m_Hierarchy.BuildByMedian(boxes.data(), count, LeafSize);
        else
            m_Hierarchy.BuildInMortonOrder(boxes.data(), count, LeafSize);
    } else {
        m_Hierarchy.BuildOverPoints(positions, indices, 3, count, LeafSize);
    }
    const std::uint32_t* order = m_Hierarchy.GetOrder().data();
    // Sized without being cleared: every value is written below.
    m_Corners.resize(9 * std::size_t(count));
    m_Position.resize(count);
    m_CornerPoints.resize(3 * std::size_t(count));
    double* copies = m_Corners.data();
    std::uint32_t* points = m_CornerPoints.data();
    const std::int64_t n = count;
    double largest = 0, scale = 0;
    std::uint32_t lastPoint = 0;
    // Split across the cores on large meshes, where much of the time is the
    // first touch of fresh pages.
#pragma omp parallel for schedule(static) reduction(max : largest, scale, lastPoint) if (n >= ParallelCopySize)
    for (std::int64_t i = 0; i < n; ++i) {
        const std::size_t t = order[i];
        double* c = copies + 9 * i;
        for (int j = 0; j < 3; ++j) {
            const std::size_t corner = 3 * t + j;
            const std::size_t point = indices ? std::size_t(indices[corner]) : corner;
            const double* p = positions + 3 * point;
            c[3 * j] = p[0];
            c[3 * j + 1] = p[1];
            c[3 * j + 2] = p[2];
            points[3 * i + j] = static_cast<std::uint32_t>(point);
            lastPoint = std::max(lastPoint, static_cast<std::uint32_t>(point));
        }
        for (int k = 0; k < 3; ++k) {
            const double low = std::min({c[k], c[3 + k], c[6 + k]}), high = std::max({c[k], c[3 + k], c[6 + k]});
            const double extent = high - low;
            if (extent > largest)
                largest = extent;
            scale = std::max({scale, std::fabs(low), std::fabs(high)});
        }
        m_Position[t] = static_cast<std::uint32_t>(i);
    }
    m_LargestExtent = largest;
    m_Scale = scale;
    m_PointCount = count == 0 ? 0 : lastPoint + 1;
    m_Dipoles.clear();
    m_DipolesBuilt = std::make_unique<std::once_flag>();
    m_Closed = false;
    m_CrossingGrid = CDirectionGrid();
    m_CrossingsPrepared = std::make_unique<std::once_flag>();
}

void CTriangleTree::BuildDipoles() const {
    const CBoxHierarchy::CNodes& nodes = m_Hierarchy.GetNodes();
    m_Dipoles.assign(nodes.size(), CDipole());
    std::vector<double> areas(nodes.size(), 0.0);
    // Parts of a node: its triangles (a leaf) or its children, each with a
    // centre, an area vector, an area and a moment about its own centre.
    class CPart {
    public:
        double m_Centre[3];
        double m_Normal[3];
        double m_Area;
        const double* m_Moment;  // null for a triangle: no moment of its own
    };
    // Children follow their parents in the array: one backward pass sees
    // every child before its parent.
    for (std::size_t i = nodes.size(); i-- > 0;) {
        if (i == 1)
            continue;  // padding
        const CBoxHierarchy::CNode& node = nodes[i];
        CPart parts[LeafSize > 2 ? LeafSize : 2];
        unsigned int count = 0;
        if (node.IsLeaf()) {
            for (std::uint32_t j = node.m_First; j < node.m_First + node.m_Count; ++j) {
                const double* t = GetCorners(j);
                CPart& part = parts[count++];
                double e1[3], e2[3];
                Sub(t + 3, t, e1);
                Sub(t + 6, t, e2);
                Cross(e1, e2, part.m_Normal);
                for (int k = 0; k < 3; ++k) {
                    part.m_Normal[k] *= 0.5;
                    part.m_Centre[k] = (t[k] + t[3 + k] + t[6 + k]) / 3.0;
                }
                part.m_Area = Length(part.m_Normal);
                part.m_Moment = nullptr;
            }
        } else {
            for (std::uint32_t child = node.m_First; child < node.m_First + 2; ++child) {
                CPart& part = parts[count++];
                for (int k = 0; k < 3; ++k) {
                    part.m_Centre[k] = m_Dipoles[child].m_Centre[k];
                    part.m_Normal[k] = m_Dipoles[child].m_Normal[k];
                }
                part.m_Area = areas[child];
                part.m_Moment = m_Dipoles[child].m_Moment;
            }
        }
        CDipole& dipole = m_Dipoles[i];
        double area = 0;
        double weighted[3] = {0, 0, 0}, plain[3] = {0, 0, 0};
        for (int k = 0; k < 3; ++k)
            dipole.m_Normal[k] = 0;
        for (unsigned int j = 0; j < count; ++j) {
            area += parts[j].m_Area;
            for (int k = 0; k < 3; ++k) {
                weighted[k] += parts[j].m_Area * parts[j].m_Centre[k];
                plain[k] += parts[j].m_Centre[k];
                dipole.m_Normal[k] += parts[j].m_Normal[k];
            }
        }
        areas[i] = area;
        // Without area the plain mean stands in; its dipole is zero anyway.
        for (int k = 0; k < 3; ++k)
            dipole.m_Centre[k] = area > 0 ? weighted[k] / area : plain[k] / count;
        // A part's moment moves to the new centre by adding its offset times
        // its area vector.
        for (int m = 0; m < 9; ++m)
            dipole.m_Moment[m] = 0;
        for (unsigned int j = 0; j < count; ++j) {
            double offset[3];
            Sub(parts[j].m_Centre, dipole.m_Centre, offset);
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c)
                    dipole.m_Moment[3 * r + c] +=
                        offset[r] * parts[j].m_Normal[c] + (parts[j].m_Moment ? parts[j].m_Moment[3 * r + c] : 0.0);
        }
        // The radius must cover every corner below, so take the farthest
        // corner of the node's box.
        double r2 = 0;
        for (int k = 0; k < 3; ++k) {
            const double d = std::max(std::fabs(double(node.m_Min[k]) - dipole.m_Centre[k]),
                                      std::fabs(double(node.m_Max[k]) - dipole.m_Centre[k]));
            r2 += d * d;
        }
        dipole.m_RadiusSquared = r2;
    }
}

bool CTriangleTree::FindClosestPoint(const Point& p, double boundSquared, CSurfacePoint& result) const {
    const double q[3] = {p.x, p.y, p.z};
    double bound = boundSquared;
    bool found = false;
    TreeWalk::Nearest(m_Hierarchy, q, bound, [&](std::uint32_t first, std::uint32_t count, double& best) {
        for (std::uint32_t i = first; i < first + count; ++i) {
            const double* t = GetCorners(i);
            double point[3], bary[3];
            const double d = ClosestPointOnTriangle(q, t, t + 3, t + 6, point, bary);
            const std::uint32_t triangle = GetTriangle(i);
            if (d < best || (d == best && found && triangle < result.m_Triangle) || (!found && d <= best)) {
                best = d;
                found = true;
                result.m_Point = Point(point[0], point[1], point[2]);
                result.m_Barycentric[0] = bary[0];
                result.m_Barycentric[1] = bary[1];
                result.m_Barycentric[2] = bary[2];
                result.m_DistanceSquared = d;
                result.m_Triangle = triangle;
            }
        }
    });
    return found;
}

CSurfacePoint CTriangleTree::FindClosestPoint(const Point& p) const {
    CSurfacePoint result;
    result.m_DistanceSquared = HUGE_VAL;
    FindClosestPoint(p, HUGE_VAL, result);
    return result;
}

CSurfacePoint CTriangleTree::FindClosestPoint(const Point& p, std::uint32_t hint) const {
    CSurfacePoint result;
    result.m_DistanceSquared = HUGE_VAL;
    if (hint >= m_Count) {
        FindClosestPoint(p, HUGE_VAL, result);
        return result;
    }
    // The hint's distance is an inclusive bound: the search still finds the
    // same triangle, ties included, as one without a hint.
    const double q[3] = {p.x, p.y, p.z};
    const double* t = GetCorners(m_Position[hint]);
    double point[3], bary[3];
    const double bound = ClosestPointOnTriangle(q, t, t + 3, t + 6, point, bary);
    FindClosestPoint(p, bound, result);
    return result;
}

double CTriangleTree::GetDistanceSquared(const Point& p, std::uint32_t triangle) const {
    const double q[3] = {p.x, p.y, p.z};
    const double* t = GetCorners(m_Position[triangle]);
    double point[3], bary[3];
    return ClosestPointOnTriangle(q, t, t + 3, t + 6, point, bary);
}

bool CTriangleTree::HasTriangleWithin(const Point& p, double distanceSquared, std::uint32_t* triangle) const {
    const double q[3] = {p.x, p.y, p.z};
    double bound = distanceSquared;
    bool found = false;
    TreeWalk::Nearest(m_Hierarchy, q, bound, [&](std::uint32_t first, std::uint32_t count, double& limit) {
        for (std::uint32_t i = first; i < first + count && !found; ++i) {
            const double* t = GetCorners(i);
            double point[3], bary[3];
            if (ClosestPointOnTriangle(q, t, t + 3, t + 6, point, bary) <= distanceSquared) {
                found = true;
                if (triangle)
                    *triangle = GetTriangle(i);
                // Below every box distance: the walk ends.
                limit = -1;
            }
        }
    });
    return found;
}

double CTriangleTree::GetDistance(const Point& p) const {
    if (IsEmpty())
        return HUGE_VAL;
    return std::sqrt(FindClosestPoint(p).m_DistanceSquared);
}

double CTriangleTree::GetSignedDistance(const Point& p) const {
    const double distance = GetDistance(p);
    return Contains(p) ? -distance : distance;
}

double CTriangleTree::GetWindingNumber(const Point& p) const {
    const double q[3] = {p.x, p.y, p.z};
    double sum = 0;
    for (std::uint32_t i = 0; i < m_Count; ++i) {
        const double* t = GetCorners(i);
        sum += SolidAngle(q, t, t + 3, t + 6);
    }
    return sum / FourPi;
}

double CTriangleTree::EstimateWindingNumber(const Point& p, double accuracy) const {
    if (IsEmpty())
        return 0;
    const double q[3] = {p.x, p.y, p.z};
    const CBoxHierarchy::CNode* nodes = m_Hierarchy.GetNodes().data();
    const CDipole* dipoles = GetDipoles().data();
    const double beta2 = accuracy * accuracy;
    std::uint32_t stack[TreeWalk::StackSize];
    unsigned int top = 0;
    stack[top++] = 0;
    double sum = 0;
    while (top > 0) {
        const std::uint32_t i = stack[--top];
        const CDipole& dipole = dipoles[i];
        double r[3];
        Sub(dipole.m_Centre, q, r);
        const double d2 = Dot(r, r);
        if (d2 > beta2 * dipole.m_RadiusSquared) {
            // Far field: the subtree's integral of n . (x - p) / |x - p|^3
            // expanded about its centre c, r = c - p, to second order:
            // N . r / |r|^3 + trace(J M) with J = I / |r|^3 - 3 r r' / |r|^5.
            const double inverse3 = 1.0 / (d2 * std::sqrt(d2));
            const double* m = dipole.m_Moment;
            double rMr = 0;
            for (int a = 0; a < 3; ++a)
                for (int b = 0; b < 3; ++b)
                    rMr += r[a] * m[3 * a + b] * r[b];
            sum += Dot(dipole.m_Normal, r) * inverse3 + (m[0] + m[4] + m[8]) * inverse3 - 3.0 * rMr * inverse3 / d2;
            continue;
        }
        const CBoxHierarchy::CNode& node = nodes[i];
        if (node.IsLeaf()) {
            for (std::uint32_t j = node.m_First; j < node.m_First + node.m_Count; ++j) {
                const double* t = GetCorners(j);
                sum += SolidAngle(q, t, t + 3, t + 6);
            }
            continue;
        }
        stack[top++] = node.m_First;
        stack[top++] = node.m_First + 1;
    }
    return sum / FourPi;
}

namespace {

// The fixed direction of the crossing rays: no coordinate plane holds it and
// no simple ratio of its components is rational, so the edges of meshes laid
// out along the axes are not met edge-on.
const double CrossingDirection[3] = {0.3174069186751519, 0.5126915419285367, 0.7977418219046427};

// Relative size of the rounding the frame's coordinates carry, against the
// largest coordinate: a few hundred units in the last place, far above what
// the three products and two sums of a projection lose.
constexpr double FrameRounding = 1e-13;

// The index's storage: on a large mesh these arrays fill megabytes, whose
// first touch in small pages costs more than the work done in them.
typedef std::vector<std::uint32_t, TCacheLineAllocator<std::uint32_t>> CIndices;

std::uint64_t PositionKey(const double* p) {
    std::uint64_t key = 0x9E3779B97F4A7C15ull;
    for (int k = 0; k < 3; ++k) {
        // Equal values must hash alike: -0 is 0.
        const double value = p[k] == 0 ? 0.0 : p[k];
        std::uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        key = (key ^ bits) * 0xFF51AFD7ED558CCDull;
        key ^= key >> 32;
    }
    return key;
}

}  // namespace

void CTriangleTree::PrepareCrossings() const {
    m_Closed = false;
    if (m_Count == 0)
        return;
    const std::size_t corners = 3 * std::size_t(m_Count);
    constexpr std::uint32_t None = 0xFFFFFFFFu;
    // One vertex for every position: the first point found there stands
    // for all points at the same position.
    CIndices vertexOf(m_PointCount, None);
    CIndices cornerOf(m_PointCount, None);
    for (std::size_t j = 0; j < corners; ++j)
        if (cornerOf[m_CornerPoints[j]] == None)
            cornerOf[m_CornerPoints[j]] = static_cast<std::uint32_t>(j);
    std::size_t slots = 64;
    while (slots < 2 * std::size_t(m_PointCount))
        slots *= 2;
    CIndices table(slots, None);
    std::uint32_t vertexCount = 0;
    for (std::uint32_t point = 0; point < m_PointCount; ++point) {
        if (cornerOf[point] == None)
            continue;
        const double* p = &m_Corners[3 * std::size_t(cornerOf[point])];
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2]))
            return;
        for (std::size_t slot = PositionKey(p) & (slots - 1);; slot = (slot + 1) & (slots - 1)) {
            if (table[slot] == None) {
                table[slot] = point;
                vertexOf[point] = vertexCount++;
                break;
            }
            const double* q = &m_Corners[3 * std::size_t(cornerOf[table[slot]])];
            if (p[0] == q[0] && p[1] == q[1] && p[2] == q[2]) {
                vertexOf[point] = vertexOf[table[slot]];
                break;
            }
        }
    }
    table = CIndices();
    // Each vertex's outgoing edges. Closed and consistently oriented: no
    // edge runs twice the same way, and every edge has its reverse.
    CIndices starts(std::size_t(vertexCount) + 1, 0);
    auto vertex = [&](std::size_t corner) { return vertexOf[m_CornerPoints[corner]]; };
    for (std::size_t t = 0; t < m_Count; ++t) {
        const std::uint32_t a = vertex(3 * t), b = vertex(3 * t + 1), c = vertex(3 * t + 2);
        if (a == b || b == c || c == a)
            return;
        ++starts[a + 1];
        ++starts[b + 1];
        ++starts[c + 1];
    }
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        starts[v + 1] += starts[v];
    CIndices targets(corners);
    CIndices next(starts.begin(), starts.end() - 1);
    for (std::size_t t = 0; t < m_Count; ++t)
        for (int k = 0; k < 3; ++k)
            targets[next[vertex(3 * t + k)]++] = vertex(3 * t + (k + 1) % 3);
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        for (std::uint32_t i = starts[v]; i < starts[v + 1]; ++i) {
            const std::uint32_t w = targets[i];
            for (std::uint32_t j = starts[v]; j < i; ++j)
                if (targets[j] == w)
                    return;
            bool reversed = false;
            for (std::uint32_t j = starts[w]; j < starts[w + 1] && !reversed; ++j)
                reversed = targets[j] == v;
            if (!reversed)
                return;
        }
    if (!std::isfinite(m_Scale))
        return;
    m_CrossingGrid.Build(*this, CrossingDirection);
    m_Closed = true;
}

bool CTriangleTree::CountCrossings(const Point& p, int& winding) const {
    const double origin[3] = {p.x, p.y, p.z};
    double q[3];
    m_CrossingGrid.ToFrame(origin, q);
    const double scale = std::max({m_Scale, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    // Every frame coordinate may be off by this much.
    const double rounding = FrameRounding * scale;
    if (!std::isfinite(q[0]) || !std::isfinite(q[1]) || !std::isfinite(q[2]) || !std::isfinite(rounding))
        return false;
    int sum = 0;
    bool clean = true;
    const double* u = m_CrossingGrid.GetAxis(0);
    const double* v = m_CrossingGrid.GetAxis(1);
    const double* w = m_CrossingGrid.GetAxis(2);
    m_CrossingGrid.ForEachNear(
        q[0], q[1], q[2], std::numeric_limits<double>::max(), 4 * rounding,
        [&](std::uint32_t position) {
            const double* t = GetCorners(position);
            // Corners relative to the ray in the frame: x, y across it, z
            // along it.
            double x[3], y[3], z[3];
            for (int c = 0; c < 3; ++c) {
                const double* a = t + 3 * c;
                x[c] = u[0] * a[0] + u[1] * a[1] + u[2] * a[2] - q[0];
                y[c] = v[0] * a[0] + v[1] * a[1] + v[2] * a[2] - q[1];
                z[c] = w[0] * a[0] + w[1] * a[1] + w[2] * a[2] - q[2];
            }
            // Twice the signed area of the ray's foot and each side, seen
            // along the ray: side c runs from corner c + 1 to corner c + 2.
            double e[3], error[3];
            int clearlyPositive = 0, clearlyNegative = 0;
            for (int c = 0; c < 3; ++c) {
                const int i = (c + 1) % 3, j = (c + 2) % 3;
                e[c] = x[i] * y[j] - x[j] * y[i];
                // Each coordinate may be off by `rounding` (twice, in the
                // differences), and the products round.
                error[c] = 4 * rounding * (std::fabs(x[i]) + std::fabs(x[j]) + std::fabs(y[i]) + std::fabs(y[j])) +
                           1e-15 * (std::fabs(x[i] * y[j]) + std::fabs(x[j] * y[i]));
                if (std::fabs(e[c]) > error[c])
                    ++(e[c] > 0 ? clearlyPositive : clearlyNegative);
            }
            // Two sides that see the foot on opposite hands: it lies outside.
            if (clearlyPositive > 0 && clearlyNegative > 0)
                return true;
            const bool positive = clearlyPositive == 3;
            if (!positive && clearlyNegative != 3) {
                // The foot is within rounding of a side or a corner, or the
                // triangle is seen edge-on: too close to tell, unless the
                // triangle lies behind p.
                if (std::max({z[0], z[1], z[2]}) < -4 * rounding)
                    return true;
                clean = false;
                return false;
            }
            // The crossing's depth, times the area: ahead of p or behind.
            const double depth = e[0] * z[0] + e[1] * z[1] + e[2] * z[2];
            const double depthError =
                error[0] * std::fabs(z[0]) + error[1] * std::fabs(z[1]) + error[2] * std::fabs(z[2]) +
                4 * rounding * (std::fabs(e[0]) + std::fabs(e[1]) + std::fabs(e[2])) +
                1e-15 * (std::fabs(e[0] * z[0]) + std::fabs(e[1] * z[1]) + std::fabs(e[2] * z[2]));
            if (std::fabs(depth) <= depthError) {
                clean = false;
                return false;
            }
            // The triangle's normal along the ray: leaving through a face
            // wound counter-clockwise seen from behind counts +1.
            if ((depth > 0) == positive)
                sum += positive ? 1 : -1;
            return true;
        },
        [this](std::uint32_t position) { FetchCorners(position); });
    winding = sum;
    return clean;
}

bool CTriangleTree::Contains(const Point& p) const {
    std::call_once(*m_CrossingsPrepared, [this] { PrepareCrossings(); });
    if (!m_Closed)
        return EstimateWindingNumber(p) >= 0.5;
    int winding = 0;
    if (CountCrossings(p, winding))
        return winding >= 1;
    return GetWindingNumber(p) >= 0.5;
}

namespace {

// The point of query i of a batch, for the order of the batch.
struct CPointOf {
    const CTriangleTree::Point* m_Points;
    void operator()(std::size_t i, double p[3]) const {
        p[0] = m_Points[i].x;
        p[1] = m_Points[i].y;
        p[2] = m_Points[i].z;
    }
};

}  // namespace

void CTriangleTree::FindClosestPoints(const Point* points, std::size_t count, CSurfacePoint* results) const {
    TreeWalk::ForEachQuery(count, CPointOf{points}, [&](std::size_t i) { results[i] = FindClosestPoint(points[i]); });
}

void CTriangleTree::GetSignedDistances(const Point* points, std::size_t count, double* results) const {
    TreeWalk::ForEachQuery(count, CPointOf{points}, [&](std::size_t i) { results[i] = GetSignedDistance(points[i]); });
}

void CTriangleTree::EstimateWindingNumbers(const Point* points, std::size_t count, double* results) const {
    TreeWalk::ForEachQuery(count, CPointOf{points},
                           [&](std::size_t i) { results[i] = EstimateWindingNumber(points[i]); });
}

void CTriangleTree::Contains(const Point* points, std::size_t count, bool* results) const {
    TreeWalk::ForEachQuery(count, CPointOf{points}, [&](std::size_t i) { results[i] = Contains(points[i]); });
}

}  // namespace Corvane::Pellix::Quorvel
