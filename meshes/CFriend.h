#ifndef CORVANE_PELLIX_QUORVEL_CFRIEND_H
#define CORVANE_PELLIX_QUORVEL_CFRIEND_H

#include "quorvel/utilities/TDelegate.h"
#include "quorvel/utilities/TEvent.h"

namespace Corvane::Pellix::Quorvel {

// The record a face walk hands to each handler of the mesh's friend event.
// The walk sets m_Face and clears m_AddNeighbours before offering every face,
// so the constructor leaves those two alone.
class CFriend {
public:
    unsigned int m_Face;
    bool m_AddNeighbours;  // set by a handler to spread the walk across this face's edges
    bool m_Continue;  // cleared by a handler to end the walk
    void* m_UserData;  // the caller's pointer, passed through unchanged

    CFriend() : m_Continue(true), m_UserData(nullptr) { }
    CFriend(const CFriend&) = default;
    CFriend& operator=(const CFriend&) = default;
    ~CFriend() { }
};

}  // namespace Corvane::Pellix::Quorvel

namespace Corvane::Pellix::Lintorra {

extern template class TDelegate<Quorvel::CFriend*>;
extern template class TEvent<Quorvel::CFriend*>;

}  // namespace Corvane::Pellix::Lintorra

#endif
