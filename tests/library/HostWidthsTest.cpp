// Hosts of 32 and of 64 bits in one session. If these fail, an application plays the plug-ins of one width
// only.

#include "HostTest.h"

#include <filesystem>

namespace {

class HostWidthsTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        for (const std::string& file : {std::string(PLUGIN_HOST_OTHER_EXECUTABLE), other("echo")}) {
            if (!std::filesystem::exists(file))
                GTEST_SKIP() << "there is no host of the other width: " << file << " isn't built";
        }
    }

    static std::string other(const std::string& name) {
        return std::string(EXAMPLE_PLUGIN_OTHER_DIRECTORY) + "/" + name + ".so";
    }

    static void setPrograms(plugin_host_session_options& options) {
        const bool is32 = sizeof(void*) == 4;
        options.program_32 = is32 ? PLUGIN_HOST_EXECUTABLE : PLUGIN_HOST_OTHER_EXECUTABLE;
        options.program_64 = is32 ? PLUGIN_HOST_OTHER_EXECUTABLE : PLUGIN_HOST_EXECUTABLE;
    }

    static void play(plugin_host_plugin* plugin) {
        EXPECT_EQ(plugin_host_plugin_start(plugin), PLUGIN_HOST_OK);
        plugin_host_input input{};
        input.size = sizeof input;
        ASSERT_EQ(plugin_host_plugin_begin(plugin, &input), PLUGIN_HOST_OK);
        ASSERT_GE(input.channel_count, 1u);
        input.channels[0][0] = 1;
        plugin_host_output output{};
        output.size = sizeof output;
        EXPECT_EQ(plugin_host_plugin_process(plugin, 256, PLUGIN_HOST_KEEP_ACTIVE, &output), PLUGIN_HOST_OK);
        EXPECT_EQ(plugin_host_plugin_stop(plugin), PLUGIN_HOST_OK);
    }
};

TEST_F(HostWidthsTest, PluginsOfBothWidthsPlayInOneSession) {
    SessionOptions options(record);
    setPrograms(options);
    const OwnSession session(options);
    plugin_host_plugin* own = session.createPlugin(examplePlugin("echo"));
    plugin_host_plugin* foreign = session.createPlugin(other("echo"));
    plugin_host_host* ownHost = nullptr;
    plugin_host_host* foreignHost = nullptr;
    EXPECT_EQ(plugin_host_plugin_get_host(own, &ownHost), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_get_host(foreign, &foreignHost), PLUGIN_HOST_OK);
    EXPECT_NE(ownHost, foreignHost);
    play(own);
    play(foreign);
    EXPECT_EQ(plugin_host_host_kill(foreignHost), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("died"));
    play(own);
    EXPECT_EQ(plugin_host_plugin_start(foreign), PLUGIN_HOST_DEAD);
}

TEST_F(HostWidthsTest, AWidthChoosesTheProgram) {
    SessionOptions options(record);
    setPrograms(options);
    const OwnSession session(options);
    for (const uint32_t width : {PLUGIN_HOST_WIDTH_32, PLUGIN_HOST_WIDTH_64, 0U}) {
        plugin_host_host_options hostOptions{};
        hostOptions.size = sizeof hostOptions;
        hostOptions.width = width;
        plugin_host_host* host = nullptr;
        ASSERT_EQ(plugin_host_host_start(session, &hostOptions, &host), PLUGIN_HOST_OK)
            << plugin_host_error();
        const std::string program =
            std::filesystem::read_symlink("/proc/" + std::to_string(processOf(host)) + "/exe");
        const bool isOwn = width == 0 || (width == PLUGIN_HOST_WIDTH_32) == (sizeof(void*) == 4);
        EXPECT_EQ(program,
                  std::filesystem::canonical(isOwn ? PLUGIN_HOST_EXECUTABLE : PLUGIN_HOST_OTHER_EXECUTABLE));
    }
}

} // namespace
