// An entry point that gives nothing.

struct AEffect;

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(void*) {
    return nullptr;
}
