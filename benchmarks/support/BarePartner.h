#pragma once

#include "core/ChildProcess.h"
#include "core/Ref.h"
#include "support/BareCommand.h"
#include "support/BlockPartner.h"

#include <string>
#include <vector>

/// The bare program that answers commands over two FIFOs, launched as a host is. Its time is the kernel's:
/// the lower bound for exchanging blocks with another process over FIFOs.
class BarePartner : public BlockPartner {
public:
    /// Each answer has so many bytes. Returns once both FIFOs are open. Throws `std::system_error`.
    explicit BarePartner(size_t answerSize = bareAnswerSize);
    /// Kills the program and removes the FIFOs.
    ~BarePartner() override;

    void exchange() override;
    pid_t getPid() const override { return program->getPid(); }

private:
    std::string directory;
    base::core::Ref<base::core::ChildProcess> program;
    int commands = -1;
    int answers = -1;
    std::vector<char> answer;
};
