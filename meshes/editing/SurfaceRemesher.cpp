#include "quorvel/meshes/editing/SurfaceRemesher.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Quorvel::detail {

namespace {

typedef Sarvetta::TVector3<double> Vec;

constexpr std::uint32_t None = 0xFFFFFFFFu;
// Edge kinds, one per half-edge and equal on both halves of an edge: None for
// a free edge, Locked for one no edit may touch, Kept for an open edge that
// may only be split (its ends and the new vertex stay fixed), Pending for a
// constraint before its line is known, any smaller value the id of the
// constraint line (a feature line, or an open boundary that may slide) the
// edge lies on.
constexpr std::uint32_t Locked = 0xFFFFFFFEu;
constexpr std::uint32_t Kept = 0xFFFFFFFDu;
constexpr std::uint32_t Pending = 0xFFFFFFFCu;

// Vertex flags. A fixed vertex never moves and is never removed; a sliding
// one moves along its constraint line only; a non-manifold one (separate fans
// meeting at it) is also fixed, and no edit that reads its ring may touch it.
constexpr std::uint8_t Deleted = 1;
constexpr std::uint8_t Fixed = 2;
constexpr std::uint8_t Sliding = 4;
constexpr std::uint8_t NonManifold = 8;
// A fixed vertex that is fixed only as the corner of constraint lines.
constexpr std::uint8_t Corner = 16;

// The split and collapse limits of the incremental isotropic scheme; between
// them every edge is left alone.
constexpr double SplitFactor = 4.0 / 3.0;
constexpr double CollapseFactor = 4.0 / 5.0;
// Where the feature angle is off, an open boundary that slides still keeps a
// corner where it turns by more than this.
constexpr double DefaultCornerAngle = 45.0;
// A collapse may turn no surrounding face by 90 degrees or more.
constexpr double CollapseMinCos = 0.0;
// An edge shorter than this many target lengths that no end can take may
// collapse to its midpoint instead. (Midpoints for every collapse would make
// more of them pass the length test and leave the edges about a tenth longer
// on average than end-to-end collapses do: a coarser surface for the same
// target.)
constexpr double MidpointCollapseFactor = 0.5;
// A collapse that removes a thin face may leave edges up to this many target
// lengths: a few edges somewhat too long cost less than a sliver, and the
// next iteration splits them.
constexpr double AngleReachFactor = 1.6;
// No collapse may leave a vertex with more neighbours than this. A vertex
// that cannot be removed (a rim much finer than the target, a frozen patch)
// would otherwise swallow its free neighbours one after another, and every
// later attempt at its edges walks the whole grown fan: on a strip between two
// dense rims one vertex took all 14,000 faces and the collapses grew
// quadratic in the face count. With the bound an attempt costs at most a walk
// of this many edges on each side. It lies above what the collapses of every
// test mesh make (at most 44 on smooth surfaces, 61 on the fans of a CAD
// block), so their results do not change.
constexpr int MaxCollapseValence = 64;
// Constrained vertices closer than this many target lengths (corners, or
// vertices of two lines that run side by side, as noise in scans makes them)
// are one corner at the target resolution: they may merge.
constexpr double CornerMergeFactor = 0.25;
// A kept open boundary much finer than the target (a rim refined for another
// purpose, a scan cut by a plane) would leave slivers beside every fixed
// vertex. A vertex of it closer than this many target lengths to a
// neighbour along the boundary may merge into that neighbour...
constexpr double KeptCollapseFactor = 0.5;
// ...while the straightened boundary stays within this many target lengths
// of the vertices of the input's boundary it replaces (each open edge carries
// the ones removed along it, so that removals one after another cannot drift)
// and turns at the removed vertex by less than the corner angle.
constexpr double KeptDeviationFactor = 0.05;
// An open edge carries at most this many removed vertices: a removal that
// would give it more is refused, so that each check and merge of the lists
// costs at most this much.
constexpr std::size_t MaxCarriedVertices = 48;

// Loops over fewer items than these stay on the calling thread: waking a team
// costs more than the work saves, and far more when the cores are busy with
// other programs. Results are the same either way.
constexpr std::int64_t ParallelVertices = 4096;
constexpr std::int64_t ParallelFaces = 8192;

constexpr double Pi = 3.14159265358979323846;
// Triangles with a smaller angle than this are worth a flip of their longest
// edge.
constexpr double ThinAngle = 30.0 * Pi / 180.0;
const double CosThinAngle = std::cos(ThinAngle);
// Feature lines shorter than this many target lengths, and not joined to an
// open boundary, are taken for noise and dropped: they cannot be resolved at
// the target length anyway, and their fixed ends would pin the mesh.
constexpr double MinFeatureLength = 3.0;
// A relaxation move may not flatten a face below this shape (twice the area
// over the sum of the squared sides; about 0.03 for a smallest angle of 5
// degrees).
constexpr double SliverShape = 0.03;

inline bool IsLine(std::uint32_t kind) {
    return kind < Pending;
}

// Edits take their candidates in a few classes of length, in memory order
// within a class: nearly as good as strict length order, and the edits then
// walk the arrays instead of jumping about them, which matters more.
inline double LengthClass(double squaredRatio) {
    return std::floor(4.0 * std::sqrt(squaredRatio));
}

// Half-edge h is corner h % 3 of face h / 3 and runs to the next corner.
inline std::uint32_t Next(std::uint32_t h) {
    return h % 3 == 2 ? h - 2 : h + 1;
}
inline std::uint32_t Prev(std::uint32_t h) {
    return h % 3 == 0 ? h + 2 : h - 1;
}

inline bool IsFinite(const Vec& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}
inline double Squared(const Vec& v) {
    return v % v;
}

// The kind an edge gets when a collapse merges two: a lock wins over a kept
// edge, that over a line, a line over a free edge.
inline std::uint32_t MergeKinds(std::uint32_t a, std::uint32_t b) {
    if (a == Locked || b == Locked)
        return Locked;
    if (a == Kept || b == Kept)
        return Kept;
    if (IsLine(a))
        return a;
    return b;
}

// Whether a triangle has an angle below ThinAngle. The smallest angle lies
// opposite the shortest side; its cosine by the law of cosines screens the
// triangles without any trigonometry.
bool IsThin(const Vec& p0, const Vec& p1, const Vec& p2) {
    double a = Squared(p1 - p0), b = Squared(p2 - p1), c = Squared(p0 - p2);
    if (b < a)
        std::swap(a, b);
    if (c < a)
        std::swap(a, c);
    return b + c - a > 2 * CosThinAngle * std::sqrt(b * c);
}

// The smallest corner angle of a triangle, in radians.
double SmallestAngle(const Vec& a, const Vec& b, const Vec& c) {
    const Vec ab = b - a, bc = c - b, ca = a - c;
    const double twice = std::sqrt(Squared(ab * ca));
    const double atA = std::atan2(twice, -(ab % ca));
    const double atB = std::atan2(twice, -(bc % ab));
    return std::min(std::min(atA, atB), Pi - atA - atB);
}

Vec ClosestOnSegment(const Vec& p, const Vec& a, const Vec& b) {
    const Vec d = b - a;
    const double length2 = Squared(d);
    if (!(length2 > 0))
        return a;
    const double t = std::clamp(((p - a) % d) / length2, 0.0, 1.0);
    return a + d * t;
}

// Closest point by the Voronoi regions of the corners, sides and interior;
// every division is guarded so that a needle or a point triangle gives a
// point on its sides instead of NaN.
Vec ClosestOnTriangle(const Vec& p, const Vec& a, const Vec& b, const Vec& c) {
    const Vec ab = b - a, ac = c - a, ap = p - a;
    const double d1 = ab % ap, d2 = ac % ap;
    if (d1 <= 0 && d2 <= 0)
        return a;
    const Vec bp = p - b;
    const double d3 = ab % bp, d4 = ac % bp;
    if (d3 >= 0 && d4 <= d3)
        return b;
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        const double den = d1 - d3;
        return den > 0 ? a + ab * (d1 / den) : a;
    }
    const Vec cp = p - c;
    const double d5 = ab % cp, d6 = ac % cp;
    if (d6 >= 0 && d5 <= d6)
        return c;
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        const double den = d2 - d6;
        return den > 0 ? a + ac * (d2 / den) : a;
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0) {
        const double den = (d4 - d3) + (d5 - d6);
        return den > 0 ? b + (c - b) * ((d4 - d3) / den) : b;
    }
    const double sum = va + vb + vc;
    if (!(sum > 0)) {
        const Vec s0 = ClosestOnSegment(p, a, b), s1 = ClosestOnSegment(p, b, c), s2 = ClosestOnSegment(p, c, a);
        const double e0 = Squared(p - s0), e1 = Squared(p - s1), e2 = Squared(p - s2);
        if (e0 <= e1 && e0 <= e2)
            return s0;
        return e1 <= e2 ? s1 : s2;
    }
    return a + ab * (vb / sum) + ac * (vc / sum);
}

// A bounding-volume hierarchy over boxes, split at the median centre along
// the longest axis, so its depth stays logarithmic whatever the input. Each
// node holds the boxes of both its children, in single precision rounded
// outwards, so that one cache line serves a whole step of a search. The
// caller stores its primitives in m_Order, leaf by leaf, and answers
// distance queries by that position.
class CBoxTree {
public:
    class alignas(64) CNode {
    public:
        float m_Low[2][3];
        float m_High[2][3];
        // Child k is the node m_Child[k] when m_Count[k] is 0, otherwise a
        // leaf of primitives m_Child[k] .. m_Child[k] + m_Count[k] - 1.
        std::uint32_t m_Child[2];
        std::uint32_t m_Parent;
        std::uint8_t m_Count[2];
    };

    static constexpr std::uint32_t LeafSize = 4;

    std::vector<CNode> m_Nodes;
    std::vector<std::uint32_t> m_Order;

