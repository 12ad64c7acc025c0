// What a module does as it is loaded and let go of: nothing. One that has more to do defines these itself.

extern "C" {

__attribute__((visibility("default"))) bool ModuleEntry(void*) {
    return true;
}

__attribute__((visibility("default"))) bool ModuleExit() {
    return true;
}
}
