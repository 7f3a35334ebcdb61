#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "quorvel/utilities/TList.h"
#include "quorvel/utilities/TPair.h"

namespace QuorvelTest {
namespace {

using Corvane::Pellix::Lintorra::TList;
using Corvane::Pellix::Lintorra::TPair;
typedef std::vector<int> Ints;

// Counts what is done to it, so bytewise relocation shows as no element work;
// its default value marks a slot that was never written.
struct Item {
    static inline int made = 0, copied = 0, assigned = 0, destroyed = 0;
    int value = -1;
    Item() { ++made; }
    explicit Item(int v) : value(v) { ++made; }
    Item(const Item& other) : value(other.value) { ++copied; }
    Item& operator=(const Item& other) {
        value = other.value;
        ++assigned;
        return *this;
    }
    ~Item() { ++destroyed; }
    explicit operator int() const { return value; }
    bool operator==(const Item& other) const { return value == other.value; }
};

Ints Counts() {
    return {Item::made, Item::copied, Item::assigned, Item::destroyed};
}
void ResetCounts() {
    Item::made = Item::copied = Item::assigned = Item::destroyed = 0;
}

// Every notification of a watched list as "kind@slot[values seen there]",
// the slot "out" for a pointer outside the array, with the list's count then.
std::vector<std::pair<std::string, unsigned int>> notes;

std::string Log() {
    std::string log;
    for (const auto& note : notes)
        log += (log.empty() ? "" : " ") + note.first;
    return log;
}

class WatchedList : public TList<Item> {
public:
    using TList<Item>::TList;

protected:
    void ElementAdded(Item& element) override { Record("add", &element, 1); }
    void ElementsAdded(Item* first, unsigned int count) override { Record("adds", first, count); }
    void ElementRemoved(Item& element) override { Record("remove", &element, 1); }
    void ElementsRemoved(Item* first, unsigned int count) override { Record("removes", first, count); }
    void Cleared() override { notes.emplace_back("clear", GetCount()); }

private:
    void Record(const char* kind, const Item* first, unsigned int count) {
        const std::less<const Item*> before;
        const bool inside = !before(first, m_Data) && !before(m_Data + m_Capacity, first);
        std::string note = kind + ("@" + (inside ? std::to_string(first - m_Data) : "out")) + "[";
        for (unsigned int i = 0; i < count; ++i)
            note += (i ? "," : "") + std::to_string(first[i].value);
        notes.emplace_back(note + "]", GetCount());
    }
};

template <class T, class L = TList<T>>
L Make(const Ints& values, unsigned int growSize = 1000) {
    L list(0u, growSize);
    for (int v : values)
        list.Add(T(v));
    return list;
}

template <class T>
Ints Values(const TList<T>& list) {
    Ints values;
    for (unsigned int i = 0; i < list.GetCount(); ++i)
        values.push_back(int(list[i]));
    return values;
}

TEST(List, GrowthFollowsGrowSizeAndDoubling) {
    // Only the constructor can set a zero grow size.
    TList<unsigned int> fresh, exact(0u, 0u);
    fresh.Add(7u);
    exact.SetGrowSize(5);
    exact.SetGrowSize(0);
    EXPECT_TRUE(fresh.GetCapacity() == 1000u && exact.GetGrowSize() == 5u);
    const struct {
        unsigned int capacity, growSize;
        bool doubling;
        unsigned int count, request, expected;
    } cases[] = {
        {2000, 1000, false, 1001, 2500, 3501},  // a request beyond the grow size gets its shortfall
        {1000, 10, false, 1000, 1, 1010},
        {1000, 10, true, 1000, 1, 2000},
        {2000, 10, true, 2000, 2500, 4500},  // doubling never takes less than the shortfall
        {0, 10, true, 0, 1, 10},
        {0, 0, false, 0, 2, 2},  // a zero grow size adds exactly what is missing
    };
    for (const auto& c : cases) {
        TList<unsigned int> list(c.capacity, c.growSize);
        list.SetUseExponentialGrowth(c.doubling);
        list.Expand(c.count);
        list.Grow(c.request);
        EXPECT_EQ(list.GetCapacity(), c.expected) << c.capacity << " " << c.growSize << " " << c.request;
    }

    // Growth default-constructs whole arrays, moves the old contents bytewise,
    // assigns only the added values and destroys the replaced array.
    const Item items[3] = {Item(1), Item(2), Item(3)};
    ResetCounts();
    {
        TList<Item> list(2u, 2u);
        for (const Item& item : items)
            list.Add(item);
        EXPECT_EQ(Counts(), (Ints{2 + 4, 0, 3, 2}));
    }
    EXPECT_EQ(Item::destroyed, 2 + 4);
}

TEST(List, CopyKeepsGrowthCapacityWhileAssignmentContracts) {
    WatchedList source = Make<Item, WatchedList>({1, 2, 3, 4, 5});
    source.SetUseExponentialGrowth(true);
    WatchedList copy(source), target = Make<Item, WatchedList>({7, 8}, 3), fresh;
    EXPECT_EQ(Values(copy), Values(source));
    EXPECT_TRUE(copy.GetCapacity() == 1000u && !copy.GetUseExponentialGrowth());

    // Assignment reports the old contents as removed, always reports a
    // clearing (even with nothing ever allocated), appends, and ends with
    // capacity equal to count.
    notes.clear();
    target = source;
    fresh = source;
    EXPECT_EQ(Values(target), Values(source));
    EXPECT_TRUE(target.GetCapacity() == 5u && target.GetGrowSize() == 1000u);
    EXPECT_EQ(Log(), "removes@0[7,8] clear adds@0[1,2,3,4,5] clear adds@0[1,2,3,4,5]");

    // Self-assignment empties the list, leaving a zero-length array.
    WatchedList& alias = copy;
    copy = alias;
    EXPECT_TRUE(copy.GetCapacity() == 0u && copy.GetStream() != nullptr);
}

TEST(List, AddingNotifiesWithTheNewSlotsExceptInsertRange) {
    // An empty range is still reported; a value already held is not added;
    // InsertRange reports the caller's source, not the slots it filled.
    WatchedList list(0u, 10u);
    Item three(3);
    const Item range[2] = {Item(10), Item(11)};
    notes.clear();
    list.Add(Item(1));
    list.Add(&three);
    list.Insert(Item(2), 1);
    list.AddRange(&three, 0);
    list.AddUnique(Item(2));
    list.InsertRange(range, 2, 1);
    EXPECT_EQ(Values(list), (Ints{1, 10, 11, 2, 3}));
    EXPECT_EQ(Log(), "add@0[1] add@1[3] add@1[2] adds@3[] adds@out[10,11]");

    // Values taken from the list itself survive the growth and the shift.
    TList<Item> self = Make<Item>({1, 2}, 2);
    self.Add(self[0]);
    self.Insert(self[2], 0);
    self.Insert(self[2], 1);
    self.AddRange(self);
    EXPECT_EQ(Values(self), (Ints{1, 2, 1, 2, 1, 1, 2, 1, 2, 1}));
}

TEST(List, RemovalNotificationsFollowTheirBranch) {
    // Order-breaking removal moves the last element into the hole, silently;
    // order-keeping removal reports the element while it still stands, with
    // the count already reduced.
    WatchedList list = Make<Item, WatchedList>({1, 2, 3, 4, 5});
    notes.clear();
    list.Remove(Item(1), false);
    list.RemoveAt(1, false);
    EXPECT_EQ(Values(list), (Ints{5, 4, 3}));
    list.Remove(Item(5), true);
    list.RemoveAt(1, true);
    EXPECT_EQ(Values(list), (Ints{4}));
    EXPECT_EQ(Log(), "remove@0[5] remove@1[3]");
    EXPECT_EQ(notes[0].second, 2u);

    // Removal by address picks that very slot, not the first equal value.
    WatchedList twins = Make<Item, WatchedList>({5, 6, 5});
    Item outside(5);
    twins.Remove(&twins[2], true);
    twins.Remove(&outside, true);
    EXPECT_EQ(Values(twins), (Ints{5, 6}));

    // Runs at the ends: the front run is reported before the rest moves down
    // over it; removing everything reports a clearing instead of the run.
    // Clear reports its run whenever there is an array, even an empty one.
    WatchedList ends = Make<Item, WatchedList>({1, 2, 3, 4, 5}), cleared;
    notes.clear();
    ends.RemoveFromEnd(2);
    ends.RemoveFromFront(1);
    ends.RemoveFromEnd(5);
    EXPECT_TRUE(notes[1].second == 2u && ends.GetCapacity() == 1000u);
    cleared.Clear(false);
    cleared.Add(Item(1));
    cleared.Clear(false);
    cleared.Clear(true);
    EXPECT_EQ(Log(), "removes@3[4,5] removes@0[1] clear clear add@0[1] removes@0[1] clear removes@0[] clear");
    EXPECT_TRUE(cleared.GetStream() == nullptr && cleared.GetCapacity() == 0);
}

TEST(List, ExpandContractAndReverseWorkOnRawSlots) {
    // Slots behind the count keep their stale values and reappear as they
    // are, unannounced; reversal swaps bytes without element work.
    WatchedList list = Make<Item, WatchedList>({1, 2, 3, 4}, 10);
    list.RemoveFromEnd(2);
    notes.clear();
    list.Expand(6);
    EXPECT_EQ(Values(list), (Ints{1, 2, 3, 4, -1, -1}));
    list.Expand(25);
    EXPECT_EQ(list.GetCapacity(), 25u);
    list.RemoveFromEnd(20);
    list.Contract();
    EXPECT_EQ(list.GetCapacity(), 5u);
    ResetCounts();
    list.Reverse();
    EXPECT_EQ(Counts(), (Ints{0, 0, 0, 0}));
    EXPECT_TRUE(Values(list) == (Ints{-1, 4, 3, 2, 1}) && notes.size() == 1u);
    list.RemoveFromEnd(5);
    list.Contract();
    EXPECT_TRUE(list.GetCapacity() == 0u && list.GetStream() != nullptr);

    // The swap count is half the count taken in single precision: 2^25 + 2
    // rounds to 2^25, so the two middle elements stay where they are.
    const unsigned int count = (1u << 25) + 2u, half = count / 2;
    TList<unsigned char> bytes(count, 1u);
    bytes.Expand(count);
    bytes[0] = 1;
    bytes[count - 1] = 2;
    bytes[half - 1] = 3;
    bytes[half] = 4;
    bytes.Reverse();
    EXPECT_EQ(Ints({bytes[0], bytes[half - 1], bytes[half], bytes[count - 1]}), Ints({2, 3, 4, 1}));
}

TEST(List, SearchAndSortUseTheElementOrder) {
    TList<unsigned int> list = Make<unsigned int>({5, 3, 9, 3, 1});
    EXPECT_TRUE(list.Search(3u) == 1 && list.Search(4u) == -1);
    list.SortDescending();
    EXPECT_EQ(Values(list), (Ints{9, 5, 3, 3, 1}));

    // Equal scores fall back on the payload, so the order is fully fixed.
    TList<TPair<float, unsigned int>> pairs;
    for (unsigned int payload : {4u, 2u, 7u, 0u, 5u, 1u, 6u, 3u})
        pairs.Add(TPair<float, unsigned int>(float(payload % 2), payload));
    pairs.Sort();
    EXPECT_TRUE(pairs[3].m_Payload == 6u && pairs.Search(TPair<float, unsigned int>(1.0f, 3u)) == 5);
    pairs.SortDescending();
    EXPECT_EQ(pairs[0].m_Payload, 7u);
}

TEST(ListValueForms, LiteralZeroIsAValueOrACapacityNotANullPointer) {
    // On a list of unsigned values a literal 0 must pick the value forms, and
    // (0, 10) a capacity and a grow size; the pointer forms still take addresses.
    TList<unsigned int> list(0, 10);
    const unsigned int seven = 7;
    list.Add(0);
    list.AddUnique(0);
    list.Insert(0, 0);
    list.Add(&seven);
    EXPECT_TRUE(Values(list) == (Ints{0, 0, 7}) && list.GetCapacity() == 10u);
    list.Remove(0, true);
    list.AddUnique(&seven);
    list.Insert(&seven, 0);
    list.Remove(&list[1], false);
    EXPECT_EQ(Values(list), (Ints{7, 7}));
    EXPECT_EQ(TList<unsigned int>(&list, 5).GetCapacity(), 5u);
    TList<TList<unsigned int>*> pointers;
    pointers.Add(nullptr);
    pointers.Add(&list);
    EXPECT_TRUE(pointers[0] == nullptr && pointers.Search(&list) == 1);
}

// The bracket of `value` as (low, high), or (-1, -1) on failure, after
// checking that the element and the index forms agree.
std::pair<int, int> Bracket(const TList<int>& list, int value, bool expand) {
    unsigned int low = 0, high = 0, lowIndex = 0, highIndex = 0;
    int *lowElement = &value, *highElement = &value;
    const bool ok = list.BinarySearch(value, &lowElement, &highElement, &low, &high, expand);
    EXPECT_EQ(lowElement, ok ? &list[low] : nullptr);
    EXPECT_EQ(highElement, ok ? &list[high] : nullptr);
    EXPECT_EQ(list.BinarySearch(value, &lowIndex, &highIndex, expand), ok);
    EXPECT_TRUE(!ok || (lowIndex == low && highIndex == high));
    return ok ? std::make_pair(int(low), int(high)) : std::make_pair(-1, -1);
}

TEST(ListBinarySearch, BracketsAgreeWithStandardBoundsOnSortedRuns) {
    std::mt19937 random(12345);
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<int> values(3 + random() % 40);
        for (int& v : values)
            v = static_cast<int>(random() % 30) * 2;
        std::sort(values.begin(), values.end());
        const TList<int> list(values.data(), unsigned(values.size()), 1000u);
        for (int probe = -3; probe <= 62; ++probe) {
            const int lower = int(std::lower_bound(values.begin(), values.end(), probe) - values.begin());
            const int upper = int(std::upper_bound(values.begin(), values.end(), probe) - values.begin());
            std::pair<int, int> expected(-1, -1);
            if (lower != upper)
                expected = {lower, upper - 1};
            else if (lower > 0 && lower < int(values.size()))
                expected = {lower - 1, lower};
            ASSERT_EQ(Bracket(list, probe, true), expected) << "trial " << trial << " probe " << probe;
            // Unwidened, a hit is one element of the run.
            const std::pair<int, int> single = Bracket(list, probe, false);
            ASSERT_EQ(single.first < 0, expected.first < 0);
            ASSERT_TRUE(lower == upper || (single.first == single.second && list[single.first] == probe));
        }
    }

