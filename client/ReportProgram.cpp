#include "client/ReportProgram.h"

#include "client/PluginReport.h"
#include "plugin/PluginFile.h"

namespace {

ReportProgram choose(const HostPrograms& programs, const PluginFile& file) {
    for (const HostWidth width : {ownWidth, otherWidth}) {
        const String& library = file.getLibrary(width);
        if (!library.isEmpty() && !programs.get(width).empty())
            return {programs.get(width), library.toStdString(), {}};
    }
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
