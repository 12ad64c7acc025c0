// A file that has neither a factory nor an entry.

extern "C" __attribute__((visibility("default"))) int unrelatedToPlugins;

int unrelatedToPlugins = 0;
