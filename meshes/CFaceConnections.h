#pragma once

namespace Corvane::Pellix::Quorvel {

// The faces across the three edges of one face: neighbour k lies across the
// edge from corner k to corner (k + 1) mod 3. Always 32-bit, whatever the
// mesh's index type.
class CFaceConnections {
public:
    static constexpr unsigned int None = 0xFFFFFFFFu;

    unsigned int m_Neighbours[3];

    CFaceConnections(unsigned int n0 = None, unsigned int n1 = None, unsigned int n2 = None)
        : m_Neighbours{n0, n1, n2} { }

    bool operator==(const CFaceConnections& o) const {
        return m_Neighbours[0] == o.m_Neighbours[0] && m_Neighbours[1] == o.m_Neighbours[1] &&
               m_Neighbours[2] == o.m_Neighbours[2];
    }
    // Neighbour triples have no order; these constants keep a list of them
    // usable with the list's sort and search without pretending otherwise.
    bool operator<(const CFaceConnections&) const { return true; }
    bool operator>(const CFaceConnections&) const { return false; }

    operator unsigned int*() { return m_Neighbours; }
    operator const unsigned int*() const { return m_Neighbours; }

    void Update(unsigned int oldFace, unsigned int newFace) {
        for (int i = 0; i < 3; ++i) {
            if (m_Neighbours[i] == oldFace) {
                m_Neighbours[i] = newFace;
                return;
            }
        }
    }
};

}  // namespace Corvane::Pellix::Quorvel
