#pragma once

/// What "shows-its-block" puts into the first frames of its left channel.
enum BlockShown {
    shownFlags,
    shownTempo,
    shownPosition,
    shownBarStart,
    shownLoopStart,
    shownLoopEnd,
    shownFrame,
    shownSystemTime,
    shownNumerator,
    shownDenominator,
    shownProcessLevel,
    shownInputLatency,
    shownOutputLatency,
    shownSampleRate,
    shownFrameCount,
    shownEventCount,
    shownDumpSize,
    shownDumpFirst,
    shownDumpLast,
    shownDumpFrame,
    shownChangeCount,
    shownFirstParameter,
    shownCount = shownFirstParameter + 4
};
