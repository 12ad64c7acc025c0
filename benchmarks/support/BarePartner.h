#pragma once

#include "core/ChildProcess.h"
#include "core/Ref.h"
#include "support/BlockPartner.h"

#include <string>

/// The bare program that answers commands over two FIFOs, launched as a host is. Its time is the kernel's:
/// the lower bound for exchanging blocks with another process over FIFOs.
class BarePartner : public BlockPartner {
public:
    /// Returns once both FIFOs are open. Throws `std::system_error`.
    BarePartner();
    /// Kills the program and removes the FIFOs.
    ~BarePartner() override;

    void exchange() override;
    pid_t getPid() const override { return program->getPid(); }

private:
    std::string directory;
    base::core::Ref<base::core::ChildProcess> program;
    int commands = -1;
    int answers = -1;
};
