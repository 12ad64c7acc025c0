#pragma once

#include "plugins/Vst3Object.h"

#include <pluginterfaces/vst/ivstnoteexpression.h>

/// `Base` with note expressions that have no texts.
template <class Base>
class TextlessNoteExpressions : public Vst3Offering<Base, Vst::INoteExpressionController> {
public:
    using Vst3Offering<Base, Vst::INoteExpressionController>::Vst3Offering;

    tresult PLUGIN_API getNoteExpressionStringByValue(Steinberg::int32, Steinberg::int16,
                                                      Vst::NoteExpressionTypeID, Vst::NoteExpressionValue,
                                                      Vst::String128) override {
        return kNotImplemented;
    }
    tresult PLUGIN_API getNoteExpressionValueByString(Steinberg::int32, Steinberg::int16,
                                                      Vst::NoteExpressionTypeID, const Vst::TChar*,
                                                      Vst::NoteExpressionValue&) override {
        return kNotImplemented;
    }
};