    void Build(const std::vector<Vec>& low, const std::vector<Vec>& high) {
        const std::uint32_t count = static_cast<std::uint32_t>(low.size());
        m_Nodes.clear();
        m_LeafOf.assign(count, None);
        m_Order.resize(count);
        if (count == 0)
            return;

        // Topology top-down: a task fills child slot m_Slot of node m_Node
        // with positions m_Begin .. m_End - 1 (the root is slot 0 of a node
        // whose slot 1 stays empty), split at the median centre along the
        // longest side of a box around the centres. That box is not
        // measured again for each node: a child takes its parent's, cut at
        // the median, which is all the axis choice needs.
        std::vector<double> centre[3];
        Vec centreLow(std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
                      std::numeric_limits<double>::infinity());
        Vec centreHigh = -centreLow;
        for (int k = 0; k < 3; ++k) {
            centre[k].resize(count);
            for (std::uint32_t i = 0; i < count; ++i) {
                centre[k][i] = 0.5 * (low[i][k] + high[i][k]);
                centreLow[k] = std::min(centreLow[k], centre[k][i]);
                centreHigh[k] = std::max(centreHigh[k], centre[k][i]);
            }
        }
        std::iota(m_Order.begin(), m_Order.end(), 0u);
        class CTask {
        public:
            std::uint32_t m_Node, m_Slot, m_Begin, m_End;
            Vec m_Low, m_High;
        };
        std::vector<CTask> tasks;
        m_Nodes.reserve(2 * (count / LeafSize) + 2);
        m_Nodes.push_back(Empty(None));
        tasks.push_back(CTask{0, 0, 0, count, centreLow, centreHigh});
        while (!tasks.empty()) {
            const CTask task = tasks.back();
            tasks.pop_back();
            if (task.m_End - task.m_Begin <= LeafSize) {
                m_Nodes[task.m_Node].m_Child[task.m_Slot] = task.m_Begin;
                m_Nodes[task.m_Node].m_Count[task.m_Slot] = static_cast<std::uint8_t>(task.m_End - task.m_Begin);
                for (std::uint32_t i = task.m_Begin; i < task.m_End; ++i)
                    m_LeafOf[i] = 2 * task.m_Node + task.m_Slot;
                continue;
            }
            const Vec extent = task.m_High - task.m_Low;
            const int axis = extent.x >= extent.y ? (extent.x >= extent.z ? 0 : 2) : (extent.y >= extent.z ? 1 : 2);
            const std::vector<double>& along = centre[axis];
            const std::uint32_t middle = task.m_Begin + (task.m_End - task.m_Begin) / 2;
            // Ties go by primitive number so the tree is the same on every run.
            std::nth_element(m_Order.begin() + task.m_Begin, m_Order.begin() + middle, m_Order.begin() + task.m_End,
                             [&](std::uint32_t a, std::uint32_t b) {
                                 return along[a] < along[b] || (along[a] == along[b] && a < b);
                             });
            const double cut = along[m_Order[middle]];
            const std::uint32_t node = static_cast<std::uint32_t>(m_Nodes.size());
            m_Nodes[task.m_Node].m_Child[task.m_Slot] = node;
            m_Nodes.push_back(Empty(task.m_Node));
            CTask left{node, 0, task.m_Begin, middle, task.m_Low, task.m_High};
            CTask right{node, 1, middle, task.m_End, task.m_Low, task.m_High};
            left.m_High[axis] = cut;
            right.m_Low[axis] = cut;
            tasks.push_back(right);
            tasks.push_back(left);
        }

        // Boxes bottom-up: children always come after their parent.
        for (std::uint32_t n = static_cast<std::uint32_t>(m_Nodes.size()); n-- > 0;) {
            CNode& node = m_Nodes[n];
            for (int slot = 0; slot < 2; ++slot) {
                if (node.m_Child[slot] == None)
                    continue;
                if (node.m_Count[slot] > 0) {
                    Vec boxLow = low[m_Order[node.m_Child[slot]]], boxHigh = high[m_Order[node.m_Child[slot]]];
                    for (std::uint32_t i = node.m_Child[slot]; i < node.m_Child[slot] + node.m_Count[slot]; ++i)
                        for (int k = 0; k < 3; ++k) {
                            boxLow[k] = std::min(boxLow[k], low[m_Order[i]][k]);
                            boxHigh[k] = std::max(boxHigh[k], high[m_Order[i]][k]);
                        }
                    for (int k = 0; k < 3; ++k) {
                        node.m_Low[slot][k] = Down(boxLow[k]);
                        node.m_High[slot][k] = Up(boxHigh[k]);
                    }
                } else {
                    const CNode& child = m_Nodes[node.m_Child[slot]];
                    for (int k = 0; k < 3; ++k) {
                        node.m_Low[slot][k] = std::min(child.m_Low[0][k], child.m_Low[1][k]);
                        node.m_High[slot][k] = std::max(child.m_High[0][k], child.m_High[1][k]);
                    }
                }
            }
        }
    }

    // The primitive nearest to p by `distance(i, bound)` (squared, of the
    // primitive at position i in m_Order; anything not below the bound may
    // be answered with the bound), or None. With a hint, the answer of a
    // nearby earlier query, the search starts with the hint's distance as
    // the bound, at the hint's leaf, and climbs to the root, entering only
    // the sibling subtrees that could hold something nearer; the answer is
    // the same as that of a search from the root.
    template <class Distance>
    std::uint32_t Nearest(const Vec& p, std::uint32_t hint, Distance&& distance) const {
        double best = std::numeric_limits<double>::infinity();
        std::uint32_t found = None;
        if (m_Nodes.empty())
            return found;
        if (hint == None) {
            Descend(0, 0, p, best, found, distance);
            return found;
        }
        best = distance(hint, best);
        found = hint;
        std::uint32_t node = m_LeafOf[hint] / 2, slot = m_LeafOf[hint] % 2;
        Descend(node, slot, p, best, found, distance);
        for (;;) {
            const CNode& current = m_Nodes[node];
            if (BoxDistance(current, 1 - slot, p) < best)
                Descend(node, 1 - slot, p, best, found, distance);
            const std::uint32_t parent = current.m_Parent;
            if (parent == None)
                break;
            slot = m_Nodes[parent].m_Child[0] == node && m_Nodes[parent].m_Count[0] == 0 ? 0 : 1;
            node = parent;
        }
        return found;
    }

private:
    // Leaf slot of each primitive, as 2 * node + slot.
    std::vector<std::uint32_t> m_LeafOf;

    static CNode Empty(std::uint32_t parent) {
        CNode node;
        for (int s = 0; s < 2; ++s) {
            for (int k = 0; k < 3; ++k) {
                // An empty slot: a box no point is near.
                node.m_Low[s][k] = std::numeric_limits<float>::infinity();
                node.m_High[s][k] = -std::numeric_limits<float>::infinity();
            }
            node.m_Child[s] = None;
            node.m_Count[s] = 0;
        }
        node.m_Parent = parent;
        return node;
    }
    static float Down(double value) {
        float rounded = static_cast<float>(value);
        if (static_cast<double>(rounded) > value)
            rounded = std::nextafter(rounded, -std::numeric_limits<float>::infinity());
        return rounded;
    }
    static float Up(double value) {
        float rounded = static_cast<float>(value);
        if (static_cast<double>(rounded) < value)
            rounded = std::nextafter(rounded, std::numeric_limits<float>::infinity());
        return rounded;
    }
    static double BoxDistance(const CNode& node, std::uint32_t slot, const Vec& p) {
        double sum = 0;
        for (int k = 0; k < 3; ++k) {
            const double below = node.m_Low[slot][k] - p[k], above = p[k] - node.m_High[slot][k];
            const double d = std::max(0.0, std::max(below, above));
            sum += d * d;
        }
        return sum;
    }

    template <class Distance>
    void Descend(std::uint32_t node, std::uint32_t slot, const Vec& p, double& best, std::uint32_t& found,
                 Distance& distance) const {
        // Left uninitialised: the search runs once per vertex and relaxation
        // step, and clearing the whole stack each time would cost more than
        // most searches.
        struct CEntry {
            double m_Distance;
            std::uint32_t m_Slot;
        } stack[128];
        int size = 0;
        stack[size++] = CEntry{BoxDistance(m_Nodes[node], slot, p), 2 * node + slot};
        while (size > 0) {
            const CEntry top = stack[--size];
            if (!(top.m_Distance < best))
                continue;
            const CNode& holder = m_Nodes[top.m_Slot / 2];
            const std::uint32_t at = top.m_Slot % 2;
            if (holder.m_Count[at] > 0) {
                for (std::uint32_t i = holder.m_Child[at]; i < holder.m_Child[at] + holder.m_Count[at]; ++i) {
                    const double d = distance(i, best);
                    if (d < best) {
                        best = d;
                        found = i;
                    }
                }
                continue;
            }
            if (holder.m_Child[at] == None)
                continue;
            const std::uint32_t child = holder.m_Child[at];
            const CNode& inner = m_Nodes[child];
            const double d0 = BoxDistance(inner, 0, p), d1 = BoxDistance(inner, 1, p);
            // The nearer child is pushed last and so searched first.
            if (d0 <= d1) {
                if (d1 < best)
                    stack[size++] = CEntry{d1, 2 * child + 1};
                if (d0 < best)
                    stack[size++] = CEntry{d0, 2 * child};
            } else {
                if (d0 < best)
                    stack[size++] = CEntry{d0, 2 * child};
                if (d1 < best)
                    stack[size++] = CEntry{d1, 2 * child + 1};
            }
        }
    }
};

class CTriangle {
public:
    Vec m_A, m_B, m_C;
};

class CSegment {
public:
    Vec m_A, m_B;
    std::uint32_t m_Line;
};

// An edge waiting to be split, longest class first and, within a class, in
// memory order; its length tells whether the entry is still current.
class CQueuedEdge {
public:
    double m_Class;
    double m_Length2;
    std::uint32_t m_Edge;

    bool operator<(const CQueuedEdge& other) const {
        return m_Class < other.m_Class || (m_Class == other.m_Class && m_Edge > other.m_Edge);
    }
};

// The working mesh: a half-edge structure in which half-edge h is corner
// h % 3 of face h / 3, so only the twin of each half-edge is stored. Faces
// are removed by setting their corners to None and vertices by the Deleted
// flag; both are compacted away between iterations.
//
// Why every run ends, in time linear in the work asked for. Write F for the
// live faces; F never exceeds the face budget B, a fixed multiple of the
// input's faces plus its area and sides measured in target lengths (Load),
// since only splits add faces and they stop at B. Each iteration of Run runs
// a fixed sequence of passes, and each pass does a bounded number of edits,
// none revisited without progress (the bound is proved at each loop):
//   splits  at most B minus the faces on entry, queue pops at most the edges
//           on entry plus 6 per split;
//   collapses  at most one attempt per edge short on entry (about 1.5 F),
//           each checking at most MaxCarriedVertices removed boundary
//           vertices;
//   flips  at most one per half-edge slot (3 F);
//   angle passes  at most 4, each at most one flip or collapse per face;
//   relaxation  m_RelaxationSteps steps, each one sweep over the vertices
//           and at most 4 F face checks.
// Every walk around a vertex follows twin links around one fan and so visits
// each of its faces once; collapses walk only fans of at most
// MaxCollapseValence edges. The number of iterations is the caller's.
class CEngine {
public:
    CEngine(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles,
            const CRemeshOptions& options, double targetLength);

    bool Run();
    void Extract(CSurfaceRemesher& out);

private:
    // ---- Set-up -------------------------------------------------------------
    void Load(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles);
    void BuildTwins(const std::vector<char>& frozenFace);
    void ClassifyConstraints(const std::vector<char>& frozenFace);
    void BuildReference(const std::vector<char>& frozenFace, const std::vector<std::uint32_t>& firstConstraint);

