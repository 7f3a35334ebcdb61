#ifndef CORVANE_PELLIX_LINTORRA_CDELOBSERVER_H
#define CORVANE_PELLIX_LINTORRA_CDELOBSERVER_H

namespace Corvane::Pellix::Lintorra {

// Base of every object that receives events through a TDelegate. Delegates
// hold single-inheritance member-function pointers of this class, so an
// observer derives from it first (or only).
class CDelObserver {
public:
    CDelObserver() = default;
    CDelObserver(const CDelObserver&) = default;
    CDelObserver& operator=(const CDelObserver&) = default;
    virtual ~CDelObserver() = default;
};

}  // namespace Corvane::Pellix::Lintorra

#endif
