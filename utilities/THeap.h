#ifndef CORVANE_PELLIX_LINTORRA_THEAP_H
#define CORVANE_PELLIX_LINTORRA_THEAP_H

#include "quorvel/utilities/THeapBlock.h"
#include "quorvel/utilities/TLinkUni.h"

namespace Corvane::Pellix::Lintorra {

// An append-only pool that stores its elements in a chain of blocks. Growth
// adds a block instead of reallocating, so the address of an element stays
// valid until the pool is cleared; link records rely on that to point at one
// another. Every block before the current one is full, and elements are
// numbered across the chain in order.
template <class T>
class THeap {
public:
    typedef TLinkUni<THeapBlock<T>*> Node;

    unsigned int m_Count;
    unsigned int m_GrowSize;
    Node* m_First;
    Node* m_Current;

    THeap(unsigned int initialBlockSize = 0, unsigned int growSize = 1000)
        : m_Count(0), m_GrowSize(growSize), m_First(nullptr), m_Current(nullptr) {
        if (initialBlockSize != 0)
            m_First = m_Current = NewNode(initialBlockSize);
    }

    // A copy shares the chain, as assignment does; only one of the two may
    // clear or destroy it.
    THeap(const THeap&) = default;

    ~THeap() { Clear(true); }

    // Deliberately shallow: both pools then share one chain.
    THeap& operator=(const THeap&) = default;

    void Add(const T& value) {
        NextBlock()->Add(value);
        ++m_Count;
    }
    void Add(const T* value) { Add(*value); }

    // Appends an element as T's constructor leaves it (a reused slot would
    // otherwise keep the value from before a Clear(false)).
    T* Add() {
        THeapBlock<T>* block = NextBlock();
        block->Add(T());
        ++m_Count;
        return block->m_Data + (block->m_Count - 1);
    }

    void AddRange(const T* source, unsigned int n) {
        if (m_First == nullptr)
            m_First = m_Current = NewNode(m_GrowSize > n ? m_GrowSize : n);
        if (n == 0)
            return;
        unsigned int remaining = n;
        for (;;) {
            THeapBlock<T>* block = m_Current->m_Value;
            const unsigned int free = block->m_Capacity - block->m_Count;
            if (free >= remaining) {
                block->AddRange(source, remaining);
                m_Count += remaining;
                return;
            }
            block->AddRange(source, free);
            m_Count += free;
            source += free;
            remaining -= free;
            if (m_Current->m_Next != nullptr) {
                m_Current = m_Current->m_Next;
            } else {
                Node* node = NewNode(m_GrowSize > remaining ? m_GrowSize : remaining);
                m_Current->InsertAfter(node);
                m_Current = node;
            }
        }
    }

    T& operator[](unsigned int index) const {
        Node* node = m_First;
        while (index >= node->m_Value->m_Count) {
            index -= node->m_Value->m_Count;
            node = node->m_Next;
        }
        return node->m_Value->m_Data[index];
    }

    unsigned int GetCount() const { return m_Count; }
    T& GetFirst() const { return m_First->m_Value->m_Data[0]; }
    T& GetLast() const { return m_Current->m_Value->m_Data[m_Current->m_Value->m_Count - 1]; }

    // Unlike TList, zero is stored too; the next new block is then unusable.
    void SetGrowSize(unsigned int size) { m_GrowSize = size; }

    // Without freeMemory the blocks stay in the chain, each with its own
    // capacity, and later additions refill them in order.
    void Clear(const bool& freeMemory) {
        if (!freeMemory) {
            for (Node* node = m_First; node != nullptr; node = node->m_Next)
                node->m_Value->Clear(false);
            m_Count = 0;
            m_Current = m_First;
            return;
        }
        for (Node* node = m_First; node != nullptr; node = node->m_Next) {
            delete node->m_Value;
            node->m_Value = nullptr;
        }
        Node::ReleaseMemory(m_First);
        m_First = nullptr;
        m_Current = nullptr;
        m_Count = 0;
    }

private:
    static Node* NewNode(unsigned int capacity) { return new Node(new THeapBlock<T>(capacity)); }

    // The block that takes the next single element: the current one while it
    // has room, then a block kept by Clear(false), then a new one.
    THeapBlock<T>* NextBlock() {
        if (m_First == nullptr)
            m_First = m_Current = NewNode(m_GrowSize);
        if (m_Current->m_Value->m_Count == m_Current->m_Value->m_Capacity) {
            if (m_Current->m_Next != nullptr) {
                m_Current = m_Current->m_Next;
            } else {
                Node* node = NewNode(m_GrowSize);
                m_Current->InsertAfter(node);
                m_Current = node;
            }
        }
        return m_Current->m_Value;
    }
};

}  // namespace Corvane::Pellix::Lintorra

#endif
