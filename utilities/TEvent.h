#ifndef CORVANE_PELLIX_LINTORRA_TEVENT_H
#define CORVANE_PELLIX_LINTORRA_TEVENT_H

#include "quorvel/utilities/TDelegate.h"

namespace Corvane::Pellix::Lintorra {

// A multicast event with two kinds of handler: delegates (observer and
// member function) and plain functions. Firing calls all delegates, then all
// plain functions, each kind in registration order.
//
// The handler arrays are always exactly as long as their counts: every
// registration and removal builds a fresh array, which keeps firing simple
// (a handler that registers another handler during a firing is reached in the
// same firing, because each step rereads the array and its count).
template <class Arg>
class TEvent {
public:
    typedef void (*Function)(Arg);

    TDelegate<Arg>* m_Delegates;
    Function* m_Functions;
    unsigned int m_DelegateCount;
    unsigned int m_FunctionCount;

    TEvent() : m_Delegates(nullptr), m_Functions(nullptr), m_DelegateCount(0), m_FunctionCount(0) { }

    // A copy shares the arrays, as assignment does; only one of the two may
    // release them.
    TEvent(const TEvent&) = default;

    ~TEvent() {
        delete[] m_Delegates;
        delete[] m_Functions;
    }

    // Deliberately shallow: both events share the arrays afterwards.
    TEvent& operator=(const TEvent&) = default;

    // No duplicate check: a handler registered twice runs twice.
    TEvent& operator+=(Function function) {
        Function* functions = new Function[m_FunctionCount + 1];
        for (unsigned int i = 0; i < m_FunctionCount; ++i)
            functions[i] = m_Functions[i];
        functions[m_FunctionCount] = function;
        delete[] m_Functions;
        m_Functions = functions;
        ++m_FunctionCount;
        return *this;
    }

    TEvent& operator+=(const TDelegate<Arg>& delegate) {
        TDelegate<Arg>* delegates = new TDelegate<Arg>[m_DelegateCount + 1];
        for (unsigned int i = 0; i < m_DelegateCount; ++i)
            delegates[i] = m_Delegates[i];
        delegates[m_DelegateCount] = delegate;
        delete[] m_Delegates;
        m_Delegates = delegates;
        ++m_DelegateCount;
        return *this;
    }

    // Removes every equal entry and rebuilds the array even when none matched;
    // with no functions registered it does nothing at all.
    TEvent& operator-=(Function function) {
        if (m_FunctionCount == 0)
            return *this;
        unsigned int kept = 0;
        for (unsigned int i = 0; i < m_FunctionCount; ++i)
            if (m_Functions[i] != function)
                ++kept;
        Function* functions = new Function[kept];
        unsigned int j = 0;
        for (unsigned int i = 0; i < m_FunctionCount; ++i)
            if (m_Functions[i] != function)
                functions[j++] = m_Functions[i];
        delete[] m_Functions;
        m_Functions = functions;
        m_FunctionCount = kept;
        return *this;
    }

    // Unlike the function form, this rebuilds (to a zero-length array) even
    // when no delegate is registered.
    TEvent& operator-=(const TDelegate<Arg>& delegate) {
        unsigned int kept = 0;
        for (unsigned int i = 0; i < m_DelegateCount; ++i)
            if (m_Delegates[i] != delegate)
                ++kept;
        TDelegate<Arg>* delegates = new TDelegate<Arg>[kept];
        unsigned int j = 0;
        for (unsigned int i = 0; i < m_DelegateCount; ++i)
            if (m_Delegates[i] != delegate)
                delegates[j++] = m_Delegates[i];
        delete[] m_Delegates;
        m_Delegates = delegates;
        m_DelegateCount = kept;
        return *this;
    }

    void Fire(Arg argument) {
        for (unsigned int i = 0; i < m_DelegateCount; ++i) {
            CDelObserver* observer = m_Delegates[i].m_Observer;
            typename TDelegate<Arg>::Method method = m_Delegates[i].m_Method;
            (observer->*method)(argument);
        }
        for (unsigned int i = 0; i < m_FunctionCount; ++i)
            m_Functions[i](argument);
    }

    void operator()(Arg argument) { Fire(argument); }
    void operator()() { Fire(Arg()); }
};

}  // namespace Corvane::Pellix::Lintorra

#endif
