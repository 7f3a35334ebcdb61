#ifndef CORVANE_PELLIX_LINTORRA_THEAPBLOCK_H
#define CORVANE_PELLIX_LINTORRA_THEAPBLOCK_H

#include <cstring>

namespace Corvane::Pellix::Lintorra {

// One fixed-capacity block of a THeap. Nothing checks the capacity: the pool
// only writes into a block it knows has room.
template <class T>
class THeapBlock {
public:
    unsigned int m_Capacity;
    unsigned int m_Count;
    T* m_Data;

    explicit THeapBlock(unsigned int capacity) : m_Capacity(capacity), m_Count(0), m_Data(new T[capacity]) { }

    // A copy shares the array, as assignment does; only one of the two may
    // release it.
    THeapBlock(const THeapBlock&) = default;

    ~THeapBlock() {
        m_Count = 0;
        delete[] m_Data;
        m_Capacity = 0;
        m_Data = nullptr;
    }

    THeapBlock& operator=(const THeapBlock&) = default;

    operator T*() { return m_Data; }

    void Add(const T& value) {
        m_Data[m_Count] = value;
        ++m_Count;
    }

    void AddRange(const T* source, unsigned int n) {
        if (n != 0)
            std::memcpy(static_cast<void*>(m_Data + m_Count), static_cast<const void*>(source), n * sizeof(T));
        m_Count += n;
    }

    void Clear(const bool& freeMemory) {
        m_Count = 0;
        if (freeMemory) {
            delete[] m_Data;
            m_Data = nullptr;
            m_Capacity = 0;
        }
    }
};

}  // namespace Corvane::Pellix::Lintorra

#endif