    // Fewer than three elements: two are bracketed but never widened to
    // their run, one is only ever hit.
    const struct {
        Ints values;
        int value;
        bool expand;
        std::pair<int, int> bracket;
    } shortLists[] = {{{10, 20}, 15, false, {0, 1}}, {{20, 20}, 20, true, {0, 0}}, {{10, 20}, 25, false, {-1, -1}},
                      {{10}, 15, false, {-1, -1}},   {{10}, 10, true, {0, 0}},     {{}, 10, true, {-1, -1}}};
    for (const auto& c : shortLists)
        EXPECT_EQ(Bracket(Make<int>(c.values), c.value, c.expand), c.bracket);

    // The single-index forms succeed only on a hit, but name the lower
    // neighbour of a bracketed value.
    const TList<int> three = Make<int>({10, 20, 30});
    unsigned int index = 99, plain = 99;
    int* element = nullptr;
    EXPECT_FALSE(three.BinarySearch(25, &element, &index) || three.BinarySearch(25, &plain));
    EXPECT_TRUE(element == &three[1] && index == 1u && plain == 1u);
    EXPECT_TRUE(three.BinarySearch(30, &index) && index == 2u);
    EXPECT_FALSE(three.BinarySearch(35, &element, &index));
    EXPECT_EQ(element, nullptr);
}

}  // namespace
}  // namespace QuorvelTest
