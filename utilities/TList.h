#ifndef CORVANE_PELLIX_LINTORRA_TLIST_H
#define CORVANE_PELLIX_LINTORRA_TLIST_H

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <type_traits>

namespace Corvane::Pellix::Lintorra {

// A contiguous, growable array. Elements are relocated with plain byte copies
// (growth, insertion, removal, sorting), so T must be relocatable that way;
// only single values passed to Add and Insert are copied by assignment.
//
// Derived classes watch every change through the five protected notifications,
// which are empty here. Which operations notify, and with what, is part of the
// contract and deliberately uneven: order-breaking removals are silent,
// removals that empty the list report Cleared() instead of the removed run,
// and InsertRange reports the caller's source pointer rather than the new slots.
template <class T>
class TList {
public:
    TList(unsigned int initialCapacity = 0, unsigned int growSize = 1000)
        : m_Data(nullptr), m_Count(0), m_GrowSize(growSize), m_Capacity(initialCapacity),
          m_UseExponentialGrowth(false) {
        if (initialCapacity != 0)
            m_Data = new T[initialCapacity];
    }

    // Unlike assignment, a copy keeps the capacity the growth rule gave it.
    TList(const TList& other)
        : m_Data(nullptr), m_Count(0), m_GrowSize(other.m_GrowSize), m_Capacity(0), m_UseExponentialGrowth(false) {
        AddRangeInternal(other.m_Data, other.m_Count);
    }

    // A template for the same reason as the pointer forms of Add below: so
    // that TList(0, 1000) means a capacity and a grow size, not a null list.
    template <class L, class = std::enable_if_t<std::is_base_of<TList, L>::value>>
    TList(const L* other, unsigned int growSize)
        : m_Data(nullptr), m_Count(0), m_GrowSize(growSize), m_Capacity(0), m_UseExponentialGrowth(false) {
        AddRangeInternal(other->m_Data, other->m_Count);
    }

    TList(const T* source, unsigned int count, unsigned int growSize)
        : m_Data(nullptr), m_Count(0), m_GrowSize(growSize), m_Capacity(0), m_UseExponentialGrowth(false) {
        AddRangeInternal(source, count);
    }

    virtual ~TList() { delete[] m_Data; }

    // There is deliberately no self check: the source count is read only after
    // this list was emptied, so assigning a list to itself leaves it empty.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
    TList& operator=(const TList& other) {
        m_GrowSize = other.m_GrowSize;
        if (m_Data != nullptr) {
            ElementsRemoved(m_Data, m_Count);
            m_Count = 0;
        }
        Cleared();
        AddRangeInternal(other.m_Data, other.m_Count);
        Contract();
        return *this;
    }

    T& operator[](unsigned int index) const { return m_Data[index]; }
    T& GetFirst() const { return *m_Data; }
    T* GetStream() const { return m_Data; }
    T& GetLast() const { return m_Data[m_Count - 1]; }
    unsigned int GetCount() const { return m_Count; }
    unsigned int GetGrowSize() const { return m_GrowSize; }
    unsigned int GetCapacity() const { return m_Capacity; }
    bool GetUseExponentialGrowth() const { return m_UseExponentialGrowth; }

    // A zero grow size can only be given at construction.
    void SetGrowSize(unsigned int size) {
        if (size != 0)
            m_GrowSize = size;
    }
    void SetUseExponentialGrowth(bool on) { m_UseExponentialGrowth = on; }

    // The pointer forms of Add, AddUnique, Insert and Remove accept only
    // genuine pointers. As plain overloads they would make a literal 0 given
    // to a list of unsigned values ambiguous between the value 0 and a null
    // pointer; as templates they cannot be deduced from an integer, so such a
    // call means the value.
    void Add(const T& value) { AddFrom(&value); }
    template <class P, class = std::enable_if_t<std::is_convertible<P*, const T*>::value>>
    void Add(P* value) {
        AddFrom(value);
    }

    void AddUnique(const T& value) { AddUniqueFrom(&value); }
    template <class P, class = std::enable_if_t<std::is_convertible<P*, const T*>::value>>
    void AddUnique(P* value) {
        AddUniqueFrom(value);
    }

