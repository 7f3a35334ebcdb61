// The batch forms answer every query in its own slot exactly as the single
// query does, however the batch is ordered and however many threads share
// it: large batches, whose queries the tree visits in its own order, with
// clusters, duplicates, points far outside and non-finite points mixed in.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "MeshTypeLists.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Quorvel::CSurfacePoint;
using Corvane::Pellix::Quorvel::CTriangleTree;
using Corvane::Pellix::Quorvel::TLineHit;
using Corvane::Pellix::Sarvetta::TLine3;

// Doubles compared by their bits: NaN answers must match too.
bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// A point at an infinite distance has no nearest point to compare.
bool SameSurfacePoint(const CSurfacePoint& a, const CSurfacePoint& b) {
    if (a.m_Triangle != b.m_Triangle || !SameBits(a.m_DistanceSquared, b.m_DistanceSquared))
        return false;
    return !std::isfinite(a.m_DistanceSquared) ||
           (SameBits(a.m_Point.x, b.m_Point.x) && SameBits(a.m_Point.y, b.m_Point.y) &&
            SameBits(a.m_Point.z, b.m_Point.z));
}

// A closed bumpy sphere with an open grid patch through it: inside tests
// that count crossings of two surfaces, and many faces near one another.
template <typename Mesh>
void MakeScene(Mesh& mesh) {
    MakeBumpySphere(mesh, 4, 0.15, 0.02);
    Mesh grid;
    MakeGrid(grid, 12, 12, 0.2);
    AddMesh(mesh, grid, -1.2, -1.2, 0.1);
    mesh.DetermineBoundingBox(true);
}

// The scene and its tree, shared by the point and the line batches.
template <typename Mesh>
class BatchOrder : public ::testing::Test {
protected:
    BatchOrder() {
        MakeScene(m_Mesh);
        m_Tree.Build(m_Mesh);
    }

    Mesh m_Mesh;
    typename TreeOf<Mesh>::Type m_Tree;
};
TYPED_TEST_SUITE(BatchOrder, TwoMeshTypes);

// Points spread over and around the mesh, a tight cluster, points near the
// centre, exact vertices, repeats, far-away points and a few points with a
// NaN or infinite coordinate (each costs a walk over the whole tree), in a
// shuffled order.
template <typename Real, typename Mesh>
std::vector<TVector3<Real>> MakePoints(const Mesh& mesh, std::size_t count, std::mt19937& random) {
    typedef TVector3<Real> V;
    std::uniform_real_distribution<double> unit(-1, 1);
    std::vector<V> points;
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; points.size() < count; ++i) {
        const double a = unit(random), b = unit(random), c = unit(random);
        const V spread(Real(1.5 * a), Real(1.5 * b), Real(1.5 * c));
        const V choices[8] = {spread,
                              spread,
                              spread,
                              V(Real(0.3 + 1e-3 * a), Real(0.2 + 1e-3 * b), Real(0.13)),
                              i % 16 != 4 ? V(Real(0.1 * a), Real(0.1 * b), Real(0.1 * c))
                                          : mesh.m_Vertices[random() % mesh.m_Vertices.GetCount()].m_Position,
                              points.empty() ? spread : points[random() % points.size()],
                              V(Real(50 * a), Real(-40), Real(1e6 * b)),
                              V(Real(i % 128 == 7 ? nan : 0.5), Real(i % 64 == 15 ? inf : 0.25), Real(c))};
        points.push_back(choices[i % 8]);
    }
    std::shuffle(points.begin(), points.end(), random);
    return points;
}

// Thread counts a batch runs on: one, and more than the machine may have.
const int ThreadCounts[] = {1, 3};

class CThreads {
public:
    explicit CThreads(int count) : m_Saved(omp_get_max_threads()) { omp_set_num_threads(count); }
    ~CThreads() { omp_set_num_threads(m_Saved); }
    CThreads(const CThreads&) = delete;
    CThreads& operator=(const CThreads&) = delete;

private:
    int m_Saved;
};

}  // namespace

