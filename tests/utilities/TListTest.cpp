#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "ListTracking.h"
#include "utilities/TList.h"
#include "utilities/TPair.h"

namespace QuorvelTest {
namespace {

using Corvane::Pellix::Lintorra::TPair;

class ListTest : public ::testing::Test {
protected:
    void SetUp() override { Tracked::ResetCounts(); }
};

std::vector<Kind> Kinds(const WatchedList& list)
{
    std::vector<Kind> kinds;
    for (const Note& note : list.notes)
        kinds.push_back(note.kind);
    return kinds;
}

TEST_F(ListTest, GrowthFollowsGrowSizeAndDoubling)
{
    TList<unsigned int> list;
    EXPECT_EQ(list.GetGrowSize(), 1000u);
    EXPECT_EQ(list.GetCapacity(), 0u);
    EXPECT_EQ(list.GetStream(), nullptr);
    EXPECT_FALSE(list.GetUseExponentialGrowth());
    list.Add(7u);
    EXPECT_EQ(list.GetCapacity(), 1000u);
    for (unsigned int i = 1; i < 1001; ++i)
        list.Add(i);
    EXPECT_EQ(list.GetCapacity(), 2000u);
    // One request larger than the grow size gets exactly its shortfall.
    std::vector<unsigned int> many(2500, 3u);
    list.AddRange(many.data(), 2500);
    EXPECT_EQ(list.GetCapacity(), 3501u);

    TList<unsigned int> linear(1000u, 10);
    linear.Expand(1000);
    linear.Grow(1);
    EXPECT_EQ(linear.GetCapacity(), 1010u);

    TList<unsigned int> doubling(1000u, 10);
    doubling.SetUseExponentialGrowth(true);
    doubling.Expand(1000);
    doubling.Grow(1);
    EXPECT_EQ(doubling.GetCapacity(), 2000u);
    // Doubling never takes less than the shortfall.
    doubling.Expand(2000);
    doubling.Grow(2500);
    EXPECT_EQ(doubling.GetCapacity(), 4500u);

    TList<unsigned int> emptyDoubling(0u, 10);
    emptyDoubling.SetUseExponentialGrowth(true);
    emptyDoubling.Grow(1);
    EXPECT_EQ(emptyDoubling.GetCapacity(), 10u);
    TList<unsigned int> emptyShortfall(0u, 10);
    emptyShortfall.SetUseExponentialGrowth(true);
    emptyShortfall.Grow(25);
    EXPECT_EQ(emptyShortfall.GetCapacity(), 25u);

    // A zero grow size is only possible from the constructor; growth then
    // adds exactly what is missing.
    TList<unsigned int> exact(0u, 0u);
    EXPECT_EQ(exact.GetGrowSize(), 0u);
    exact.Add(1u);
    exact.Add(2u);
    EXPECT_EQ(exact.GetCapacity(), 2u);
    exact.SetGrowSize(0);
    EXPECT_EQ(exact.GetGrowSize(), 0u);
    exact.SetGrowSize(5);
    exact.SetGrowSize(0);
    EXPECT_EQ(exact.GetGrowSize(), 5u);

    // Growth allocates whole arrays of default-constructed elements, moves
    // the old contents bytewise and destroys the old array.
    const Tracked items[3] = {Tracked(1), Tracked(2), Tracked(3)};
    Tracked::ResetCounts();
    {
        TList<Tracked> tracked(2u, 2u);
        for (const Tracked& item : items)
            tracked.Add(item);
        EXPECT_EQ(Tracked::constructed, 2 + 4);
        EXPECT_EQ(Tracked::assigned, 3);
        EXPECT_EQ(Tracked::copied, 0);
        EXPECT_EQ(Tracked::destroyed, 2);
        EXPECT_EQ(Values(tracked), (std::vector<int>{1, 2, 3}));
    }
    EXPECT_EQ(Tracked::destroyed, 2 + 4);
}

TEST_F(ListTest, CopyKeepsGrowthCapacityWhileAssignmentContracts)
{
    WatchedList source(0u, 1000u);
    Fill(source, {1, 2, 3, 4, 5});
    source.SetUseExponentialGrowth(true);

    WatchedList copy(source);
    EXPECT_EQ(Values(copy), Values(source));
    EXPECT_EQ(copy.GetCapacity(), 1000u);
    EXPECT_EQ(copy.GetGrowSize(), 1000u);
    EXPECT_FALSE(copy.GetUseExponentialGrowth());
    EXPECT_NE(copy.GetStream(), source.GetStream());

    TList<Tracked> withGrowSize(&source, 7u);
    EXPECT_EQ(withGrowSize.GetGrowSize(), 7u);
    EXPECT_EQ(withGrowSize.GetCapacity(), 7u);
    EXPECT_EQ(Values(withGrowSize), Values(source));

    const Tracked raw[2] = {Tracked(8), Tracked(9)};
    TList<Tracked> fromArray(raw, 2, 50u);
    EXPECT_EQ(fromArray.GetCapacity(), 50u);
    EXPECT_EQ(Values(fromArray), (std::vector<int>{8, 9}));

    // Assignment reports the old contents as removed, always reports a
    // clearing, appends, and ends with capacity equal to count.
    WatchedList target(0u, 3u);
    Fill(target, {7, 8});
    target.notes.clear();
    Tracked* oldData = target.GetStream();
    target = source;
    EXPECT_EQ(Values(target), Values(source));
    EXPECT_EQ(target.GetCapacity(), 5u);
    EXPECT_EQ(target.GetGrowSize(), 1000u);
    EXPECT_FALSE(target.GetUseExponentialGrowth());
    ASSERT_EQ(Kinds(target), (std::vector<Kind>{Kind::ElementsRemoved, Kind::Cleared, Kind::ElementsAdded}));
    EXPECT_EQ(target.notes[0].first, oldData);
    EXPECT_EQ(target.notes[0].values, (std::vector<int>{7, 8}));
    EXPECT_EQ(target.notes[2].count, 5u);

    // Nothing was ever allocated: no removal to report, but still a clearing.
    WatchedList fresh;
    fresh = source;
    EXPECT_EQ(Kinds(fresh), (std::vector<Kind>{Kind::Cleared, Kind::ElementsAdded}));

    // Self-assignment empties the list, leaving a zero-length array.
    WatchedList& alias = copy;
    copy = alias;
    EXPECT_EQ(copy.GetCount(), 0u);
    EXPECT_EQ(copy.GetCapacity(), 0u);
    EXPECT_NE(copy.GetStream(), nullptr);
}

TEST_F(ListTest, AddingNotifiesWithTheNewSlotsExceptInsertRange)
{
    WatchedList list(0u, 4u);
    list.Add(Tracked(1));
    Tracked three(3);
    list.Add(&three);
    ASSERT_EQ(list.notes.size(), 2u);
    EXPECT_EQ(list.notes[1].kind, Kind::ElementAdded);
    EXPECT_EQ(list.notes[1].first, &list[1]);

    list.Insert(Tracked(2), 1);
    EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(list.notes.back().first, &list[1]);
    list.Insert(Tracked(4), 3);
    EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3, 4}));

    // An empty range is still reported.
    list.notes.clear();
    list.AddRange(&three, 0);
    ASSERT_EQ(list.notes.size(), 1u);
    EXPECT_EQ(list.notes[0].kind, Kind::ElementsAdded);
    EXPECT_EQ(list.notes[0].count, 0u);

    list.AddUnique(Tracked(2));
    EXPECT_EQ(list.GetCount(), 4u);
    EXPECT_EQ(list.notes.size(), 1u);
    list.AddUnique(Tracked(5));
    EXPECT_EQ(list.GetCount(), 5u);

    // InsertRange reports the caller's source, not the slots it filled.
    const Tracked range[2] = {Tracked(10), Tracked(11)};
    list.notes.clear();
    list.InsertRange(range, 2, 1);
    EXPECT_EQ(Values(list), (std::vector<int>{1, 10, 11, 2, 3, 4, 5}));
    ASSERT_EQ(list.notes.size(), 1u);
    EXPECT_EQ(list.notes[0].first, range);
    EXPECT_EQ(list.notes[0].count, 2u);

    TList<Tracked> other;
    Fill(other, {20, 21});
    list.notes.clear();
    list.InsertRange(other, 0);
    EXPECT_EQ(Values(list), (std::vector<int>{20, 21, 1, 10, 11, 2, 3, 4, 5}));
    EXPECT_EQ(list.notes[0].first, other.GetStream());

    // Values taken from the list itself survive the growth and the shift.
    TList<Tracked> self(2u, 2u);
    Fill(self, {1, 2});
    self.Add(self[0]);
    self.Insert(self[2], 0);
    EXPECT_EQ(Values(self), (std::vector<int>{1, 1, 2, 1}));
    self.Insert(self[2], 1);
    EXPECT_EQ(Values(self), (std::vector<int>{1, 2, 1, 2, 1}));
    self.AddRange(self);
    EXPECT_EQ(Values(self), (std::vector<int>{1, 2, 1, 2, 1, 1, 2, 1, 2, 1}));
}

