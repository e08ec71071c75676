#include "Host/Proc/Libraries.h"

#include <dlfcn.h>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc {

void* LoadSymbol(const Core::ioPath& file, const char* symbol) {
    // Never unloaded: objects whose code lives in the library may outlive the factory.
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        std::error_code error;
        if (!std::filesystem::exists(file, error)) Throw("The library " + file.string() + " does not exist!");
        const char* reason = dlerror();
        Throw("The library " + file.string() + " cannot be loaded: " + (reason ? reason : "unknown reason"));
    }
    void* address = dlsym(library, symbol);
    if (address == nullptr)
        Throw("The library " + file.string() + " has no function " + symbol + "; it is not one of this system's!");
    return address;
}

void LoadModule(const Core::ioPath& file, IEffectFactory& factory) {
    LoadFunction<bool(IEffectFactory*)>(file, "Registrator")(&factory);
}

Core::ioPath GetPluginDirectory() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&GetPluginDirectory), &info) == 0 || info.dli_fname == nullptr) return {};
    // A folder may be reachable by several names, relative to which other folders lie differently: /lib is a link to
    // /usr/lib.
    std::error_code error;
    const Core::ioPath file = std::filesystem::canonical(info.dli_fname, error);
    return (error ? std::filesystem::absolute(info.dli_fname) : file).parent_path() / ORVEXA_PLUGIN_SUBDIR;
}

}  // namespace Orvexa::Proc
