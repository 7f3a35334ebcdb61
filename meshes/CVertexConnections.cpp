#include "quorvel/meshes/CVertexConnections.h"

#include <new>

namespace Corvane::Pellix::Quorvel {

using Base = TList<TList<unsigned int>*>;

CVertexConnections::CVertexConnections() : Base(0u, 1000u) { }

CVertexConnections::CVertexConnections(CVertexConnections& other) : Base(other) { }

CVertexConnections::~CVertexConnections() {
    Clear();
}

CVertexConnections& CVertexConnections::operator=(const CVertexConnections& other) {
    Clear();
    const unsigned int count = other.GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        TList<unsigned int>& source = other[v];
        auto* copy = new (std::nothrow) TList<unsigned int>(source.GetCount(), source.GetGrowSize());
        if (copy)
            copy->AddRange(source.GetStream(), source.GetCount());
        Base::Add(copy);
    }
    return *this;
}

namespace {

// The capacity that appending `count` entries one at a time to an empty list
// reaches: every growth step happens on a full array, so it adds the grow
// size (at least one slot), or the whole capacity when doubling is on and
// that is more.
unsigned int CapacityAfterAppends(unsigned int capacity, unsigned int count, unsigned int growSize, bool exponential) {
    while (capacity < count) {
        unsigned int increment = growSize > 1 ? growSize : 1;
        if (exponential && increment <= capacity)
            increment = capacity;
        capacity += increment;
    }
    return capacity;
}

}  // namespace

void CVertexConnections::Allocate(unsigned int count, unsigned int growSize) {
    Clear();
    // Appending list by list would regrow the pointer array every grow-size
    // slots, quadratic on large meshes. The array is instead sized once, to
    // exactly the capacity those appends would leave, so the table ends as
    // the one-element adds make it; with the table empty nothing is copied.
    const unsigned int capacity = CapacityAfterAppends(m_Capacity, count, m_GrowSize, m_UseExponentialGrowth);
    if (capacity > m_Capacity) {
        TList<unsigned int>** data = new TList<unsigned int>*[capacity];
        delete[] m_Data;
        m_Data = data;
        m_Capacity = capacity;
    }
    for (unsigned int v = 0; v < count; ++v)
        Add(growSize);
}

void CVertexConnections::Add(unsigned int growSize) {
    // A failed allocation stores null, which Clear skips.
    Base::Add(new (std::nothrow) TList<unsigned int>(0u, growSize));
}

void CVertexConnections::Update(unsigned int vertex, unsigned int oldValue, unsigned int newValue) {
    TList<unsigned int>& list = (*this)[vertex];
    const unsigned int count = list.GetCount();
    for (unsigned int i = 0; i < count; ++i) {
        if (list[i] == oldValue) {
            list[i] = newValue;
            return;
        }
    }
}

void CVertexConnections::Clear() {
    TList<unsigned int>** lists = GetStream();
    const unsigned int count = GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        delete lists[v];
        lists[v] = nullptr;
    }
    // Clearing without releasing the pointer array gives exactly the
    // ElementsRemoved-then-Cleared sequence and keeps the capacity.
    Base::Clear(false);
}

}  // namespace Corvane::Pellix::Quorvel