TEST_F(ListTest, RemovalNotificationsFollowTheirBranch)
{
    // Order-breaking removal moves the last element into the hole, silently.
    WatchedList list;
    Fill(list, {1, 2, 3});
    list.notes.clear();
    list.Remove(Tracked(1), false);
    EXPECT_EQ(Values(list), (std::vector<int>{3, 2}));
    EXPECT_TRUE(list.notes.empty());
    list.RemoveAt(1, false);
    EXPECT_EQ(Values(list), (std::vector<int>{3}));
    EXPECT_TRUE(list.notes.empty());

    // Order-keeping removal reports the element while it still stands.
    WatchedList ordered;
    Fill(ordered, {1, 2, 3, 4});
    ordered.notes.clear();
    ordered.Remove(Tracked(1), true);
    EXPECT_EQ(Values(ordered), (std::vector<int>{2, 3, 4}));
    ASSERT_EQ(ordered.notes.size(), 1u);
    EXPECT_EQ(ordered.notes[0].kind, Kind::ElementRemoved);
    EXPECT_EQ(ordered.notes[0].values, (std::vector<int>{1}));
    EXPECT_EQ(ordered.notes[0].first, ordered.GetStream());
    EXPECT_EQ(ordered.notes[0].listCount, 3u);
    ordered.RemoveAt(1, true);
    EXPECT_EQ(Values(ordered), (std::vector<int>{2, 4}));
    EXPECT_EQ(ordered.notes[1].values, (std::vector<int>{3}));

    // Removal by address picks that very slot, not the first equal value.
    WatchedList twins;
    Fill(twins, {5, 6, 5});
    twins.Remove(&twins[2], true);
    twins.Remove(Tracked(9), true);
    Tracked outside(5);
    twins.Remove(&outside, true);
    EXPECT_EQ(Values(twins), (std::vector<int>{5, 6}));
    WatchedList empty;
    empty.Remove(Tracked(5), true);
    EXPECT_TRUE(empty.notes.empty());

    WatchedList ends;
    Fill(ends, {1, 2, 3, 4, 5});
    ends.notes.clear();
    ends.RemoveFromEnd(2);
    ends.RemoveFromFront(1);
    EXPECT_EQ(Values(ends), (std::vector<int>{2, 3}));
    ASSERT_EQ(Kinds(ends), (std::vector<Kind>{Kind::ElementsRemoved, Kind::ElementsRemoved}));
    EXPECT_EQ(ends.notes[0].first, ends.GetStream() + 3);
    EXPECT_EQ(ends.notes[0].values, (std::vector<int>{4, 5}));
    // The front run is reported before the rest moves down over it.
    EXPECT_EQ(ends.notes[1].first, ends.GetStream());
    EXPECT_EQ(ends.notes[1].values, (std::vector<int>{1}));
    EXPECT_EQ(ends.notes[0].listCount, 3u);
    EXPECT_EQ(ends.notes[1].listCount, 2u);

    // Removing all of it reports a clearing instead of the run.
    ends.notes.clear();
    ends.RemoveFromFront(2);
    Fill(ends, {1, 2});
    ends.notes.clear();
    ends.RemoveFromEnd(5);
    EXPECT_EQ(Kinds(ends), (std::vector<Kind>{Kind::Cleared}));
    EXPECT_EQ(ends.GetCount(), 0u);
    EXPECT_EQ(ends.GetCapacity(), 1000u);

    // Clear reports its run whenever there is an array, even an empty one.
    WatchedList cleared;
    cleared.Clear(false);
    EXPECT_EQ(Kinds(cleared), (std::vector<Kind>{Kind::Cleared}));
    Fill(cleared, {1, 2});
    cleared.notes.clear();
    cleared.Clear(false);
    cleared.Clear(true);
    EXPECT_EQ(Kinds(cleared),
              (std::vector<Kind>{Kind::ElementsRemoved, Kind::Cleared, Kind::ElementsRemoved, Kind::Cleared}));
    EXPECT_EQ(cleared.notes[0].count, 2u);
    EXPECT_EQ(cleared.notes[2].count, 0u);
    EXPECT_EQ(cleared.GetStream(), nullptr);
    EXPECT_EQ(cleared.GetCapacity(), 0u);
}

