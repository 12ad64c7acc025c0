#include "plugin/PluginHostRequest.h"

#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"

#include <cstdio>

namespace {

/// Discards a payload. Refuses texts that `OutputStream::writeString` can't carry.
class TextCheckStream : public OutputStream {
public:
    void write(const void*, size_t) override {}
    void writeText(const String& text, const base::core::TextEncoding&) override {
        constexpr char32_t highest = 0xFFFF;
        for (int32_t i = 0; i < text.length(); ++i) {
            if (text[i] > highest)
                refuse(text[i]);
        }
    }
    using OutputStream::writeText;

private:
    [[noreturn]] static void refuse(char32_t codePoint) {
        char name[16];
        std::snprintf(name, sizeof name, "U+%X", static_cast<unsigned>(codePoint));
        throw IOException(concat("Text can't be sent to plug-in host: it has the character ", name,
                                 ", which is above U+FFFF"));
    }
};

} // namespace

PluginHostAction::~PluginHostAction() = default;

PluginHostAsyncReplyHandler::~PluginHostAsyncReplyHandler() = default;

bool PluginHostAsyncReplyHandler::isForInstance(int32_t) {
    return false;
}

PluginHostProxyHandler::PluginHostProxyHandler(const Ref<PluginHostContext>& host) : host(host) {}

PluginHostProxyHandler::~PluginHostProxyHandler() = default;

PluginHostRequest::PluginHostRequest() = default;

PluginHostRequest::~PluginHostRequest() = default;

void PluginHostRequest::run() {
    perform(*handler->host);
}

bool PluginHostRequest::isForInstance(int32_t) const {
    return false;
}

bool PluginHostRequest::needsReply() const {
    return false;
}

bool PluginHostRequest::isAsync() const {
    return true;
}

void PluginHostRequest::read(InputStream&) {}

void PluginHostRequest::write(OutputStream&) const {}

Ref<PluginHostReply> PluginHostRequest::readReply(InputStream&) {
    return nullptr;
}

void PluginHostRequest::requireSendableTexts() const {
    TextCheckStream check;
    write(check);
}