    // ---- Topology helpers ---------------------------------------------------
    std::uint32_t Target(std::uint32_t h) const { return m_Corner[Next(h)]; }
    bool IsOpen(std::uint32_t v) const { return m_Twin[m_Out[v]] == None; }
    void Link(std::uint32_t a, std::uint32_t b) {
        if (a != None)
            m_Twin[a] = b;
        if (b != None)
            m_Twin[b] = a;
    }
    // The fan walks below step from face to face of one fan through twin
    // links. The edits keep every fan a cycle of twins (a closed vertex) or a
    // chain ending at a half-edge without twin (an open one), so each walk
    // stops at its start or at that end after visiting every face of the fan
    // once.
    //
    // Turns the stored outgoing half-edge of v clockwise until it is the
    // first one of the fan: on an open vertex the one with no twin, so that a
    // counter-clockwise walk from it meets every face.
    void NormaliseOut(std::uint32_t v) {
        const std::uint32_t start = m_Out[v];
        std::uint32_t h = start;
        while (m_Twin[h] != None) {
            h = Next(m_Twin[h]);
            if (h == start)
                break;
        }
        m_Out[v] = h;
    }
    template <class F>
    void ForEachOutgoing(std::uint32_t v, F&& visit) const {
        const std::uint32_t start = m_Out[v];
        std::uint32_t h = start;
        do {
            visit(h);
            h = m_Twin[Prev(h)];
        } while (h != None && h != start);
    }
    // visit(neighbour, half-edge of the edge between them); an open vertex
    // also reports the neighbour across its incoming open edge.
    template <class F>
    void ForEachNeighbour(std::uint32_t v, F&& visit) const {
        const std::uint32_t start = m_Out[v];
        std::uint32_t h = start;
        for (;;) {
            visit(m_Corner[Next(h)], h);
            const std::uint32_t p = Prev(h);
            const std::uint32_t t = m_Twin[p];
            if (t == None) {
                visit(m_Corner[p], p);
                return;
            }
            if (t == start)
                return;
            h = t;
        }
    }
    int Valence(std::uint32_t v) const {
        int count = 0;
        ForEachNeighbour(v, [&](std::uint32_t, std::uint32_t) { ++count; });
        return count;
    }
    std::uint32_t NewVertex(const Vec& position) {
        ++m_NewSinceOrdering;
        m_Position.push_back(position);
        m_Flags.push_back(0);
        m_Valence.push_back(0);
        m_Out.push_back(None);
        m_Line.push_back(None);
        m_Source.push_back(None);
        m_FaceHint.push_back(None);
        m_SegmentHint.push_back(None);
        m_CarriedSlot.push_back(None);
        return static_cast<std::uint32_t>(m_Position.size() - 1);
    }
    std::uint32_t NewFace(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        const std::uint32_t base = static_cast<std::uint32_t>(m_Corner.size());
        m_Corner.push_back(a);
        m_Corner.push_back(b);
        m_Corner.push_back(c);
        m_Twin.insert(m_Twin.end(), 3, None);
        m_Kind.insert(m_Kind.end(), 3, None);
        return base;
    }
    void DeleteFace(std::uint32_t f) {
        for (std::uint32_t k = 0; k < 3; ++k) {
            m_Corner[3 * f + k] = None;
            m_Twin[3 * f + k] = None;
            m_Kind[3 * f + k] = None;
        }
    }
    double EdgeLength2(std::uint32_t h) const { return Squared(m_Position[Target(h)] - m_Position[m_Corner[h]]); }

    // ---- The edits ------------------------------------------------------------
    bool SplitLongEdges();
    // A face with a locked edge too long to keep can never come into range:
    // splitting its other sides would only make slivers, more of them in
    // every iteration.
    bool HasLongLockedEdge(std::uint32_t f) const {
        for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h)
            if (m_Kind[h] == Locked && EdgeLength2(h) > m_SplitLength2)
                return true;
        return false;
    }
    // Whether the face of h has a side longer than length2 (with a margin
    // for rounding).
    bool HasLongerSide(std::uint32_t h, double length2) const {
        return EdgeLength2(Next(h)) > length2 * (1 + 1e-9) || EdgeLength2(Prev(h)) > length2 * (1 + 1e-9);
    }
    void Split(std::uint32_t h);
    bool CollapseShortEdges();
    // Whether kept boundary vertex v may leave the boundary by merging along
    // it into a neighbour (see KeptCollapseFactor): only a vertex whose sole
    // constraints are its two open edges. On success before and after are
    // its neighbours along the boundary.
    bool CanLeaveKeptBoundary(std::uint32_t v, std::uint32_t& before, std::uint32_t& after) const;
    bool CanRemove(std::uint32_t v, std::uint32_t kind) const {
        const std::uint8_t flags = m_Flags[v];
        return !(flags & (Fixed | Deleted)) && (!(flags & Sliding) || kind == m_Line[v]);
    }
    // midpointLength2: edges shorter than this may go to their midpoint;
    // reachLength2: no edge of the merged vertex may be longer than this.
    bool TryCollapse(std::uint32_t h, double midpointLength2, double reachLength2);
    void Collapse(std::uint32_t h, bool removeOrigin, const Vec& target);
    bool FlipEdges();
    bool FlipIsAllowed(std::uint32_t h) const;
    bool FlipIsValid(std::uint32_t h) const;
    void Flip(std::uint32_t h);
    bool ImproveAngles();
    void RelaxAndProject();
    Vec Relaxed(std::uint32_t v) const;
    // Whether face f, with its corners at their moved places, faces the
    // other way than before the move, or flattens into a sliver that it was
    // not (a cap with a corner pushed onto the opposite side, which neither
    // a flip nor a collapse can always undo).
    bool SpoiledByMove(std::uint32_t f) const {
        const std::uint32_t* corner = &m_Corner[3 * f];
        const Vec &a = m_Position[corner[0]], &b = m_Position[corner[1]], &c = m_Position[corner[2]];
        const Vec &ma = m_Moved[corner[0]], &mb = m_Moved[corner[1]], &mc = m_Moved[corner[2]];
        const Vec before = (b - a) * (c - a), after = (mb - ma) * (mc - ma);
        const double before2 = Squared(before);
        if (!(before2 > m_MinCross2))
            return false;
        if (!(before % after > 0))
            return true;
        // Twice the area over the sum of the squared sides: 0.29 for an
        // equilateral triangle, 0 for a flat one.
        const double sides = Squared(b - a) + Squared(c - b) + Squared(a - c);
        const double movedSides = Squared(mb - ma) + Squared(mc - mb) + Squared(ma - mc);
        const double shape = std::sqrt(before2) / sides, movedShape = std::sqrt(Squared(after)) / movedSides;
        return movedShape < SliverShape && movedShape < shape;
    }
    Vec Projected(std::uint32_t v, const Vec& p);
    void Compact();
    void SpatialOrder(std::vector<std::uint32_t>& order) const;

    // Settings.
    CRemeshOptions m_Options;
    double m_TargetLength = 0;
    double m_SplitLength2 = 0;
    double m_CollapseLength2 = 0;
    double m_MergeLength2 = 0;
    double m_KeptCollapseLength2 = 0;
    double m_KeptDeviation = 0;
    double m_CosCorner = 0;
    double m_MidpointLength2 = 0;
    double m_AngleReachLength2 = 0;
    double m_MinCross2 = 0;
    // Splits stop at this many faces: a bound far above anything a valid
    // target asks for, so that no input can make the work run away.
    std::size_t m_FaceBudget = 0;

    // Vertices.
    std::vector<Vec> m_Position;
    std::vector<std::uint8_t> m_Flags;
    std::vector<int> m_Valence;
    std::vector<std::uint32_t> m_Out;
    std::vector<std::uint32_t> m_Line;
    std::vector<std::uint32_t> m_Source;
    std::vector<std::uint32_t> m_FaceHint;
    std::vector<std::uint32_t> m_SegmentHint;

    // Half-edges.
    std::vector<std::uint32_t> m_Corner;
    std::vector<std::uint32_t> m_Twin;
    std::vector<std::uint32_t> m_Kind;
    // Per vertex on a kept boundary: how far the open edge leaving it may lie
    // from the input's boundary polyline, grown by each vertex removed from
    // the boundary (0 while the edge is an input edge or a piece of one).
    // (Few vertices carry any: each holds a slot in a pool only once it does.)
    std::vector<std::uint32_t> m_CarriedSlot;
    std::vector<std::vector<Vec>> m_CarriedPool;
    const std::vector<Vec>& Carried(std::uint32_t v) const {
        static const std::vector<Vec> none;
        return m_CarriedSlot[v] == None ? none : m_CarriedPool[m_CarriedSlot[v]];
    }
    std::vector<Vec>& CarriedToFill(std::uint32_t v) {
        if (m_CarriedSlot[v] == None) {
            m_CarriedSlot[v] = static_cast<std::uint32_t>(m_CarriedPool.size());
            m_CarriedPool.emplace_back();
        }
        return m_CarriedPool[m_CarriedSlot[v]];
    }

    // The input surface and its constraint lines, for projection.
    std::vector<CTriangle> m_Triangles;
    CBoxTree m_TriangleTree;
    std::vector<CSegment> m_Segments;
    CBoxTree m_SegmentTree;

    // Scratch space kept between calls so the edits allocate nothing.
    std::vector<std::uint32_t> m_Stamp;
    std::uint32_t m_StampValue = 0;
    // Vertices made since the vertices were last put in spatial order.
    std::size_t m_NewSinceOrdering = 0;
    std::vector<std::uint32_t> m_Ring;
    std::vector<std::pair<int, std::uint32_t>> m_Candidates;
    std::vector<std::uint32_t> m_Ordered;
    std::vector<CQueuedEdge> m_SplitQueue;
    std::vector<std::uint32_t> m_Stack;
    std::vector<Vec> m_Moved;
    // One mark per face: thin, or turned over by a move.
    std::vector<char> m_FaceMarks;
};

CEngine::CEngine(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles,
                 const CRemeshOptions& options, double targetLength)
    : m_Options(options), m_TargetLength(targetLength) {
    const double split = SplitFactor * targetLength, collapse = CollapseFactor * targetLength;
    const double merge = CornerMergeFactor * targetLength, midpoint = MidpointCollapseFactor * targetLength;
    m_MidpointLength2 = midpoint * midpoint;
    m_SplitLength2 = split * split;
    m_CollapseLength2 = collapse * collapse;
    m_MergeLength2 = merge * merge;
    m_KeptCollapseLength2 = KeptCollapseFactor * KeptCollapseFactor * targetLength * targetLength;
    m_KeptDeviation = KeptDeviationFactor * targetLength;
    const bool features = options.m_FeatureAngle > 0 && options.m_FeatureAngle < 180;
    m_CosCorner = std::cos((features ? options.m_FeatureAngle : DefaultCornerAngle) * Pi / 180.0);
    m_AngleReachLength2 = AngleReachFactor * AngleReachFactor * m_TargetLength * m_TargetLength;
    // Twice the area of a triangle this small counts as none at all.
    const double tiny = 1e-10 * targetLength * targetLength;
    m_MinCross2 = tiny * tiny;
    Load(positions, triangles);
}

// ---- Set-up --------------------------------------------------------------------

