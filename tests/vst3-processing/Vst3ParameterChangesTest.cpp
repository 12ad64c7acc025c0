// If these fail, a knob that moves within a block jumps or stands still, or two plug-ins that play at once
// get each other's changes.

#include "vst3/Vst3ParameterChanges.h"
#include "support/Meeting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace test_support;
using testing::ElementsAre;

namespace {

struct Point {
    int32_t sampleOffset;
    double value;

    bool operator==(const Point&) const = default;
};

std::vector<Point> pointsOf(Vst::IParamValueQueue& queue) {
    std::vector<Point> points;
    for (int32_t i = 0; i < queue.getPointCount(); ++i) {
        Point point{};
        EXPECT_EQ(queue.getPoint(i, point.sampleOffset, point.value), kResultOk);
        points.push_back(point);
    }
    return points;
}

/// More queues than other tests of this process leave free.
constexpr size_t mostThatOthersLeft = 20000;

class Vst3ParamValueQueueTest : public testing::Test {
protected:
    ~Vst3ParamValueQueueTest() override { Vst3ParamValueQueue::giveBack(queue); }

    Vst3ParamValueQueue* queue = Vst3ParamValueQueue::take(77);
};

/// Whether an object yields an interface as `expected`, with a reference more, and refuses any other.
template <class Interface, class Object>
void expectInterfaces(Object& object) {
    for (const FUID& served : {Interface::iid, FUnknown::iid}) {
        void* found = nullptr;
        EXPECT_EQ(object.queryInterface(served.toTUID(), &found), kResultOk);
        EXPECT_EQ(found, static_cast<Interface*>(&object));
        EXPECT_EQ(object.release(), 1u);
    }
    void* found = &object;
    EXPECT_EQ(object.queryInterface(Vst::IParamValueQueue::iid == Interface::iid
                                        ? Vst::IParameterChanges::iid.toTUID()
                                        : Vst::IParamValueQueue::iid.toTUID(),
                                    &found),
              kNoInterface);
    EXPECT_EQ(found, nullptr);
}

} // namespace

TEST_F(Vst3ParamValueQueueTest, AQueueKeepsItsObjectSize) {
    EXPECT_EQ(sizeof(Vst3ParamValueQueue), sizeof(void*) == 4 ? 1552u : 1560u);
}

TEST_F(Vst3ParamValueQueueTest, ANewQueueIsOfItsParameterAndHasNoPoints) {
    EXPECT_EQ(queue->getParameterId(), 77u);
    EXPECT_EQ(queue->getPointCount(), 0);
}

TEST_F(Vst3ParamValueQueueTest, PointsStayInTheOrderInWhichTheyCame) {
    int32_t index = 0;
    for (const Point& point : {Point{30, 0.5}, Point{10, 0.25}, Point{10, 0.75}, Point{10, 0.75}})
        EXPECT_EQ(queue->addPoint(point.sampleOffset, point.value, index), kResultOk);
    EXPECT_THAT(pointsOf(*queue),
                ElementsAre(Point{30, 0.5}, Point{10, 0.25}, Point{10, 0.75}, Point{10, 0.75}));
}

TEST_F(Vst3ParamValueQueueTest, AnIndexThatHasNoPointIsRefusedAndNothingIsWritten) {
    int32_t index = 0;
    queue->addPoint(1, 0.5, index);
    for (const int32_t wrong : {-1, 1, 128, INT32_MIN, INT32_MAX}) {
        int32_t sampleOffset = -7;
        double value = -7;
        EXPECT_EQ(queue->getPoint(wrong, sampleOffset, value), kInvalidArgument) << wrong;
        EXPECT_EQ(sampleOffset, -7);
        EXPECT_EQ(value, -7);
    }
}

TEST_F(Vst3ParamValueQueueTest, TheIndexOfANewPointIsNeverWritten) {
    int32_t index = -3;
    queue->addPoint(1, 0.5, index);
    queue->addPoint(2, 0.5, index);
    EXPECT_EQ(index, -3);
}

TEST_F(Vst3ParamValueQueueTest, AQueueOf128PointsTakesNoMore) {
    int32_t index = 0;
    for (int32_t i = 0; i < 128; ++i)
        EXPECT_EQ(queue->addPoint(i, i / 128.0, index), kResultOk) << i;
    EXPECT_EQ(queue->addPoint(128, 1.0, index), kOutOfMemory);
    EXPECT_EQ(queue->append(128, 1.0), kOutOfMemory);
    EXPECT_EQ(queue->getPointCount(), 128);
    EXPECT_EQ(pointsOf(*queue).back(), (Point{127, 127 / 128.0}));
}

