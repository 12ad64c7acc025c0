#include "vst3/ModuleRecord.h"

#include <algorithm>
#include <utility>

void ModuleRecord::add(const std::string& call) {
    {
        const std::lock_guard lock(callsLock);
        calls.push_back(call);
    }
    if (onCall)
        onCall(call);
}

tresult ModuleRecord::answerTo(const std::string& call) {
    add(call);
    return toldAnswerTo(call).value_or(kResultOk);
}

std::optional<tresult> ModuleRecord::toldAnswerTo(const std::string& question) const {
    // A longer start stands behind a shorter one.
    const auto told = std::find_if(answers.rbegin(), answers.rend(), [&question](const auto& answer) {
        return question.starts_with(answer.first);
    });
    return told != answers.rend() ? std::optional(told->second) : std::nullopt;
}

std::vector<std::string> ModuleRecord::takeCalls() {
    const std::lock_guard lock(callsLock);
    return std::exchange(calls, {});
}

void ModuleRecord::reset() {
    takeCalls();
    answers.clear();
    onCall = nullptr;
    onQuestion = nullptr;
    onProcess = nullptr;
    factoryMakesObjects = true;
    parameterIds.clear();
    parameterQuestions = 0;
    componentContext = nullptr;
    controllerContext = nullptr;
    handler = nullptr;
}
