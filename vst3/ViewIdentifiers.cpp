// The identifiers of the editor's interfaces, which no unit of the SDK defines.

#include <pluginterfaces/gui/iplugview.h>
#include <pluginterfaces/gui/iplugviewcontentscalesupport.h>

namespace Steinberg {

DEF_CLASS_IID(IPlugView)
DEF_CLASS_IID(IPlugFrame)
DEF_CLASS_IID(IPlugViewContentScaleSupport)
DEF_CLASS_IID(Linux::IEventHandler)
DEF_CLASS_IID(Linux::ITimerHandler)
DEF_CLASS_IID(Linux::IRunLoop)

} // namespace Steinberg
