#pragma once

/// Which step a script is in, and whether that takes too long, by the times that the caller reads off a
/// clock, in seconds. One thread at a time.
class StepBound {
public:
    explicit StepBound(double bound) : bound(bound) {}

    /// The bound counts from here on. Ends the step before.
    void begin(double now);
    /// Nothing is waited for any more.
    void end() { inStep = false; }

    /// Whether a step is under way and its bound has passed. From then on it was overdue.
    bool isOverdueAt(double now);

    bool isInStep() const { return inStep; }
    /// Whether the latest step was overdue, if it has ended too.
    bool wasOverdue() const { return overdue; }

private:
    const double bound;
    double begun = 0;
    bool inStep = false;
    bool overdue = false;
};
