// Lifetimes: an object freed too early crashes the host, one freed too late leaves a process, a pipe or a
// thread behind.

#include "core/Object.h"
#include "core/Ref.h"
#include "core/String.h"

#include "support/Meeting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using namespace test_support;

/// In the global namespace, so that its mangled name is known.
class Named : public base::core::Object {};

using namespace base::core;

namespace {

class Watched : public Object {
public:
    explicit Watched(int* destroyed) : destroyed(destroyed) {}
    ~Watched() override { ++*destroyed; }

    bool prepareForDeletion() override {
        ++prepared;
        preparedOn = std::this_thread::get_id();
        wordsWhenPrepared = words();
        return mayGo;
    }
    virtual std::string words() const { return "base"; }

    int* destroyed;
    bool mayGo = true;
    int prepared = 0;
    std::string wordsWhenPrepared;
    std::thread::id preparedOn;
};

class MoreWatched : public Watched {
public:
    MoreWatched(int* destroyed, std::string* seen) : Watched(destroyed), seen(seen) {}
    ~MoreWatched() override { *seen = wordsWhenPrepared; }
    std::string words() const override { return "most derived"; }

    std::string* seen;
};

class Node : public Object {
public:
    explicit Node(int* destroyed) : destroyed(destroyed) {}
    ~Node() override { ++*destroyed; }

    Ref<Node> next;
    int* destroyed;
};

/// The count, as the next reference sees it.
int32_t countOf(const Object* object) {
    const int32_t count = retain(object) - 1;
    release(object);
    return count;
}

TEST(ObjectTest, OnlyAnObjectThatHasAnOwnerGetsAnotherByTryRetain) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    EXPECT_FALSE(tryRetain(object));
    retain(object);
    EXPECT_TRUE(tryRetain(object));
    EXPECT_EQ(countOf(object), 2);
    release(object);
    object->mayGo = false;
    release(object);
    EXPECT_FALSE(tryRetain(object));
    EXPECT_EQ(object->prepared, 1);
    object->mayGo = true;
    retain(object);
    release(object);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, ARetainThatIsTakenBackEndsNothing) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    EXPECT_EQ(countReferences(object), 0);
    EXPECT_EQ(retain(object), 1);
    EXPECT_EQ(countReferences(object), 1);
    { const Ref<Watched> reference(object); }
    EXPECT_EQ(undoRetain(object), 0);
    EXPECT_EQ(object->prepared, 0);
    EXPECT_EQ(destroyed, 0);
    { const Ref<Watched> reference(object); }
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, AnObjectThatIsNeverRetainedIsNeverFreed) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    const Watched* borrowed = object;
    static_cast<void>(borrowed);
    EXPECT_EQ(destroyed, 0);
    retain(object);
    EXPECT_EQ(destroyed, 0);
    release(object);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, TheFirstReferenceMakesTheCountOne) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    EXPECT_EQ(retain(object), 1);
    EXPECT_EQ(retain(object), 2);
    EXPECT_EQ(release(object), 1);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(release(object), 0);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, AnObjectThatRefusesItsDeletionStaysValidWithACountOfZero) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    object->mayGo = false;
    retain(object);
    EXPECT_EQ(release(object), 0);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(object->prepared, 1);
    EXPECT_EQ(object->words(), "base");

    object->mayGo = true;
    EXPECT_EQ(retain(object), 1);
    EXPECT_EQ(release(object), 0);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, PreparingForDeletionStillSeesTheMostDerivedOperations) {
    int destroyed = 0;
    std::string seen;
    { const Ref<Watched> object(new MoreWatched(&destroyed, &seen)); }
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(seen, "most derived");
}

TEST(ObjectTest, PreparingForDeletionHappensOnlyAtTheLastRelease) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    retain(object);
    retain(object);
    release(object);
    EXPECT_EQ(object->prepared, 0);
    release(object);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, TheLastReleaseGoesThroughAnOverriddenDestroy) {
    class Pooled : public Object {
    public:
        void destroy() override { ++returned; }
        int returned = 0;
    };
    Pooled object;
    retain(&object);
    release(&object);
    EXPECT_EQ(object.returned, 1);
}

TEST(ObjectTest, TheLastReleasePreparesAndDestroysOnItsOwnThread) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    object->mayGo = false;
    Ref<Watched> reference(object);
    std::thread::id other;
    std::thread([&other, moved = std::move(reference)]() mutable {
        other = std::this_thread::get_id();
        moved = nullptr;
    }).join();
    EXPECT_EQ(object->preparedOn, other);
    delete object;
}

