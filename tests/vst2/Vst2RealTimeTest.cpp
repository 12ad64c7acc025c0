// If these fail, the audio thread may wait for memory or for a lock, and the user hears clicks.
//
// The program is its own allocator here, one that counts and passes on.

#include "vst2/Vst2Fixture.h"

#include <dlfcn.h>

namespace {

thread_local int allocations = 0;
thread_local int locks = 0;

template <class Function>
Function* next(Function*& found, const char* name) {
    if (found == nullptr)
        found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    return found;
}

} // namespace

extern "C" {

void* __libc_malloc(size_t size);
void __libc_free(void* memory);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void free(void* memory) {
    ++allocations;
    __libc_free(memory);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t size) {
    ++allocations;
    return __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) {
    static int (*original)(pthread_mutex_t*);
    ++locks;
    return next(original, "pthread_mutex_lock")(mutex);
}

__attribute__((visibility("default"))) int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    static int (*original)(pthread_mutex_t*);
    ++locks;
    return next(original, "pthread_mutex_trylock")(mutex);
}

__attribute__((visibility("default"))) int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
    static int (*original)(pthread_rwlock_t*);
    ++locks;
    return next(original, "pthread_rwlock_rdlock")(lock);
}

__attribute__((visibility("default"))) int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
    static int (*original)(pthread_rwlock_t*);
    ++locks;
    return next(original, "pthread_rwlock_wrlock")(lock);
}
}

namespace {

/// An effect that does nothing but answer: what is counted is the instance's own.
class Vst2RealTime : public Vst2Test {
protected:
    Vst2RealTime() {
        effect.answerCanDo("receiveVstMidiEvent", 1);
        effect.answerCanDo("receiveVstSysexEvent", 1);
        effect.effect.numInputs = 2;
        effect.effect.numOutputs = 2;
        effect.effect.numParams = 2000;
        startProcessing();
        makeAudio();
        announce();
        std::fill_n(context->parameterFlags, 2000, uint8_t{1});

        AEffect& quiet = effect.effect;
        quiet.dispatcher = [](AEffect* self, VstInt32 opcode, VstInt32, VstIntPtr, void* ptr,
                              float) -> VstIntPtr {
            if (opcode == effProcessEvents) {
                eventsSeen += static_cast<const VstEvents*>(ptr)->numEvents;
                vst2HostCallback(self, audioMasterProcessEvents, 0, 0, ptr, 0);
            }
            return opcode == effGetTailSize ? 100 : 0;
        };
        quiet.setParameter = [](AEffect*, VstInt32, float) { ++changesSeen; };
        quiet.process = quiet.processReplacing = [](AEffect* self, float**, float**, VstInt32) {
            ++blocksSeen;
            for (const VstInt32 opcode :
                 {audioMasterGetTime, audioMasterGetSampleRate, audioMasterGetBlockSize,
                  audioMasterGetCurrentProcessLevel, audioMasterGetInputLatency, audioMasterVersion})
                vst2HostCallback(self, opcode, 0, 0, nullptr, 0);
        };
        eventsSeen = changesSeen = blocksSeen = 0;
    }

    ~Vst2RealTime() override {
        effect.effect.dispatcher = [](AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
            return 0;
        };
    }

    void countBlocks(int32_t blocks) {
        allocations = 0;
        locks = 0;
        for (int32_t i = 0; i < blocks; ++i) {
            *context->outputEventCount = 0;
            instance->process(blockSize, i % 2 == 0, i % 3 == 0);
        }
        allocated = allocations;
        locked = locks;
    }

    static inline int32_t eventsSeen;
    static inline int32_t changesSeen;
    static inline int32_t blocksSeen;
    int allocated = -1;
    int locked = -1;
};

} // namespace

TEST(Vst2RealTimeCounter, AllocationsAndLocksAreSeen) {
    allocations = 0;
    locks = 0;
    delete new std::string(1000, 'x');
    EXPECT_EQ(allocations, 4);
    const Ref<PluginHost> host(new PluginHost(44100, 256));
    locks = 0;
    const base::core::ScopedLock lock(host->windowsLock);
    EXPECT_EQ(locks, 1);
}

TEST_F(Vst2RealTime, AnEmptyBlockAllocatesNothingAndLocksNothing) {
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}

TEST_F(Vst2RealTime, AFullBlockAllocatesNothingAndLocksNothing) {
    for (int32_t i = 0; i < 128; ++i) {
        context->addNote(i, 0x90, 60, 100);
        context->addSystemExclusive(i, {0xF0, 0xF7});
    }
    for (int32_t i = 0; i < 1024; ++i)
        context->addParameterChange(i, 0.5F);
    countBlocks(100);
    EXPECT_EQ(eventsSeen, 25600);
    EXPECT_EQ(changesSeen, 102400);
    EXPECT_EQ(*context->outputEventCount, 128);
    EXPECT_EQ(context->parameterFlags[1023], 3);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}

TEST_F(Vst2RealTime, AnEffectThatCannotReplaceAllocatesNothingAndLocksNothing) {
    effect.effect.flags = 0;
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}
