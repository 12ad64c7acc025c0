// If these fail, an application whose terminal is gone or whose disk is full dies with its plug-ins' host.

#include "ClientTest.h"
#include "support/Eventually.h"
#include "support/FailureText.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

using namespace test_support;

namespace {

/// Leads the standard error stream of this process elsewhere for a scope.
class ErrorsElsewhere {
public:
    explicit ErrorsElsewhere(int other) : former(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        dup2(other, STDERR_FILENO);
        close(other);
    }
    ~ErrorsElsewhere() {
        dup2(former, STDERR_FILENO);
        close(former);
    }
    ErrorsElsewhere(const ErrorsElsewhere&) = delete;
    ErrorsElsewhere& operator=(const ErrorsElsewhere&) = delete;

private:
    int former;
};

class LostConsoleTest : public ClientTest {
protected:
    // A killed host, and one that leaves with a status, which the end of its proxy logs.
    void outliveTwoHosts() {
        Ref<RemotePluginHostProxy> proxy = startHost();
        kill(proxy->getChildPid(), SIGKILL);
        ASSERT_TRUE(hears(1));
        EXPECT_TRUE(manager->getDeaths().front().onReplyThread);
        EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
        proxy = nullptr;

        const StandIn standIn("connect read:main:1 exit:7");
        proxy = startStandIn();
        const pid_t host = proxy->getChildPid();
        proxy->showAllGUIs();
        ASSERT_TRUE(hears(2));
        ASSERT_TRUE(eventually([&] { return isZombie(host); }));
        proxy = nullptr;
        EXPECT_TRUE(isGone(host));
    }
};

TEST_F(LostConsoleTest, AClientWhoseErrorDeviceIsFullOutlivesItsHosts) {
    const ErrorsElsewhere full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    outliveTwoHosts();
}

TEST_F(LostConsoleTest, AClientWhoseLogPipeIsClosedOutlivesItsHosts) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const ErrorsElsewhere broken(ends[1]);
    outliveTwoHosts();
}

} // namespace
