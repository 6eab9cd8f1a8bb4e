// Opens the plug-in, lets it work, closes it, and opens it again. usage: program PLUGIN CONFIG_FILE
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace {

template <class Function>
Function* Find(void* pPlugin, const char* pName)
{
    if (void* pFound = dlsym(pPlugin, pName)) return reinterpret_cast<Function*>(pFound);
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(1);
}

void* Open(const char* pPath)
{
    if (void* pPlugin = dlopen(pPath, RTLD_NOW | RTLD_LOCAL)) return pPlugin;
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(1);
}

bool IsLoaded(const char* pLibrary)
{
    return dlopen(pLibrary, RTLD_NOW | RTLD_NOLOAD) != nullptr;
}

void Expect(bool bHolds, const char* pWhat)
{
    if (bHolds) return;
    std::fprintf(stderr, "not so: %s\n", pWhat);
    std::exit(1);
}

}  // namespace

int main(int, char** pArgs)
{
    Expect(!IsLoaded("libnbiutil.so.1"), "without the plug-in there is no library");
    void* pPlugin = Open(pArgs[1]);
    Find<void(const char*)>(pPlugin, "PluginStart")(pArgs[2]);
    Expect(Find<int()>(pPlugin, "PluginWork")() == 1, "the first task was carried out");
    Expect(Find<int()>(pPlugin, "PluginWork")() == 2, "the second task was carried out");
    Find<void()>(pPlugin, "PluginStop")();
    Expect(dlclose(pPlugin) == 0, "the plug-in was closed");
    // Threads of a pool may end later than the plug-in: their code has to stay.
    Expect(IsLoaded("libnbiutil.so.1"), "the library stays");

    pPlugin = Open(pArgs[1]);
    Expect(Find<long()>(pPlugin, "PluginAddress")() == 0x0A000001, "it answers again");
    Expect(dlclose(pPlugin) == 0, "the plug-in was closed again");
    std::puts("opened, worked, closed, and opened again");
}
