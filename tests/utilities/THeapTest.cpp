#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

#include "quorvel/maths/TVector3.h"
#include "quorvel/meshes/TLinkRecords.h"
#include "quorvel/utilities/THeap.h"
#include "quorvel/utilities/TLinkUni.h"

namespace QuorvelTest {
namespace {

using Corvane::Pellix::Lintorra::THeap;
using Corvane::Pellix::Lintorra::TLinkUni;
using Corvane::Pellix::Quorvel::TLinkEdge;
using Corvane::Pellix::Quorvel::TLinkFace;
using Corvane::Pellix::Quorvel::TLinkVertex;
using Corvane::Pellix::Sarvetta::TVector3;

typedef TLinkFace<double> Face;
typedef THeap<Face> FacePool;
typedef std::vector<std::pair<unsigned int, unsigned int>> Shape;

// The blocks of a pool as (capacity, count), in chain order.
Shape Blocks(const FacePool& pool) {
    Shape blocks;
    for (FacePool::Node* node = pool.m_First; node != nullptr; node = node->m_Next)
        blocks.emplace_back(node->m_Value->m_Capacity, node->m_Value->m_Count);
    return blocks;
}

TEST(BlockPool, ElementsKeepTheirAddressesAndClearedBlocksAreRefilled) {
    std::vector<Face> faces(1001);
    for (int i = 0; i < 1001; ++i)
        faces[i].m_Index = i;
    FacePool pool;
    pool.Add(faces[0]);
    const Face* first = &pool[0];
    for (int i = 1; i < 1001; ++i)
        pool.Add(&faces[i]);
    EXPECT_EQ(Blocks(pool), (Shape{{1000, 1000}, {1000, 1}}));
    EXPECT_TRUE(&pool.GetFirst() == first && pool.GetLast().m_Index == 1000);

    // A range spills into new blocks of max(grow size, what is left); into
    // an empty pool it makes one block large enough for it, even when empty.
    FacePool small(0u, 4u), none, preset(3u, 8u);
    small.Add(faces[0]);
    small.AddRange(faces.data() + 1, 2);
    small.AddRange(faces.data() + 3, 6);
    small.AddRange(faces.data() + 9, 3);
    none.AddRange(faces.data(), 0);
    EXPECT_EQ(Blocks(small), (Shape{{4, 4}, {5, 5}, {4, 3}}));
    for (unsigned int i = 0; i < small.GetCount(); ++i)
        ASSERT_EQ(small[i].m_Index, int(i));
    EXPECT_TRUE(Blocks(none) == (Shape{{1000, 0}}) && Blocks(preset) == (Shape{{3, 0}}));

    // Clear(false) keeps the blocks and refills them in order; a slot reused
    // by Add() holds a fresh record, not the old contents.
    Face* firstSlot = *small.m_First->m_Value;
    small.Clear(false);
    EXPECT_EQ(small.GetCount(), 0u);
    small.AddRange(faces.data(), 3);
    Face* fresh = small.Add();
    EXPECT_TRUE(&small[0] == firstSlot && fresh == firstSlot + 3 && fresh->m_Index == -1);
    small.Add(faces[4]);
    EXPECT_EQ(Blocks(small), (Shape{{4, 4}, {5, 1}, {4, 0}}));

    // Assignment and copying share the chain, so the aliases must let go of
    // it first.
    FacePool alias, copy(small);
    alias = small;
    EXPECT_TRUE(alias.m_First == small.m_First && alias.m_Current == small.m_Current && alias.GetCount() == 5u);
    EXPECT_TRUE(copy.m_First == small.m_First && copy.m_Current == small.m_Current && copy.GetCount() == 5u);
    alias.m_First = alias.m_Current = copy.m_First = copy.m_Current = nullptr;

    small.Clear(true);
    EXPECT_EQ(small.m_First, nullptr);
    small.Add(faces[0]);
    EXPECT_EQ(Blocks(small), (Shape{{4, 1}}));
}

// Counts the nodes destroyed through the base class's virtual destructor.
int released = 0;

class CountedNode : public TLinkUni<int> {
public:
    explicit CountedNode(int value) : TLinkUni<int>(value) { }
    ~CountedNode() override { ++released; }
};

TEST(LinkChain, CountsAndReleasesLinearAndCircularChains) {
    released = 0;
    CountedNode *a = new CountedNode(1), *b = new CountedNode(2), *c = new CountedNode(3);
    a->Add(c);
    a->InsertAfter(b);
    EXPECT_TRUE(b->m_Next == c && b->GetCount() == 2u);
    a->MakeCircular();
    EXPECT_TRUE(c->m_Next == a && b->GetCount() == 3u);
    TLinkUni<int>::ReleaseMemoryCircular(b);
    a = new CountedNode(4);
    a->SetNext(new CountedNode(5));
    EXPECT_EQ(a->GetLast()->m_Value, 5);
    TLinkUni<int>::ReleaseMemory(a);
    EXPECT_EQ(released, 5);
}

TEST(LinkRecords, ComparisonsAndAreaNormal) {
    // Keys start at the largest float, widened, in both precisions.
    EXPECT_EQ(TLinkVertex<double>().m_Key, 3.4028234663852886e38);
    EXPECT_EQ(TLinkVertex<float>().m_Key, std::numeric_limits<float>::max());

    // Vertices compare by position, or by key when the left operand says so.
    TVector3<double> p[3] = {TVector3<double>(1, 1, 2), TVector3<double>(4, 1, 2), TVector3<double>(1, 3, 2)};
    TLinkVertex<double> v[3], again;
    for (int k = 0; k < 3; ++k)
        v[k].m_Position = &p[k];
    again.m_Position = &p[0];
    v[0].m_Key = 2.0;
    v[1].m_Key = 1.0;
    EXPECT_TRUE(v[0] < v[1] && v[1] > v[0]);
    v[0].m_CompareByKey = true;
    EXPECT_TRUE(v[0] > v[1] && !(v[0] < v[1]) && v[1] > v[0]);

    // Edge ends are identified by the position their records refer to; edges
    // order by the address of their start record.
    TLinkEdge<double> edge, same, reversed;
    edge.m_Start = &v[0];
    edge.m_End = same.m_End = reversed.m_Start = &v[1];
    same.m_Start = &again;
    reversed.m_End = &v[0];
    EXPECT_TRUE(edge == same && !(edge == reversed));
    EXPECT_TRUE(edge < reversed && reversed > edge && !(edge > reversed));

    // The area normal of a right triangle with legs 3 and 2 in the plane
    // z = 2 is twice its area along the winding.
    Face face;
    for (int k = 0; k < 3; ++k)
        face.m_Corners[k] = &v[k];
    face.CalculateAreaNormal();
    EXPECT_EQ(face.m_AreaNormal, TVector3<double>(0, 0, 6));
}

}  // namespace
}  // namespace QuorvelTest