TEST_F(Vst3ParamValueQueueTest, AQueueServesItsInterfaceAlone) {
    expectInterfaces<Vst::IParamValueQueue>(*queue);
}

TEST_F(Vst3ParamValueQueueTest, ReferencesAreCountedAndTheLastOneFreesNothing) {
    EXPECT_EQ(queue->addRef(), 2u);
    EXPECT_EQ(queue->release(), 1u);
    EXPECT_EQ(queue->release(), 0u);
    EXPECT_EQ(queue->getParameterId(), 77u);
}

TEST_F(Vst3ParamValueQueueTest, TheQueueThatWasGivenBackLastIsTheFirstToBeUsedAgain) {
    int32_t index = 0;
    queue->addPoint(1, 0.5, index);
    queue->addRef();
    Vst3ParamValueQueue::giveBack(queue);
    Vst3ParamValueQueue* const again = Vst3ParamValueQueue::take(12);
    EXPECT_EQ(again, queue) << "the queue that was given back is free, and the newest of the free ones";
    EXPECT_EQ(again->getParameterId(), 12u);
    EXPECT_EQ(again->getPointCount(), 0);
    EXPECT_EQ(again->addRef(), 2u);
    queue = again;
}

TEST(Vst3QueuePoolTest, AQueueThatIsUsedAgainIsAsGoodAsNew) {
    std::set<Vst3ParamValueQueue*> used;
    bool isUsedAgain = false;
    while (!isUsedAgain && used.size() < mostThatOthersLeft) {
        Vst3ParamValueQueue* const queue = Vst3ParamValueQueue::take(12);
        isUsedAgain = !used.insert(queue).second;
        EXPECT_EQ(queue->getParameterId(), 12u);
        EXPECT_EQ(queue->getPointCount(), 0);
        EXPECT_EQ(queue->addRef(), 2u);
        queue->append(1, 0.5);
        Vst3ParamValueQueue::giveBack(queue);
    }
    EXPECT_TRUE(isUsedAgain);
}

