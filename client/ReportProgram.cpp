#include "client/ReportProgram.h"

#include "client/PluginReport.h"
#include "plugin/PluginFile.h"

namespace {

ReportProgram choose(const HostPrograms& programs, const PluginFile& file) {
    if (!file.library64.isEmpty() && !programs.program64.empty())
        return {programs.program64, file.library64.toStdString(), {}};
    if (!file.library32.isEmpty() && !programs.program32.empty())
        return {programs.program32, file.library32.toStdString(), {}};
    if (!file.problem.isEmpty())
        return {{}, {}, readableLine(file.problem.toStdString())};
    return {{}, {}, file.library64.isEmpty() ? "needs a 32-bit host" : "needs a 64-bit host"};
}

} // namespace

ReportProgram chooseReportProgram(const HostPrograms& programs, const std::string& path) {
    try {
        return choose(programs, inspectPluginFile(path.c_str()));
    } catch (const IOException& exception) {
        return {{}, {}, readableLine(exception.getMessage().toStdString())};
    }
}