void CEngine::Load(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles) {
    const std::size_t vertexCount = positions.size() / 3;
    m_Position.resize(vertexCount);
    for (std::size_t v = 0; v < vertexCount; ++v)
        m_Position[v] = Vec(positions[3 * v], positions[3 * v + 1], positions[3 * v + 2]);
    // Vertices start deleted and come alive when a face uses them, so
    // unused input vertices vanish from the result.
    m_Flags.assign(vertexCount, Deleted);
    m_Out.assign(vertexCount, None);
    m_Line.assign(vertexCount, None);
    m_Source.resize(vertexCount);
    std::iota(m_Source.begin(), m_Source.end(), 0u);
    m_FaceHint.assign(vertexCount, None);
    m_SegmentHint.assign(vertexCount, None);
    m_CarriedSlot.assign(vertexCount, None);
    m_CarriedPool.clear();

    const std::size_t faceCount = triangles.size() / 3;
    m_Corner.clear();
    m_Corner.reserve(3 * faceCount);
    for (std::size_t f = 0; f < faceCount; ++f) {
        const std::uint32_t a = triangles[3 * f], b = triangles[3 * f + 1], c = triangles[3 * f + 2];
        if (a >= vertexCount || b >= vertexCount || c >= vertexCount || a == b || b == c || c == a)
            continue;
        m_Corner.push_back(a);
        m_Corner.push_back(b);
        m_Corner.push_back(c);
    }
    m_Twin.assign(m_Corner.size(), None);
    m_Kind.assign(m_Corner.size(), None);
    for (const std::uint32_t v : m_Corner)
        m_Flags[v] = 0;

    const std::size_t faces = m_Corner.size() / 3;
    std::vector<char> frozenFace(faces, 0);
    for (std::size_t f = 0; f < faces; ++f)
        for (int k = 0; k < 3; ++k)
            if (!IsFinite(m_Position[m_Corner[3 * f + k]]))
                frozenFace[f] = 1;

    BuildTwins(frozenFace);
    ClassifyConstraints(frozenFace);
    // Four times what splitting alone may make: the faces of equilateral
    // triangles of the target size that cover the input, plus two for every
    // target length along the input's edges (long thin faces are cut along
    // their sides whatever their area), plus the input's own.
    double area = 0, sides = 0;
    for (std::size_t f = 0; f < faces; ++f)
        if (!frozenFace[f]) {
            const Vec &a = m_Position[m_Corner[3 * f]], &b = m_Position[m_Corner[3 * f + 1]],
                      &c = m_Position[m_Corner[3 * f + 2]];
            area += 0.5 * std::sqrt(Squared((b - a) * (c - a)));
            sides += std::sqrt(Squared(b - a)) + std::sqrt(Squared(c - b)) + std::sqrt(Squared(a - c));
        }
    const double equilateral = std::sqrt(3.0) / 4.0 * m_TargetLength * m_TargetLength;
    const double cuts = equilateral > 0 ? area / equilateral + sides / m_TargetLength : 0.0;
    const double budget = 4.0 * (double(faces) + cuts) + 1000.0;
    // Half-edges are numbered in 32 bits, which also bounds the budget.
    m_FaceBudget = std::isfinite(budget) && budget < 4e8 ? static_cast<std::size_t>(budget) : std::size_t(400000000);
    m_Stamp.assign(m_Position.size(), 0);
    m_Valence.assign(m_Position.size(), 0);
    for (std::uint32_t v = 0; v < m_Position.size(); ++v)
        if (!(m_Flags[v] & Deleted))
            m_Valence[v] = Valence(v);
}

void CEngine::BuildTwins(const std::vector<char>& frozenFace) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::size_t vertexCount = m_Position.size();
    // Outgoing half-edges of every vertex, in compressed rows.
    std::vector<std::uint32_t> start(vertexCount + 1, 0);
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        ++start[m_Corner[h] + 1];
    for (std::size_t v = 0; v < vertexCount; ++v)
        start[v + 1] += start[v];
    std::vector<std::uint32_t> outgoing(halfEdges);
    {
        std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
        for (std::uint32_t h = 0; h < halfEdges; ++h)
            outgoing[fill[m_Corner[h]]++] = h;
    }

    // An edge is paired only when it has exactly one half-edge each way; any
    // other edge (more than two faces, or two faces wound alike) is locked
    // and its ends are fixed.
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (m_Twin[h] != None || m_Kind[h] == Locked)
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h);
        std::uint32_t same = 0, opposite = 0, match = None;
        for (std::uint32_t i = start[a]; i < start[a + 1]; ++i)
            same += Target(outgoing[i]) == b;
        for (std::uint32_t i = start[b]; i < start[b + 1]; ++i)
            if (Target(outgoing[i]) == a) {
                ++opposite;
                match = outgoing[i];
            }
        if (same == 1 && opposite == 1) {
            Link(h, match);
        } else if (same != 1 || opposite != 0) {
            for (std::uint32_t i = start[a]; i < start[a + 1]; ++i)
                if (Target(outgoing[i]) == b)
                    m_Kind[outgoing[i]] = Locked;
            for (std::uint32_t i = start[b]; i < start[b + 1]; ++i)
                if (Target(outgoing[i]) == a)
                    m_Kind[outgoing[i]] = Locked;
            m_Flags[a] |= Fixed | NonManifold;
            m_Flags[b] |= Fixed | NonManifold;
        }
    }

    // Two faces on the same three corners wound against each other pair up
    // into a closed pillow of no volume, which no edit can improve and some
    // would turn into a degenerate face: both are locked.
    const std::uint32_t faceCount = halfEdges / 3;
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        const std::uint32_t t = m_Twin[3 * f];
        if (t == None)
            continue;
        const std::uint32_t* other = &m_Corner[3 * (t / 3)];
        const auto holds = [&](std::uint32_t v) { return other[0] == v || other[1] == v || other[2] == v; };
        if (!holds(corner[0]) || !holds(corner[1]) || !holds(corner[2]))
            continue;
        for (const std::uint32_t g : {f, t / 3})
            for (std::uint32_t h = 3 * g; h < 3 * g + 3; ++h) {
                m_Kind[h] = Locked;
                m_Flags[m_Corner[h]] |= Fixed;
            }
    }

    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Out[m_Corner[h]] == None)
            m_Out[m_Corner[h]] = h;
    // A vertex whose fan does not reach all of its faces joins separate fans.
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (m_Flags[v] & Deleted)
            continue;
        NormaliseOut(v);
        std::uint32_t fan = 0;
        ForEachOutgoing(v, [&](std::uint32_t) { ++fan; });
        if (fan != start[v + 1] - start[v])
            m_Flags[v] |= Fixed | NonManifold;
    }

    // Faces at a non-finite vertex cannot be measured: they stay as they are.
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!frozenFace[f])
            continue;
        for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h) {
            m_Kind[h] = Locked;
            if (m_Twin[h] != None)
                m_Kind[m_Twin[h]] = Locked;
            m_Flags[m_Corner[h]] |= Fixed;
        }
    }
}

void CEngine::ClassifyConstraints(const std::vector<char>& frozenFace) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::uint32_t faces = halfEdges / 3;
    const std::size_t vertexCount = m_Position.size();

    std::vector<Vec> normal(faces);
    for (std::uint32_t f = 0; f < faces; ++f) {
        if (frozenFace[f])
            continue;
        const Vec &a = m_Position[m_Corner[3 * f]], &b = m_Position[m_Corner[3 * f + 1]],
                  &c = m_Position[m_Corner[3 * f + 2]];
        normal[f] = (b - a) * (c - a);
        normal[f].Normalise();
    }
    const bool features = m_Options.m_FeatureAngle > 0 && m_Options.m_FeatureAngle < 180;
    const double cosFeature = std::cos(m_Options.m_FeatureAngle * Pi / 180.0);
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (m_Kind[h] != None)
            continue;
        const std::uint32_t t = m_Twin[h];
        if (t == None) {
            if (m_Options.m_KeepBoundaries) {
                m_Kind[h] = Kept;
                m_Flags[m_Corner[h]] |= Fixed;
                m_Flags[Target(h)] |= Fixed;
            } else {
                m_Kind[h] = Pending;
            }
        } else if (features && h < t) {
            const Vec &n1 = normal[h / 3], &n2 = normal[t / 3];
            // A face without a normal (zero area) makes no feature.
            if (Squared(n1) > 0 && Squared(n2) > 0 && n1 % n2 < cosFeature)
                m_Kind[h] = m_Kind[t] = Pending;
        }
    }

    // Each vertex on constraint edges: two edges that continue each other
    // make it slide; one edge (a line's end), three or more (a junction) or
    // a sharp turn make it a corner. Lines are the constraint edges joined
    // through sliding vertices, found with a union-find over the edges' first
    // half-edges; the root names the line. Feature lines that are too short
    // are dropped (see MinFeatureLength), which may join or shorten others,
    // so this repeats until nothing changes.
    std::vector<std::uint8_t> count(vertexCount, 0);
    std::vector<std::uint8_t> slides(vertexCount, 0);
    std::vector<std::uint32_t> first(vertexCount, None), second(vertexCount, None);
    std::vector<std::uint32_t> parent(halfEdges);
    std::vector<double> length(halfEdges, 0.0);
    const double cornerAngle = features ? m_Options.m_FeatureAngle : DefaultCornerAngle;
    const double cosCorner = std::cos(cornerAngle * Pi / 180.0);
    const double shortest = MinFeatureLength * m_TargetLength;
    const auto find = [&](std::uint32_t x) {
        while (parent[x] != x) {
            parent[x] = parent[parent[x]];
            x = parent[x];
        }
        return x;
    };
    const auto canonical = [&](std::uint32_t h) { return m_Twin[h] != None && m_Twin[h] < h ? m_Twin[h] : h; };
    // Bounded: at most 64 rounds, each linear in the half-edges.
    for (int round = 0; round < 64; ++round) {
        std::fill(count.begin(), count.end(), 0);
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h)
                continue;
            for (const std::uint32_t v : {m_Corner[h], Target(h)}) {
                if (count[v] == 0)
                    first[v] = h;
                else if (count[v] == 1)
                    second[v] = h;
                if (count[v] < 3)
                    ++count[v];
            }
        }
        std::iota(parent.begin(), parent.end(), 0u);
        for (std::uint32_t v = 0; v < vertexCount; ++v) {
            slides[v] = 0;
            if (count[v] != 2 || (m_Flags[v] & (Deleted | Fixed)))
                continue;
            const std::uint32_t x = m_Corner[first[v]] == v ? Target(first[v]) : m_Corner[first[v]];
            const std::uint32_t y = m_Corner[second[v]] == v ? Target(second[v]) : m_Corner[second[v]];
            const Vec in = m_Position[v] - m_Position[x], out = m_Position[y] - m_Position[v];
            const double lengths = std::sqrt(Squared(in) * Squared(out));
            if (!(lengths > 0 && in % out >= cosCorner * lengths))
                continue;
            slides[v] = 1;
            const std::uint32_t a = find(first[v]), b = find(second[v]);
            if (a != b)
                parent[std::max(a, b)] = std::min(a, b);
        }
        if (!features)
            break;
        // Open lines count as infinitely long: boundaries are never dropped.
        std::fill(length.begin(), length.end(), 0.0);
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h)
                continue;
            length[find(h)] += m_Twin[h] == None ? std::numeric_limits<double>::infinity() : std::sqrt(EdgeLength2(h));
        }
        bool dropped = false;
        for (std::uint32_t h = 0; h < halfEdges; ++h)
            if (m_Kind[h] == Pending && length[find(canonical(h))] < shortest) {
                m_Kind[h] = None;
                dropped = true;
            }
        if (!dropped)
            break;
    }
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (count[v] != 0 && !(m_Flags[v] & (Deleted | Fixed)))
            m_Flags[v] |= slides[v] ? Sliding : Fixed | Corner;
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Kind[h] == Pending)
            m_Kind[h] = find(canonical(h));
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (m_Flags[v] & Sliding)
            m_Line[v] = m_Kind[first[v]];

    // The tip of a cone has no sharp edge to find, only faces that close
    // far short of a full turn around it; relaxation would cut it off. A tip
    // counts when its faces lean more than the feature angle away from the
    // plane across it: a cone of half-angle a closes after 2 pi sin(a).
    if (features) {
        const double limit = 2 * Pi * (1 - std::cos(m_Options.m_FeatureAngle * Pi / 180.0));
        for (std::uint32_t v = 0; v < vertexCount; ++v) {
            if ((m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) || m_Out[v] == None || IsOpen(v))
                continue;
            double turn = 0;
            ForEachOutgoing(v, [&](std::uint32_t e) {
                const Vec u = m_Position[Target(e)] - m_Position[v], w = m_Position[m_Corner[Prev(e)]] - m_Position[v];
                turn += std::atan2(std::sqrt(Squared(u * w)), u % w);
            });
            if (std::fabs(2 * Pi - turn) > limit)
                m_Flags[v] |= Fixed | Corner;
        }
    }

    BuildReference(frozenFace, first);
}

