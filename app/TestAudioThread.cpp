#include "app/TestAudioThread.h"

#include "core/Log.h"
#include "plugin/PluginException.h"
#include "plugin/PluginText.h"

#include <algorithm>
#include <exception>

namespace {

constexpr double sampleRate = 44100.0; // Hz
constexpr int32_t minute = 2646000;    // frames

} // namespace

TestAudioThread::TestAudioThread(const Ref<PluginAudioContext>& context)
    : Thread("Test audio thread"), context(context) {}

TestAudioThread::~TestAudioThread() = default;

bool TestAudioThread::prepareForDeletion() {
    requestStop();
    join();
    return true;
}

void TestAudioThread::run() {
    base::core::logProgress("Running test audio engine");
    try {
        render();
    } catch (const Exception& exception) {
        fail(exception.getMessage());
    } catch (const std::exception& exception) {
        fail(pluginText(exception.what()));
    } catch (...) {
        fail("Unknown exception");
    }
}

void TestAudioThread::fail(const String& reason) {
    error = concat("Error rendering audio: ", reason);
    base::core::logError(error);
}

void TestAudioThread::render() {
    prepareBlock();
    try {
        context->startProcessing();
        renderBlocks();
    } catch (...) {
        try {
            stopProcessing();
        } catch (...) {
            // Only the first error counts.
        }
        throw;
    }
    stopProcessing();
}

void TestAudioThread::stopProcessing() {
    context->stopProcessing();
    context->drain();
}

void TestAudioThread::prepareBlock() {
    TransportBlock& transport = context->getTransport();
    transport = {};
    transport.sampleRate = sampleRate;
    transport.tempo = 120.0;
    transport.timeSignatureNumerator = 4;
    transport.timeSignatureDenominator = 4;
    context->silenceInput();
    context->silenceOutput();
    context->beginBlock();
    context->forgetOutputEvents();
}

void TestAudioThread::renderBlocks() {
    const int32_t blockSize = context->blockSize;
    TransportBlock& transport = context->getTransport();
    const int32_t blocks = blockSize > 0 ? minute / blockSize : 0;
    for (int32_t block = 0; block < blocks && !stopRequested; ++block) {
        context->process(blockSize, true, false);
        transport.samplePosition += static_cast<uint64_t>(blockSize);
        transport.reservedTime += blockSize / sampleRate;
        if (!context->areGuardsIntact())
            throw PluginException("Plugin wrote outside of the supplied buffers.");
    }
}