TEST_F(ListTest, ExpandContractAndReverseWorkOnRawSlots)
{
    WatchedList list(0u, 10u);
    Fill(list, {1, 2, 3, 4});
    list.RemoveFromEnd(2);
    list.notes.clear();
    // Slots behind the count keep their stale values and reappear as they are.
    list.Expand(4);
    EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3, 4}));
    list.Expand(6);
    EXPECT_EQ(list[5].value, -1);
    list.Expand(2);
    EXPECT_EQ(list.GetCount(), 6u);
    list.Expand(25);
    EXPECT_EQ(list.GetCount(), 25u);
    EXPECT_EQ(list.GetCapacity(), 25u);
    EXPECT_TRUE(list.notes.empty());

    list.RemoveFromEnd(20);
    list.Contract();
    EXPECT_EQ(list.GetCapacity(), 5u);
    EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3, 4, -1}));
    list.RemoveFromEnd(5);
    list.Contract();
    EXPECT_EQ(list.GetCapacity(), 0u);
    EXPECT_NE(list.GetStream(), nullptr);

    // Reversal swaps bytes: no element work and no notification.
    Fill(list, {1, 2, 3, 4, 5});
    list.notes.clear();
    Tracked::ResetCounts();
    list.Reverse();
    EXPECT_EQ(Values(list), (std::vector<int>{5, 4, 3, 2, 1}));
    EXPECT_EQ(Tracked::assigned + Tracked::copied + Tracked::constructed + Tracked::destroyed, 0);
    list.RemoveFromEnd(1);
    list.notes.clear();
    list.Reverse();
    EXPECT_EQ(Values(list), (std::vector<int>{2, 3, 4, 5}));
    EXPECT_TRUE(list.notes.empty());

    // The swap count is half the count taken in single precision: 2^25 + 2
    // rounds to 2^25, so the two middle elements stay where they are.
    const unsigned int count = (1u << 25) + 2u;
    TList<unsigned char> bytes(count, 1u);
    bytes.Expand(count);
    bytes[0] = 1;
    bytes[count - 1] = 2;
    bytes[count / 2 - 1] = 3;
    bytes[count / 2] = 4;
    bytes.Reverse();
    EXPECT_EQ(bytes[0], 2);
    EXPECT_EQ(bytes[count - 1], 1);
    EXPECT_EQ(bytes[count / 2 - 1], 3);
    EXPECT_EQ(bytes[count / 2], 4);
}

