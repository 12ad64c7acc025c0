#pragma once

#include "plugin/PluginWindow.h"

#include <utility>
#include <vector>

namespace test_support {

/// A window without a screen. Its instance owns it.
class TinyWindow : public PluginWindow {
public:
    using Sizes = std::vector<std::pair<uint32_t, uint32_t>>;

    explicit TinyWindow(Sizes& sizes) : sizes(sizes) {}

    void setResizable() override {}
    void hide() override {}
    void show() override {}
    void setTitle(const String&) override {}
    void resize(uint32_t width, uint32_t height) override { sizes.emplace_back(width, height); }
    void move(int32_t, int32_t) override {}
    bool waitForPluginWindow() override { return true; }

private:
    Sizes& sizes;
};

} // namespace test_support