void CEngine::BuildReference(const std::vector<char>& frozenFace, const std::vector<std::uint32_t>& firstConstraint) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::uint32_t faces = halfEdges / 3;

    std::vector<std::uint32_t> items;
    std::vector<Vec> low, high;
    for (std::uint32_t f = 0; f < faces; ++f) {
        if (frozenFace[f])
            continue;
        items.push_back(f);
        Vec lo = m_Position[m_Corner[3 * f]], hi = lo;
        for (std::uint32_t k = 1; k < 3; ++k)
            for (int i = 0; i < 3; ++i) {
                lo[i] = std::min(lo[i], m_Position[m_Corner[3 * f + k]][i]);
                hi[i] = std::max(hi[i], m_Position[m_Corner[3 * f + k]][i]);
            }
        low.push_back(lo);
        high.push_back(hi);
    }
    m_TriangleTree.Build(low, high);
    std::vector<std::uint32_t> slotOfFace(faces, None);
    m_Triangles.resize(items.size());
    for (std::uint32_t i = 0; i < items.size(); ++i) {
        const std::uint32_t f = items[m_TriangleTree.m_Order[i]];
        slotOfFace[f] = i;
        m_Triangles[i] =
            CTriangle{m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]], m_Position[m_Corner[3 * f + 2]]};
    }

    items.clear();
    low.clear();
    high.clear();
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (!IsLine(m_Kind[h]) || (m_Twin[h] != None && m_Twin[h] < h))
            continue;
        items.push_back(h);
        const Vec &a = m_Position[m_Corner[h]], &b = m_Position[Target(h)];
        low.push_back(Vec(std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)));
        high.push_back(Vec(std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)));
    }
    m_SegmentTree.Build(low, high);
    std::vector<std::uint32_t> slotOfEdge(halfEdges, None);
    m_Segments.resize(items.size());
    for (std::uint32_t i = 0; i < items.size(); ++i) {
        const std::uint32_t h = items[m_SegmentTree.m_Order[i]];
        slotOfEdge[h] = i;
        m_Segments[i] = CSegment{m_Position[m_Corner[h]], m_Position[Target(h)], m_Kind[h]};
    }

    for (std::uint32_t v = 0; v < m_Position.size(); ++v) {
        if (m_Flags[v] & Deleted)
            continue;
        m_FaceHint[v] = slotOfFace[m_Out[v] / 3];
        if (m_Flags[v] & Sliding)
            m_SegmentHint[v] = slotOfEdge[firstConstraint[v]];
    }
}

// ---- Split ---------------------------------------------------------------------

// Always the longest edge first, the new ones included: every split then
// cuts a face across its longest side, which keeps the angles of a coarse
// input from degenerating into fans of slivers (longest-edge bisection).
// Within a class of lengths (see LengthClass) the edges go in memory order.
bool CEngine::SplitLongEdges() {
    m_SplitQueue.clear();
    const auto push = [&](std::uint32_t h) {
        const double length2 = EdgeLength2(h);
        if (m_Kind[h] == Locked || !(length2 > m_SplitLength2))
            return;
        m_SplitQueue.push_back(CQueuedEdge{LengthClass(length2 / m_SplitLength2), length2, h});
        std::push_heap(m_SplitQueue.begin(), m_SplitQueue.end());
    };
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && (m_Twin[h] == None || m_Twin[h] > h))
            push(h);
    bool changed = false;
    // Bounded: each turn pops one entry. Entries are the edges on entry plus
    // at most six per split, and each split adds at least one face, which
    // the budget caps, so there are at most (B - faces on entry) splits and
    // (edges on entry + 6 x splits) turns. A stale entry is dropped unsplit.
    while (!m_SplitQueue.empty() && m_Corner.size() / 3 < m_FaceBudget) {
        std::pop_heap(m_SplitQueue.begin(), m_SplitQueue.end());
        const CQueuedEdge top = m_SplitQueue.back();
        m_SplitQueue.pop_back();
        const std::uint32_t h = top.m_Edge;
        // A split gives some half-edges new ends and moves others to new
        // numbers; every edge it touches is entered afresh, and an entry
        // whose half-edge no longer has its length is stale.
        if (m_Corner[h] == None || m_Kind[h] == Locked || EdgeLength2(h) != top.m_Length2)
            continue;
        if (HasLongLockedEdge(h / 3) || (m_Twin[h] != None && HasLongLockedEdge(m_Twin[h] / 3)))
            continue;
        const std::uint32_t t = m_Twin[h];
        // Only across a face whose longest side this is does the new edge to
        // the opposite corner come next in line: a face that keeps a longer
        // side (one no split may touch) would otherwise be cut again and
        // again towards that side, a fan of slivers without end.
        const bool across = !HasLongerSide(h, top.m_Length2);
        const bool acrossTwin = t != None && !HasLongerSide(t, top.m_Length2);
        const std::uint32_t second = static_cast<std::uint32_t>(m_Corner.size());
        Split(h);
        changed = true;
        // Both halves, the outer sides that moved into the new faces and,
        // where allowed, the new edges to the opposite corners.
        const std::uint32_t touched[6] = {
            h, second, second + 1, across ? Next(h) : None, t != None ? second + 4 : None, acrossTwin ? Next(t) : None};
        for (const std::uint32_t e : touched)
            if (e != None)
                push(e);
    }
    return changed;
}

// Edge a-b of face (a, b, c) and, when it is not open, of face (b, a, d)
// becomes a-m-b. The half-edges keep their numbers where they keep their
// meaning: h runs a -> m, its twin b -> m, and the new faces (m, b, c) and
// (m, a, d) are appended. The first new half-edge is m -> b.
void CEngine::Split(std::uint32_t h) {
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p];
    const std::uint32_t kind = m_Kind[h];
    const std::uint32_t outerN = m_Twin[n], kindN = m_Kind[n];

    const std::uint32_t m = NewVertex((m_Position[a] + m_Position[b]) * 0.5);
    if (kind == Kept) {
        m_Flags[m] = Fixed;
        // Each half carries the removed vertices that lie beside it.
        std::vector<Vec> first, second;
        const Vec along = m_Position[b] - m_Position[a];
        for (const Vec& q : Carried(a))
            ((q - m_Position[a]) % along < 0.5 * Squared(along) ? first : second).push_back(q);
        if (!second.empty()) {
            CarriedToFill(a).swap(first);
            CarriedToFill(m).swap(second);
        }
    }
    if (IsLine(kind)) {
        m_Flags[m] = Sliding;
        m_Line[m] = kind;
        m_SegmentHint[m] = (m_Flags[a] & Sliding) && m_Line[a] == kind ? m_SegmentHint[a] : m_SegmentHint[b];
    }
    m_FaceHint[m] = m_FaceHint[a] != None ? m_FaceHint[a] : m_FaceHint[b];

    m_Corner[n] = m;
    const std::uint32_t second = NewFace(m, b, c);
    Link(n, second + 2);
    m_Kind[n] = None;
    Link(second + 1, outerN);
    m_Kind[second + 1] = kindN;
    m_Kind[second] = kind;
    if (m_Out[b] == n)
        m_Out[b] = second + 1;
    m_Out[m] = second;
    m_Valence[m] = t == None ? 3 : 4;
    ++m_Valence[c];

    if (t == None)
        return;
    const std::uint32_t tn = Next(t), tp = Prev(t);
    const std::uint32_t d = m_Corner[tp];
    const std::uint32_t outerTn = m_Twin[tn], kindTn = m_Kind[tn];
    m_Corner[tn] = m;
    const std::uint32_t fourth = NewFace(m, a, d);
    Link(tn, fourth + 2);
    m_Kind[tn] = None;
    Link(fourth + 1, outerTn);
    m_Kind[fourth + 1] = kindTn;
    Link(h, fourth);
    m_Kind[fourth] = kind;
    Link(t, second);
    if (m_Out[a] == tn)
        m_Out[a] = fourth + 1;
    ++m_Valence[d];
}

// ---- Collapse ------------------------------------------------------------------

bool CEngine::CollapseShortEdges() {
    // Shorter edges first, by classes of length (see LengthClass); an edge
    // shorter than the collapse length falls in one of the first four, and
    // the edges enter each class in memory order.
    constexpr int Classes = 4;
    std::size_t counts[Classes + 1] = {};
    m_Candidates.clear();
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (m_Corner[h] == None || m_Kind[h] == Locked || (m_Twin[h] != None && m_Twin[h] < h))
            continue;
        const double length2 = EdgeLength2(h);
        if (!(length2 < m_CollapseLength2))
            continue;
        const int lengthClass = std::min(Classes - 1, static_cast<int>(LengthClass(length2 / m_CollapseLength2)));
        m_Candidates.push_back(std::make_pair(lengthClass, h));
        ++counts[lengthClass + 1];
    }
    for (int k = 1; k <= Classes; ++k)
        counts[k] += counts[k - 1];
    m_Ordered.resize(m_Candidates.size());
    for (const auto& candidate : m_Candidates)
        m_Ordered[counts[candidate.first]++] = candidate.second;
    bool changed = false;
    // Bounded: one attempt per edge that was short on entry, never repeated
    // within the pass, and each attempt walks two fans of at most
    // MaxCollapseValence edges and, on a kept boundary, checks and moves at
    // most MaxCarriedVertices carried vertices.
    for (const std::uint32_t h : m_Ordered) {
        // Earlier collapses may have removed the face or lengthened the edge.
        if (m_Corner[h] == None || !(EdgeLength2(h) < m_CollapseLength2))
            continue;
        changed |= TryCollapse(h, m_MidpointLength2, m_SplitLength2);
    }
    return changed;
}

