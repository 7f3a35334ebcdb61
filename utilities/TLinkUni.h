#ifndef CORVANE_PELLIX_LINTORRA_TLINKUNI_H
#define CORVANE_PELLIX_LINTORRA_TLINKUNI_H

namespace Corvane::Pellix::Lintorra {

// A node of a singly linked chain. A node owns neither its payload nor its
// successor; chains are released explicitly with ReleaseMemory or
// ReleaseMemoryCircular.
template <class V>
class TLinkUni {
public:
    V m_Value;
    TLinkUni* m_Next;

    TLinkUni() : m_Next(nullptr) { }
    explicit TLinkUni(const V& value) : m_Value(value), m_Next(nullptr) { }
    TLinkUni(const TLinkUni& other) : m_Value(other.m_Value), m_Next(other.m_Next) { }
    virtual ~TLinkUni() { }

    TLinkUni& operator=(const TLinkUni&) = default;

    void SetNext(TLinkUni* node) { m_Next = node; }

    virtual void InsertAfter(TLinkUni* node) {
        node->m_Next = m_Next;
        m_Next = node;
    }

    void Add(TLinkUni* node) { GetLast()->m_Next = node; }

    TLinkUni* GetLast() {
        TLinkUni* node = this;
        while (node->m_Next != nullptr)
            node = node->m_Next;
        return node;
    }

    // Stops on returning to this node, so a ring counts each node once.
    unsigned int GetCount() const {
        unsigned int count = 1;
        for (const TLinkUni* node = m_Next; node != nullptr && node != this; node = node->m_Next)
            ++count;
        return count;
    }

    virtual void MakeCircular() { GetLast()->m_Next = this; }

    static void ReleaseMemory(TLinkUni* head) {
        while (head != nullptr) {
            TLinkUni* next = head->m_Next;
            delete head;
            head = next;
        }
    }

    static void ReleaseMemoryCircular(TLinkUni* head) {
        if (head == nullptr)
            return;
        TLinkUni* last = head;
        while (last->m_Next != nullptr && last->m_Next != head)
            last = last->m_Next;
        last->m_Next = nullptr;
        ReleaseMemory(head);
    }
};

}  // namespace Corvane::Pellix::Lintorra

#endif