TYPED_TEST(BatchOrder, PointBatchesAnswerEachSlotAsTheSingleQuery) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    const TypeParam& mesh = this->m_Mesh;
    const auto& tree = this->m_Tree;
    std::mt19937 random(20261126);
    // Below and well above the size from which a batch is reordered.
    for (const std::size_t count : {std::size_t(700), std::size_t(3000)}) {
        const std::vector<V> points = MakePoints<Real>(mesh, count, random);
        std::vector<CTriangleTree::Point> wide;
        for (const V& p : points)
            wide.push_back(CTriangleTree::Point(p.x, p.y, p.z));
        for (const int threads : ThreadCounts) {
            SCOPED_TRACE(testing::Message() << count << " points, " << threads << " threads");
            const CThreads scope(threads);
            // Every slot starts with an answer no query gives, so that a
            // slot the batch skips shows.
            std::unique_ptr<bool[]> within(new bool[count]), contains(new bool[count]), wideContains(new bool[count]);
            std::vector<double> signedDistances(count, -7.5), windings(count, -7.5), wideWindings(count, -7.5);
            CSurfacePoint unset;
            unset.m_Triangle = 0xDEADBEEFu;
            std::vector<CSurfacePoint> closest(count, unset), wideClosest(count, unset);
            tree.IsWithin(points.data(), count, within.get());
            tree.Contains(points.data(), count, contains.get());
            tree.GetSignedDistances(points.data(), count, signedDistances.data());
            tree.EstimateWindingNumbers(points.data(), count, windings.data());
            tree.FindClosestPoints(points.data(), count, closest.data());
            const CTriangleTree& faces = tree.GetTriangleTree();
            faces.Contains(wide.data(), count, wideContains.get());
            faces.EstimateWindingNumbers(wide.data(), count, wideWindings.data());
            faces.FindClosestPoints(wide.data(), count, wideClosest.data());
            for (std::size_t i = 0; i < count; ++i) {
                SCOPED_TRACE(testing::Message() << "point " << i);
                const V& p = points[i];
                ASSERT_EQ(within[i], tree.IsWithin(p));
                ASSERT_EQ(contains[i], tree.Contains(p));
                ASSERT_PRED2(SameBits, signedDistances[i], tree.GetSignedDistance(p));
                ASSERT_PRED2(SameBits, windings[i], tree.EstimateWindingNumber(p));
                ASSERT_PRED2(SameSurfacePoint, closest[i], tree.FindClosestPoint(p));
                ASSERT_EQ(wideContains[i], faces.Contains(wide[i]));
                ASSERT_PRED2(SameBits, wideWindings[i], faces.EstimateWindingNumber(wide[i]));
                ASSERT_PRED2(SameSurfacePoint, wideClosest[i], faces.FindClosestPoint(wide[i]));
            }
        }
    }
}

TYPED_TEST(BatchOrder, LineBatchesAnswerEachSlotAsTheSingleQuery) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    const TypeParam& mesh = this->m_Mesh;
    const auto& tree = this->m_Tree;
    std::mt19937 random(7);
    const std::size_t count = 3000;
    // Origins from the points above, aimed at points near the centre: many
    // share an origin, some start at a NaN.
    const std::vector<V> origins = MakePoints<Real>(mesh, count, random);
    std::uniform_real_distribution<double> unit(-0.5, 0.5);
    std::vector<TLine3<Real>> lines;
    for (const V& origin : origins)
        lines.push_back(TLine3<Real>(origin, V(Real(unit(random)), Real(unit(random)), Real(unit(random))) - origin));
    for (const int threads : ThreadCounts) {
        SCOPED_TRACE(testing::Message() << threads << " threads");
        const CThreads scope(threads);
        TLineHit<Real> unset;
        unset.m_Face = 0xDEADBEEFu;
        unset.m_Hit = true;
        std::vector<TLineHit<Real>> hits(count, unset);
        tree.IntersectNearest(lines.data(), count, hits.data(), Real(0));
        for (std::size_t i = 0; i < count; ++i) {
            SCOPED_TRACE(testing::Message() << "line " << i);
            TLineHit<Real> single;
            ASSERT_EQ(hits[i].m_Hit, tree.IntersectNearest(lines[i], single, Real(0)));
            if (single.m_Hit) {
                ASSERT_EQ(hits[i].m_Face, single.m_Face);
                ASSERT_EQ(hits[i].m_Point, single.m_Point);
                ASSERT_PRED2(SameBits, double(hits[i].m_Distance), double(single.m_Distance));
            }
        }
    }
}
