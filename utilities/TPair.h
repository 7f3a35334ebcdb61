#ifndef CORVANE_PELLIX_LINTORRA_TPAIR_H
#define CORVANE_PELLIX_LINTORRA_TPAIR_H

#include "quorvel/utilities/TList.h"

namespace Corvane::Pellix::Lintorra {

// A value with a payload. Ordering falls back on the payload for equal
// values, so a sorted list of (score, index) pairs comes out the same
// whatever order qsort leaves equal keys in.
template <class A, class B>
class TPair {
public:
    A m_Value;
    B m_Payload;

    TPair() : m_Value(), m_Payload() { }
    TPair(const A& value, const B& payload) : m_Value(value), m_Payload(payload) { }

    bool operator<(const TPair& other) const {
        if (m_Value < other.m_Value)
            return true;
        if (m_Value > other.m_Value)
            return false;
        return m_Payload < other.m_Payload;
    }

    bool operator>(const TPair& other) const {
        if (m_Value > other.m_Value)
            return true;
        if (m_Value < other.m_Value)
            return false;
        return m_Payload > other.m_Payload;
    }

    bool operator==(const TPair& other) const { return m_Value == other.m_Value && m_Payload == other.m_Payload; }
};

extern template class TList<TPair<float, unsigned int>>;
extern template class TList<TPair<double, unsigned int>>;

}  // namespace Corvane::Pellix::Lintorra

#endif
