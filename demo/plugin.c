// A plugin library as small as OBS would load it: what the demonstration installs.
#include <stdbool.h>
#include <stdint.h>

#define EXPORT __declspec(dllexport)

static void* obs_module;

EXPORT void obs_module_set_pointer(void* module) { obs_module = module; }

EXPORT uint32_t obs_module_ver(void) { return (uint32_t)29 << 24; }

EXPORT bool obs_module_load(void) { return obs_module != 0; }
