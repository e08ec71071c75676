// Libraries that are loaded at run time: effect modules and what the host itself loads on demand.
#pragma once

#include "Host/Core/Path.h"
#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc {

/// Loads an effect module and lets it register its effects. The module stays loaded until the process ends. A file that
/// is missing, not loadable or without the function `Registrator` throws `EffectException`.
void LoadModule(const Core::ioPath& file, IEffectFactory& factory);

/// The directory of the libraries that are loaded at run time: effect modules and providers.
Core::ioPath GetPluginDirectory();

/// The address of `symbol` in the shared library `file`, which stays loaded; throws `EffectException`.
void* LoadSymbol(const Core::ioPath& file, const char* symbol);
template <class Function>
Function* LoadFunction(const Core::ioPath& file, const char* symbol) {
    return reinterpret_cast<Function*>(LoadSymbol(file, symbol));
}

/// The one object that a library of the host's own offers. `Interface` names the library as `kLibrary` and, as
/// `kFunction`, the function there that returns a reference to the object, which lives as long as the process.
template <class Interface>
Interface& GetProvided() {
    static Interface& provided =
        LoadFunction<Interface&()>(GetPluginDirectory() / Interface::kLibrary, Interface::kFunction)();
    return provided;
}

}  // namespace Orvexa::Proc
