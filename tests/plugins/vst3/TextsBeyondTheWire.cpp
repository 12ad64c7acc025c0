// An effect whose 8-bit texts are Latin-1, and whose wide ones have a character above U+FFFF, halves of one,
// and one that the 256 bytes of a name as UTF-8 cut in two.

#include "vst3/Identifiers.h"
#include "vst3/PlainEffect.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

constexpr const char* latin1 = "Fl\xFCgel";

void write(std::u16string_view units, Vst::String128& text) {
    std::fill(std::begin(text), std::end(text), Vst::TChar{});
    units.copy(text, std::size(text) - 1);
}

class TextsBeyondTheWire : public Vst3SinglePlugin {
public:
    TextsBeyondTheWire()
        : Vst3SinglePlugin({.parameters = {{.id = 1, .title = ""}, {.id = 2, .title = ""}}}) {}

    tresult PLUGIN_API getBusInfo(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) override {
        const tresult result = Vst3SinglePlugin::getBusInfo(media, direction, index, info);
        write(u"\U0001D11E!", info.name);
        return result;
    }
    tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Vst::ParameterInfo& info) override {
        const tresult result = Vst3SinglePlugin::getParameterInfo(index, info);
        write(index == 0 ? std::u16string(u"\U0001D11E!") : std::u16string(127, u'\u20AC'), info.title);
        write(u"\xD834!", info.shortTitle);
        write(u"\xDD1E!", info.units);
        return result;
    }
    tresult PLUGIN_API getParamStringByValue(Vst::ParamID, Vst::ParamValue, Vst::String128 text) override {
        std::copy_n(u"\xD834\U0001D11E", 4, text);
        return kResultOk;
    }
};

class Factory : public Vst3Factory {
public:
    using Vst3Factory::Vst3Factory;

    tresult PLUGIN_API getFactoryInfo(Steinberg::PFactoryInfo* info) override {
        *info = {latin1, "", "", Steinberg::PFactoryInfo::kUnicode};
        return kResultOk;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Factory({vst3Class<TextsBeyondTheWire>(firstClass, latin1, "Fx|Fl\xFCgel")});
}