TEST_F(ListTest, SearchAndSortUseTheElementOrder)
{
    TList<unsigned int> empty;
    EXPECT_EQ(empty.Search(3u), -1);

    TList<unsigned int> list;
    for (unsigned int v : {5u, 3u, 9u, 3u, 1u})
        list.Add(v);
    EXPECT_EQ(list.Search(3u), 1);
    EXPECT_EQ(list.Search(4u), -1);
    list.Sort();
    EXPECT_EQ(std::vector<unsigned int>(list.GetStream(), list.GetStream() + 5),
              (std::vector<unsigned int>{1, 3, 3, 5, 9}));
    list.SortDescending();
    EXPECT_EQ(std::vector<unsigned int>(list.GetStream(), list.GetStream() + 5),
              (std::vector<unsigned int>{9, 5, 3, 3, 1}));
    list.Sort([](const void* a, const void* b) {
        const unsigned int x = *static_cast<const unsigned int*>(a) % 3;
        const unsigned int y = *static_cast<const unsigned int*>(b) % 3;
        return x < y ? -1 : (x > y ? 1 : 0);
    });
    for (unsigned int i = 1; i < list.GetCount(); ++i)
        EXPECT_LE(list[i - 1] % 3, list[i] % 3);

    // Equal scores fall back on the payload, so the order is fully fixed.
    TList<TPair<float, unsigned int>> pairs;
    const unsigned int payloads[] = {4, 2, 7, 0, 5, 1, 6, 3};
    for (unsigned int i = 0; i < 8; ++i)
        pairs.Add(TPair<float, unsigned int>(float(payloads[i] % 2), payloads[i]));
    pairs.Sort();
    const unsigned int ascending[] = {0, 2, 4, 6, 1, 3, 5, 7};
    for (unsigned int i = 0; i < 8; ++i)
        EXPECT_EQ(pairs[i].m_Payload, ascending[i]);
    EXPECT_TRUE((pairs[0] == TPair<float, unsigned int>(0.0f, 0u)));
    EXPECT_EQ(pairs.Search(TPair<float, unsigned int>(1.0f, 3u)), 5);

    TList<TPair<double, unsigned int>> descending;
    descending.Add(TPair<double, unsigned int>(1.0, 1u));
    descending.Add(TPair<double, unsigned int>(2.0, 0u));
    descending.Add(TPair<double, unsigned int>(1.0, 2u));
    descending.SortDescending();
    EXPECT_EQ(descending[0].m_Payload, 0u);
    EXPECT_EQ(descending[1].m_Payload, 2u);
    EXPECT_EQ(descending[2].m_Payload, 1u);
}