bool CEngine::CanLeaveKeptBoundary(std::uint32_t v, std::uint32_t& before, std::uint32_t& after) const {
    if ((m_Flags[v] & (Deleted | Sliding | NonManifold | Corner)) || !IsOpen(v))
        return false;
    // The fan runs from the open edge leaving v to the one arriving; every
    // edge between is free, or v holds a lock or a feature line.
    bool free = m_Kind[m_Out[v]] == Kept;
    std::uint32_t last = None;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        if (e != m_Out[v] && m_Kind[e] != None)
            free = false;
        last = e;
    });
    const std::uint32_t incoming = Prev(last);
    if (!free || m_Kind[incoming] != Kept)
        return false;
    after = Target(m_Out[v]);
    before = m_Corner[incoming];
    if (before == after)
        return false;
    const Vec &p = m_Position[v], &u = m_Position[before], &w = m_Position[after];
    // A corner of the boundary stays.
    const Vec in = p - u, out = w - p;
    if (!(in % out > m_CosCorner * std::sqrt(Squared(in) * Squared(out))))
        return false;
    // The straightened boundary must stay close to the input's: the new edge
    // u-w near v and near every vertex removed along the two edges before
    // (the distance to a segment is convex along each input edge, so the
    // vertices bound the whole polyline).
    if (Carried(before).size() + Carried(v).size() + 1 > MaxCarriedVertices)
        return false;
    const double limit2 = m_KeptDeviation * m_KeptDeviation;
    const auto near = [&](const Vec& q) { return Squared(q - ClosestOnSegment(q, u, w)) <= limit2; };
    if (!near(p))
        return false;
    for (const std::uint32_t owner : {before, v})
        for (const Vec& q : Carried(owner))
            if (!near(q))
                return false;
    return true;
}

// One end merges into the other, which keeps its place: a free vertex into
// any, a sliding vertex only along its own line, and constrained vertices
// that are nearly on top of each other into each other; a very short edge
// may go to its midpoint when neither end will do. The topology is checked
// once, and all places are measured in the same two walks around the ends;
// of the two ends, the one whose longest new edge is shorter is preferred.
bool CEngine::TryCollapse(std::uint32_t h, double midpointLength2, double reachLength2) {
    const std::uint32_t kind = m_Kind[h];
    if (kind == Locked)
        return false;
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p];
    // Checked before any walk, so that an attempt costs O(MaxCollapseValence)
    // whatever the valences around: the merged vertex would have this many.
    if (m_Valence[a] + m_Valence[b] - (t != None ? 4 : 3) > MaxCollapseValence)
        return false;
    if ((m_Flags[a] | m_Flags[b] | m_Flags[c]) & NonManifold)
        return false;
    bool aGoes = CanRemove(a, kind), bGoes = CanRemove(b, kind);
    // On a kept boundary the open edge h runs a -> b; y -> a and b -> x are
    // the open edges beside it.
    std::uint32_t y = None, x = None;
    if (kind == Kept) {
        if (!(EdgeLength2(h) < m_KeptCollapseLength2))
            return false;
        std::uint32_t unused = None;
        aGoes = CanLeaveKeptBoundary(a, y, unused);
        bGoes = CanLeaveKeptBoundary(b, unused, x);
        if (!aGoes && !bGoes)
            return false;
    }
    // Two constrained vertices nearly on top of each other (corners, or
    // vertices of two lines that run side by side) merge into a corner.
    const auto constrained = [&](std::uint32_t v) {
        return (m_Flags[v] & (Sliding | Corner)) && !((m_Flags[v] & Fixed) && !(m_Flags[v] & Corner));
    };
    bool merge = false;
    if (!aGoes && !bGoes) {
        if (!constrained(a) || !constrained(b) || !(EdgeLength2(h) < m_MergeLength2))
            return false;
        merge = aGoes = bGoes = true;
    }

    // Topology. An inner edge between two open vertices would pinch the
    // surface; a triangle with two open sides would vanish into an edge; the
    // vertices opposite the edge each lose an edge and must keep a fan.
    if (t != None && IsOpen(a) && IsOpen(b))
        return false;
    if (t == None && m_Twin[n] == None && m_Twin[p] == None)
        return false;
    if (m_Valence[c] <= (IsOpen(c) ? 2 : 3))
        return false;
    if (t != None) {
        const std::uint32_t d = m_Corner[Prev(t)];
        if (d == c || (m_Flags[d] & NonManifold) || m_Valence[d] <= (IsOpen(d) ? 2 : 3))
            return false;
    }

    const Vec& pa = m_Position[a];
    const Vec& pb = m_Position[b];
    // The opposite corners become neighbours of the merged vertex whatever
    // its place: a cheap first look at the length test.
    if (!merge && EdgeLength2(h) >= midpointLength2) {
        const Vec& pc = m_Position[c];
        if (Squared(pc - pa) > reachLength2 && Squared(pc - pb) > reachLength2)
            return false;
        if (t != None) {
            const Vec& pd = m_Position[m_Corner[Prev(t)]];
            if (Squared(pd - pa) > reachLength2 && Squared(pd - pb) > reachLength2)
                return false;
        }
    }
    // Places: 0 b's place (a removed), 1 a's place (b removed), 2 the
    // midpoint (a removed), for a very short edge whose ends may both move.
    const Vec places[3] = {pb, pa, (pa + pb) * 0.5};
    // A place stays open while no edge of the merged vertex is too long and
    // no surrounding face folds; a closed place is measured no further.
    bool open[3] = {aGoes, bGoes, aGoes && bGoes && !merge && kind != Kept && EdgeLength2(h) < midpointLength2};
    // Whether a face's normal turns by less than the collapse allows (the
    // square root only where the limit is not a right angle).
    const auto Keeps = [](const Vec& before, const Vec& after, double before2, double after2) {
        if constexpr (CollapseMinCos == 0.0)
            return before % after > 0;
        else
            return before % after > CollapseMinCos * std::sqrt(before2 * after2);
    };
    double reach[3] = {0, 0, 0};
    const std::uint32_t f0 = h / 3, f1 = t != None ? t / 3 : None;
    // The walked vertex's neighbours become the survivor's; where both are on
    // the boundary the new inner edge would cut off an ear, a face flat
    // against the boundary.
    const std::uint32_t c0 = c, d0 = t != None ? m_Corner[Prev(t)] : None;
    const auto measure = [&](const Vec& old, std::uint32_t e) {
        const std::uint32_t walked = m_Corner[e], survivor = walked == a ? b : a;
        if (IsOpen(survivor))
            for (const std::uint32_t side : {e, Prev(e)}) {
                const std::uint32_t x = side == e ? Target(e) : m_Corner[side];
                if (m_Twin[side] != None && x != c0 && x != d0 && IsOpen(x)) {
                    if (walked == a)
                        open[0] = open[2] = false;
                    else
                        open[1] = false;
                }
            }
        const Vec& x = m_Position[Target(e)];
        const Vec& y = m_Position[m_Corner[Prev(e)]];
        const Vec before = (x - old) * (y - old);
        const double before2 = Squared(before);
        for (int k = 0; k < 3; ++k) {
            if (!open[k])
                continue;
            const Vec& q = places[k];
            reach[k] = std::max(reach[k], std::max(Squared(q - x), Squared(q - y)));
            // No surviving face may turn over or shrink to nothing.
            const Vec after = (x - q) * (y - q);
            const double after2 = Squared(after);
            if (reach[k] > reachLength2 || !(after2 > m_MinCross2) ||
                (before2 > m_MinCross2 && !Keeps(before, after, before2, after2)))
                open[k] = false;
        }
    };

    // Link condition: the ends share no neighbour but the opposite vertices.
    if (++m_StampValue == 0) {
        std::fill(m_Stamp.begin(), m_Stamp.end(), 0u);
        m_StampValue = 1;
    }
    if (m_Stamp.size() < m_Position.size())
        m_Stamp.resize(m_Position.size(), 0u);
    ForEachOutgoing(a, [&](std::uint32_t e) {
        m_Stamp[Target(e)] = m_Stamp[m_Corner[Prev(e)]] = m_StampValue;
        const std::uint32_t face = e / 3;
        if (face != f0 && face != f1)
            measure(pa, e);
    });
    if (!open[0] && !open[1] && !open[2])
        return false;
    int shared = 0;
    std::uint32_t last = None;
    ForEachOutgoing(b, [&](std::uint32_t e) {
        shared += m_Stamp[Target(e)] == m_StampValue;
        last = e;
        const std::uint32_t face = e / 3;
        if (face != f0 && face != f1)
            measure(pb, e);
    });
    if (IsOpen(b))
        shared += m_Stamp[m_Corner[Prev(last)]] == m_StampValue;
    if (shared != (t != None ? 2 : 1))
        return false;

    const int first = reach[1] < reach[0] ? 1 : 0;
    for (const int k : {first, 1 - first, 2}) {
        if (!open[k])
            continue;
        // The open edge that takes the removed vertex's place on a kept
        // boundary starts at a when b goes, at y when a goes.
        const std::uint32_t from = k == 1 ? a : y;
        if (kind == Kept) {
            const std::uint32_t gone = k == 1 ? b : a;
            std::vector<Vec>& carried = CarriedToFill(from);
            carried.push_back(m_Position[gone]);
            if (m_CarriedSlot[gone] != None) {
                std::vector<Vec>& more = m_CarriedPool[m_CarriedSlot[gone]];
                carried.insert(carried.end(), more.begin(), more.end());
                std::vector<Vec>().swap(more);
            }
        }
        Collapse(h, k != 1, places[k]);
        if (merge) {
            const std::uint32_t survivor = k == 0 ? b : a;
            m_Flags[survivor] = static_cast<std::uint8_t>((m_Flags[survivor] & ~Sliding) | Fixed | Corner);
            m_Line[survivor] = None;
        }
        return true;
    }
    return false;
}

