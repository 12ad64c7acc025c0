#include "client/ReportKey.h"

#include "client/FieldText.h"

#include <sys/stat.h>

std::optional<FileStamp> FileStamp::of(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return {};
    return FileStamp{path, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::optional<ReportKey> ReportKey::of(const ReportRequest& request, const std::string& library) {
    const std::optional<FileStamp> libraryStamp = FileStamp::of(library);
    const std::optional<FileStamp> programStamp = FileStamp::of(request.program);
    if (!libraryStamp || !programStamp)
        return {};
    FieldWriter variables;
    for (const auto& [name, value] : request.variables) {
        variables.write(name);
        variables.write(value);
    }
    return ReportKey{request.plugin, *libraryStamp, *programStamp, variables.getText()};
}

std::string ReportKey::identity() const {
    FieldWriter writer;
    for (const std::string& text : {plugin, library.path, program.path, variables})
        writer.write(text);
    return writer.getText();
}
