#pragma once

#include "client/PluginHostProxy.h"

/// Starts the host that a plug-in is tested in.
class TestProxyProvider : public Object {
public:
    ~TestProxyProvider() override;

    /// A proxy to a host of its own. Throws `IOException`.
    virtual Ref<PluginHostProxy> createProxy() = 0;
    /// Whether a signal to a thread inside of `createProxy`, with a handler without `SA_RESTART`, makes that
    /// fail. It may come before the blocking call, so the caller repeats it. Any thread.
    virtual bool canBeInterrupted() const = 0;
};

/// A host in a child process, as an application has it.
class SandboxedTestProxyProvider : public TestProxyProvider {
public:
    /// `executablePath` is this program. Makes a `TestRemotePluginHostProxyManager` the process's manager.
    explicit SandboxedTestProxyProvider(const String& executablePath);
    ~SandboxedTestProxyProvider() override;

    Ref<PluginHostProxy> createProxy() override;
    bool canBeInterrupted() const override { return true; }

private:
    String executablePath;
};

/// A host in this process: for debuggers, and to tell failures of the plug-in from those of the protocol.
class LocalTestProxyProvider : public TestProxyProvider {
public:
    ~LocalTestProxyProvider() override;

    Ref<PluginHostProxy> createProxy() override;
    /// False: libxcb resumes its wait for an X server.
    bool canBeInterrupted() const override { return false; }
};