TEST(ObjectTest, ReferencesMayBeTakenAndDroppedOnManyThreadsAtOnce) {
    constexpr int threadCount = 4;
    constexpr int rounds = 20000;
    int destroyed = 0;
    std::atomic<int> work{0};
    std::vector<std::thread> threads;
    {
        const Ref<Watched> object(new Watched(&destroyed));
        for (int i = 0; i < threadCount; ++i)
            threads.emplace_back([own = object, &work] {
                for (int round = 0; round < rounds; ++round) {
                    const Ref<Watched> copy(own);
                    work += copy ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(work, threadCount * rounds);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, WhoeverDropsTheLastReferenceEndsItBehindAllThatOthersDidWithIt) {
    class Plain : public Object {
    public:
        int uses = 0;
        int moreUses = 0;
    };
    constexpr size_t objectCount = 500;
    std::vector<Ref<Plain>> first;
    for (size_t i = 0; i < objectCount; ++i)
        first.emplace_back(new Plain);
    std::vector<Ref<Plain>> second = first;
    Meeting meeting(2);
    std::thread other([&] {
        for (Ref<Plain>& object : second) {
            meeting.arrive();
            ++object->moreUses;
            object = nullptr;
        }
    });
    for (Ref<Plain>& object : first) {
        meeting.arrive();
        ++object->uses;
        object = nullptr;
    }
    other.join();
}

TEST(ObjectTest, ToStringIsTheMangledTypeNameAndTheAddress) {
    const Named object;
    char expected[64];
    std::snprintf(expected, sizeof expected, "5Named@%" PRIxPTR, reinterpret_cast<uintptr_t>(&object));
    EXPECT_EQ(object.toString().toStdString(), expected);
}

TEST(ObjectTest, AsObjectIsTheObjectItself) {
    Named object;
    const Named& constant = object;
    EXPECT_EQ(object.asObject(), &object);
    EXPECT_EQ(constant.asObject(), &object);
}

TEST(ObjectTest, AnObjectHoldsItsOperationsAndItsCountAndNothingElse) {
    EXPECT_EQ(sizeof(Object), 2 * sizeof(void*));
    EXPECT_TRUE((std::is_base_of_v<ObjectBase, Object>));
    EXPECT_TRUE((std::is_base_of_v<NonCopyable, Object>));
    EXPECT_TRUE((std::is_base_of_v<NonMovable, Object>));
    EXPECT_FALSE(std::is_copy_constructible_v<Named>);
    EXPECT_FALSE(std::is_copy_assignable_v<Named>);
    EXPECT_FALSE(std::is_move_constructible_v<Named>);
    EXPECT_FALSE(std::is_move_assignable_v<Named>);
    EXPECT_EQ(sizeof(Ref<Named>), sizeof(void*));
}

TEST(RefTest, ANullReferenceIsLegalEverywhere) {
    Ref<Named> reference;
    Ref<Named> copy(reference);
    Ref<Named> moved(std::move(copy));
    reference = moved;
    reference = nullptr;
    reference = static_cast<Named*>(nullptr);
    EXPECT_FALSE(reference);
    EXPECT_EQ(reference.get(), nullptr);
    EXPECT_TRUE(reference == moved);
}

TEST(RefTest, CopiesRetainAndScopesRelease) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    Ref<Watched> first(object);
    EXPECT_EQ(countOf(object), 1);
    {
        const Ref<Watched> second(first);
        const Ref<Object> wider(second);
        EXPECT_EQ(countOf(object), 3);
        EXPECT_EQ(second.get(), object);
        EXPECT_EQ(wider.get(), object);
    }
    EXPECT_EQ(countOf(object), 1);
    const Ref<Watched> moved(std::move(first));
    EXPECT_EQ(countOf(object), 1);
    EXPECT_FALSE(first);
    EXPECT_EQ(destroyed, 0);
}

TEST(RefTest, AssigningTheObjectThatIsHeldDoesNothing) {
    int destroyed = 0;
    auto* object = new Watched(&destroyed);
    Ref<Watched> reference(object);
    const Ref<Watched>& same = reference;
    reference = same;
    reference = object;
    EXPECT_EQ(countOf(object), 1);
    EXPECT_EQ(destroyed, 0);
    reference = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST(RefTest, AssignmentRetainsTheNewObjectBeforeItReleasesTheOld) {
    int destroyed = 0;
    Ref<Node> list(new Node(&destroyed));
    list->next = new Node(&destroyed);
    list->next->next = new Node(&destroyed);
    Node* second = list->next.get();
    list = list->next;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(list.get(), second);
    EXPECT_EQ(countOf(second), 1);
    list = list->next.get();
    EXPECT_EQ(destroyed, 2);
    list = nullptr;
    EXPECT_EQ(destroyed, 3);
}

TEST(RefTest, MoveAssignmentFromInsideTheOldObjectKeepsTheNewOne) {
    int destroyed = 0;
    Ref<Node> list(new Node(&destroyed));
    list->next = new Node(&destroyed);
    list = std::move(list->next);
    EXPECT_EQ(destroyed, 1);
    ASSERT_TRUE(list);
    EXPECT_EQ(countOf(list.get()), 1);
}

TEST(RefTest, AnObjectOnTheStackThatWasRetainedByHandIsNeverDestroyedByAReference) {
    int destroyed = 0;
    {
        Watched object(&destroyed);
        retain(&object);
        { const Ref<Watched> reference(&object); }
        EXPECT_EQ(destroyed, 0);
        EXPECT_EQ(object.prepared, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

} // namespace
