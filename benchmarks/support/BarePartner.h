#pragma once

#include "core/ChildProcess.h"
#include "core/Ref.h"
#include "support/BlockPartner.h"

#include <string>

/// The bare program that answers commands over two FIFOs, launched as a host is launched. What it costs is
/// what the kernel costs: nothing that exchanges blocks with another process by FIFOs can be faster.
class BarePartner : public BlockPartner {
public:
    /// Returns once both FIFOs are open. Throws `std::system_error`.
    BarePartner();
    /// Removes what was made; the program is killed.
    ~BarePartner() override;

    void exchange() override;
    pid_t getPid() const override { return program->getPid(); }

private:
    std::string directory;
    base::core::Ref<base::core::ChildProcess> program;
    int commands = -1;
    int answers = -1;
};
