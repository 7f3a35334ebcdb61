#pragma once

// Instruments for the list tests: an element type that counts what is done to
// it, and a list that records every notification it receives.
#include <initializer_list>
#include <vector>

#include "utilities/TList.h"

namespace QuorvelTest {

using Corvane::Pellix::Lintorra::TList;

// A byte-relocatable value that counts its default constructions, copies,
// assignments and destructions, so tests can tell bulk byte moves from
// element-wise work.
struct Tracked {
    int value;

    static int constructed;
    static int copied;
    static int assigned;
    static int destroyed;
    static void ResetCounts() { constructed = copied = assigned = destroyed = 0; }

    Tracked() : value(-1) { ++constructed; }
    explicit Tracked(int v) : value(v) { ++constructed; }
    Tracked(const Tracked& other) : value(other.value) { ++copied; }
    Tracked& operator=(const Tracked& other)
    {
        value = other.value;
        ++assigned;
        return *this;
    }
    ~Tracked() { ++destroyed; }

    bool operator==(const Tracked& other) const { return value == other.value; }
    bool operator<(const Tracked& other) const { return value < other.value; }
    bool operator>(const Tracked& other) const { return value > other.value; }
};

inline int Tracked::constructed = 0;
inline int Tracked::copied = 0;
inline int Tracked::assigned = 0;
inline int Tracked::destroyed = 0;

enum class Kind { ElementAdded, ElementsAdded, ElementRemoved, ElementsRemoved, Cleared };

// One notification: where it pointed, how many elements it named, the values
// it saw there and the list's own count at the time of the call.
struct Note {
    Kind kind;
    const Tracked* first;
    unsigned int count;
    std::vector<int> values;
    unsigned int listCount;
};

class WatchedList : public TList<Tracked> {
public:
    using TList<Tracked>::TList;
    WatchedList(const WatchedList& other) : TList<Tracked>(other) {}
    WatchedList& operator=(const TList<Tracked>& other)
    {
        TList<Tracked>::operator=(other);
        return *this;
    }
    WatchedList& operator=(const WatchedList& other)
    {
        TList<Tracked>::operator=(other);
        return *this;
    }

    std::vector<Note> notes;

protected:
    void ElementAdded(Tracked& element) override { Record(Kind::ElementAdded, &element, 1); }
    void ElementsAdded(Tracked* first, unsigned int count) override { Record(Kind::ElementsAdded, first, count); }
    void ElementRemoved(Tracked& element) override { Record(Kind::ElementRemoved, &element, 1); }
    void ElementsRemoved(Tracked* first, unsigned int count) override { Record(Kind::ElementsRemoved, first, count); }
    void Cleared() override { notes.push_back(Note{Kind::Cleared, nullptr, 0, {}, GetCount()}); }

private:
    void Record(Kind kind, const Tracked* first, unsigned int count)
    {
        Note note{kind, first, count, {}, GetCount()};
        for (unsigned int i = 0; i < count; ++i)
            note.values.push_back(first[i].value);
        notes.push_back(note);
    }
};

inline void Fill(TList<Tracked>& list, std::initializer_list<int> values)
{
    for (int v : values)
        list.Add(Tracked(v));
}

inline std::vector<int> Values(const TList<Tracked>& list)
{
    std::vector<int> values;
    for (unsigned int i = 0; i < list.GetCount(); ++i)
        values.push_back(list[i].value);
    return values;
}

}  // namespace QuorvelTest
