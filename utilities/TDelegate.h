#ifndef CORVANE_PELLIX_LINTORRA_TDELEGATE_H
#define CORVANE_PELLIX_LINTORRA_TDELEGATE_H

#include "quorvel/utilities/CDelObserver.h"

namespace Corvane::Pellix::Lintorra {

// A member function of an observer, bound to that observer.
template <class Arg>
class TDelegate {
public:
    typedef void (CDelObserver::*Method)(Arg);

    CDelObserver* m_Observer;
    Method m_Method;

    TDelegate() : m_Observer(nullptr), m_Method(nullptr) { }
    TDelegate(CDelObserver* observer, Method method) : m_Observer(observer), m_Method(method) { }

    // Binds a member of a class derived from CDelObserver without a cast at
    // the call site.
    template <class Observer>
    TDelegate(Observer* observer, void (Observer::*method)(Arg))
        : m_Observer(observer), m_Method(static_cast<Method>(method)) { }

    TDelegate(const TDelegate& other) : m_Observer(other.m_Observer), m_Method(other.m_Method) { }

    TDelegate& operator=(const TDelegate&) = default;

    bool operator==(const TDelegate& other) const {
        return m_Method == other.m_Method && m_Observer == other.m_Observer;
    }
    bool operator!=(const TDelegate& other) const { return !(*this == other); }

    void Invoke(Arg argument) const { (m_Observer->*m_Method)(argument); }
};

}  // namespace Corvane::Pellix::Lintorra

#endif
