// What a block costs the client. If these fail, a block waits for the allocator or for more of the system
// than it must, and audio that was in time is late.

#include "ClientTest.h"

#include "client/RemotePluginAudioContextProxy.h"
#include "support/SleepingThread.h"

#include <cstddef>
#include <fstream>

using namespace test_support;

// The counts are of the plain program: a sanitizer has its own allocator and its own calls.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

thread_local size_t allocations = 0;

} // namespace

// Stand before those of the C library for the whole program, which then does the work.
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void __libc_free(void* memory);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void free(void* memory) {
    if (memory != nullptr)
        ++allocations;
    __libc_free(memory);
}

} // extern "C"

namespace {

constexpr int blocks = 100;

/// The calls of this thread into the system that read or write.
struct SystemCalls {
    static SystemCalls now() {
        SystemCalls counts;
        std::ifstream file("/proc/self/task/" + std::to_string(currentThreadId()) + "/io");
        std::string name;
        long long value = 0;
        while (file >> name >> value) {
            if (name == "syscr:")
                counts.reads = value;
            else if (name == "syscw:")
                counts.writes = value;
        }
        return counts;
    }

    long long reads = -1;
    long long writes = -1;
};

class HotPathTest : public ClientTest {
protected:
    void SetUp() override {
        ClientTest::SetUp();
        proxy = startHost();
        const auto reply = createInstance(*proxy, examplePlugin("echo"));
        context = new RemotePluginAudioContextProxy(proxy, *reply);
        context->startProcessing();
        render(10);
    }

    void TearDown() override {
        context->stopProcessing();
        context->drain();
        context = nullptr;
        end(proxy);
        ClientTest::TearDown();
    }

    void render(int count) {
        for (int i = 0; i < count; ++i) {
            *context->getRegions().inputEventCount = 0;
            *context->getRegions().parameterChangeCount = 1;
            context->getRegions().parameterChanges[0] = {
                .value = 0.5F, .parameterIndex = 1, .sampleOffset = 0};
            if (context->process(256, true, true) == 1)
                ++rendered;
        }
    }

    Ref<RemotePluginHostProxy> proxy;
    Ref<RemotePluginAudioContextProxy> context;
    int rendered = 0;
};

TEST_F(HotPathTest, ABlockIsOneWriteAndOneRead) {
    // Looking costs calls as well, always the same.
    const SystemCalls first = SystemCalls::now();
    const SystemCalls before = SystemCalls::now();
    render(blocks);
    const SystemCalls after = SystemCalls::now();
    ASSERT_GE(first.reads, 0) << "the system doesn't count";
    EXPECT_EQ((after.reads - before.reads) - (before.reads - first.reads), blocks);
    EXPECT_EQ((after.writes - before.writes) - (before.writes - first.writes), blocks);
    EXPECT_EQ(rendered, 10 + blocks);
}

TEST_F(HotPathTest, ABlockAllocatesAndFreesNothing) {
    const size_t before = allocations;
    render(blocks);
    EXPECT_EQ(allocations - before, 0u);
    EXPECT_EQ(rendered, 10 + blocks);
    // The count works.
    const size_t counted = allocations;
    const std::string text(1000, 'x');
    EXPECT_GT(allocations, counted) << text;
}

} // namespace

#endif
