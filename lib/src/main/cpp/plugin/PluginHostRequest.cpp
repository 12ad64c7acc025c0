#include "plugin/PluginHostRequest.h"

#include "host/PluginHost.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"

PluginHostAction::~PluginHostAction() = default;

PluginHostAsyncReplyHandler::~PluginHostAsyncReplyHandler() = default;

bool PluginHostAsyncReplyHandler::isForInstance(int32_t) {
    return false;
}

PluginHostProxyHandler::PluginHostProxyHandler(const Ref<PluginHost>& host) : host(host) {}

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