void CEngine::Collapse(std::uint32_t h, bool removeOrigin, const Vec& target) {
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p];
    const std::uint32_t r = removeOrigin ? a : b, s = removeOrigin ? b : a;

    m_Ring.clear();
    ForEachOutgoing(r, [&](std::uint32_t e) { m_Ring.push_back(e); });

    // The two other sides of each removed face fold onto one edge.
    const std::uint32_t outerN = m_Twin[n], outerP = m_Twin[p];
    const std::uint32_t kindC = MergeKinds(m_Kind[n], m_Kind[p]);
    std::uint32_t outerTn = None, outerTp = None, kindD = None, d = None;
    if (t != None) {
        const std::uint32_t tn = Next(t), tp = Prev(t);
        d = m_Corner[tp];
        outerTn = m_Twin[tn];
        outerTp = m_Twin[tp];
        kindD = MergeKinds(m_Kind[tn], m_Kind[tp]);
    }
    // Outgoing half-edges that survive, for the three vertices whose stored
    // one may be about to go.
    std::uint32_t outS = outerP;
    if (outS == None)
        outS = outerTp;
    if (outS == None && outerN != None)
        outS = Next(outerN);
    if (outS == None && outerTn != None)
        outS = Next(outerTn);
    const std::uint32_t outC = outerN != None ? outerN : Next(outerP);
    const std::uint32_t outD = t == None ? None : (outerTn != None ? outerTn : Next(outerTp));

    for (const std::uint32_t e : m_Ring)
        m_Corner[e] = s;
    Link(outerN, outerP);
    if (outerN != None)
        m_Kind[outerN] = kindC;
    if (outerP != None)
        m_Kind[outerP] = kindC;
    if (t != None) {
        Link(outerTn, outerTp);
        if (outerTn != None)
            m_Kind[outerTn] = kindD;
        if (outerTp != None)
            m_Kind[outerTp] = kindD;
        DeleteFace(t / 3);
    }
    DeleteFace(h / 3);

    m_Valence[s] = m_Valence[r] + m_Valence[s] - (t != None ? 4 : 3);
    --m_Valence[c];
    if (t != None)
        --m_Valence[d];
    m_Position[s] = target;
    m_Flags[r] = Deleted;
    if (m_FaceHint[s] == None)
        m_FaceHint[s] = m_FaceHint[r];
    m_Out[s] = outS;
    NormaliseOut(s);
    m_Out[c] = outC;
    NormaliseOut(c);
    if (t != None) {
        m_Out[d] = outD;
        NormaliseOut(d);
    }
}

// ---- Flip ----------------------------------------------------------------------

// Topological conditions of a flip: an inner free edge whose ends keep a
// fan afterwards, away from non-manifold vertices.
bool CEngine::FlipIsAllowed(std::uint32_t h) const {
    const std::uint32_t t = m_Twin[h];
    if (m_Corner[h] == None || t == None || m_Kind[h] != None)
        return false;
    const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
    if (c == d || ((m_Flags[a] | m_Flags[b] | m_Flags[c] | m_Flags[d]) & NonManifold))
        return false;
    // An inner edge between two boundary vertices would cut off an ear: a
    // face flat against the boundary that no later flip can repair.
    if (IsOpen(c) && IsOpen(d))
        return false;
    return m_Valence[a] > (IsOpen(a) ? 2 : 3) && m_Valence[b] > (IsOpen(b) ? 2 : 3);
}

bool CEngine::FlipEdges() {
    bool changed = false;
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    // Bounded: one forward sweep over the half-edge slots, at most one flip
    // per slot (3 F), each flip rewriting two faces in place.
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (t == None || t < h || !FlipIsAllowed(h))
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
        const int ta = IsOpen(a) ? 4 : 6, tb = IsOpen(b) ? 4 : 6, tc = IsOpen(c) ? 4 : 6, td = IsOpen(d) ? 4 : 6;
        const int va = m_Valence[a], vb = m_Valence[b], vc = m_Valence[c], vd = m_Valence[d];
        const auto square = [](int x) { return x * x; };
        const int before = square(va - ta) + square(vb - tb) + square(vc - tc) + square(vd - td);
        const int after = square(va - 1 - ta) + square(vb - 1 - tb) + square(vc + 1 - tc) + square(vd + 1 - td);
        if (after >= before || !FlipIsValid(h))
            continue;
        Flip(h);
        changed = true;
    }
    return changed;
}

bool CEngine::FlipIsValid(std::uint32_t h) const {
    const std::uint32_t t = m_Twin[h];
    const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
    bool joined = false;
    ForEachNeighbour(c, [&](std::uint32_t x, std::uint32_t) { joined |= x == d; });
    if (joined)
        return false;
    // The quadrilateral must be convex enough that both new faces keep the
    // orientation of both old ones.
    const Vec &pa = m_Position[a], &pb = m_Position[b], &pc = m_Position[c], &pd = m_Position[d];
    const Vec old0 = (pb - pa) * (pc - pa), old1 = (pa - pb) * (pd - pb);
    const Vec new0 = (pa - pc) * (pd - pc), new1 = (pb - pd) * (pc - pd);
    if (!(Squared(new0) > m_MinCross2) || !(Squared(new1) > m_MinCross2))
        return false;
    return new0 % old0 > 0 && new0 % old1 > 0 && new1 % old0 > 0 && new1 % old1 > 0;
}

// Faces (a, b, c) and (b, a, d) become (c, a, d) and (d, b, c), in the same
// two slots; the outer half-edges move with their twins and kinds.
void CEngine::Flip(std::uint32_t h) {
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h), tn = Next(t), tp = Prev(t);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p], d = m_Corner[tp];
    const std::uint32_t outer[4] = {m_Twin[p], m_Twin[tn], m_Twin[tp], m_Twin[n]};
    const std::uint32_t kinds[4] = {m_Kind[p], m_Kind[tn], m_Kind[tp], m_Kind[n]};
    const std::uint32_t base0 = h - h % 3, base1 = t - t % 3;
    // Old half-edge -> its place after the flip (the flipped pair maps onto
    // another outgoing half-edge of the same vertex).
    const std::uint32_t from[6] = {h, n, p, t, tn, tp};
    const std::uint32_t to[6] = {base0 + 1, base1 + 1, base0, base1 + 1, base0 + 1, base1};

    m_Corner[base0] = c;
    m_Corner[base0 + 1] = a;
    m_Corner[base0 + 2] = d;
    m_Corner[base1] = d;
    m_Corner[base1 + 1] = b;
    m_Corner[base1 + 2] = c;
    const std::uint32_t slots[4] = {base0, base0 + 1, base1, base1 + 1};
    for (int i = 0; i < 4; ++i) {
        m_Twin[slots[i]] = None;
        Link(slots[i], outer[i]);
        m_Kind[slots[i]] = kinds[i];
    }
    Link(base0 + 2, base1 + 2);
    m_Kind[base0 + 2] = m_Kind[base1 + 2] = None;
    for (const std::uint32_t v : {a, b, c, d})
        for (int i = 0; i < 6; ++i)
            if (m_Out[v] == from[i]) {
                m_Out[v] = to[i];
                break;
            }
    --m_Valence[a];
    --m_Valence[b];
    ++m_Valence[c];
    ++m_Valence[d];
}

// Valence flips and relaxation leave a few thin triangles, mostly caps with a
// vertex pushed against the opposite side. Flipping such a triangle's
// longest edge helps whenever it raises the smallest angle of the pair.
bool CEngine::ImproveAngles() {
    // Thin faces are found in parallel, each flag written by its own face;
    // the flips then go in face order. A flip rewrites two faces in place, so
    // a flagged face is measured again when its turn comes.
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    m_FaceMarks.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(dynamic, 2048) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        m_FaceMarks[f] =
            corner[0] != None && IsThin(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
    }
    bool changed = false;
    // Bounded: one forward sweep over the faces present on entry, at most one
    // flip or one collapse per face; Run calls at most four such passes.
    for (std::uint32_t f = 0; f < static_cast<std::uint32_t>(faceCount); ++f) {
        if (!m_FaceMarks[f] || m_Corner[3 * f] == None)
            continue;
        const std::uint32_t* corner = &m_Corner[3 * f];
        const Vec &p0 = m_Position[corner[0]], &p1 = m_Position[corner[1]], &p2 = m_Position[corner[2]];
        if (!IsThin(p0, p1, p2))
            continue;
        const double smallest = SmallestAngle(p0, p1, p2);
        std::uint32_t h = 3 * f, shortest = 3 * f;
        for (std::uint32_t k = 1; k < 3; ++k) {
            if (EdgeLength2(3 * f + k) > EdgeLength2(h))
                h = 3 * f + k;
            if (EdgeLength2(3 * f + k) < EdgeLength2(shortest))
                shortest = 3 * f + k;
        }
        // Either longer side may be flipped: the longest cuts a cap, the
        // middle one often frees a needle whose short side cannot collapse.
        const std::uint32_t middle = 3 * f + (3 - (h - 3 * f) - (shortest - 3 * f));
        std::uint32_t best = None;
        double bestAngle = 0;
        for (const std::uint32_t e : {h, middle}) {
            if (e == shortest || !FlipIsAllowed(e))
                continue;
            const std::uint32_t t = m_Twin[e];
            const Vec &pa = m_Position[m_Corner[e]], &pb = m_Position[Target(e)];
            const Vec &pc = m_Position[m_Corner[Prev(e)]], &pd = m_Position[m_Corner[Prev(t)]];
            const double before = std::min(smallest, SmallestAngle(pb, pa, pd));
            const double after = std::min(SmallestAngle(pc, pa, pd), SmallestAngle(pd, pb, pc));
            if (after > before + 1e-3 && after > bestAngle && FlipIsValid(e)) {
                best = e;
                bestAngle = after;
            }
        }
        if (best != None) {
            Flip(best);
            changed = true;
            continue;
        }
        // Otherwise one of the two shorter sides, if the collapses left it
        // short, may go now; a survivor moved to a midpoint goes back onto
        // the input at once.
        if (h == shortest)
            continue;
        bool collapsed = false;
        for (const std::uint32_t e : {shortest, middle}) {
            if (collapsed || e == h || !(EdgeLength2(e) < m_CollapseLength2))
                continue;
            const std::uint32_t a = m_Corner[e], b = Target(e);
            // A cap whose corner sits on the opposite side cannot always lose
            // it to an end of a side; the midpoint is allowed here.
            if (!TryCollapse(e, m_CollapseLength2, m_AngleReachLength2))
                continue;
            collapsed = true;
            const std::uint32_t survivor = (m_Flags[a] & Deleted) ? b : a;
            if (!(m_Flags[survivor] & Fixed)) {
                const Vec projected = Projected(survivor, m_Position[survivor]);
                if (IsFinite(projected))
                    m_Position[survivor] = projected;
            }
        }
        if (!collapsed)
            continue;
        changed = true;
    }
    return changed;
}

// ---- Relaxation and projection -------------------------------------------------

// A free vertex moves to the area-weighted centroid of its fan, within its
// tangent plane; a sliding vertex to the middle of its two line neighbours,
// along the line.
Vec CEngine::Relaxed(std::uint32_t v) const {
    const Vec& p = m_Position[v];
    const std::uint8_t flags = m_Flags[v];
    if (flags & (Deleted | Fixed))
        return p;
    if (flags & Sliding) {
        const std::uint32_t line = m_Line[v];
        std::uint32_t ends[2] = {None, None};
        int found = 0;
        ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t e) {
            if (m_Kind[e] == line) {
                if (found < 2)
                    ends[found] = x;
                ++found;
            }
        });
        if (found != 2)
            return p;
        const Vec &x = m_Position[ends[0]], &y = m_Position[ends[1]];
        const Vec direction = y - x;
        const double length2 = Squared(direction);
        if (!(length2 > 0))
            return p;
        return p + direction * ((((x + y) * 0.5 - p) % direction) / length2);
    }
    Vec weighted, normal;
    double area = 0;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec& x = m_Position[Target(e)];
        const Vec& y = m_Position[m_Corner[Prev(e)]];
        const Vec cross = (x - p) * (y - p);
        const double twice = std::sqrt(Squared(cross));
        weighted += (p + x + y) * (twice / 3.0);
        normal += cross;
        area += twice;
    });
    if (!(area > 0))
        return p;
    normal.Normalise();
    Vec move = weighted / area - p;
    move -= normal * (move % normal);
    return IsFinite(move) ? p + move : p;
}

