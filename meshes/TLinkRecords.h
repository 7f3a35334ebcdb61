#ifndef CORVANE_PELLIX_QUORVEL_TLINKRECORDS_H
#define CORVANE_PELLIX_QUORVEL_TLINKRECORDS_H

#include <cstdint>
#include <limits>

#include "quorvel/maths/TVector3.h"
#include "quorvel/utilities/THeap.h"
#include "quorvel/utilities/THeapBlock.h"
#include "quorvel/utilities/TLinkUni.h"
#include "quorvel/utilities/TList.h"

namespace Corvane::Pellix::Quorvel {

// Plain records for graph-style mesh processing, in which vertices, edges and
// faces refer to each other by pointer. They are meant to live in a THeap (or
// a TList that is no longer growing), whose elements never move.

// A vertex that refers to its position elsewhere.
template <class Real>
class TLinkVertex {
public:
    Sarvetta::TVector3<Real>* m_Position;
    unsigned int m_Index;
    // Starts at the largest float, widened, in both precisions.
    Real m_Key;
    bool m_Marked;
    bool m_CompareByKey;

    TLinkVertex()
        : m_Position(nullptr), m_Index(0), m_Key(static_cast<Real>(Sarvetta::LargestFloat)), m_Marked(false),
          m_CompareByKey(false) { }

    // Only the left operand's flag decides whether keys or positions compare.
    bool operator<(const TLinkVertex& other) const {
        if (m_CompareByKey)
            return m_Key < other.m_Key;
        return *m_Position < *other.m_Position;
    }
    bool operator>(const TLinkVertex& other) const {
        if (m_CompareByKey)
            return m_Key > other.m_Key;
        return *m_Position > *other.m_Position;
    }

    // The same vertex: both refer to one position.
    bool operator==(const TLinkVertex& other) const { return m_Position == other.m_Position; }
};

// A directed edge between two link vertices.
template <class Real>
class TLinkEdge {
public:
    TLinkVertex<Real>* m_Start;
    TLinkVertex<Real>* m_End;
    unsigned int m_Data[2];

    TLinkEdge() : m_Start(nullptr), m_End(nullptr), m_Data{0, 0} { }

    // Ends are identified by the position they refer to, in order: an edge
    // and its reverse are unequal.
    bool operator==(const TLinkEdge& other) const {
        return m_Start->m_Position == other.m_Start->m_Position && m_End->m_Position == other.m_End->m_Position;
    }

    // Address order of the start records, which sorts edges by their start
    // vertex as laid out in the pool.
    bool operator<(const TLinkEdge& other) const {
        return reinterpret_cast<std::uintptr_t>(m_Start) < reinterpret_cast<std::uintptr_t>(other.m_Start);
    }
    bool operator>(const TLinkEdge& other) const {
        return reinterpret_cast<std::uintptr_t>(m_Start) > reinterpret_cast<std::uintptr_t>(other.m_Start);
    }
};

// A triangle over three link vertices.
template <class Real>
class TLinkFace {
public:
    unsigned int m_Links[3];
    TLinkVertex<Real>* m_Corners[3];
    Sarvetta::TVector3<Real> m_AreaNormal;
    unsigned int m_Flags;
    int m_Index;

    TLinkFace() : m_Links{0, 0, 0}, m_Corners{nullptr, nullptr, nullptr}, m_AreaNormal(), m_Flags(0), m_Index(-1) { }

    // Unnormalised, so its length is twice the face area.
    void CalculateAreaNormal() {
        const Sarvetta::TVector3<Real>& p0 = *m_Corners[0]->m_Position;
        const Sarvetta::TVector3<Real>& p1 = *m_Corners[1]->m_Position;
        const Sarvetta::TVector3<Real>& p2 = *m_Corners[2]->m_Position;
        m_AreaNormal = (p0 - p1) * (p1 - p2);
    }
};

extern template class TLinkVertex<float>;
extern template class TLinkVertex<double>;
extern template class TLinkEdge<float>;
extern template class TLinkEdge<double>;
extern template class TLinkFace<float>;
extern template class TLinkFace<double>;

}  // namespace Corvane::Pellix::Quorvel

namespace Corvane::Pellix::Lintorra {

extern template class TList<Quorvel::TLinkEdge<float>>;
extern template class TList<Quorvel::TLinkEdge<double>>;
extern template class TList<Quorvel::TLinkVertex<float>>;
extern template class TList<Quorvel::TLinkVertex<double>>;
extern template class THeapBlock<Quorvel::TLinkEdge<float>>;
extern template class THeapBlock<Quorvel::TLinkEdge<double>>;
extern template class THeapBlock<Quorvel::TLinkFace<float>>;
extern template class THeapBlock<Quorvel::TLinkFace<double>>;
extern template class TLinkUni<THeapBlock<Quorvel::TLinkEdge<float>>*>;
extern template class TLinkUni<THeapBlock<Quorvel::TLinkEdge<double>>*>;
extern template class TLinkUni<THeapBlock<Quorvel::TLinkFace<float>>*>;
extern template class TLinkUni<THeapBlock<Quorvel::TLinkFace<double>>*>;
extern template class THeap<Quorvel::TLinkEdge<float>>;
extern template class THeap<Quorvel::TLinkEdge<double>>;
extern template class THeap<Quorvel::TLinkFace<float>>;
extern template class THeap<Quorvel::TLinkFace<double>>;

}  // namespace Corvane::Pellix::Lintorra

#endif