    void AddRange(const T* source, unsigned int n) { AddRangeInternal(source, n); }
    void AddRange(const TList& other) { AddRangeInternal(other.m_Data, other.m_Count); }

    void Insert(const T& value, unsigned int index) { InsertFrom(&value, index); }
    template <class P, class = std::enable_if_t<std::is_convertible<P*, const T*>::value>>
    void Insert(P* value, unsigned int index) {
        InsertFrom(value, index);
    }

    // The notification receives the caller's source pointer, not the new slots.
    void InsertRange(const T* source, unsigned int n, unsigned int index) {
        T* released = GrowKeepingOld(n);
        std::memmove(static_cast<void*>(m_Data + index + n), static_cast<const void*>(m_Data + index),
                     (m_Count - index) * sizeof(T));
        if (n != 0)
            std::memcpy(static_cast<void*>(m_Data + index), static_cast<const void*>(source), n * sizeof(T));
        m_Count += n;
        ElementsAdded(const_cast<T*>(source), n);
        delete[] released;
    }
    void InsertRange(const TList& other, unsigned int index) { InsertRange(other.m_Data, other.m_Count, index); }

    // New slots keep whatever the array holds there; no notification.
    void Expand(unsigned int newCount) {
        if (newCount > m_Count) {
            if (newCount > m_Capacity)
                Grow(newCount - m_Count);
            m_Count = newCount;
        }
    }

    // Matches by address, not by value.
    template <class P, class = std::enable_if_t<std::is_convertible<P*, const T*>::value>>
    void Remove(P* element, bool preserveOrder) {
        RemoveAddress(element, preserveOrder);
    }
    void Remove(const T& value, bool preserveOrder) {
        for (unsigned int i = 0; i < m_Count; ++i) {
            if (m_Data[i] == value) {
                RemoveAt(i, preserveOrder);
                return;
            }
        }
    }

    // The order-breaking branch is deliberately silent; a derived class that
    // tracks its elements sees removals only through the order-keeping form,
    // which reports the element while it still stands at its index (with the
    // count already reduced).
    void RemoveAt(unsigned int index, bool preserveOrder) {
        if (!preserveOrder) {
            std::memmove(static_cast<void*>(m_Data + index), static_cast<const void*>(m_Data + m_Count - 1), sizeof(T));
            --m_Count;
        } else {
            --m_Count;
            ElementRemoved(m_Data[index]);
            std::memmove(static_cast<void*>(m_Data + index), static_cast<const void*>(m_Data + index + 1),
                         (m_Count - index) * sizeof(T));
        }
    }

    // Removing everything reports Cleared() and not the removed run.
    void RemoveFromEnd(unsigned int n) {
        if (n < m_Count) {
            m_Count -= n;
            ElementsRemoved(m_Data + m_Count, n);
        } else {
            m_Count = 0;
            Cleared();
        }
    }

    void RemoveFromFront(unsigned int n) {
        if (n < m_Count) {
            m_Count -= n;
            ElementsRemoved(m_Data, n);
            std::memmove(static_cast<void*>(m_Data), static_cast<const void*>(m_Data + n), m_Count * sizeof(T));
        } else {
            m_Count = 0;
            Cleared();
        }
    }

    void Clear(bool freeMemory) {
        if (m_Data != nullptr) {
            ElementsRemoved(m_Data, m_Count);
            if (freeMemory) {
                delete[] m_Data;
                m_Data = nullptr;
                m_Capacity = 0;
            }
        }
        m_Count = 0;
        Cleared();
    }

    void Grow(unsigned int n) { delete[] GrowKeepingOld(n); }

    // An empty list contracts to a zero-length array, not to null.
    void Contract() {
        if (m_Capacity > m_Count) {
            T* data = new T[m_Count];
            if (m_Count != 0)
                std::memcpy(static_cast<void*>(data), static_cast<const void*>(m_Data), m_Count * sizeof(T));
            delete[] m_Data;
            m_Data = data;
            m_Capacity = m_Count;
        }
    }

