// Default entry and exit of a module: no effect. A module with more to do defines its own.

extern "C" {

__attribute__((visibility("default"))) bool ModuleEntry(void*) {
    return true;
}

__attribute__((visibility("default"))) bool ModuleExit() {
    return true;
}
}
