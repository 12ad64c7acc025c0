#include "plugins/Vst3Parameters.h"

#include <algorithm>
#include <utility>

Vst3Parameters::Vst3Parameters(std::vector<Vst3Parameter> newParameters)
    : parameters(std::move(newParameters)),
      values(std::make_unique<std::atomic<double>[]>(parameters.size())) {
    std::transform(parameters.begin(), parameters.end(), values.get(),
                   [](const Vst3Parameter& parameter) { return parameter.defaultValue; });
}

int32_t Vst3Parameters::find(Vst::ParamID id) const {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [id](const Vst3Parameter& parameter) { return parameter.id == id; });
    return found != parameters.end() ? static_cast<int32_t>(found - parameters.begin()) : -1;
}

double Vst3Parameters::get(Vst::ParamID id) const {
    const int32_t index = find(id);
    return index >= 0 ? values[static_cast<size_t>(index)].load(std::memory_order_relaxed) : 0;
}

bool Vst3Parameters::set(Vst::ParamID id, double value) {
    const int32_t index = find(id);
    if (index < 0)
        return false;
    values[static_cast<size_t>(index)].store(value, std::memory_order_relaxed);
    return true;
}

void Vst3Parameters::apply(Vst::IParameterChanges& changes) {
    const int32_t count = changes.getParameterCount();
    for (int32_t i = 0; i < count; ++i) {
        Vst::IParamValueQueue* queue = changes.getParameterData(i);
        Steinberg::int32 offset = 0;
        Vst::ParamValue value = 0;
        if (queue != nullptr && queue->getPoint(queue->getPointCount() - 1, offset, value) == kResultOk)
            set(queue->getParameterId(), value);
    }
}

tresult Vst3Parameters::read(Steinberg::IBStream& stream) {
    for (const Vst3Parameter& parameter : parameters) {
        double value = 0;
        Steinberg::int32 size = 0;
        if (stream.read(&value, sizeof value, &size) != kResultOk || size != sizeof value)
            return kResultFalse;
        set(parameter.id, value);
    }
    return kResultOk;
}

tresult Vst3Parameters::write(Steinberg::IBStream& stream) const {
    for (const Vst3Parameter& parameter : parameters) {
        double value = get(parameter.id);
        if (const tresult result = stream.write(&value, sizeof value); result != kResultOk)
            return result;
    }
    return kResultOk;
}
