#pragma once

/// The current step of a script and whether it takes too long, by times of the caller's clock in seconds. One
/// thread at a time.
class StepBound {
public:
    explicit StepBound(double bound) : bound(bound) {}

    /// Starts a step, and its bound. Ends the one before.
    void begin(double now);
    /// Ends the step.
    void end() { inStep = false; }

    /// Whether there is a current step whose bound has passed. If so, it was overdue from then on.
    bool isOverdueAt(double now);

    bool isInStep() const { return inStep; }
    /// Whether the latest step was overdue, also after its end.
    bool wasOverdue() const { return overdue; }

private:
    const double bound;
    double begun = 0;
    bool inStep = false;
    bool overdue = false;
};