TEST(Vst3QueuePoolTest, NoQueueIsTakenTwiceOrLostBySeveralThreads) {
    constexpr int32_t threadCount = 4;
    constexpr int32_t rounds = 2000;
    constexpr int32_t held = 8;
    Meeting start(threadCount);
    std::atomic<int32_t> taken = 0;
    std::atomic<int32_t> disturbed = 0;
    std::vector<std::set<Vst3ParamValueQueue*>> seen(threadCount);
    std::vector<std::thread> threads;
    for (int32_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            // All at once, or the pool would see one after the other.
            start.arrive();
            for (int32_t round = 0; round < rounds; ++round) {
                Vst3ParamValueQueue* queues[held];
                for (int32_t i = 0; i < held; ++i) {
                    queues[i] = Vst3ParamValueQueue::take(static_cast<Vst::ParamID>(thread));
                    queues[i]->append(round, i);
                    seen[static_cast<size_t>(thread)].insert(queues[i]);
                    ++taken;
                }
                for (int32_t i = 0; i < held; ++i) {
                    const bool isMine =
                        queues[i]->getParameterId() == static_cast<Vst::ParamID>(thread) &&
                        pointsOf(*queues[i]) == std::vector<Point>{{round, static_cast<double>(i)}};
                    disturbed += isMine ? 0 : 1;
                    Vst3ParamValueQueue::giveBack(queues[i]);
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(taken, threadCount * rounds * held);
    EXPECT_EQ(disturbed, 0);

    // All that anyone had is free now, and each of them once.
    std::set<Vst3ParamValueQueue*> missing;
    for (const std::set<Vst3ParamValueQueue*>& queues : seen)
        missing.insert(queues.begin(), queues.end());
    std::set<Vst3ParamValueQueue*> free;
    while (!missing.empty() && free.size() < mostThatOthersLeft) {
        Vst3ParamValueQueue* const queue = Vst3ParamValueQueue::take(0);
        EXPECT_TRUE(free.insert(queue).second) << "taken twice";
        missing.erase(queue);
    }
    EXPECT_TRUE(missing.empty()) << missing.size() << " queues are lost";
    for (Vst3ParamValueQueue* queue : free)
        Vst3ParamValueQueue::giveBack(queue);
}

TEST(Vst3ParameterChangesTest, ANewListIsEmpty) {
    Vst3ParameterChanges changes;
    EXPECT_EQ(changes.getParameterCount(), 0);
}

TEST(Vst3ParameterChangesTest, EachParameterHasOneQueueInTheOrderOfItsFirstChange) {
    Vst3ParameterChanges changes;
    int32_t index = -1;
    Vst::IParamValueQueue* const first = changes.addParameterData(900, index);
    EXPECT_EQ(index, 0);
    Vst::IParamValueQueue* const second = changes.addParameterData(5, index);
    EXPECT_EQ(index, 1);
    EXPECT_NE(first, second);
    EXPECT_EQ(changes.addParameterData(900, index), first);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(changes.addParameterData(5, index), second);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(changes.queueOf(900), first);
    EXPECT_EQ(changes.getParameterCount(), 2);
    EXPECT_EQ(changes.getParameterData(0), first);
    EXPECT_EQ(changes.getParameterData(1), second);
    EXPECT_EQ(first->getParameterId(), 900u);
    EXPECT_EQ(second->getParameterId(), 5u);
}

TEST(Vst3ParameterChangesTest, AParameterThatWasFoundAgainKeepsItsPoints) {
    Vst3ParameterChanges changes;
    int32_t index = 0;
    changes.queueOf(3)->append(1, 0.5);
    changes.queueOf(4)->append(2, 0.75);
    changes.addParameterData(3, index)->addPoint(3, 0.25, index);
    EXPECT_THAT(pointsOf(*changes.queueOf(3)), ElementsAre(Point{1, 0.5}, Point{3, 0.25}));
    EXPECT_THAT(pointsOf(*changes.queueOf(4)), ElementsAre(Point{2, 0.75}));
}

TEST(Vst3ParameterChangesTest, AClearedListIsEmptyAndTakesParametersAgain) {
    Vst3ParameterChanges changes;
    for (Vst::ParamID id = 0; id < 64; ++id)
        changes.queueOf(id)->append(0, 0.5);
    changes.clear();
    EXPECT_EQ(changes.getParameterCount(), 0);
    EXPECT_EQ(changes.queueOf(100)->getPointCount(), 0);
    EXPECT_EQ(changes.getParameterCount(), 1);
    EXPECT_EQ(changes.getParameterData(0)->getParameterId(), 100u);
}

TEST(Vst3ParameterChangesTest, AClearedListIsEmptyAndItsQueuesServeTheNextBlock) {
    Vst3ParameterChanges changes;
    std::set<Vst::IParamValueQueue*> first;
    for (Vst::ParamID id = 0; id < 64; ++id)
        first.insert(changes.queueOf(id));
    EXPECT_EQ(first.size(), 64u);
    changes.clear();
    EXPECT_EQ(changes.getParameterCount(), 0);
    std::set<Vst::IParamValueQueue*> second;
    for (Vst::ParamID id = 100; id < 164; ++id)
        second.insert(changes.queueOf(id));
    EXPECT_EQ(second, first);
    EXPECT_EQ(changes.getParameterData(0)->getParameterId(), 100u);
}

TEST(Vst3ParameterChangesTest, EachWayToFindAParameterTellsItsPlace) {
    Vst3ParameterChanges changes;
    std::vector<Vst::IParamValueQueue*> queues;
    for (Vst::ParamID id = 0; id < 5; ++id)
        queues.push_back(changes.queueOf(id));
    // The last one again, the first one behind the last, the next one, one before, one further on.
    for (const Vst::ParamID id : {4, 0, 1, 2, 1, 4, 0, 3}) {
        int32_t index = -1;
        EXPECT_EQ(changes.addParameterData(id, index), queues[id]) << id;
        EXPECT_EQ(index, static_cast<int32_t>(id));
    }
    EXPECT_EQ(changes.getParameterCount(), 5);
}

TEST(Vst3ParameterChangesTest, AClearedListHasNoneOfItsParametersAnyMore) {
    Vst3ParameterChanges changes;
    for (const Vst::ParamID first : {3, 1, 2}) {
        int32_t index = -1;
        for (Vst::ParamID i = 0; i < 3; ++i) {
            const Vst::ParamID id = (first + i) % 3;
            auto* const queue = static_cast<Vst3ParamValueQueue*>(changes.addParameterData(id, index));
            EXPECT_EQ(index, static_cast<int32_t>(i));
            EXPECT_EQ(changes.getParameterCount(), index + 1);
            EXPECT_EQ(queue->getParameterId(), id);
            EXPECT_EQ(queue->getPointCount(), 0);
            queue->append(0, 0.5);
        }
        changes.clear();
    }
}

TEST(Vst3ParameterChangesTest, AListFindsManyParametersInAnyOrderAndInEachOfItsBlocks) {
    Vst3ParameterChanges changes;
    std::mt19937 random(7);
    for (const uint32_t kinds : {20U, 3000U, 5U, 700U}) {
        // Multiples of large powers of two are what hash tables like least.
        const uint32_t stride = kinds == 700U ? 1U << 20 : 1U;
        std::map<Vst::ParamID, int32_t> places;
        for (uint32_t i = 0; i < 2 * kinds; ++i) {
            const Vst::ParamID id = static_cast<Vst::ParamID>(random()) % kinds * stride;
            int32_t index = -1;
            Vst::IParamValueQueue* const queue = changes.addParameterData(id, index);
            const int32_t expected = places.emplace(id, static_cast<int32_t>(places.size())).first->second;
            ASSERT_EQ(index, expected);
            ASSERT_EQ(queue->getParameterId(), id);
            ASSERT_EQ(changes.getParameterData(index), queue);
        }
        EXPECT_EQ(changes.getParameterCount(), static_cast<int32_t>(places.size()));
        changes.clear();
    }
}

TEST(Vst3ParameterChangesTest, AParameterOfABlockOfLongAgoIsNotTakenForOneOfThis) {
    // Around where a number of 16 bits comes again.
    for (const int32_t blocks : {65534, 65535, 65536}) {
        Vst3ParameterChanges changes;
        for (Vst::ParamID id = 1; id <= 10; ++id)
            changes.queueOf(id)->append(0, 0.5);
        changes.clear();
        // The others stay where they were.
        for (int32_t block = 1; block < blocks; ++block) {
            changes.queueOf(1000);
            changes.clear();
        }
        EXPECT_EQ(changes.queueOf(5)->getPointCount(), 0) << blocks;
        EXPECT_EQ(changes.getParameterCount(), 1) << blocks;
    }
}

TEST(Vst3ParameterChangesTest, ReservedQueuesServeFirstAndAreGivenBack) {
    std::set<Vst::IParamValueQueue*> reserved;
    {
        Vst3ParameterChanges changes;
        changes.reserve(4);
        EXPECT_EQ(changes.getParameterCount(), 0);
        Vst3ParamValueQueue* const another = Vst3ParamValueQueue::take(0);
        for (Vst::ParamID id = 0; id < 4; ++id)
            reserved.insert(changes.queueOf(id));
        EXPECT_FALSE(reserved.contains(another));
        Vst3ParamValueQueue::giveBack(another);
        EXPECT_EQ(changes.queueOf(4), another) << "the fifth comes from the pool";
    }
    Vst3ParameterChanges next;
    for (Vst::ParamID id = 0; id < 4; ++id)
        EXPECT_TRUE(reserved.contains(next.queueOf(id))) << id;
}

TEST(Vst3ParameterChangesTest, AListThatEndsGivesItsQueuesBackAndTheNextHasThemInTheirOrder) {
    std::vector<Vst::IParamValueQueue*> first;
    {
        Vst3ParameterChanges changes;
        for (Vst::ParamID id = 0; id < 5; ++id)
            first.push_back(changes.queueOf(id));
    }
    Vst3ParameterChanges changes;
    std::vector<Vst::IParamValueQueue*> second;
    for (Vst::ParamID id = 0; id < 5; ++id)
        second.push_back(changes.queueOf(id));
    EXPECT_EQ(second, first);
}

TEST(Vst3ParameterChangesTest, AListServesItsInterfaceAlone) {
    Vst3ParameterChanges changes;
    expectInterfaces<Vst::IParameterChanges>(changes);
}

TEST(Vst3ParameterChangesTest, ReferencesAreCountedAndTheLastOneFreesNothing) {
    Vst3ParameterChanges changes;
    changes.queueOf(1);
    EXPECT_EQ(changes.addRef(), 2u);
    EXPECT_EQ(changes.release(), 1u);
    EXPECT_EQ(changes.release(), 0u);
    EXPECT_EQ(changes.getParameterCount(), 1);
}
