#pragma once

#include "client/PluginHostProxy.h"

/// Brings up the host that a plug-in is tested in.
class TestProxyProvider : public Object {
public:
    ~TestProxyProvider() override;

    /// A proxy to a host of its own. Throws `IOException`.
    virtual Ref<PluginHostProxy> createProxy() = 0;
    /// Whether a signal to the thread that is inside of `createProxy`, with a handler without `SA_RESTART`,
    /// makes that fail: one may be late, and is repeated. Any thread.
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

/// A host in this process: a plug-in can be watched in a debugger, and what fails here too isn't the
/// protocol's fault.
class LocalTestProxyProvider : public TestProxyProvider {
public:
    ~LocalTestProxyProvider() override;

    Ref<PluginHostProxy> createProxy() override;
    /// It isn't: the library that waits for an X server goes back to waiting.
    bool canBeInterrupted() const override { return false; }
};
