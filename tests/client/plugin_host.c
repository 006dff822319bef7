/* Loads a plugin and lets it record: plugin_host PLUGIN.so RECEIVER LOG URL JINGLE OUTPUT. It
 * knows nothing of the client library. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
    void* plugin;
    long long (*record)(char**);
    if (argc != 7) return 2;
    plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    *(void**)&record = dlsym(plugin, "plugin_record");
    return record && record(argv + 2) == 88200 ? 0 : 1;
}
