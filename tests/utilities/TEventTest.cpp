#include <gtest/gtest.h>

#include <string>

#include "quorvel/meshes/CFriend.h"
#include "quorvel/utilities/CDelObserver.h"
#include "quorvel/utilities/TDelegate.h"
#include "quorvel/utilities/TEvent.h"

namespace QuorvelTest {
namespace {

using Corvane::Pellix::Lintorra::CDelObserver;
using Corvane::Pellix::Lintorra::TDelegate;
using Corvane::Pellix::Lintorra::TEvent;
using Corvane::Pellix::Quorvel::CFriend;

typedef TEvent<CFriend*> FriendEvent;
typedef TDelegate<CFriend*> FriendDelegate;

// Every handler appends "<name><face> " (face "-" for none) to one log.
std::string calls;

void Record(const std::string& name, CFriend* item) {
    calls += name + (item != nullptr ? std::to_string(item->m_Face) : std::string("-")) + " ";
}
void FunctionA(CFriend* item) {
    Record("a", item);
}
void FunctionB(CFriend* item) {
    Record("b", item);
}

// Observers log under their name; a registrar, on its first call, also
// registers a plain function and a second delegate of its own.
class Observer : public CDelObserver {
public:
    Observer(const std::string& name, FriendEvent* registrar = nullptr) : m_Name(name), m_Registrar(registrar) { }
    void OnFriend(CFriend* item) {
        Record(m_Name, item);
        if (m_Registrar != nullptr) {
            *m_Registrar += &FunctionB;
            *m_Registrar += FriendDelegate(this, &Observer::OnFriend);
            m_Registrar = nullptr;
        }
    }
    void OnOther(CFriend* item) { Record(m_Name + "'", item); }
    std::string m_Name;
    FriendEvent* m_Registrar;
};

class EventTest : public ::testing::Test {
protected:
    void SetUp() override {
        calls.clear();
        item.m_Face = 7;
    }
    CFriend item;
    Observer first{"o"}, second{"p"};
};

TEST_F(EventTest, RemovalDropsEveryEqualHandlerAndFiringReachesWhatIsLeft) {
    // Delegates are equal only for the same observer and the same method.
    const FriendDelegate firstOnFriend(&first, &Observer::OnFriend);
    FriendEvent event;
    for (auto function : {&FunctionA, &FunctionB, &FunctionA, &FunctionA})
        event += function;
    for (const FriendDelegate& d : {firstOnFriend, FriendDelegate(&second, &Observer::OnFriend),
                                    FriendDelegate(&first, &Observer::OnOther), firstOnFriend})
        event += d;
    event -= &FunctionA;
    event -= FriendDelegate(&first, &Observer::OnFriend);
    event.Fire(&item);
    EXPECT_EQ(calls, "p7 o'7 b7 ");

    // Removing an unknown handler keeps the contents but rebuilds the array;
    // removing the last function leaves an empty array behind.
    const FriendDelegate* before = event.m_Delegates;
    event -= firstOnFriend;
    event -= &FunctionB;
    EXPECT_TRUE(event.m_Delegates != before && event.m_Functions != nullptr);

    // With nothing registered, removing a delegate still leaves a
    // zero-length array, while removing a function leaves nothing behind;
    // firing then reaches only what is left.
    FriendEvent empty;
    empty -= &FunctionA;
    EXPECT_EQ(empty.m_Functions, nullptr);
    empty -= firstOnFriend;
    EXPECT_NE(empty.m_Delegates, nullptr);
    calls.clear();
    empty.Fire(&item);
    event.Fire(&item);
    event();
    EXPECT_EQ(calls, "p7 o'7 p- o'- ");
}

TEST_F(EventTest, HandlersAddedWhileFiringRunInTheSameFiringAndAssignmentShares) {
    FriendEvent event, alias;
    Observer registrar("r", &event);
    event += &FunctionA;
    event += FriendDelegate(&registrar, &Observer::OnFriend);
    event.Fire(&item);
    EXPECT_EQ(calls, "r7 r7 a7 b7 ");

    // Assignment and copying share the arrays instead of duplicating them,
    // so the aliases must let go of them before they are destroyed.
    alias = event;
    FriendEvent copy(event);
    for (const FriendEvent* shared : {&alias, &copy})
        EXPECT_TRUE(shared->m_Delegates == event.m_Delegates && shared->m_Functions == event.m_Functions &&
                    shared->m_FunctionCount == 2u);
    alias.m_Delegates = copy.m_Delegates = nullptr;
    alias.m_Functions = copy.m_Functions = nullptr;
}

}  // namespace
}  // namespace QuorvelTest
