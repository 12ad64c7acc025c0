// Structures, numbers and texts of an application: sizes of older and newer headers, and what can't be right.
// If these fail, an application that was built with another header crashes, or starts a host with nonsense.

#include "HostTest.h"

#include <gmock/gmock.h>

#include <cstring>
#include <limits>

namespace {

constexpr int32_t highest = std::numeric_limits<int32_t>::max();
constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr size_t largestStructure = 65'536;

class SessionOptionsTest : public HostTest {
protected:
    static plugin_host_status create(const plugin_host_session_options* options) {
        plugin_host_session* session = nullptr;
        const plugin_host_status status = plugin_host_session_create(options, &session);
        EXPECT_EQ(session != nullptr, status == PLUGIN_HOST_OK);
        if (session != nullptr) {
            EXPECT_EQ(plugin_host_session_destroy(session), PLUGIN_HOST_OK);
        }
        return status;
    }
};

TEST_F(SessionOptionsTest, MayBeNull) {
    EXPECT_EQ(create(nullptr), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_session_create(nullptr, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
}

TEST_F(SessionOptionsTest, HaveASizeThatCanBeRight) {
    std::vector<char> memory(largestStructure + sizeof(SessionOptions));
    plugin_host_session_options options{};
    for (const size_t size :
         {size_t{0}, size_t{1}, sizeof(size_t) - 1, sizeof(size_t) + 1, sizeof options - 1,
          sizeof options + 1, largestStructure + sizeof(void*), std::numeric_limits<size_t>::max()}) {
        options.size = size;
        std::memcpy(memory.data(), &options, sizeof options);
        EXPECT_EQ(create(reinterpret_cast<plugin_host_session_options*>(memory.data())),
                  PLUGIN_HOST_INVALID_ARGUMENT)
            << size;
    }
}

TEST_F(SessionOptionsTest, MayBeOfAnotherHeader) {
    struct Newer {
        plugin_host_session_options known;
        void* unknown[4];
    } newer{};
    newer.known.size = sizeof newer;
    EXPECT_EQ(create(&newer.known), PLUGIN_HOST_OK);
    newer.unknown[3] = &newer;
    EXPECT_EQ(create(&newer.known), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_THAT(plugin_host_error(), testing::HasSubstr("this version of the library"));
    // What lies behind the size of an older one isn't read.
    plugin_host_session_options older{};
    older.size = offsetof(plugin_host_session_options, program_64);
    older.program_64 = reinterpret_cast<const char*>(uintptr_t{1});
    older.sample_rate = lowest;
    EXPECT_EQ(create(&older), PLUGIN_HOST_OK);
}

TEST_F(SessionOptionsTest, HaveCallbacksOfASizeThatCanBeRight) {
    SessionOptions options(record);
    plugin_host_callbacks callbacks = record.getCallbacks();
    options.callbacks = &callbacks;
    for (const size_t size : {size_t{0}, size_t{1}, sizeof callbacks - 1}) {
        callbacks.size = size;
        EXPECT_EQ(create(&options), PLUGIN_HOST_INVALID_ARGUMENT) << size;
    }
    callbacks.size = offsetof(plugin_host_callbacks, log);
    EXPECT_EQ(create(&options), PLUGIN_HOST_OK);
}

TEST_F(SessionOptionsTest, HaveNumbersInTheirRanges) {
    struct Range {
        int32_t plugin_host_session_options::*number;
        int32_t most;
    };
    for (const Range& range : {Range{&plugin_host_session_options::sample_rate, 1'000'000},
                               Range{&plugin_host_session_options::block_size, 65'536},
                               Range{&plugin_host_session_options::worker_count, 64},
                               Range{&plugin_host_session_options::start_timeout, highest},
                               Range{&plugin_host_session_options::request_timeout, highest},
                               Range{&plugin_host_session_options::report_timeout, highest}}) {
        SessionOptions options(record);
        for (const int32_t wrong : {-1, lowest}) {
            options.*range.number = wrong;
            EXPECT_EQ(create(&options), PLUGIN_HOST_INVALID_ARGUMENT) << wrong;
        }
        if (range.most < highest) {
            options.*range.number = range.most + 1;
            EXPECT_EQ(create(&options), PLUGIN_HOST_INVALID_ARGUMENT);
        }
        options.*range.number = range.most;
        EXPECT_EQ(create(&options), PLUGIN_HOST_OK) << plugin_host_error();
    }
}

TEST_F(SessionOptionsTest, HaveASharingThatThereIs) {
    SessionOptions options(record);
    for (const int32_t wrong : {-1, 3, highest}) {
        std::memcpy(&options.sharing, &wrong, sizeof wrong);
        EXPECT_EQ(create(&options), PLUGIN_HOST_INVALID_ARGUMENT) << wrong;
    }
}

TEST_F(SessionOptionsTest, HaveTextsThatCanBeSent) {
    for (const char* plugin_host_session_options::*text :
         {&plugin_host_session_options::program_32, &plugin_host_session_options::program_64,
          &plugin_host_session_options::library_path, &plugin_host_session_options::extensions,
          &plugin_host_session_options::cache_directory}) {
        SessionOptions options(record);
        for (const char* wrong : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF0\x9F\x8E\xB9"}) {
            options.*text = wrong;
            EXPECT_EQ(create(&options), PLUGIN_HOST_INVALID_ARGUMENT) << wrong;
        }
    }
}

TEST_F(SessionOptionsTest, OfAHostAreCheckedToo) {
    const OwnSession session(record);
    const auto start = [&](const auto& change) {
        plugin_host_host_options options{};
        options.size = sizeof options;
        change(options);
        plugin_host_host* host = nullptr;
        const plugin_host_status status = plugin_host_host_start(session, &options, &host);
        EXPECT_EQ(host, nullptr);
        return status;
    };
    EXPECT_EQ(start([](auto& options) { options.size = 1; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.width = 3; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.sample_rate = -1; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.block_size = 65'537; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.worker_count = 65; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.start_timeout = lowest; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.program = "\xFF"; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(start([](auto& options) { options.extensions = "\xFF"; }), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_host_start(session, nullptr, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
}

TEST_F(SessionOptionsTest, OfAHostReplaceThoseOfItsSession) {
    SessionOptions options(record);
    options.sample_rate = 48'000;
    options.block_size = 128;
    options.worker_count = 2;
    const OwnSession session(options);
    plugin_host_host_options hostOptions{};
    hostOptions.size = sizeof hostOptions;
    hostOptions.block_size = 64;
    plugin_host_host* host = nullptr;
    ASSERT_EQ(plugin_host_host_start(session, &hostOptions, &host), PLUGIN_HOST_OK) << plugin_host_error();
    plugin_host_host_info info{};
    info.size = sizeof info;
    EXPECT_EQ(plugin_host_host_get_info(host, &info), PLUGIN_HOST_OK);
    EXPECT_EQ(info.sample_rate, 48'000);
    EXPECT_EQ(info.block_size, 64);
    EXPECT_EQ(info.worker_count, 2);
    // An older structure is filled as far as it reaches.
    plugin_host_host_info older{};
    older.size = offsetof(plugin_host_host_info, block_size);
    older.block_size = -7;
    EXPECT_EQ(plugin_host_host_get_info(host, &older), PLUGIN_HOST_OK);
    EXPECT_EQ(older.sample_rate, 48'000);
    EXPECT_EQ(older.block_size, -7);
    EXPECT_EQ(older.size, offsetof(plugin_host_host_info, block_size));
    for (const size_t wrong : {size_t{0}, size_t{1}, std::numeric_limits<size_t>::max()}) {
        info.size = wrong;
        EXPECT_EQ(plugin_host_host_get_info(host, &info), PLUGIN_HOST_INVALID_ARGUMENT);
    }
    EXPECT_EQ(plugin_host_host_get_info(host, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_host_ping(host, -1), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_session_descriptor(session, nullptr), PLUGIN_HOST_INVALID_STATE);
}

} // namespace