Vec CEngine::Projected(std::uint32_t v, const Vec& p) {
    if (m_Flags[v] & Sliding) {
        const std::uint32_t line = m_Line[v];
        const std::uint32_t hint =
            m_SegmentHint[v] != None && m_Segments[m_SegmentHint[v]].m_Line == line ? m_SegmentHint[v] : None;
        const std::uint32_t best = m_SegmentTree.Nearest(p, hint, [&](std::uint32_t i, double) {
            const CSegment& s = m_Segments[i];
            if (s.m_Line != line)
                return std::numeric_limits<double>::infinity();
            return Squared(ClosestOnSegment(p, s.m_A, s.m_B) - p);
        });
        if (best == None)
            return p;
        m_SegmentHint[v] = best;
        return ClosestOnSegment(p, m_Segments[best].m_A, m_Segments[best].m_B);
    }
    const auto distance = [&](std::uint32_t i, double bound) {
        const CTriangle& t = m_Triangles[i];
        // The triangle's own box is a cheap first test; most triangles of a
        // leaf lie beyond the bound.
        double outside = 0;
        for (int k = 0; k < 3; ++k) {
            const double low = std::min(t.m_A[k], std::min(t.m_B[k], t.m_C[k]));
            const double high = std::max(t.m_A[k], std::max(t.m_B[k], t.m_C[k]));
            const double d = std::max(0.0, std::max(low - p[k], p[k] - high));
            outside += d * d;
        }
        if (!(outside < bound))
            return bound;
        return Squared(ClosestOnTriangle(p, t.m_A, t.m_B, t.m_C) - p);
    };
    const std::uint32_t best = m_TriangleTree.Nearest(p, m_FaceHint[v], distance);
    if (best == None)
        return p;
    m_FaceHint[v] = best;
    const CTriangle& t = m_Triangles[best];
    return ClosestOnTriangle(p, t.m_A, t.m_B, t.m_C);
}

// Every vertex is computed from the positions before the step into a
// separate array, each by its own thread alone, so the result does not depend
// on the number of threads or the schedule.
void CEngine::RelaxAndProject() {
    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
    m_Moved.resize(m_Position.size());
#pragma omp parallel for schedule(dynamic, 512) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        if (m_Flags[v] & (Deleted | Fixed)) {
            m_Moved[v] = m_Position[v];
            continue;
        }
        const Vec relaxed = Relaxed(v);
        const Vec projected = Projected(v, relaxed);
        m_Moved[v] = IsFinite(projected) ? projected : m_Position[v];
    }

    // A move that turns a face over or flattens it is taken back, for all
    // corners of that face, until no face is spoiled; in the worst case
    // everything is back where it was. After the first sweep over all faces only the faces
    // around the vertices taken back can newly turn, so the rest is a short
    // serial walk.
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    m_FaceMarks.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(dynamic, 2048) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        m_FaceMarks[f] = m_Corner[3 * f] != None && SpoiledByMove(static_cast<std::uint32_t>(f));
    m_Stack.clear();
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_FaceMarks[f])
            m_Stack.push_back(static_cast<std::uint32_t>(f));
    // Bounded: a vertex is taken back at most once (afterwards its moved and
    // old places are equal and it is skipped), and only a take-back pushes,
    // one entry per face of its fan; the fans hold 3 F faces in all. So there
    // are at most F + 3 F pops. A
    // vertex with a non-finite coordinate never gets here: its faces have no
    // finite area to spoil.
    while (!m_Stack.empty()) {
        const std::uint32_t f = m_Stack.back();
        m_Stack.pop_back();
        if (!SpoiledByMove(f))
            continue;
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t v = m_Corner[3 * f + k];
            if (m_Moved[v] == m_Position[v])
                continue;
            m_Moved[v] = m_Position[v];
            ForEachOutgoing(v, [&](std::uint32_t e) { m_Stack.push_back(e / 3); });
        }
    }
    m_Position.swap(m_Moved);
}

// ---- Compaction ----------------------------------------------------------------

// Vertices in the order of a Morton curve through the bounding box, so that
// neighbours sit close in memory and consecutive projections walk the same
// part of the tree.
void CEngine::SpatialOrder(std::vector<std::uint32_t>& order) const {
    Vec low(std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
            std::numeric_limits<double>::infinity());
    Vec high = -low;
    for (const std::uint32_t v : order)
        for (int k = 0; k < 3; ++k)
            if (std::isfinite(m_Position[v][k])) {
                low[k] = std::min(low[k], m_Position[v][k]);
                high[k] = std::max(high[k], m_Position[v][k]);
            }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> keyed(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        const std::uint32_t v = order[i];
        std::uint32_t key = 0;
        std::uint32_t cell[3];
        for (int k = 0; k < 3; ++k) {
            const double extent = high[k] - low[k];
            const double unit = extent > 0 ? (m_Position[v][k] - low[k]) / extent : 0.0;
            cell[k] = std::isfinite(unit) ? static_cast<std::uint32_t>(std::clamp(unit, 0.0, 1.0) * 1023.0) : 0u;
        }
        for (int bit = 9; bit >= 0; --bit)
            for (int k = 0; k < 3; ++k)
                key = (key << 1) | ((cell[k] >> bit) & 1u);
        keyed[i] = std::make_pair(key, v);
    }
    std::sort(keyed.begin(), keyed.end());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = keyed[i].second;
}

// Drops removed vertices and faces. After many new vertices the vertices are
// also put in spatial order; faces always follow their first vertex.
void CEngine::Compact() {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    std::vector<std::uint32_t> order;
    order.reserve(vertexCount);
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (!(m_Flags[v] & Deleted))
            order.push_back(v);
    if (m_NewSinceOrdering * 10 > order.size()) {
        SpatialOrder(order);
        m_NewSinceOrdering = 0;
    }
    const std::uint32_t vertices = static_cast<std::uint32_t>(order.size());
    std::vector<std::uint32_t> vertexMap(vertexCount, None);
    for (std::uint32_t i = 0; i < vertices; ++i)
        vertexMap[order[i]] = i;

    // Faces by the new number of their smallest corner, a counting sort.
    std::vector<std::uint32_t> first(vertices + 1, 0), faceMap(faceCount, None);
    const auto key = [&](std::uint32_t f) {
        return std::min(vertexMap[m_Corner[3 * f]],
                        std::min(vertexMap[m_Corner[3 * f + 1]], vertexMap[m_Corner[3 * f + 2]]));
    };
    for (std::uint32_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None)
            ++first[key(f) + 1];
    for (std::uint32_t v = 0; v < vertices; ++v)
        first[v + 1] += first[v];
    const std::uint32_t faces = first[vertices];
    for (std::uint32_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None)
            faceMap[f] = first[key(f)]++;
    const auto mapHalf = [&](std::uint32_t h) { return h == None ? None : 3 * faceMap[h / 3] + h % 3; };

    const auto permute = [&](auto& values) {
        std::remove_reference_t<decltype(values)> moved(vertices);
        for (std::uint32_t i = 0; i < vertices; ++i)
            moved[i] = values[order[i]];
        values.swap(moved);
    };
    permute(m_Position);
    permute(m_Flags);
    permute(m_Valence);
    permute(m_Line);
    permute(m_Source);
    permute(m_FaceHint);
    permute(m_SegmentHint);
    permute(m_CarriedSlot);
    std::vector<std::uint32_t> out(vertices);
    for (std::uint32_t i = 0; i < vertices; ++i)
        out[i] = mapHalf(m_Out[order[i]]);
    m_Out.swap(out);

    std::vector<std::uint32_t> corner(3 * std::size_t(faces)), twin(3 * std::size_t(faces)),
        kind(3 * std::size_t(faces));
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        const std::uint32_t to = faceMap[f];
        if (to == None)
            continue;
        for (std::uint32_t k = 0; k < 3; ++k) {
            corner[3 * to + k] = vertexMap[m_Corner[3 * f + k]];
            twin[3 * to + k] = mapHalf(m_Twin[3 * f + k]);
            kind[3 * to + k] = m_Kind[3 * f + k];
        }
    }
    m_Corner.swap(corner);
    m_Twin.swap(twin);
    m_Kind.swap(kind);
    m_Stamp.assign(vertices, 0u);
    m_StampValue = 0;
}

// ---- Driver --------------------------------------------------------------------

bool CEngine::Run() {
    const bool usable = m_TargetLength > 0 && std::isfinite(m_TargetLength) && std::isfinite(m_SplitLength2);
    const unsigned int total = usable ? m_Options.m_Iterations : 0;
    // Bounded: the caller's number of iterations, each a fixed sequence of
    // the bounded passes above.
    for (unsigned int iteration = 0; iteration < total; ++iteration) {
        SplitLongEdges();
        CollapseShortEdges();
        FlipEdges();
        for (unsigned int step = 0; step < m_Options.m_RelaxationSteps; ++step)
            RelaxAndProject();
        // A collapse that removes a thin face may leave another beside it;
        // a few passes settle them.
        for (int pass = 0; pass < 4 && ImproveAngles(); ++pass) { }
        Compact();
        if (m_Options.m_Progress && !m_Options.m_Progress(iteration + 1, total))
            return false;
    }
    return true;
}

// The vertices that continue input vertices come first, in input order, then
// the new ones in their spatial order.
void CEngine::Extract(CSurfaceRemesher& out) {
    Compact();
    const std::uint32_t vertices = static_cast<std::uint32_t>(m_Position.size());
    std::vector<std::uint32_t> order;
    order.reserve(vertices);
    for (std::uint32_t v = 0; v < vertices; ++v)
        if (m_Source[v] != None)
            order.push_back(v);
    std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) { return m_Source[a] < m_Source[b]; });
    for (std::uint32_t v = 0; v < vertices; ++v)
        if (m_Source[v] == None)
            order.push_back(v);
    std::vector<std::uint32_t> map(vertices);
    out.m_Positions.resize(3 * std::size_t(vertices));
    out.m_Sources.resize(vertices);
    for (std::uint32_t i = 0; i < vertices; ++i) {
        const std::uint32_t v = order[i];
        map[v] = i;
        out.m_Positions[3 * std::size_t(i)] = m_Position[v].x;
        out.m_Positions[3 * std::size_t(i) + 1] = m_Position[v].y;
        out.m_Positions[3 * std::size_t(i) + 2] = m_Position[v].z;
        out.m_Sources[i] = m_Source[v] == None ? CSurfaceRemesher::NoSource : m_Source[v];
    }
    out.m_Triangles.resize(m_Corner.size());
    for (std::size_t h = 0; h < m_Corner.size(); ++h)
        out.m_Triangles[h] = map[m_Corner[h]];
}

}  // namespace

bool CSurfaceRemesher::Run(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles,
                           double targetLength, const CRemeshOptions& options) {
    CEngine engine(positions, triangles, options, targetLength);
    const bool finished = engine.Run();
    engine.Extract(*this);
    return finished;
}

}  // namespace Corvane::Pellix::Quorvel::detail
