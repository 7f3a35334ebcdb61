#pragma once

namespace Corvane::Pellix::Quorvel {

// A triangle as three vertex indices; the corner order is its winding and
// edge k runs from corner k to corner (k + 1) mod 3.
template <typename Index>
class TFace {
public:
    Index m_Corners[3];

    TFace() : m_Corners{0, 0, 0} { }
    TFace(Index i, Index j, Index k) : m_Corners{i, j, k} { }

    bool operator==(const TFace& o) const {
        return m_Corners[0] == o.m_Corners[0] && m_Corners[1] == o.m_Corners[1] && m_Corners[2] == o.m_Corners[2];
    }
    bool operator<(const TFace& o) const {
        for (int i = 0; i < 3; ++i)
            if (m_Corners[i] != o.m_Corners[i])
                return m_Corners[i] < o.m_Corners[i];
        return false;
    }
    bool operator>(const TFace& o) const { return o < *this; }

    operator Index*() { return m_Corners; }
    operator const Index*() const { return m_Corners; }

    // Replaces only the first matching corner. The comparison is made on the
    // widened corner, so a 16-bit face never matches an index above 65535.
    void Update(unsigned int oldIndex, unsigned int newIndex) {
        for (int i = 0; i < 3; ++i) {
            if (static_cast<unsigned int>(m_Corners[i]) == oldIndex) {
                m_Corners[i] = static_cast<Index>(newIndex);
                return;
            }
        }
    }
};

extern template class TFace<unsigned short>;
extern template class TFace<unsigned int>;

}  // namespace Corvane::Pellix::Quorvel