    // The swap count is half the count taken in single precision, so above
    // 2^24 elements it follows the float rounding of the count.
    void Reverse() {
        const unsigned int swaps = static_cast<unsigned int>(static_cast<float>(m_Count) * 0.5f);
        for (unsigned int i = 0; i < swaps; ++i) {
            alignas(T) unsigned char held[sizeof(T)];
            void* a = static_cast<void*>(m_Data + i);
            void* b = static_cast<void*>(m_Data + (m_Count - 1 - i));
            std::memcpy(held, a, sizeof(T));
            std::memcpy(a, b, sizeof(T));
            std::memcpy(b, held, sizeof(T));
        }
    }

    int Search(const T& value) const {
        for (unsigned int i = 0; i < m_Count; ++i)
            if (m_Data[i] == value)
                return static_cast<int>(i);
        return -1;
    }

    void Sort() { Sort(&CompareElements); }
    void SortDescending() { Sort(&CompareElementsDesc); }
    void Sort(int (*compare)(const void*, const void*)) {
        if (m_Count > 1)
            std::qsort(static_cast<void*>(m_Data), m_Count, sizeof(T), compare);
    }

    // On a list sorted ascending. true with low == high: found at that index;
    // true with high == low + 1: absent but bracketed by those two elements;
    // false: absent and outside the list's range (or the list holds fewer than
    // two elements and the value is not its element). With expandToEqualRun
    // the result widens to the whole run of equal elements.
    bool BinarySearch(const T& value, T** lowElement, T** highElement, unsigned int* lowIndex, unsigned int* highIndex,
                      bool expandToEqualRun) const {
        *lowElement = nullptr;
        *highElement = nullptr;
        auto result = [&](unsigned int low, unsigned int high) {
            *lowIndex = low;
            *highIndex = high;
            *lowElement = m_Data + low;
            *highElement = m_Data + high;
        };

        if (m_Count == 0)
            return false;
        if (m_Count == 1) {
            if (!Equal(m_Data[0], value))
                return false;
            result(0, 0);
            return true;
        }
        if (m_Count == 2) {
            // Two elements are settled directly and never widened to a run.
            if (m_Data[0] > value)
                return false;
            if (Equal(m_Data[0], value)) {
                result(0, 0);
                return true;
            }
            if (m_Data[1] < value)
                return false;
            if (Equal(m_Data[1], value)) {
                result(1, 1);
                return true;
            }
            result(0, 1);
            return true;
        }

        unsigned int lo = 0;
        unsigned int hi = m_Count;
        unsigned int mid = m_Count / 2;
        for (;;) {
            if (mid == m_Count - 1)
                return false;
            if (Equal(value, m_Data[mid])) {
                result(mid, mid);
                break;
            }
            if (value < m_Data[mid]) {
                if (value > m_Data[mid - 1]) {
                    result(mid - 1, mid);
                    break;
                }
                if (Equal(value, m_Data[mid - 1])) {
                    result(mid - 1, mid - 1);
                    break;
                }
                hi = mid;
            } else if (value > m_Data[mid]) {
                if (value < m_Data[mid + 1]) {
                    result(mid, mid + 1);
                    break;
                }
                if (Equal(value, m_Data[mid + 1])) {
                    result(mid + 1, mid + 1);
                    break;
                }
                lo = mid;
            }
            mid = lo + (hi - lo) / 2;
            if (mid == 0)
                return false;
        }
        if (!expandToEqualRun)
            return true;

        while (*lowIndex > 0 && Equal(m_Data[*lowIndex - 1], value))
            --*lowIndex;
        while (*highIndex + 1 < m_Count && Equal(m_Data[*highIndex + 1], value))
            ++*highIndex;
        *lowElement = m_Data + *lowIndex;
        *highElement = m_Data + *highIndex;
        return true;
    }

    bool BinarySearch(const T& value, unsigned int* lowIndex, unsigned int* highIndex, bool expandToEqualRun) const {
        T* lowElement;
        T* highElement;
        return BinarySearch(value, &lowElement, &highElement, lowIndex, highIndex, expandToEqualRun);
    }

    // true only when the value is present; when it is merely bracketed the
    // result is false but element and index already name the lower neighbour.
    bool BinarySearch(const T& value, T** element, unsigned int* index) const {
        T* highElement;
        unsigned int highIndex;
        return BinarySearch(value, element, &highElement, index, &highIndex, false) && *index == highIndex;
    }

