#include "app/StepBound.h"

void StepBound::begin(double now) {
    begun = now;
    inStep = true;
    overdue = false;
}

bool StepBound::isOverdueAt(double now) {
    if (!inStep || now - begun < bound)
        return false;
    overdue = true;
    return true;
}
