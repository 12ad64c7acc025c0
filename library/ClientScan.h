#pragma once

#include "client/PluginScan.h"
#include "library/PluginReports.h"
#include "library/SessionContext.h"
#include <plugin-host/client.h>

#include <atomic>

namespace client_library {

/// A scan of a session: its results become callbacks. Owned by its handle and the session. Any thread.
class ClientScan : public Object, private PluginScanReceiver {
public:
    /// Throws `Failure`.
    ClientScan(const Ref<SessionContext>& context, const Ref<PluginReports>& reports,
               const plugin_host_scan_options& options);
    ~ClientScan() override;

    void start() { scan.start(); }
    void cancel();
    /// Waits for the end, for ever below 0. False if it takes longer.
    bool wait(double seconds);
    /// Cancels it and makes no callback any more. Waits for its children.
    void end();

    const Ref<SessionContext> context;
    // Set before anyone else has the scan.
    plugin_host_scan* handle = nullptr;
    Ref<Object> session;

private:
    using Callback = std::function<void(const plugin_host_scan_options&)>;

    void onFileStarted(const std::string& path, ScanProgress progress) override;
    void onFileScanned(const ScannedFile& file, ScanProgress progress) override;
    void onScanEnded(bool isComplete) override;
    void post(const Callback& call);
    void postProgress(const std::string& path, ScanProgress progress);

    const Ref<PluginReports> reports;
    /// The functions alone are used.
    const plugin_host_scan_options options;
    std::atomic<bool> hasEnded{false};
    PluginScan scan;
};

} // namespace client_library