    bool BinarySearch(const T& value, unsigned int* index) const {
        T* element;
        return BinarySearch(value, &element, index);
    }

protected:
    virtual void ElementAdded(T& /*element*/) { }
    virtual void ElementsAdded(T* /*first*/, unsigned int /*count*/) { }
    virtual void ElementRemoved(T& /*element*/) { }
    virtual void ElementsRemoved(T* /*first*/, unsigned int /*count*/) { }
    virtual void Cleared() { }

    T* m_Data;
    unsigned int m_Count;
    unsigned int m_GrowSize;
    unsigned int m_Capacity;
    bool m_UseExponentialGrowth;

private:
    void AddFrom(const T* value) {
        // The old array outlives the assignment, so a value taken from this
        // very list stays readable when the list has to grow for it.
        T* released = GrowKeepingOld(1);
        m_Data[m_Count] = *value;
        ++m_Count;
        delete[] released;
        ElementAdded(m_Data[m_Count - 1]);
    }

    void AddUniqueFrom(const T* value) {
        for (unsigned int i = 0; i < m_Count; ++i)
            if (m_Data[i] == *value)
                return;
        AddFrom(value);
    }

    void InsertFrom(const T* value, unsigned int index) {
        // A value that is an element of this list moves with the shift below.
        const bool aliased = Holds(value);
        const std::size_t offset = aliased ? static_cast<std::size_t>(value - m_Data) : 0;
        T* released = GrowKeepingOld(1);
        std::memmove(static_cast<void*>(m_Data + index + 1), static_cast<const void*>(m_Data + index),
                     (m_Count - index) * sizeof(T));
        if (aliased)
            value = m_Data + offset + (offset >= index ? 1 : 0);
        m_Data[index] = *value;
        ++m_Count;
        delete[] released;
        ElementAdded(m_Data[index]);
    }

    void RemoveAddress(const T* element, bool preserveOrder) {
        for (unsigned int i = 0; i < m_Count; ++i) {
            if (m_Data + i == element) {
                RemoveAt(i, preserveOrder);
                return;
            }
        }
    }

    // The run is reported even when it is empty.
    void AddRangeInternal(const T* source, unsigned int n) {
        T* released = GrowKeepingOld(n);
        if (n != 0)
            std::memcpy(static_cast<void*>(m_Data + m_Count), static_cast<const void*>(source), n * sizeof(T));
        m_Count += n;
        delete[] released;
        // From the constructors this reaches TList's own hook, which does
        // nothing: a derived list is not built yet and has nothing to update.
        ElementsAdded(m_Data + (m_Count - n), n);  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    }

    // The growth step, except that the replaced array is handed back instead of
    // released, so that callers copying from this very list can finish first.
    // On allocation failure the list is left as it was.
    T* GrowKeepingOld(unsigned int n) {
        if (m_Capacity >= m_Count + n)
            return nullptr;
        unsigned int increment = m_Count + n - m_Capacity;
        if (increment < m_GrowSize)
            increment = m_GrowSize;
        if (m_UseExponentialGrowth && increment <= m_Capacity)
            increment = m_Capacity;
        T* data = new T[m_Capacity + increment];
        if (m_Count != 0)
            std::memcpy(static_cast<void*>(data), static_cast<const void*>(m_Data), m_Count * sizeof(T));
        T* old = m_Data;
        m_Data = data;
        m_Capacity += increment;
        return old;
    }

    bool Holds(const T* element) const {
        std::less<const T*> before;
        return m_Data != nullptr && !before(element, m_Data) && before(element, m_Data + m_Count);
    }

    static bool Equal(const T& a, const T& b) { return !(a < b) && !(a > b); }

    static int CompareElements(const void* a, const void* b) {
        const T& x = *static_cast<const T*>(a);
        const T& y = *static_cast<const T*>(b);
        if (x < y)
            return -1;
        if (x > y)
            return 1;
        return 0;
    }

    static int CompareElementsDesc(const void* a, const void* b) {
        const T& x = *static_cast<const T*>(a);
        const T& y = *static_cast<const T*>(b);
        if (x > y)
            return -1;
        if (x < y)
            return 1;
        return 0;
    }
};

extern template class TList<unsigned int>;
extern template class TList<int>;
extern template class TList<TList<unsigned int>*>;

}  // namespace Corvane::Pellix::Lintorra

#endif