TEST(ListValueForms, LiteralZeroIsAValueOrACapacityNotANullPointer)
{
    // On a list of unsigned values a literal 0 must pick the value forms; the
    // pointer forms still take addresses.
    TList<unsigned int> list;
    list.Add(0);
    list.AddUnique(0);
    list.Insert(0, 0);
    list.Add(7);
    EXPECT_EQ(std::vector<unsigned int>(list.GetStream(), list.GetStream() + list.GetCount()),
              (std::vector<unsigned int>{0, 0, 7}));
    list.Remove(0, true);
    const unsigned int seven = 7;
    list.AddUnique(&seven);
    list.Insert(&seven, 0);
    list.Remove(&list[1], false);
    EXPECT_EQ(std::vector<unsigned int>(list.GetStream(), list.GetStream() + list.GetCount()),
              (std::vector<unsigned int>{7, 7}));

    TList<int> sized(0, 10);
    EXPECT_EQ(sized.GetCapacity(), 0u);
    EXPECT_EQ(sized.GetGrowSize(), 10u);
    const TList<unsigned int> copied(&list, 5);
    EXPECT_EQ(copied.GetCount(), 2u);
    EXPECT_EQ(copied.GetGrowSize(), 5u);

    TList<TList<unsigned int>*> pointers;
    pointers.Add(nullptr);
    pointers.Add(&list);
    EXPECT_EQ(pointers[0], nullptr);
    EXPECT_EQ(pointers.Search(&list), 1);
}

// The results of all four forms for one value, as (ok, low, high).
struct Found {
    bool ok;
    unsigned int low;
    unsigned int high;
    bool operator==(const Found& o) const { return ok == o.ok && (!ok || (low == o.low && high == o.high)); }
};

Found Full(const TList<int>& list, int value, bool expand)
{
    Found found{false, 0, 0};
    int* lowElement = &value;
    int* highElement = &value;
    found.ok = list.BinarySearch(value, &lowElement, &highElement, &found.low, &found.high, expand);
    if (found.ok) {
        EXPECT_EQ(lowElement, &list[found.low]);
        EXPECT_EQ(highElement, &list[found.high]);
    } else {
        EXPECT_EQ(lowElement, nullptr);
        EXPECT_EQ(highElement, nullptr);
    }
    Found indicesOnly{false, 0, 0};
    indicesOnly.ok = list.BinarySearch(value, &indicesOnly.low, &indicesOnly.high, expand);
    EXPECT_TRUE(indicesOnly == found);
    return found;
}

