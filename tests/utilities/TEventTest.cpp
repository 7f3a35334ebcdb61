#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meshes/CFriend.h"
#include "utilities/CDelObserver.h"
#include "utilities/TDelegate.h"
#include "utilities/TEvent.h"

namespace QuorvelTest {
namespace {

using Corvane::Pellix::Lintorra::CDelObserver;
using Corvane::Pellix::Lintorra::TDelegate;
using Corvane::Pellix::Lintorra::TEvent;
using Corvane::Pellix::Quorvel::CFriend;

typedef TEvent<CFriend*> FriendEvent;
typedef TDelegate<CFriend*> FriendDelegate;

// Every handler appends "<name>:<face>" (or "<name>:null") to one log.
std::vector<std::string> calls;

void Record(const std::string& name, CFriend* item)
{
    calls.push_back(name + ":" + (item != nullptr ? std::to_string(item->m_Face) : std::string("null")));
}

void FunctionA(CFriend* item) { Record("fA", item); }
void FunctionB(CFriend* item) { Record("fB", item); }

class Observer : public CDelObserver {
public:
    explicit Observer(const std::string& name) : m_Name(name) {}
    void OnFriend(CFriend* item) { Record(m_Name, item); }
    void OnOther(CFriend* item) { Record(m_Name + "'", item); }

    std::string m_Name;
};

class EventTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        calls.clear();
        item.m_Face = 7;
    }

    CFriend item;
    Observer first{"o1"};
    Observer second{"o2"};
};

TEST_F(EventTest, DelegatesRunBeforeFunctionsInRegistrationOrder)
{
    FriendEvent event;
    event.Fire(&item);
    EXPECT_TRUE(calls.empty());

    event += &FunctionA;
    event += FriendDelegate(&first, &Observer::OnFriend);
    event += &FunctionB;
    event += FriendDelegate(&second, &Observer::OnFriend);
    event += &FunctionA;
    event.Fire(&item);
    EXPECT_EQ(calls, (std::vector<std::string>{"o1:7", "o2:7", "fA:7", "fB:7", "fA:7"}));
    EXPECT_EQ(event.m_DelegateCount, 2u);
    EXPECT_EQ(event.m_FunctionCount, 3u);

    calls.clear();
    event();
    event(&item);
    EXPECT_EQ(calls, (std::vector<std::string>{"o1:null", "o2:null", "fA:null", "fB:null", "fA:null", "o1:7", "o2:7",
                                                "fA:7", "fB:7", "fA:7"}));

    // The friend record starts ready for a walk: continue, no user data.
    const CFriend fresh;
    EXPECT_TRUE(fresh.m_Continue);
    EXPECT_EQ(fresh.m_UserData, nullptr);
}

TEST_F(EventTest, RemovalDropsEveryEqualHandler)
{
    const FriendDelegate firstOnFriend(&first, &Observer::OnFriend);
    const FriendDelegate secondOnFriend(&second, &Observer::OnFriend);
    const FriendDelegate firstOnOther(&first, &Observer::OnOther);
    EXPECT_TRUE(firstOnFriend != secondOnFriend);
    EXPECT_TRUE(firstOnFriend != firstOnOther);
    EXPECT_TRUE(firstOnFriend == FriendDelegate(&first, &Observer::OnFriend));
    EXPECT_TRUE(FriendDelegate() == FriendDelegate(nullptr, nullptr));

    FriendEvent event;
    event += &FunctionA;
    event += &FunctionB;
    event += &FunctionA;
    event += &FunctionA;
    event += firstOnFriend;
    event += secondOnFriend;
    event += firstOnOther;
    event += firstOnFriend;

    event -= &FunctionA;
    event -= firstOnFriend;
    event.Fire(&item);
    EXPECT_EQ(calls, (std::vector<std::string>{"o2:7", "o1':7", "fB:7"}));
    EXPECT_EQ(event.m_FunctionCount, 1u);
    EXPECT_EQ(event.m_DelegateCount, 2u);

    // Removing an unknown handler keeps the contents but rebuilds the array.
    const FriendDelegate* before = event.m_Delegates;
    event -= FriendDelegate(&first, &Observer::OnFriend);
    EXPECT_NE(event.m_Delegates, before);
    EXPECT_EQ(event.m_DelegateCount, 2u);
    event -= &FunctionB;
    EXPECT_EQ(event.m_FunctionCount, 0u);
    EXPECT_NE(event.m_Functions, nullptr);

    // With nothing registered, removing a delegate still leaves a
    // zero-length array, while removing a function leaves nothing behind.
    FriendEvent empty;
    empty -= &FunctionA;
    EXPECT_EQ(empty.m_Functions, nullptr);
    empty -= firstOnFriend;
    EXPECT_NE(empty.m_Delegates, nullptr);
    EXPECT_EQ(empty.m_DelegateCount, 0u);
    empty.Fire(&item);
    calls.clear();
    event.Fire(&item);
    EXPECT_EQ(calls, (std::vector<std::string>{"o2:7", "o1':7"}));
}

// On its first call registers a plain function and a second delegate.
class Registrar : public CDelObserver {
public:
    explicit Registrar(FriendEvent* event) : m_Event(event) {}
    void OnFriend(CFriend* item)
    {
        Record("reg", item);
        if (!m_Done) {
            m_Done = true;
            *m_Event += &FunctionB;
            *m_Event += FriendDelegate(this, &Registrar::OnFriend);
        }
    }

    FriendEvent* m_Event;
    bool m_Done = false;
};

TEST_F(EventTest, HandlersAddedWhileFiringRunInTheSameFiring)
{
    FriendEvent event;
    Registrar registrar(&event);
    event += &FunctionA;
    event += FriendDelegate(&registrar, &Registrar::OnFriend);
    event.Fire(&item);
    EXPECT_EQ(calls, (std::vector<std::string>{"reg:7", "reg:7", "fA:7", "fB:7"}));

    // Assignment shares the arrays instead of copying them.
    FriendEvent alias;
    alias = event;
    EXPECT_EQ(alias.m_Delegates, event.m_Delegates);
    EXPECT_EQ(alias.m_Functions, event.m_Functions);
    EXPECT_EQ(alias.m_FunctionCount, 2u);
    alias.m_Delegates = nullptr;
    alias.m_Functions = nullptr;
}

}  // namespace
}  // namespace QuorvelTest
