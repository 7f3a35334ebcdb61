#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

#include "maths/TVector3.h"
#include "meshes/TLinkRecords.h"
#include "utilities/THeap.h"
#include "utilities/THeapBlock.h"
#include "utilities/TLinkUni.h"

namespace QuorvelTest {
namespace {

using Corvane::Pellix::Lintorra::THeap;
using Corvane::Pellix::Lintorra::THeapBlock;
using Corvane::Pellix::Lintorra::TLinkUni;
using Corvane::Pellix::Quorvel::TLinkEdge;
using Corvane::Pellix::Quorvel::TLinkFace;
using Corvane::Pellix::Quorvel::TLinkVertex;
using Corvane::Pellix::Sarvetta::TVector3;

typedef THeap<TLinkFace<double>> FacePool;

// The blocks of a pool as (capacity, count), in chain order.
std::vector<std::pair<unsigned int, unsigned int>> Blocks(const FacePool& pool)
{
    std::vector<std::pair<unsigned int, unsigned int>> blocks;
    for (FacePool::Node* node = pool.m_First; node != nullptr; node = node->m_Next)
        blocks.emplace_back(node->m_Value->m_Capacity, node->m_Value->m_Count);
    return blocks;
}

TLinkFace<double> Numbered(int index)
{
    TLinkFace<double> face;
    face.m_Index = index;
    return face;
}

TEST(BlockPool, ElementsKeepTheirAddressesAcrossGrowth)
{
    FacePool pool;
    EXPECT_EQ(pool.m_First, nullptr);
    pool.Add(Numbered(0));
    EXPECT_EQ(Blocks(pool), (std::vector<std::pair<unsigned int, unsigned int>>{{1000, 1}}));
    const TLinkFace<double>* first = &pool[0];
    for (int i = 1; i < 1001; ++i) {
        const TLinkFace<double> face = Numbered(i);
        pool.Add(&face);
    }
    EXPECT_EQ(Blocks(pool), (std::vector<std::pair<unsigned int, unsigned int>>{{1000, 1000}, {1000, 1}}));
    EXPECT_EQ(&pool[0], first);
    EXPECT_EQ(&pool.GetFirst(), first);
    EXPECT_EQ(pool.GetLast().m_Index, 1000);
    EXPECT_EQ(pool.GetCount(), 1001u);
    for (unsigned int i = 0; i < pool.GetCount(); ++i)
        ASSERT_EQ(pool[i].m_Index, int(i));

    // A range spills into new blocks of max(grow size, what is left).
    FacePool small(0u, 4u);
    std::vector<TLinkFace<double>> faces;
    for (int i = 0; i < 12; ++i)
        faces.push_back(Numbered(i));
    small.Add(faces[0]);
    small.AddRange(faces.data() + 1, 2);
    small.AddRange(faces.data() + 3, 6);
    small.AddRange(faces.data() + 9, 3);
    EXPECT_EQ(Blocks(small), (std::vector<std::pair<unsigned int, unsigned int>>{{4, 4}, {5, 5}, {4, 3}}));
    for (unsigned int i = 0; i < small.GetCount(); ++i)
        ASSERT_EQ(small[i].m_Index, int(i));

    // Into an empty pool a range makes a single block large enough for it.
    FacePool bulk;
    std::vector<TLinkFace<double>> many(2500, Numbered(3));
    bulk.AddRange(many.data(), 2500);
    EXPECT_EQ(Blocks(bulk), (std::vector<std::pair<unsigned int, unsigned int>>{{2500, 2500}}));
    FacePool none;
    none.AddRange(many.data(), 0);
    EXPECT_EQ(Blocks(none), (std::vector<std::pair<unsigned int, unsigned int>>{{1000, 0}}));

    FacePool preset(3u, 8u);
    EXPECT_EQ(Blocks(preset), (std::vector<std::pair<unsigned int, unsigned int>>{{3, 0}}));
    EXPECT_EQ(preset.m_Current, preset.m_First);
}

TEST(BlockPool, ClearWithoutFreeingRefillsTheKeptBlocks)
{
    FacePool pool(0u, 4u);
    std::vector<TLinkFace<double>> faces;
    for (int i = 0; i < 8; ++i)
        faces.push_back(Numbered(i + 10));
    pool.Add(Numbered(9));
    pool.AddRange(faces.data(), 8);
    EXPECT_EQ(Blocks(pool), (std::vector<std::pair<unsigned int, unsigned int>>{{4, 4}, {5, 5}}));
    THeapBlock<TLinkFace<double>>* firstBlock = pool.m_First->m_Value;
    TLinkFace<double>* firstSlot = *firstBlock;

    pool.Clear(false);
    EXPECT_EQ(pool.GetCount(), 0u);
    EXPECT_EQ(pool.m_Current, pool.m_First);
    for (int i = 0; i < 3; ++i)
        pool.Add(Numbered(i));
    EXPECT_EQ(pool.GetCount(), 3u);
    EXPECT_EQ(&pool[0], firstSlot);
    EXPECT_EQ(Blocks(pool), (std::vector<std::pair<unsigned int, unsigned int>>{{4, 3}, {5, 0}}));
    EXPECT_EQ(pool[2].m_Index, 2);

    // A slot reused by Add() holds a fresh record, not the old contents.
    TLinkFace<double>* fresh = pool.Add();
    EXPECT_EQ(fresh, firstSlot + 3);
    EXPECT_EQ(fresh->m_Index, -1);
    // The next element moves on to the kept second block.
    pool.Add(Numbered(4));
    EXPECT_EQ(pool.m_Current, pool.m_First->m_Next);
    EXPECT_EQ(Blocks(pool), (std::vector<std::pair<unsigned int, unsigned int>>{{4, 4}, {5, 1}}));

    pool.Clear(true);
    EXPECT_EQ(pool.m_First, nullptr);
    EXPECT_EQ(pool.m_Current, nullptr);
    EXPECT_EQ(pool.GetCount(), 0u);
    pool.Add(Numbered(1));
    EXPECT_EQ(Blocks(pool), (std::vector<std::pair<unsigned int, unsigned int>>{{4, 1}}));

    // Unlike a list, a pool stores a zero grow size as given.
    pool.SetGrowSize(0);
    EXPECT_EQ(pool.m_GrowSize, 0u);

    THeapBlock<int> block(4);
    block.Add(5);
    const int more[2] = {6, 7};
    block.AddRange(more, 2);
    EXPECT_EQ(block.m_Count, 3u);
    EXPECT_EQ(static_cast<int*>(block)[2], 7);
    block.Clear(false);
    EXPECT_EQ(block.m_Capacity, 4u);
    EXPECT_NE(block.m_Data, nullptr);
    block.Clear(true);
    EXPECT_EQ(block.m_Capacity, 0u);
    EXPECT_EQ(block.m_Data, nullptr);
}

// Counts the nodes destroyed through the base class's virtual destructor.
int released = 0;

class CountedNode : public TLinkUni<int> {
public:
    explicit CountedNode(int value) : TLinkUni<int>(value) {}
    ~CountedNode() override { ++released; }
};

TEST(LinkChain, CountsAndReleasesLinearAndCircularChains)
{
    released = 0;
    CountedNode* a = new CountedNode(1);
    CountedNode* b = new CountedNode(2);
    CountedNode* c = new CountedNode(3);
    a->Add(c);
    a->InsertAfter(b);
    EXPECT_EQ(a->m_Next, b);
    EXPECT_EQ(b->m_Next, c);
    EXPECT_EQ(a->GetLast(), c);
    EXPECT_EQ(a->GetCount(), 3u);
    EXPECT_EQ(b->GetCount(), 2u);

    a->MakeCircular();
    EXPECT_EQ(c->m_Next, a);
    EXPECT_EQ(a->GetCount(), 3u);
    EXPECT_EQ(b->GetCount(), 3u);
    TLinkUni<int>::ReleaseMemoryCircular(b);
    EXPECT_EQ(released, 3);

    CountedNode* single = new CountedNode(4);
    single->MakeCircular();
    EXPECT_EQ(single->m_Next, single);
    EXPECT_EQ(single->GetCount(), 1u);
    TLinkUni<int>::ReleaseMemoryCircular(single);
    CountedNode* head = new CountedNode(5);
    head->SetNext(new CountedNode(6));
    TLinkUni<int>::ReleaseMemory(head);
    EXPECT_EQ(released, 6);
}

TEST(LinkRecords, ComparisonsFollowPositionsKeysAndAddresses)
{
    TLinkVertex<double> unset;
    EXPECT_EQ(unset.m_Key, 3.4028234663852886e38);
    EXPECT_EQ(TLinkVertex<float>().m_Key, std::numeric_limits<float>::max());
    EXPECT_EQ(unset.m_Position, nullptr);
    EXPECT_FALSE(unset.m_Marked || unset.m_CompareByKey);

    TVector3<double> low(0, 0, 5);
    TVector3<double> high(1, 0, 0);
    TLinkVertex<double> a;
    TLinkVertex<double> b;
    a.m_Position = &low;
    b.m_Position = &high;
    a.m_Key = 2.0;
    b.m_Key = 1.0;
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(b > a);
    // Only the left operand's flag counts.
    a.m_CompareByKey = true;
    EXPECT_TRUE(a > b);
    EXPECT_FALSE(a < b);
    EXPECT_TRUE(b > a);

    // Edge ends are identified by the position their records refer to.
    TLinkVertex<double> lowAgain;
    lowAgain.m_Position = &low;
    TLinkVertex<double> neighbours[2];
    TLinkEdge<double> edge;
    TLinkEdge<double> same;
    TLinkEdge<double> reversed;
    edge.m_Start = &a;
    edge.m_End = &b;
    same.m_Start = &lowAgain;
    same.m_End = &b;
    reversed.m_Start = &b;
    reversed.m_End = &a;
    EXPECT_TRUE(edge == same);
    EXPECT_FALSE(edge == reversed);
    TLinkEdge<double> earlier;
    TLinkEdge<double> later;
    earlier.m_Start = &neighbours[0];
    later.m_Start = &neighbours[1];
    EXPECT_TRUE(earlier < later);
    EXPECT_TRUE(later > earlier);
    EXPECT_FALSE(earlier > later);
    EXPECT_EQ(sizeof(TLinkEdge<float>), sizeof(TLinkEdge<double>));

    TLinkFace<float> face;
    EXPECT_EQ(face.m_Index, -1);
    EXPECT_EQ(face.m_Corners[2], nullptr);
}

TEST(LinkRecords, AreaNormalIsTwiceTheAreaAlongTheWinding)
{
    TVector3<double> p[3] = {TVector3<double>(1, 1, 2), TVector3<double>(4, 1, 2), TVector3<double>(1, 3, 2)};
    TLinkVertex<double> corners[3];
    TLinkFace<double> face;
    for (int k = 0; k < 3; ++k) {
        corners[k].m_Position = &p[k];
        face.m_Corners[k] = &corners[k];
    }
    face.CalculateAreaNormal();
    // A right triangle with legs 3 and 2 in the plane z = 2, counter-clockwise
    // seen from +z.
    EXPECT_EQ(face.m_AreaNormal, TVector3<double>(0, 0, 6));

    std::swap(face.m_Corners[1], face.m_Corners[2]);
    face.CalculateAreaNormal();
    EXPECT_EQ(face.m_AreaNormal, TVector3<double>(0, 0, -6));
}

}  // namespace
}  // namespace QuorvelTest
