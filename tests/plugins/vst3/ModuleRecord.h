#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <string>
#include <vector>

/// What a test module and the test that has loaded it know of each other: the calls that the module got, a
/// line each, and the answers that it is told to give. One for a module; the test finds it by `moduleRecord`.
/// Any thread, but for the fields of the test's, which it sets while the module is quiet.
class ModuleRecord {
public:
    /// Keeps a call, then runs `onCall`.
    void add(const std::string& call);
    /// The same; what `answers` says of the call, success if nothing.
    tresult answerTo(const std::string& call);
    /// What `answers` says of a question that isn't worth keeping.
    std::optional<tresult> toldAnswerTo(const std::string& question) const;

    /// The calls since the last time.
    std::vector<std::string> takeCalls();
    /// As it was at first.
    void reset();

    // What the test tells. It is forgotten by `reset`.

    /// By the start of a call's line; the longest start counts.
    std::map<std::string, tresult> answers;
    /// Runs inside of each call.
    std::function<void(const std::string& call)> onCall;
    /// Runs inside of each question for what a controller knows of a parameter.
    std::function<void()> onQuestion;
    /// Renders a block.
    std::function<void(Vst::ProcessData& data)> onProcess;
    /// Off for a factory that makes nothing and calls that a success.
    bool factoryMakesObjects = true;
    /// The ids of the controller's parameters, if there are any here.
    std::vector<Vst::ParamID> parameterIds;

    /// How often a controller was asked for what it knows of a parameter.
    std::atomic<int32_t> parameterQuestions = 0;

    // What the plug-in was given, the latest each; not counted.

    std::atomic<FUnknown*> componentContext = nullptr;
    std::atomic<FUnknown*> controllerContext = nullptr;
    std::atomic<Vst::IComponentHandler*> handler = nullptr;

private:
    std::mutex callsLock;
    std::vector<std::string> calls;
};

/// The record of the module that this is called in.
extern "C" __attribute__((visibility("default"))) ModuleRecord* moduleRecord();