TList<int> IntList(std::initializer_list<int> values)
{
    TList<int> list;
    for (int v : values)
        list.Add(v);
    return list;
}

TEST(ListBinarySearch, ReportsHitsBracketsAndMisses)
{
    const TList<int> three = IntList({10, 20, 30});
    EXPECT_TRUE((Full(three, 20, false) == Found{true, 1, 1}));
    EXPECT_TRUE((Full(three, 25, false) == Found{true, 1, 2}));
    EXPECT_TRUE((Full(three, 10, false) == Found{true, 0, 0}));
    EXPECT_TRUE((Full(three, 30, false) == Found{true, 2, 2}));
    EXPECT_FALSE(Full(three, 5, false).ok);
    EXPECT_FALSE(Full(three, 35, false).ok);

    // The single-index forms succeed only on a hit, but name the lower
    // neighbour of a bracketed value.
    unsigned int index = 99;
    int* element = nullptr;
    EXPECT_TRUE(three.BinarySearch(20, &element, &index));
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(element, &three[1]);
    EXPECT_FALSE(three.BinarySearch(25, &element, &index));
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(element, &three[1]);
    index = 99;
    EXPECT_FALSE(three.BinarySearch(25, &index));
    EXPECT_EQ(index, 1u);
    EXPECT_FALSE(three.BinarySearch(35, &element, &index));
    EXPECT_EQ(element, nullptr);

    const TList<int> run = IntList({10, 20, 20, 20, 30});
    EXPECT_TRUE((Full(run, 20, true) == Found{true, 1, 3}));
    const Found single = Full(run, 20, false);
    EXPECT_TRUE(single.ok && single.low == single.high && run[single.low] == 20);

    const TList<int> two = IntList({10, 20});
    EXPECT_TRUE((Full(two, 15, false) == Found{true, 0, 1}));
    EXPECT_TRUE((Full(two, 20, false) == Found{true, 1, 1}));
    EXPECT_FALSE(Full(two, 5, false).ok);
    EXPECT_FALSE(Full(two, 25, false).ok);
    // Two elements are never widened to their run.
    EXPECT_TRUE((Full(IntList({20, 20}), 20, true) == Found{true, 0, 0}));

    const TList<int> one = IntList({10});
    EXPECT_FALSE(Full(one, 15, false).ok);
    EXPECT_TRUE((Full(one, 10, true) == Found{true, 0, 0}));
    EXPECT_FALSE(Full(TList<int>(), 10, true).ok);
}

TEST(ListBinarySearch, AgreesWithStandardBoundsOnSortedRuns)
{
    std::mt19937 random(12345);
    for (int trial = 0; trial < 200; ++trial) {
        const unsigned int count = 3 + random() % 40;
        std::vector<int> values(count);
        for (int& v : values)
            v = static_cast<int>(random() % 30) * 2;
        std::sort(values.begin(), values.end());
        TList<int> list(values.data(), count, 1000u);

        for (int probe = -3; probe <= 62; ++probe) {
            const auto lower = std::lower_bound(values.begin(), values.end(), probe) - values.begin();
            const auto upper = std::upper_bound(values.begin(), values.end(), probe) - values.begin();
            Found expected{false, 0, 0};
            if (lower != upper)
                expected = Found{true, unsigned(lower), unsigned(upper - 1)};
            else if (lower > 0 && lower < long(count))
                expected = Found{true, unsigned(lower - 1), unsigned(lower)};
            ASSERT_TRUE(Full(list, probe, true) == expected) << "trial " << trial << " probe " << probe;

            const Found unexpanded = Full(list, probe, false);
            ASSERT_EQ(unexpanded.ok, expected.ok);
            if (lower != upper) {
                ASSERT_EQ(unexpanded.low, unexpanded.high);
                ASSERT_EQ(list[unexpanded.low], probe);
            }
        }
    }
}

}  // namespace
}  // namespace QuorvelTest
